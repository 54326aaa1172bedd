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

}  // namespace

// What a maker needs of a class, made once per class object: the property
// table of its instances, the declarations with their defaults and which
// columns are keys. A class object is recognised by its address, its name and
// the addresses of its property declarations, which the cache keeps alive so
// that no other class can take them over while the entry exists.
struct InstanceMaker::Shape {
    std::vector<KVOSmrPtr<IKivoProperty>> decls;
    std::shared_ptr<CKivoPropertyTable const> table;
    std::vector<bool> isKey;
};

std::shared_ptr<InstanceMaker::Shape const> InstanceMaker::shapeOf(IKivoClass const& cls) {
    std::vector<KVOSmrPtr<IKivoProperty>> const decls = cls.getProperties();
    // Never destroyed: producers that outlive main (abandoned at shutdown)
    // may still build instances while static objects go away.
    struct Cache {
        std::mutex mutex;
        std::unordered_map<IKivoClass const*, std::shared_ptr<Shape const>> shapes;  // guarded by mutex
    };
    static Cache& cache = *new Cache;
    std::mutex& mutex = cache.mutex;
    auto& shapes = cache.shapes;
    constexpr std::size_t maxShapes = 4096;
    {
        std::lock_guard<std::mutex> lock(mutex);
        auto it = shapes.find(&cls);
        if (it != shapes.end()) {
            Shape const& e = *it->second;
            if (e.decls.size() == decls.size() &&
                std::equal(decls.begin(), decls.end(), e.decls.begin(),
                           [](auto const& a, auto const& b) { return a.get() == b.get(); }) &&
                e.table->className() == cls.getName())
                return it->second;
        }
    }
    auto shape = std::make_shared<Shape>();
    shape->decls = decls;
    std::vector<CKivoPropertyTable::Column> columns;
    for (KVOSmrPtr<IKivoProperty> const& d : decls) {
        columns.push_back({d->getName(), d->getCIMType(), d->isArray(), d->getClassOrigin(), d->isPropagated(),
                           d->getReferenceClass()});
        shape->isKey.push_back(ClassRepository::isKey(*d));
    }
    shape->table = makePropertyTable(cls.getName(), std::move(columns));
    std::lock_guard<std::mutex> lock(mutex);
    if (shapes.size() >= maxShapes) shapes.clear();
    shapes[&cls] = shape;
    return shape;
}

InstanceMaker::InstanceMaker(KVOString nameSpace, IKivoClass const& cls)
    : _nameSpace(std::move(nameSpace)), _shape(shapeOf(cls)) {}

InstanceMaker::~InstanceMaker() = default;

std::size_t InstanceMaker::column(KVOString const& name) const {
    std::vector<CKivoPropertyTable::Column> const& columns = _shape->table->columns();
    for (std::size_t i = 0; i < columns.size(); ++i)
        if (columns[i].name.equalsIgnoreCase(name)) return i;
    raise(CIM_ERR_NO_SUCH_PROPERTY, kWhere, "class " + _shape->table->className() + " has no property " + name);
}

InstanceMaker::Row InstanceMaker::row() const {
    Row row;
    row.reserve(_shape->decls.size());
    for (KVOSmrPtr<IKivoProperty> const& d : _shape->decls) row.push_back(d->getValue());
    return row;
}

void InstanceMaker::set(Row& row, std::size_t column, KVOSmrPtr<IKivoValue> const& value) const {
    row[column] = typed(*_shape->decls[column], value);
}

KVOSmrPtr<IKivoObject> InstanceMaker::make(Row row) const {
    std::vector<CKivoPropertyTable::Column> const& columns = _shape->table->columns();
    std::vector<KVOKeyBinding> keys;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (!_shape->isKey[i]) continue;
        if (!row[i]) raise(CIM_ERR_INVALID_PARAMETER, kWhere, "key property " + columns[i].name + " has no value");
        keys.push_back({columns[i].name, row[i]});
    }
    KVOSmrPtr<IKivoInstanceName> path(new CKivoInstanceName(_nameSpace, _shape->table->className(), std::move(keys),
                                                            KVOString()));
    return KVOSmrPtr<IKivoObject>(
        new CKivoPackedObject(_shape->table, std::make_shared<Row const>(std::move(row)), std::move(path)));
}

KVOSmrPtr<IKivoObject> buildInstance(KVOString const& nameSpace, IKivoClass const& cls, PropertyValues const& values) {
    InstanceMaker const maker(nameSpace, cls);
    std::vector<std::size_t> columns;
    for (auto const& given : values) columns.push_back(maker.column(given.first));
    InstanceMaker::Row row = maker.row();
    for (std::size_t i = 0; i < values.size(); ++i) maker.set(row, columns[i], values[i].second);
    return maker.make(std::move(row));
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

InstanceViewer::InstanceViewer(InstanceView view)
    : _view(std::move(view)),
      _limit(_view.limitTo ? _view.limitTo->getProperties() : std::vector<KVOSmrPtr<IKivoProperty>>()) {}

bool InstanceViewer::shown(KVOString const& name) const {
    return listed(_view.propertyList, name) && (!_view.limitTo || KVOFindNamed(_limit, name));
}

KVOSmrPtr<IKivoObject> InstanceViewer::operator()(IKivoObject const& instance) {
    if (auto const* packed = dynamic_cast<CKivoPackedObject const*>(&instance)) {
        // A view over the same value block: only the table is new.
        for (auto const& [from, to] : _tables)
            if (from == packed->sharedTable()) return packed->withTable(to);
        auto const& columns = packed->table().columns();
        std::vector<bool> keep;  // empty: every column
        if (_view.propertyList || _view.limitTo)
            for (CKivoPropertyTable::Column const& c : columns) keep.push_back(shown(c.name));
        auto to = packed->table().select(keep, _view.includeClassOrigin);
        constexpr std::size_t maxTables = 64;
        if (_tables.size() < maxTables) _tables.emplace_back(packed->sharedTable(), to);
        return packed->withTable(std::move(to));
    }
    KVOValSlist<KVOSmrPtr<IKivoProperty>> properties;
    for (KVOSmrPtr<IKivoProperty> const& p : instance.getProperties()) {
        if (!shown(p->getName())) continue;
        bool const keep = _view.includeClassOrigin || p->getClassOrigin().isEmpty();
        properties.append(keep ? p : CKivoProperty::withOrigin(*p, KVOString(), p->isPropagated()));
    }
    return KVOSmrPtr<IKivoObject>(new CKivoObject(instance.getClassName(), std::move(properties),
                                                  instance.getInstanceName()));
}

KVOSmrPtr<IKivoObject> viewOf(IKivoObject const& instance, InstanceView const& view) {
    return InstanceViewer(view)(instance);
}

}  // namespace kivo::om
