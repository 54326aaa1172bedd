// The in-memory instance store: the provider of every class that has no
// provider of its own. Instances are kept per namespace and class in
// creation order and looked up by their keys.
//
// Thread-safe: one reader-writer lock guards the map; enumerations copy the
// class's list under the lock and hand the instances out after releasing
// it, so a slow consumer never holds the store (and sees the instances as
// they were when it started).
#pragma once

#include "objectmanager/InstanceProvider.h"

#include <map>
#include <shared_mutex>
#include <string>
#include <vector>

namespace kivo::om {

class InstanceStore : public InstanceProvider {
public:
    void enumerate(KVOString const& nameSpace, IKivoClass const& cls, Sink<KVOSmrPtr<IKivoObject>> const& out) override;
    KVOSmrPtr<IKivoObject> get(KVOString const& nameSpace, IKivoClass const& cls, IKivoInstanceName const& path) override;
    void create(KVOString const& nameSpace, IKivoClass const& cls, KVOSmrPtr<IKivoObject> const& instance) override;
    void modify(KVOString const& nameSpace, IKivoClass const& cls, KVOSmrPtr<IKivoObject> const& instance) override;
    void remove(KVOString const& nameSpace, IKivoClass const& cls, IKivoInstanceName const& path) override;

private:
    using List = std::vector<KVOSmrPtr<IKivoObject>>;
    static std::string bucket(KVOString const& nameSpace, IKivoClass const& cls);
    static List::iterator locate(List& list, IKivoInstanceName const& path);

    std::shared_mutex _lock;
    std::map<std::string, List> _instances;  // guarded by _lock; "namespace:class" lower-cased -> instances
};

}  // namespace kivo::om
