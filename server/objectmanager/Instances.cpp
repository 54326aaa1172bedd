#include "objectmanager/Instances.h"

#include "objectmanager/CimStatus.h"
#include "objectmanager/ClassRepository.h"

#include <algorithm>

namespace kivo::om {

namespace {

char const kWhere[] = "Instances";

KVOSmrPtr<IKivoValue> typed(IKivoProperty const& decl, KVOSmrPtr<IKivoValue> const& value) {
    if (!value) return value;
    if (decl.isArray() != value->isArray()) {
        // A single value given for an array property becomes a one-element array.
        if (decl.isArray())
            return CKivoValue::makeArray(decl.getCIMType(), {CKivoValue::convert(value, decl.getCIMType())});
        raise(CIM_ERR_INVALID_PARAMETER, kWhere, "property " + decl.getName() + " is not an array");
    }
    try {
        return CKivoValue::convert(value, decl.getCIMType());
    } catch (KivoBaseException const& e) {
        raise(CIM_ERR_INVALID_PARAMETER, kWhere, "property " + decl.getName() + ": " + e.getMessage());
    }
}

}  // namespace

KVOSmrPtr<IKivoObject> buildInstance(KVOString const& nameSpace, IKivoClass const& cls, PropertyValues const& values) {
    // Runs once per instance a provider makes: one copy of the class's
    // property list serves every lookup, and the path is read from the
    // properties as they are built.
    std::vector<KVOSmrPtr<IKivoProperty>> const decls = cls.getProperties();
    for (auto const& [name, value] : values)
        if (!KVOFindNamed(decls, name))
            raise(CIM_ERR_NO_SUCH_PROPERTY, kWhere, "class " + cls.getName() + " has no property " + name);
    KVOValSlist<KVOSmrPtr<IKivoProperty>> properties;
    std::vector<KVOKeyBinding> keys;
    for (KVOSmrPtr<IKivoProperty> const& decl : decls) {
        KVOSmrPtr<IKivoValue> value = decl->getValue();
        for (auto const& [name, given] : values)
            if (name.equalsIgnoreCase(decl->getName())) value = typed(*decl, given);
        if (ClassRepository::isKey(*decl)) {
            if (!value) raise(CIM_ERR_INVALID_PARAMETER, kWhere, "key property " + decl->getName() + " has no value");
            keys.push_back({decl->getName(), value});
        }
        properties.append(KVOSmrPtr<IKivoProperty>(new CKivoProperty(decl->getName(), decl->getCIMType(),
                                                                     decl->isArray(), value, {},
                                                                     decl->getClassOrigin(), decl->isPropagated(),
                                                                     decl->getReferenceClass())));
    }
    KVOSmrPtr<IKivoInstanceName> path(new CKivoInstanceName(nameSpace, cls.getName(), std::move(keys), KVOString()));
    return KVOSmrPtr<IKivoObject>(new CKivoObject(cls.getName(), std::move(properties), std::move(path)));
}

PropertyValues valuesOf(IKivoObject const& instance) {
    PropertyValues out;
    for (KVOSmrPtr<IKivoProperty> const& p : instance.getProperties()) out.emplace_back(p->getName(), p->getValue());
    return out;
}

bool keysWithin(IKivoInstanceName const& partial, IKivoInstanceName const& full) {
    for (KVOKeyBinding const& k : partial.getKeys()) {
        KVOSmrPtr<IKivoValue> v = full.getKey(k.name);
        if (!v || !k.value->sameValue(*v)) return false;
    }
    return true;
}

bool sameKeys(IKivoInstanceName const& a, IKivoInstanceName const& b) {
    return a.getKeys().size() == b.getKeys().size() && keysWithin(a, b);
}

bool listed(KVOSmrPtr<KVOValSlist<KVOString>> const& list, KVOString const& name) {
    if (!list) return true;
    return std::any_of(list->begin(), list->end(), [&](KVOString const& n) { return n.equalsIgnoreCase(name); });
}

KVOSmrPtr<IKivoObject> viewOf(IKivoObject const& instance, InstanceView const& view) {
    KVOValSlist<KVOSmrPtr<IKivoProperty>> const all = instance.getProperties();
    std::vector<KVOSmrPtr<IKivoProperty>> const limit =
        view.limitTo ? view.limitTo->getProperties() : std::vector<KVOSmrPtr<IKivoProperty>>();
    KVOValSlist<KVOSmrPtr<IKivoProperty>> properties;
    for (KVOSmrPtr<IKivoProperty> const& p : all) {
        if (!listed(view.propertyList, p->getName())) continue;
        if (view.limitTo && !KVOFindNamed(limit, p->getName())) continue;
        bool const keep = view.includeClassOrigin || p->getClassOrigin().isEmpty();
        properties.append(keep ? p : CKivoProperty::withOrigin(*p, KVOString(), p->isPropagated()));
    }
    return KVOSmrPtr<IKivoObject>(new CKivoObject(instance.getClassName(), std::move(properties),
                                                  instance.getInstanceName()));
}

}  // namespace kivo::om
