// The in-memory instance store: the provider of every class that has no
// provider of its own. Instances are kept per namespace and class in
// creation order and found through an index by their normalised keys.
//
// Consistency: instances are immutable and copied on write. One
// reader-writer lock guards the map; a change (create, modify, update,
// remove) replaces an instance pointer under the exclusive lock, and update()
// runs its read-modify-write (the caller's change function) inside that one
// exclusive section, so concurrent ModifyInstance and SetProperty calls on one
// instance never lose each other's writes. Enumerations copy the class's
// pointers under the shared lock and hand the instances out after releasing
// it, so a slow consumer never holds the store and every instance it sees is
// whole, as it was before or after any one write.
//
// Cost: finding an instance by its full keys is an average O(1) hash lookup
// on the normalised key (each key name lower-cased, its value converted to
// the class's declared type and written out as text, sorted by name); a path
// whose keys are not canonical (untyped values that do not convert, keys
// missing or not of the class, references) and miss the index is matched by
// a scan, so a lookup never finds less than sameKeys would. Creating is O(1)
// on average whatever the class's size.
//
// Quota (StoreLimits): at most maxInstancesPerClass instances per class and
// namespace, and at most maxBytes of instance data in the whole store (an
// instance's size: its property names and the text of its values, plus 32
// bytes a property). A create or a change that would pass either answers
// CIM_ERR_SERVER_LIMITS_EXCEEDED and changes nothing.
//
// Thread-safe: any number of threads may call every member at once.
#pragma once

#include "objectmanager/InstanceProvider.h"

#include <cstdint>
#include <map>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace kivo::om {

// The store's quota (server settings --max-instances-per-class and
// --max-instance-bytes).
struct StoreLimits {
    std::size_t maxInstancesPerClass = 100000;
    std::uint64_t maxBytes = std::uint64_t{1} << 30;  // 1 GiB
};

class InstanceStore : public InstanceProvider {
public:
    explicit InstanceStore(StoreLimits limits = StoreLimits()) : _limits(limits) {}

    void enumerate(KVOString const& nameSpace, IKivoClass const& cls, Sink<KVOSmrPtr<IKivoObject>> const& out) override;
    KVOSmrPtr<IKivoObject> get(KVOString const& nameSpace, IKivoClass const& cls, IKivoInstanceName const& path) override;
    void create(KVOString const& nameSpace, IKivoClass const& cls, KVOSmrPtr<IKivoObject> const& instance) override;
    void modify(KVOString const& nameSpace, IKivoClass const& cls, KVOSmrPtr<IKivoObject> const& instance) override;
    void update(KVOString const& nameSpace, IKivoClass const& cls, IKivoInstanceName const& path,
                Change const& change) override;
    void remove(KVOString const& nameSpace, IKivoClass const& cls, IKivoInstanceName const& path) override;

    StoreLimits const& limits() const { return _limits; }
    // Bytes of instance data held (as the quota counts them).
    std::uint64_t bytes() const;
    // The size the quota counts for `instance`.
    static std::uint64_t sizeOf(IKivoObject const& instance);

private:
    struct Entry {
        KVOSmrPtr<IKivoObject> instance;
        std::uint64_t bytes = 0;
    };
    struct Bucket {
        std::map<std::uint64_t, Entry> order;                   // creation serial -> instance
        std::unordered_map<std::string, std::uint64_t> index;  // normalised key -> serial
        std::uint64_t next = 0;
    };
    static std::string bucketName(KVOString const& nameSpace, IKivoClass const& cls);
    // Caller holds _lock. The entry of the instance with the keys of `path`,
    // or order.end().
    static std::map<std::uint64_t, Entry>::iterator locate(Bucket& bucket, IKivoClass const& cls,
                                                           IKivoInstanceName const& path);
    // Caller holds _lock exclusively: replaces `at`'s instance (same keys).
    void replace(Entry& at, KVOSmrPtr<IKivoObject> const& instance);

    StoreLimits const _limits;
    mutable std::shared_mutex _lock;
    std::map<std::string, Bucket> _buckets;  // guarded by _lock; "namespace:class" lower-cased
    std::uint64_t _bytes = 0;                // guarded by _lock
};

// The normalised key of `path` for `cls` (see InstanceStore). `exact`, when
// given, tells whether the key is canonical: every key of the class once,
// each converted to its declared type, none a reference. Two paths with
// canonical keys name the same instance exactly when their keys are equal.
std::string normalisedKey(IKivoClass const& cls, IKivoInstanceName const& path, bool* exact = nullptr);

}  // namespace kivo::om
