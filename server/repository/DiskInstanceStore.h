// The instance store on disk: the provider of every class without a provider
// of its own, as InstanceStore is in memory, keeping its instances in a
// RepositoryFile.
//
// The same contract as InstanceStore (InstanceProvider.h, InstanceStore.h):
// instances per namespace and class in creation order, found by their
// normalised keys (a path whose keys are not canonical is matched by a scan
// with sameKeys), the same quota (StoreLimits) answered with
// CIM_ERR_SERVER_LIMITS_EXCEEDED, the same errors. Each create, modify,
// update and remove is one transaction: when it returns the change is on
// disk; when it raises nothing changed. update() reads and writes inside one
// transaction, so concurrent writers of one instance never lose each other's
// writes.
//
// enumerate() reads through a cursor: one instance in memory at a time (the
// sink may block; the cursor's read transaction keeps its view of the file
// and does not block writers).
//
// Values are kept in a binary form that reads back the same values: every
// CIM type, arrays, NULL, references (as their paths) and embedded instances.
// A class value cannot be stored (CIM_ERR_NOT_SUPPORTED).
//
// Quota bookkeeping: the instances and bytes of each class are counted in
// memory, in one pass over the rows when the store is made, and kept in step
// by every change inside its transaction (a transaction that rolls back puts
// them back). One store per file: two stores over one file would each count
// only their own changes.
//
// Thread-safe: any number of threads may call every member at once.
#pragma once

#include "objectmanager/InstanceProvider.h"
#include "objectmanager/InstanceStore.h"
#include "repository/RepositoryFile.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

namespace kivo::repo {

class Connection;

class DiskInstanceStore : public om::InstanceProvider {
public:
    DiskInstanceStore(std::shared_ptr<RepositoryFile> file, om::StoreLimits limits = om::StoreLimits());

    void enumerate(KVOString const& nameSpace, IKivoClass const& cls,
                   om::Sink<KVOSmrPtr<IKivoObject>> const& out) override;
    KVOSmrPtr<IKivoObject> get(KVOString const& nameSpace, IKivoClass const& cls,
                               IKivoInstanceName const& path) override;
    void create(KVOString const& nameSpace, IKivoClass const& cls, KVOSmrPtr<IKivoObject> const& instance) override;
    void modify(KVOString const& nameSpace, IKivoClass const& cls, KVOSmrPtr<IKivoObject> const& instance) override;
    void update(KVOString const& nameSpace, IKivoClass const& cls, IKivoInstanceName const& path,
                Change const& change) override;
    void remove(KVOString const& nameSpace, IKivoClass const& cls, IKivoInstanceName const& path) override;

    // Instances stored for the class (exactly it), and in the whole file.
    std::uint64_t count(KVOString const& nameSpace, IKivoClass const& cls) const;
    // Bytes of instance data stored (as the quota counts them:
    // InstanceStore::sizeOf).
    std::uint64_t bytes() const;
    om::StoreLimits const& limits() const { return _limits; }

private:
    struct Usage {
        std::uint64_t count = 0;
        std::uint64_t bytes = 0;
    };
    struct Found;
    // The stored instance of `cls` with the keys of `path`, read through `c`.
    static bool locate(Connection& c, KVOString const& nameSpace, IKivoClass const& cls,
                       IKivoInstanceName const& path, Found& found);
    // The complete instance a row's values make for `cls`.
    static KVOSmrPtr<IKivoObject> build(KVOString const& nameSpace, IKivoClass const& cls, std::string_view data);
    // Inside a write: checks the quota for a change of `bucket` by
    // `countDelta` instances and from `oldBytes` to `newBytes`, and counts it
    // (undone if the write rolls back). Raises CIM_ERR_SERVER_LIMITS_EXCEEDED.
    void charge(std::string const& bucket, IKivoClass const& cls, int countDelta, std::uint64_t oldBytes,
                std::uint64_t newBytes);

    std::shared_ptr<RepositoryFile> const _file;
    om::StoreLimits const _limits;
    mutable std::mutex _mutex;
    std::unordered_map<std::string, Usage> _usage;  // guarded by _mutex; "namespace:class" lower-cased
    std::uint64_t _bytes = 0;                       // guarded by _mutex
};

}  // namespace kivo::repo
