#include "objectmanager/Instances.h"

#include "objectmanager/CimStatus.h"
#include "objectmanager/ClassRepository.h"

#include <algorithm>
#include <mutex>
#include <unordered_map>

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

// The property table of a class's instances, made once per class object.
// A class object is recognised by its address and the addresses of its
// property declarations, which the entry keeps alive so that neither can be
// reused by another class while the entry exists.
std::shared_ptr<CKivoPropertyTable const> tableOf(IKivoClass const& cls,
                                                  std::vector<KVOSmrPtr<IKivoProperty>> const& decls) {
    struct Entry {
        std::vector<KVOSmrPtr<IKivoProperty>> decls;
        std::shared_ptr<CKivoPropertyTable const> table;
    };
    static std::mutex mutex;
    static std::unordered_map<IKivoClass const*, Entry> tables;  // guarded by mutex
    constexpr std::size_t maxTables = 4096;
    auto same = [&](Entry const& e) {
        return e.decls.size() == decls.size() &&
               std::equal(decls.begin(), decls.end(), e.decls.begin(),
                          [](auto const& a, auto const& b) { return a.get() == b.get(); });
    };
    {
        std::lock_guard<std::mutex> lock(mutex);
        auto it = tables.find(&cls);
        if (it != tables.end() && same(it->second) && it->second.table->className() == cls.getName())
            return it->second.table;
    }
    std::vector<CKivoPropertyTable::Column> columns;
    for (KVOSmrPtr<IKivoProperty> const& d : decls)
        columns.push_back({d->getName(), d->getCIMType(), d->isArray(), d->getClassOrigin(), d->isPropagated(),
                           d->getReferenceClass()});
    auto table = makePropertyTable(cls.getName(), std::move(columns));
    std::lock_guard<std::mutex> lock(mutex);
    if (tables.size() >= maxTables) tables.clear();
    tables[&cls] = Entry{decls, table};
    return table;
}

}  // namespace

KVOSmrPtr<IKivoObject> buildInstance(KVOString const& nameSpace, IKivoClass const& cls, PropertyValues const& values) {
    // Runs once per instance a provider makes: one copy of the class's
    // property list serves every lookup, the values go into one block beside
    // the class's property table, and the path is read from them as they are
    // typed.
    std::vector<KVOSmrPtr<IKivoProperty>> const decls = cls.getProperties();
    for (auto const& [name, value] : values)
        if (!KVOFindNamed(decls, name))
            raise(CIM_ERR_NO_SUCH_PROPERTY, kWhere, "class " + cls.getName() + " has no property " + name);
    auto block = std::make_shared<CKivoPackedObject::Values>();
    block->reserve(decls.size());
    std::vector<KVOKeyBinding> keys;
    for (KVOSmrPtr<IKivoProperty> const& decl : decls) {
        KVOSmrPtr<IKivoValue> value = decl->getValue();
        KVOString const name = decl->getName();
        for (auto const& [given, v] : values)
            if (given.equalsIgnoreCase(name)) value = typed(*decl, v);
        if (ClassRepository::isKey(*decl)) {
            if (!value) raise(CIM_ERR_INVALID_PARAMETER, kWhere, "key property " + name + " has no value");
            keys.push_back({name, value});
        }
        block->push_back(std::move(value));
    }
    KVOSmrPtr<IKivoInstanceName> path(new CKivoInstanceName(nameSpace, cls.getName(), std::move(keys), KVOString()));
    return KVOSmrPtr<IKivoObject>(new CKivoPackedObject(tableOf(cls, decls), std::move(block), std::move(path)));
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
    std::vector<KVOSmrPtr<IKivoProperty>> const limit =
        view.limitTo ? view.limitTo->getProperties() : std::vector<KVOSmrPtr<IKivoProperty>>();
    auto shown = [&](KVOString const& name) {
        return listed(view.propertyList, name) && (!view.limitTo || KVOFindNamed(limit, name));
    };
    if (auto const* packed = dynamic_cast<CKivoPackedObject const*>(&instance)) {
        // A view over the same value block: only the table is new (and not
        // even that when the view shows everything as it is).
        auto const& columns = packed->table().columns();
        std::vector<bool> keep(columns.size(), true);
        if (view.propertyList || view.limitTo)
            for (std::size_t i = 0; i < columns.size(); ++i) keep[i] = shown(columns[i].name);
        return packed->withTable(packed->table().select(keep, view.includeClassOrigin));
    }
    KVOValSlist<KVOSmrPtr<IKivoProperty>> properties;
    for (KVOSmrPtr<IKivoProperty> const& p : instance.getProperties()) {
        if (!shown(p->getName())) continue;
        bool const keep = view.includeClassOrigin || p->getClassOrigin().isEmpty();
        properties.append(keep ? p : CKivoProperty::withOrigin(*p, KVOString(), p->isPropagated()));
    }
    return KVOSmrPtr<IKivoObject>(new CKivoObject(instance.getClassName(), std::move(properties),
                                                  instance.getInstanceName()));
}

}  // namespace kivo::om
