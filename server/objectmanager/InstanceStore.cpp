#include "objectmanager/InstanceStore.h"

#include "objectmanager/CimStatus.h"
#include "objectmanager/ClassRepository.h"
#include "objectmanager/Instances.h"

#include <mutex>

namespace kivo::om {

namespace {
char const kWhere[] = "InstanceStore";
}

std::string InstanceStore::bucket(KVOString const& nameSpace, IKivoClass const& cls) {
    return nameSpaceKey(nameSpace) + ":" + nameKey(cls.getName());
}

InstanceStore::List::iterator InstanceStore::locate(List& list, IKivoInstanceName const& path) {
    for (auto it = list.begin(); it != list.end(); ++it)
        if (sameKeys(*(*it)->getInstanceName(), path)) return it;
    return list.end();
}

void InstanceStore::enumerate(KVOString const& nameSpace, IKivoClass const& cls,
                              Sink<KVOSmrPtr<IKivoObject>> const& out) {
    List snapshot;
    {
        std::shared_lock guard(_lock);
        auto it = _instances.find(bucket(nameSpace, cls));
        if (it != _instances.end()) snapshot = it->second;
    }
    for (KVOSmrPtr<IKivoObject> const& instance : snapshot)
        if (!out(instance)) return;
}

KVOSmrPtr<IKivoObject> InstanceStore::get(KVOString const& nameSpace, IKivoClass const& cls,
                                          IKivoInstanceName const& path) {
    std::shared_lock guard(_lock);
    auto it = _instances.find(bucket(nameSpace, cls));
    if (it == _instances.end()) return nullptr;
    auto found = locate(it->second, path);
    return found == it->second.end() ? nullptr : *found;
}

void InstanceStore::create(KVOString const& nameSpace, IKivoClass const& cls, KVOSmrPtr<IKivoObject> const& instance) {
    std::unique_lock guard(_lock);
    List& list = _instances[bucket(nameSpace, cls)];
    if (locate(list, *instance->getInstanceName()) != list.end())
        raise(CIM_ERR_ALREADY_EXISTS, kWhere, instance->getInstanceName()->toString() + " already exists");
    list.push_back(instance);
}

void InstanceStore::modify(KVOString const& nameSpace, IKivoClass const& cls, KVOSmrPtr<IKivoObject> const& instance) {
    std::unique_lock guard(_lock);
    List& list = _instances[bucket(nameSpace, cls)];
    auto found = locate(list, *instance->getInstanceName());
    if (found == list.end()) raise(CIM_ERR_NOT_FOUND, kWhere, instance->getInstanceName()->toString() + " not found");
    *found = instance;
}

void InstanceStore::remove(KVOString const& nameSpace, IKivoClass const& cls, IKivoInstanceName const& path) {
    std::unique_lock guard(_lock);
    List& list = _instances[bucket(nameSpace, cls)];
    auto found = locate(list, path);
    if (found == list.end()) raise(CIM_ERR_NOT_FOUND, kWhere, path.toString() + " not found");
    list.erase(found);
}

}  // namespace kivo::om
