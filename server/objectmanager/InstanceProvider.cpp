#include "objectmanager/InstanceProvider.h"

#include "objectmanager/CimStatus.h"
#include "objectmanager/Instances.h"

namespace kivo::om {

KVOSmrPtr<IKivoObject> InstanceProvider::get(KVOString const& nameSpace, IKivoClass const& cls,
                                             IKivoInstanceName const& path) {
    KVOSmrPtr<IKivoObject> found;
    enumerate(nameSpace, cls, [&](KVOSmrPtr<IKivoObject> const& instance) {
        if (sameKeys(*instance->getInstanceName(), path)) found = instance;
        return !found;
    });
    return found;
}

void InstanceProvider::create(KVOString const&, IKivoClass const& cls, KVOSmrPtr<IKivoObject> const&) {
    raise(CIM_ERR_NOT_SUPPORTED, "InstanceProvider", "instances of " + cls.getName() + " cannot be created");
}

void InstanceProvider::modify(KVOString const&, IKivoClass const& cls, KVOSmrPtr<IKivoObject> const&) {
    raise(CIM_ERR_NOT_SUPPORTED, "InstanceProvider", "instances of " + cls.getName() + " cannot be modified");
}

void InstanceProvider::update(KVOString const& nameSpace, IKivoClass const& cls, IKivoInstanceName const& path,
                              Change const& change) {
    KVOSmrPtr<IKivoObject> current = get(nameSpace, cls, path);
    if (!current) raise(CIM_ERR_NOT_FOUND, "InstanceProvider", path.toString() + " not found");
    modify(nameSpace, cls, change(*current));
}

void InstanceProvider::remove(KVOString const&, IKivoClass const& cls, IKivoInstanceName const&) {
    raise(CIM_ERR_NOT_SUPPORTED, "InstanceProvider", "instances of " + cls.getName() + " cannot be deleted");
}

}  // namespace kivo::om
