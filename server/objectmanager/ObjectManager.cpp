#include "objectmanager/ObjectManager.h"

#include "objectmanager/ClassChecks.h"
#include "objectmanager/CimStatus.h"

#include <algorithm>
#include <mutex>

namespace kivo::om {

namespace {

char const kWhere[] = "ObjectManager";

std::string bucket(KVOString const& nameSpace, KVOString const& className) {
    return nameSpaceKey(nameSpace) + ":" + nameKey(className);
}

std::vector<KVOSmrPtr<IKivoQualifier>> qualifiersIf(bool include, std::vector<KVOSmrPtr<IKivoQualifier>> q) {
    return include ? q : std::vector<KVOSmrPtr<IKivoQualifier>>();
}

KVOString originIf(bool include, KVOString const& origin) { return include ? origin : KVOString(); }

// Answers false once `path` has been seen (same class and keys); remembers it.
bool firstTime(std::vector<KVOSmrPtr<IKivoInstanceName>>& seen, KVOSmrPtr<IKivoInstanceName> const& path) {
    for (KVOSmrPtr<IKivoInstanceName> const& s : seen)
        if (s->getClassName().equalsIgnoreCase(path->getClassName()) && sameKeys(*s, *path)) return false;
    seen.push_back(path);
    return true;
}

}  // namespace

KVOSmrPtr<IKivoClass> viewOf(IKivoClass const& cls, ClassView const& view) {
    CKivoClass::Members m;
    m.superClass = cls.getSuperClass();
    m.superClassName = cls.getSuperClassName();
    m.qualifiers = qualifiersIf(view.includeQualifiers, cls.getQualifiers());
    for (KVOSmrPtr<IKivoProperty> const& p : cls.getProperties()) {
        if ((view.localOnly && p->isPropagated()) || !listed(view.propertyList, p->getName())) continue;
        m.properties.push_back(KVOSmrPtr<IKivoProperty>(new CKivoProperty(
            p->getName(), p->getCIMType(), p->isArray(), p->getValue(),
            qualifiersIf(view.includeQualifiers, p->getQualifiers()), originIf(view.includeClassOrigin, p->getClassOrigin()),
            p->isPropagated(), p->getReferenceClass(), p->getArraySize())));
    }
    for (KVOSmrPtr<IKivoMethod> const& method : cls.getMethods()) {
        if (view.localOnly && method->isPropagated()) continue;
        std::vector<KVOSmrPtr<IKivoParameter>> parameters;
        for (KVOSmrPtr<IKivoParameter> const& p : method->getParameters())
            parameters.push_back(KVOSmrPtr<IKivoParameter>(
                new CKivoParameter(p->getName(), p->getCIMType(), p->isArray(),
                                   qualifiersIf(view.includeQualifiers, p->getQualifiers()), p->getReferenceClass(),
                                   p->getArraySize())));
        m.methods.push_back(KVOSmrPtr<IKivoMethod>(new CKivoMethod(
            method->getName(), method->getReturnType(), std::move(parameters),
            qualifiersIf(view.includeQualifiers, method->getQualifiers()),
            originIf(view.includeClassOrigin, method->getClassOrigin()), method->isPropagated())));
    }
    return KVOSmrPtr<IKivoClass>(new CKivoClass(cls.getName(), std::move(m)));
}

KVOSmrPtr<IKivoValue> MethodCall::arg(KVOString const& name) const {
    for (auto const& [n, v] : in)
        if (n.equalsIgnoreCase(name)) return v;
    return nullptr;
}

ObjectManager::ObjectManager(StoreLimits limits) : _store(std::make_shared<InstanceStore>(limits)) {}

namespace {
// The object manager whose schema lock this thread holds in withSchemaHeld.
thread_local ObjectManager const* t_schemaHolder = nullptr;
}  // namespace

void ObjectManager::withSchemaHeld(std::function<void()> const& body) {
    std::unique_lock lock(_schemaLock);
    struct Holder {
        explicit Holder(ObjectManager const* om) { t_schemaHolder = om; }
        ~Holder() { t_schemaHolder = nullptr; }
    } holder(this);
    body();
}

ObjectManager::ObjectManager(std::shared_ptr<InstanceProvider> store) : _store(std::move(store)) {}

void ObjectManager::registerProvider(KVOString const& nameSpace, KVOString const& className,
                                     std::shared_ptr<InstanceProvider> provider) {
    _providers[bucket(nameSpace, className)] = std::move(provider);
}

void ObjectManager::registerMethod(KVOString const& nameSpace, KVOString const& className,
                                   KVOString const& methodName, MethodImpl impl) {
    _methods[bucket(nameSpace, className) + "." + nameKey(methodName)] = std::move(impl);
}

void ObjectManager::requireNamespace(KVOString const& nameSpace) const {
    if (!_repository.hasNamespace(nameSpace)) raise(CIM_ERR_INVALID_NAMESPACE, kWhere, "no namespace " + nameSpace);
}

KVOSmrPtr<IKivoClass> ObjectManager::requireClass(KVOString const& nameSpace, KVOString const& className) const {
    requireNamespace(nameSpace);
    KVOSmrPtr<IKivoClass> cls = _repository.getClass(nameSpace, className);
    if (!cls) raise(CIM_ERR_INVALID_CLASS, kWhere, "no class " + className + " in " + nameSpace);
    return cls;
}

InstanceProvider& ObjectManager::provider(KVOString const& nameSpace, IKivoClass const& cls) const {
    auto it = _providers.find(bucket(nameSpace, cls.getName()));
    return it == _providers.end() ? *_store : *it->second;
}

std::vector<KVOSmrPtr<IKivoClass>> ObjectManager::family(KVOString const& nameSpace,
                                                          KVOSmrPtr<IKivoClass> const& cls) const {
    std::vector<KVOSmrPtr<IKivoClass>> out{cls};
    for (KVOSmrPtr<IKivoClass> const& sub : _repository.subclasses(nameSpace, cls->getName(), true)) out.push_back(sub);
    return out;
}

// ---- Classes and qualifier declarations ----

KVOSmrPtr<IKivoClass> ObjectManager::getClass(KVOString const& nameSpace, KVOString const& className,
                                              ClassView const& view) const {
    return viewOf(*requireClass(nameSpace, className), view);
}

Producer<KVOSmrPtr<IKivoClass>> ObjectManager::enumerateClasses(KVOString const& nameSpace,
                                                                KVOString const& className, bool deep,
                                                                ClassView const& view) const {
    if (className.isEmpty()) requireNamespace(nameSpace);
    else requireClass(nameSpace, className);
    std::vector<KVOSmrPtr<IKivoClass>> classes = _repository.subclasses(nameSpace, className, deep);
    return [classes, view](Sink<KVOSmrPtr<IKivoClass>> const& out) {
        for (KVOSmrPtr<IKivoClass> const& c : classes)
            if (!out(viewOf(*c, view))) return;
    };
}

Producer<KVOString> ObjectManager::enumerateClassNames(KVOString const& nameSpace, KVOString const& className,
                                                       bool deep) const {
    if (className.isEmpty()) requireNamespace(nameSpace);
    else requireClass(nameSpace, className);
    std::vector<KVOSmrPtr<IKivoClass>> classes = _repository.subclasses(nameSpace, className, deep);
    return [classes](Sink<KVOString> const& out) {
        for (KVOSmrPtr<IKivoClass> const& c : classes)
            if (!out(c->getName())) return;
    };
}

std::vector<qora::IQualifierDef const*> ObjectManager::enumerateQualifiers(KVOString const& nameSpace) const {
    requireNamespace(nameSpace);
    return _repository.qualifierDecls(nameSpace);
}

qora::IQualifierDef const* ObjectManager::getQualifier(KVOString const& nameSpace, KVOString const& name) const {
    requireNamespace(nameSpace);
    qora::IQualifierDef const* decl = _repository.getQualifierDecl(nameSpace, name);
    if (!decl) raise(CIM_ERR_NOT_FOUND, kWhere, "no qualifier declaration " + name + " in " + nameSpace);
    return decl;
}

// ---- Schema changes ----

namespace {

// A client's qualifiers as the class declares them: without the propagated
// ones, and with flavors that may restrict the declaration's but not widen
// them (a QUALIFIER element without flavor attributes reads as
// EnableOverride and ToSubclass, which must not lift a DisableOverride or
// Restricted declaration).
class Declared {
public:
    Declared(ClassRepository const& repo, KVOString nameSpace) : _repo(repo), _ns(std::move(nameSpace)) {}

    std::vector<KVOSmrPtr<IKivoQualifier>> qualifiers(std::vector<KVOSmrPtr<IKivoQualifier>> const& qs) const {
        std::vector<KVOSmrPtr<IKivoQualifier>> out;
        for (KVOSmrPtr<IKivoQualifier> const& q : qs) {
            if (q->isPropagated()) continue;
            qora::IQualifierDef const* decl = _repo.getQualifierDecl(_ns, q->getName());
            if (!decl) {
                out.push_back(q);  // the checks refuse it
                continue;
            }
            KVOQualifierFlavors const d = decl->getFlavors(), g = q->getFlavors();
            KVOQualifierFlavors f;
            f.overridable = d.overridable && g.overridable;
            f.toSubclass = d.toSubclass && g.toSubclass;
            f.translatable = d.translatable || g.translatable;
            f.toInstance = d.toInstance || g.toInstance;
            out.push_back(KVOSmrPtr<IKivoQualifier>(new CKivoQualifier(decl->getName(), q->getCIMType(), q->getValue(), f)));
        }
        return out;
    }

    // The declaration a class received from a client stands for: its own
    // members and qualifiers, without class origins.
    CKivoClass::Members of(IKivoClass const& cls) const {
        CKivoClass::Members d;
        d.superClassName = cls.getSuperClassName();
        d.qualifiers = qualifiers(cls.getQualifiers());
        for (KVOSmrPtr<IKivoProperty> const& p : cls.getProperties()) {
            if (p->isPropagated()) continue;
            d.properties.push_back(KVOSmrPtr<IKivoProperty>(
                new CKivoProperty(p->getName(), p->getCIMType(), p->isArray(), p->getValue(), qualifiers(p->getQualifiers()),
                                  KVOString(), false, p->getReferenceClass(), p->getArraySize())));
        }
        for (KVOSmrPtr<IKivoMethod> const& m : cls.getMethods()) {
            if (m->isPropagated()) continue;
            std::vector<KVOSmrPtr<IKivoParameter>> parameters;
            for (KVOSmrPtr<IKivoParameter> const& a : m->getParameters()) {
                std::vector<KVOSmrPtr<IKivoQualifier>> qs = qualifiers(a->getQualifiers());
                for (KVOSmrPtr<IKivoQualifier> const& q : a->getQualifiers())  // passed on from an overridden method
                    if (q->isPropagated()) qs.push_back(q);
                parameters.push_back(KVOSmrPtr<IKivoParameter>(new CKivoParameter(
                    a->getName(), a->getCIMType(), a->isArray(), std::move(qs), a->getReferenceClass(), a->getArraySize())));
            }
            d.methods.push_back(KVOSmrPtr<IKivoMethod>(
                new CKivoMethod(m->getName(), m->getReturnType(), std::move(parameters), qualifiers(m->getQualifiers()))));
        }
        return d;
    }

private:
    ClassRepository const& _repo;
    KVOString const _ns;
};

// Classes with a reference (property or parameter) to `target`, other than
// `target` itself.
KVOString referrerOf(std::vector<KVOSmrPtr<IKivoClass>> const& classes, KVOString const& target) {
    for (KVOSmrPtr<IKivoClass> const& c : classes) {
        if (c->getName().equalsIgnoreCase(target)) continue;
        for (KVOSmrPtr<IKivoProperty> const& p : c->getProperties())
            if (!p->isPropagated() && p->getReferenceClass().equalsIgnoreCase(target)) return c->getName() + "." + p->getName();
        for (KVOSmrPtr<IKivoMethod> const& m : c->getMethods())
            for (KVOSmrPtr<IKivoParameter> const& a : m->getParameters())
                if (!m->isPropagated() && a->getReferenceClass().equalsIgnoreCase(target))
                    return c->getName() + "." + m->getName() + "." + a->getName();
    }
    return KVOString();
}

}  // namespace

void ObjectManager::requireNoInstances(KVOString const& nameSpace, IKivoClass const& cls) const {
    if (_providers.count(bucket(nameSpace, cls.getName())))
        raise(CIM_ERR_CLASS_HAS_INSTANCES, kWhere, "the instances of class " + cls.getName() + " come from a provider");
    bool any = false;
    _store->enumerate(nameSpace, cls, [&](KVOSmrPtr<IKivoObject> const&) { return !(any = true); });
    if (any) raise(CIM_ERR_CLASS_HAS_INSTANCES, kWhere, "class " + cls.getName() + " has instances");
}

void ObjectManager::journaled(std::function<void()> const& change,
                              std::function<void(SchemaJournal&)> const& record) {
    if (!_journal) return change();
    ClassRepository const before = _repository;  // shares its classes: a copy of the indexes only
    change();
    try {
        record(*_journal);
    } catch (KivoBaseException const&) {
        _repository = before;
        throw;
    } catch (std::exception const& e) {
        _repository = before;
        raise(CIM_ERR_FAILED, kWhere, KVOString("the change was not recorded: ") + e.what());
    } catch (...) {
        _repository = before;
        raise(CIM_ERR_FAILED, kWhere, "the change was not recorded");
    }
}

void ObjectManager::createClass(KVOString const& nameSpace, KVOSmrPtr<IKivoClass> const& cls) {
    std::unique_lock lock(_schemaLock);
    requireNamespace(nameSpace);
    if (!cls || cls->getName().isEmpty()) raise(CIM_ERR_INVALID_PARAMETER, kWhere, "no class given");
    if (_repository.getClass(nameSpace, cls->getName()))
        raise(CIM_ERR_ALREADY_EXISTS, kWhere, "class " + cls->getName() + " already exists");
    CKivoClass::Members declared = Declared(_repository, nameSpace).of(*cls);
    checks::checkClass(_repository, nameSpace, cls->getName(), declared);
    KVOString const name = cls->getName();
    journaled([&] { _repository.addClass(nameSpace, name, std::move(declared)); },
              [&](SchemaJournal& j) { j.classSet(nameSpace, *_repository.getClass(nameSpace, name)); });
}

void ObjectManager::modifyClass(KVOString const& nameSpace, KVOSmrPtr<IKivoClass> const& cls) {
    std::unique_lock lock(_schemaLock);
    requireNamespace(nameSpace);
    if (!cls || cls->getName().isEmpty()) raise(CIM_ERR_INVALID_PARAMETER, kWhere, "no class given");
    KVOSmrPtr<IKivoClass> existing = _repository.getClass(nameSpace, cls->getName());
    if (!existing) raise(CIM_ERR_NOT_FOUND, kWhere, "no class " + cls->getName() + " in " + nameSpace);
    if (!_repository.subclasses(nameSpace, existing->getName(), false).empty())
        raise(CIM_ERR_CLASS_HAS_CHILDREN, kWhere, "class " + existing->getName() + " has subclasses");
    requireNoInstances(nameSpace, *existing);
    CKivoClass::Members declared = Declared(_repository, nameSpace).of(*cls);
    checks::checkClass(_repository, nameSpace, existing->getName(), declared);
    KVOString const name = existing->getName();
    journaled([&] { _repository.replaceClass(nameSpace, name, std::move(declared)); },
              [&](SchemaJournal& j) { j.classSet(nameSpace, *_repository.getClass(nameSpace, name)); });
}

void ObjectManager::deleteClass(KVOString const& nameSpace, KVOString const& className) {
    std::unique_lock lock(_schemaLock);
    requireNamespace(nameSpace);
    KVOSmrPtr<IKivoClass> existing = _repository.getClass(nameSpace, className);
    if (!existing) raise(CIM_ERR_NOT_FOUND, kWhere, "no class " + className + " in " + nameSpace);
    if (!_repository.subclasses(nameSpace, existing->getName(), false).empty())
        raise(CIM_ERR_CLASS_HAS_CHILDREN, kWhere, "class " + existing->getName() + " has subclasses");
    requireNoInstances(nameSpace, *existing);
    KVOString const referrer = referrerOf(_repository.subclasses(nameSpace, KVOString(), true), existing->getName());
    if (!referrer.isEmpty())
        raise(CIM_ERR_FAILED, kWhere, "class " + existing->getName() + " is named by the reference " + referrer);
    KVOString const name = existing->getName();
    journaled([&] { _repository.removeClass(nameSpace, name); },
              [&](SchemaJournal& j) { j.classDeleted(nameSpace, name); });
}

void ObjectManager::setQualifier(KVOString const& nameSpace, KVOSmrPtr<qora::IQualifierDef> const& decl) {
    std::unique_lock lock(_schemaLock);
    requireNamespace(nameSpace);
    if (!decl || decl->getName().isEmpty()) raise(CIM_ERR_INVALID_PARAMETER, kWhere, "no qualifier declaration given");
    if (KVOSmrPtr<IKivoValue> def = decl->getDefault();
        def && (def->isArray() != decl->isArray() || def->getCIMType() != decl->getCIMType()))
        raise(CIM_ERR_INVALID_PARAMETER, kWhere, "the default of qualifier " + decl->getName() + " is not of its type");
    if (qora::IQualifierDef const* old = _repository.getQualifierDecl(nameSpace, decl->getName())) {
        bool const sameType = old->getCIMType() == decl->getCIMType() && old->isArray() == decl->isArray();
        if (!sameType) {
            std::vector<KVOString> const users = _repository.classesUsing(nameSpace, decl->getName());
            if (!users.empty())
                raise(CIM_ERR_FAILED, kWhere,
                      "qualifier " + decl->getName() + " changes its type but is used by class " + users.front());
        }
    }
    journaled([&] { _repository.addQualifierDecl(nameSpace, decl); },
              [&](SchemaJournal& j) { j.qualifierSet(nameSpace, *_repository.getQualifierDecl(nameSpace, decl->getName())); });
}

void ObjectManager::deleteQualifier(KVOString const& nameSpace, KVOString const& name) {
    std::unique_lock lock(_schemaLock);
    requireNamespace(nameSpace);
    if (!_repository.getQualifierDecl(nameSpace, name))
        raise(CIM_ERR_NOT_FOUND, kWhere, "no qualifier declaration " + name + " in " + nameSpace);
    std::vector<KVOString> const users = _repository.classesUsing(nameSpace, name);
    if (!users.empty()) raise(CIM_ERR_FAILED, kWhere, "qualifier " + name + " is used by class " + users.front());
    KVOString const declared = _repository.getQualifierDecl(nameSpace, name)->getName();
    journaled([&] { _repository.removeQualifierDecl(nameSpace, name); },
              [&](SchemaJournal& j) { j.qualifierDeleted(nameSpace, declared); });
}

// ---- Instances ----

KVOSmrPtr<IKivoObject> ObjectManager::findInstance(KVOString const& nameSpace, IKivoInstanceName const& path) const {
    std::vector<KVOSmrPtr<IKivoClass>> const classes = family(nameSpace, requireClass(nameSpace, path.getClassName()));
    for (KVOSmrPtr<IKivoClass> const& c : classes)
        if (KVOSmrPtr<IKivoObject> found = provider(nameSpace, *c).get(nameSpace, *c, path)) return found;
    // Only some keys given: the one instance they match.
    std::size_t const given = path.getKeys().size();
    if (given == 0 || given >= ClassRepository::keyNames(*classes.front()).size()) return nullptr;
    KVOSmrPtr<IKivoObject> match;
    int matches = 0;
    for (KVOSmrPtr<IKivoClass> const& c : classes) {
        provider(nameSpace, *c).enumerate(nameSpace, *c, [&](KVOSmrPtr<IKivoObject> const& instance) {
            if (keysWithin(path, *instance->getInstanceName())) {
                match = instance;
                ++matches;
            }
            return matches < 2;
        });
    }
    return matches == 1 ? match : nullptr;
}

namespace {

KVOSmrPtr<IKivoObject> required(KVOSmrPtr<IKivoObject> found, IKivoInstanceName const& path) {
    if (!found) raise(CIM_ERR_NOT_FOUND, kWhere, "no instance " + path.toString());
    return found;
}

void requirePath(KVOSmrPtr<IKivoInstanceName> const& path) {
    if (!path) raise(CIM_ERR_INVALID_PARAMETER, kWhere, "no instance name given");
}

}  // namespace

KVOSmrPtr<IKivoObject> ObjectManager::getInstance(KVOString const& nameSpace,
                                                  KVOSmrPtr<IKivoInstanceName> const& path, InstanceView const& view) {
    requirePath(path);
    return viewOf(*required(findInstance(nameSpace, *path), *path), view);
}

Producer<KVOSmrPtr<IKivoObject>> ObjectManager::enumerateInstances(KVOString const& nameSpace,
                                                                   KVOString const& className, bool deep,
                                                                   InstanceView const& view) {
    KVOSmrPtr<IKivoClass> cls = requireClass(nameSpace, className);
    InstanceView v = view;
    if (!deep) v.limitTo = cls;
    std::vector<KVOSmrPtr<IKivoClass>> classes = family(nameSpace, cls);
    return [this, nameSpace, classes, v](Sink<KVOSmrPtr<IKivoObject>> const& out) {
        InstanceViewer viewed(v);
        bool more = true;
        for (std::size_t i = 0; more && i < classes.size(); ++i)
            provider(nameSpace, *classes[i]).enumerate(nameSpace, *classes[i], [&](KVOSmrPtr<IKivoObject> const& o) {
                return more = out(viewed(*o));
            });
    };
}

Producer<KVOSmrPtr<IKivoInstanceName>> ObjectManager::enumerateInstanceNames(KVOString const& nameSpace,
                                                                             KVOString const& className) {
    std::vector<KVOSmrPtr<IKivoClass>> classes = family(nameSpace, requireClass(nameSpace, className));
    return [this, nameSpace, classes](Sink<KVOSmrPtr<IKivoInstanceName>> const& out) {
        bool more = true;
        for (std::size_t i = 0; more && i < classes.size(); ++i)
            provider(nameSpace, *classes[i]).enumerate(nameSpace, *classes[i], [&](KVOSmrPtr<IKivoObject> const& o) {
                return more = out(o->getInstanceName());
            });
    };
}

KVOSmrPtr<IKivoValue> ObjectManager::getProperty(KVOString const& nameSpace,
                                                 KVOSmrPtr<IKivoInstanceName> const& path,
                                                 KVOString const& propertyName) {
    requirePath(path);
    KVOSmrPtr<IKivoObject> instance = required(findInstance(nameSpace, *path), *path);
    KVOSmrPtr<IKivoProperty> p = instance->getProperty(propertyName);
    if (!p) raise(CIM_ERR_NO_SUCH_PROPERTY, kWhere, instance->getClassName() + " has no property " + propertyName);
    return p->getValue();
}

void ObjectManager::setProperty(KVOString const& nameSpace, KVOSmrPtr<IKivoInstanceName> const& path,
                                KVOString const& propertyName, KVOSmrPtr<IKivoValue> const& value) {
    requirePath(path);
    KVOSmrPtr<IKivoObject> instance = required(findInstance(nameSpace, *path), *path);
    KVOSmrPtr<IKivoClass> cls = requireClass(nameSpace, instance->getClassName());
    if (!cls->getProperty(propertyName))
        raise(CIM_ERR_NO_SUCH_PROPERTY, kWhere, cls->getName() + " has no property " + propertyName);
    if (instance->getInstanceName()->getKey(propertyName))
        raise(CIM_ERR_INVALID_PARAMETER, kWhere, "key property " + propertyName + " cannot be set");
    // Read, change and write in one step of the provider: a concurrent write
    // of another property is not lost.
    provider(nameSpace, *cls).update(nameSpace, *cls, *instance->getInstanceName(), [&](IKivoObject const& current) {
        PropertyValues values = valuesOf(current);
        values.emplace_back(propertyName, value);
        return buildInstance(nameSpace, *cls, values);
    });
}

KVOSmrPtr<IKivoInstanceName> ObjectManager::createInstance(KVOString const& nameSpace,
                                                           KVOSmrPtr<IKivoObject> const& instance) {
    std::shared_lock schema(_schemaLock, std::defer_lock);
    if (t_schemaHolder != this) schema.lock();
    requireNamespace(nameSpace);
    if (!instance) raise(CIM_ERR_INVALID_PARAMETER, kWhere, "no instance given");
    KVOSmrPtr<IKivoClass> cls = requireClass(nameSpace, instance->getClassName());
    if (KVOQualifierFlag(cls->getQualifier("Abstract")))
        raise(CIM_ERR_INVALID_PARAMETER, kWhere, "class " + cls->getName() + " is abstract");
    KVOSmrPtr<IKivoObject> complete = buildInstance(nameSpace, *cls, valuesOf(*instance));
    provider(nameSpace, *cls).create(nameSpace, *cls, complete);
    return complete->getInstanceName();
}

void ObjectManager::modifyInstance(KVOString const& nameSpace, KVOSmrPtr<IKivoInstanceName> const& path,
                                   KVOSmrPtr<IKivoObject> const& instance,
                                   KVOSmrPtr<KVOValSlist<KVOString>> const& propertyList) {
    requireNamespace(nameSpace);
    if (!instance) raise(CIM_ERR_INVALID_PARAMETER, kWhere, "no modified instance given");
    KVOSmrPtr<IKivoInstanceName> target = path ? path : instance->getInstanceName();
    requirePath(target);
    KVOSmrPtr<IKivoObject> existing = required(findInstance(nameSpace, *target), *target);
    KVOSmrPtr<IKivoClass> cls = requireClass(nameSpace, existing->getClassName());
    KVOSmrPtr<IKivoInstanceName> const existingPath = existing->getInstanceName();
    // The changes, checked before the write; keys keep their values.
    PropertyValues changes;
    auto change = [&](KVOString const& name, KVOSmrPtr<IKivoValue> const& value) {
        if (!cls->getProperty(name)) raise(CIM_ERR_NO_SUCH_PROPERTY, kWhere, cls->getName() + " has no property " + name);
        if (!existingPath->getKey(name)) changes.emplace_back(name, value);
    };
    for (KVOSmrPtr<IKivoProperty> const& p : instance->getProperties())
        if (listed(propertyList, p->getName())) change(p->getName(), p->getValue());
    if (propertyList)
        for (KVOString const& name : *propertyList)
            if (!instance->getProperty(name)) change(name, nullptr);
    // Applied to the instance as it is at the write, in one step of the
    // provider, so that a concurrent change of other properties is kept.
    provider(nameSpace, *cls).update(nameSpace, *cls, *existingPath, [&](IKivoObject const& current) {
        PropertyValues values = valuesOf(current);
        values.insert(values.end(), changes.begin(), changes.end());
        return buildInstance(nameSpace, *cls, values);
    });
}

void ObjectManager::deleteInstance(KVOString const& nameSpace, KVOSmrPtr<IKivoInstanceName> const& path) {
    requirePath(path);
    KVOSmrPtr<IKivoObject> existing = required(findInstance(nameSpace, *path), *path);
    KVOSmrPtr<IKivoClass> cls = requireClass(nameSpace, existing->getClassName());
    provider(nameSpace, *cls).remove(nameSpace, *cls, *existing->getInstanceName());
}

// ---- Associations ----

bool ObjectManager::classLevel(IKivoInstanceName const& objectName, IKivoClass const& cls) {
    return objectName.getKeys().empty() && !ClassRepository::keyNames(cls).empty();
}

std::function<void(ObjectManager::StepSink const&)> ObjectManager::walk(KVOString const& nameSpace,
                                                                        Traversal const& traversal,
                                                                        bool associatorWalk) const {
    requireNamespace(nameSpace);
    if (!traversal.objectName) raise(CIM_ERR_INVALID_PARAMETER, kWhere, "no object name given");
    KVOSmrPtr<IKivoClass> source = _repository.getClass(nameSpace, traversal.objectName->getClassName());
    if (!source)
        raise(CIM_ERR_INVALID_PARAMETER, kWhere, "no class " + traversal.objectName->getClassName() + " in " + nameSpace);
    for (KVOString const* filter : {&traversal.assocClass, &traversal.resultClass})
        if (!filter->isEmpty() && !_repository.getClass(nameSpace, *filter))
            raise(CIM_ERR_INVALID_PARAMETER, kWhere, "no class " + *filter + " in " + nameSpace);
    bool const onClasses = classLevel(*traversal.objectName, *source);
    return [this, nameSpace, traversal, associatorWalk, source, onClasses](StepSink const& out) {
        if (onClasses) return walkClasses(nameSpace, traversal, associatorWalk, source, out);
        // The instance's own path, should the given one name a superclass or
        // only some keys.
        Traversal t = traversal;
        if (KVOSmrPtr<IKivoObject> found = findInstance(nameSpace, *t.objectName)) t.objectName = found->getInstanceName();
        walkInstances(nameSpace, t, associatorWalk, out);
    };
}

namespace {

std::vector<KVOSmrPtr<IKivoProperty>> referencesOf(IKivoClass const& cls) {
    std::vector<KVOSmrPtr<IKivoProperty>> out;
    for (KVOSmrPtr<IKivoProperty> const& p : cls.getProperties())
        if (p->getCIMType() == KVOCIMType::Reference && !p->isArray()) out.push_back(p);
    return out;
}

bool passes(KVOString const& filter, KVOString const& name) { return filter.isEmpty() || filter.equalsIgnoreCase(name); }

}  // namespace

void ObjectManager::walkInstances(KVOString const& nameSpace, Traversal const& t, bool associatorWalk,
                                  StepSink const& out) const {
    IKivoInstanceName const& from = *t.objectName;
    auto pointsAtSource = [&](KVOSmrPtr<IKivoInstanceName> const& ref) {
        return ref && _repository.isA(nameSpace, ref->getClassName(), from.getClassName()) && sameKeys(*ref, from);
    };
    auto referenceIn = [](IKivoObject const& o, KVOString const& name) -> KVOSmrPtr<IKivoInstanceName> {
        KVOSmrPtr<IKivoProperty> p = o.getProperty(name);
        KVOSmrPtr<IKivoValue> v = p ? p->getValue() : nullptr;
        return v ? v->getReference() : nullptr;
    };
    bool more = true;
    for (KVOSmrPtr<IKivoClass> const& assoc : _repository.associations(nameSpace)) {
        if (!more) return;
        if (!t.assocClass.isEmpty() && !_repository.isA(nameSpace, assoc->getName(), t.assocClass)) continue;
        if (!associatorWalk && !t.resultClass.isEmpty() && !_repository.isA(nameSpace, assoc->getName(), t.resultClass))
            continue;
        std::vector<KVOSmrPtr<IKivoProperty>> const refs = referencesOf(*assoc);
        provider(nameSpace, *assoc).enumerate(nameSpace, *assoc, [&](KVOSmrPtr<IKivoObject> const& link) {
            for (KVOSmrPtr<IKivoProperty> const& role : refs) {
                if (!passes(t.role, role->getName()) || !pointsAtSource(referenceIn(*link, role->getName()))) continue;
                if (!associatorWalk) return more = out(Step{link, assoc, nullptr});
                for (KVOSmrPtr<IKivoProperty> const& other : refs) {
                    if (other == role || !passes(t.resultRole, other->getName())) continue;
                    KVOSmrPtr<IKivoInstanceName> target = referenceIn(*link, other->getName());
                    if (!target) continue;
                    if (!t.resultClass.isEmpty() && !_repository.isA(nameSpace, target->getClassName(), t.resultClass))
                        continue;
                    if (!(more = out(Step{link, assoc, target}))) return false;
                }
            }
            return more;
        });
    }
}

void ObjectManager::walkClasses(KVOString const& nameSpace, Traversal const& t, bool associatorWalk,
                                KVOSmrPtr<IKivoClass> const& source, StepSink const& out) const {
    auto related = [&](KVOString const& referenceClass) {
        return referenceClass.isEmpty() || _repository.isA(nameSpace, source->getName(), referenceClass) ||
               _repository.isA(nameSpace, referenceClass, source->getName());
    };
    for (KVOSmrPtr<IKivoClass> const& assoc : _repository.associations(nameSpace)) {
        if (!t.assocClass.isEmpty() && !_repository.isA(nameSpace, assoc->getName(), t.assocClass)) continue;
        if (!associatorWalk && !t.resultClass.isEmpty() && !_repository.isA(nameSpace, assoc->getName(), t.resultClass))
            continue;
        std::vector<KVOSmrPtr<IKivoProperty>> const refs = referencesOf(*assoc);
        for (KVOSmrPtr<IKivoProperty> const& role : refs) {
            if (!passes(t.role, role->getName()) || !related(role->getReferenceClass())) continue;
            if (!associatorWalk) {
                if (!out(Step{nullptr, assoc, nullptr})) return;
                break;
            }
            for (KVOSmrPtr<IKivoProperty> const& other : refs) {
                KVOString const target = other->getReferenceClass();
                if (other == role || !passes(t.resultRole, other->getName()) || target.isEmpty()) continue;
                if (!t.resultClass.isEmpty() && !_repository.isA(nameSpace, target, t.resultClass)) continue;
                KVOSmrPtr<IKivoInstanceName> path(new CKivoInstanceName(nameSpace, target));
                if (!out(Step{nullptr, assoc, path})) return;
            }
        }
    }
}

KVOSmrPtr<IKivoInstanceName> ObjectManager::namedPath(KVOString const& nameSpace, Step const& step,
                                                      bool associatorWalk) {
    if (!associatorWalk)
        return step.association ? step.association->getInstanceName()
                                : KVOSmrPtr<IKivoInstanceName>(new CKivoInstanceName(nameSpace, step.associationClass->getName()));
    if (!step.association) return step.target;
    KVOSmrPtr<IKivoObject> target = findInstance(nameSpace, *step.target);
    return target ? target->getInstanceName() : nullptr;
}

Producer<KVOSmrPtr<IKivoValue>> ObjectManager::associators(KVOString const& nameSpace, Traversal const& traversal,
                                                           InstanceView const& view) {
    auto steps = walk(nameSpace, traversal, true);
    return [this, nameSpace, steps, view](Sink<KVOSmrPtr<IKivoValue>> const& out) {
        InstanceViewer viewed(view);
        std::vector<KVOSmrPtr<IKivoInstanceName>> seen;
        steps([&](Step const& step) {
            if (!step.association) {
                KVOSmrPtr<IKivoClass> cls = _repository.getClass(nameSpace, step.target->getClassName());
                ClassView cv{false, false, view.includeClassOrigin, view.propertyList};
                return !cls || !firstTime(seen, step.target) || out(CKivoValue::makeClass(viewOf(*cls, cv)));
            }
            KVOSmrPtr<IKivoObject> target = findInstance(nameSpace, *step.target);
            if (!target || !firstTime(seen, target->getInstanceName())) return true;
            return out(CKivoValue::makeInstance(viewed(*target)));
        });
    };
}

Producer<KVOSmrPtr<IKivoInstanceName>> ObjectManager::associatorNames(KVOString const& nameSpace,
                                                                      Traversal const& traversal) {
    auto steps = walk(nameSpace, traversal, true);
    return [this, nameSpace, steps](Sink<KVOSmrPtr<IKivoInstanceName>> const& out) {
        std::vector<KVOSmrPtr<IKivoInstanceName>> seen;
        steps([&](Step const& step) {
            KVOSmrPtr<IKivoInstanceName> path = namedPath(nameSpace, step, true);
            return !path || !firstTime(seen, path) || out(path);
        });
    };
}

Producer<KVOSmrPtr<IKivoValue>> ObjectManager::references(KVOString const& nameSpace, Traversal const& traversal,
                                                          InstanceView const& view) {
    auto steps = walk(nameSpace, traversal, false);
    return [steps, view](Sink<KVOSmrPtr<IKivoValue>> const& out) {
        InstanceViewer viewed(view);
        steps([&](Step const& step) {
            if (!step.association) {
                ClassView cv{false, false, view.includeClassOrigin, view.propertyList};
                return out(CKivoValue::makeClass(viewOf(*step.associationClass, cv)));
            }
            return out(CKivoValue::makeInstance(viewed(*step.association)));
        });
    };
}

Producer<KVOSmrPtr<IKivoInstanceName>> ObjectManager::referenceNames(KVOString const& nameSpace,
                                                                     Traversal const& traversal) {
    auto steps = walk(nameSpace, traversal, false);
    return [this, nameSpace, steps](Sink<KVOSmrPtr<IKivoInstanceName>> const& out) {
        steps([&](Step const& step) { return out(namedPath(nameSpace, step, false)); });
    };
}

// ---- Methods ----

MethodResult ObjectManager::invokeMethod(KVOString const& nameSpace, KVOString const& className,
                                         KVOSmrPtr<IKivoInstanceName> const& path, KVOString const& methodName,
                                         std::vector<KVOSmrPtr<IKivoActualParameter>> const& in) {
    MethodCall call;
    call.nameSpace = nameSpace;
    call.cls = requireClass(nameSpace, path ? path->getClassName() : className);
    if (path) {
        call.instance = required(findInstance(nameSpace, *path), *path);
        call.cls = requireClass(nameSpace, call.instance->getClassName());
    }
    call.method = call.cls->getMethod(methodName);
    if (!call.method) raise(CIM_ERR_METHOD_NOT_FOUND, kWhere, call.cls->getName() + " has no method " + methodName);
    for (KVOSmrPtr<IKivoActualParameter> const& arg : in) {
        KVOSmrPtr<IKivoParameter> decl = call.method->getParameter(arg->getName());
        if (!decl || !decl->isIn())
            raise(CIM_ERR_INVALID_PARAMETER, kWhere, methodName + " has no input parameter " + arg->getName());
        KVOSmrPtr<IKivoValue> v = arg->getValue();
        try {
            v = CKivoValue::convert(v, decl->getCIMType());
        } catch (KivoBaseException const& e) {
            raise(CIM_ERR_INVALID_PARAMETER, kWhere, "parameter " + arg->getName() + ": " + e.getMessage());
        }
        if (v && v->isArray() != decl->isArray())
            raise(CIM_ERR_INVALID_PARAMETER, kWhere, "parameter " + arg->getName() + " has the wrong array-ness");
        call.in.emplace_back(decl->getName(), v);
    }
    // The implementation registered for the class or its nearest superclass.
    MethodImpl const* impl = nullptr;
    for (KVOSmrPtr<IKivoClass> c = call.cls; c && !impl; c = c->getSuperClass()) {
        auto it = _methods.find(bucket(nameSpace, c->getName()) + "." + nameKey(methodName));
        if (it != _methods.end()) impl = &it->second;
    }
    if (!impl) raise(CIM_ERR_METHOD_NOT_AVAILABLE, kWhere, "no implementation of " + methodName);
    MethodResult result = (*impl)(*this, call);
    result.returnValue = CKivoValue::convert(result.returnValue, call.method->getReturnType());
    for (auto& [name, value] : result.out) {
        KVOSmrPtr<IKivoParameter> decl = call.method->getParameter(name);
        if (!decl || !decl->isOut()) raise(CIM_ERR_FAILED, kWhere, methodName + " has no output parameter " + name);
        name = decl->getName();
        value = CKivoValue::convert(value, decl->getCIMType());
    }
    return result;
}

// ---- Queries ----

wql::BoundQuery ObjectManager::bindQuery(KVOString const& nameSpace, KVOString const& queryLanguage,
                                         KVOString const& query) const {
    if (!wql::isSupportedLanguage(queryLanguage.str()))
        raise(CIM_ERR_QUERY_LANGUAGE_NOT_SUPPORTED, kWhere, "query language " + queryLanguage + " is not supported");
    requireNamespace(nameSpace);
    try {
        wql::Query parsed = wql::parse(query.str());
        KVOSmrPtr<IKivoClass> cls = _repository.getClass(nameSpace, KVOString(parsed.className));
        if (!cls)
            throw wql::QueryError(parsed.classPosition, "no class " + parsed.className + " in " + nameSpace.str());
        return wql::bind(std::move(parsed), cls);
    } catch (wql::QueryError const& e) {
        raise(CIM_ERR_INVALID_QUERY, kWhere, KVOString(e.what()));
    }
}

void ObjectManager::matching(KVOString const& nameSpace, std::vector<KVOSmrPtr<IKivoClass>> const& classes,
                             wql::BoundQuery const& q, Sink<KVOSmrPtr<IKivoObject>> const& out) const {
    bool more = true;
    for (std::size_t i = 0; more && i < classes.size(); ++i)
        provider(nameSpace, *classes[i]).enumerate(nameSpace, *classes[i], [&](KVOSmrPtr<IKivoObject> const& o) {
            return !q.matches(*o) || (more = out(o));
        });
}

Producer<KVOSmrPtr<IKivoObject>> ObjectManager::execQuery(KVOString const& nameSpace, KVOString const& queryLanguage,
                                                          KVOString const& query) {
    auto q = std::make_shared<wql::BoundQuery const>(bindQuery(nameSpace, queryLanguage, query));
    std::vector<KVOSmrPtr<IKivoClass>> classes = family(nameSpace, q->queryClass());
    return [this, nameSpace, classes, q](Sink<KVOSmrPtr<IKivoObject>> const& out) {
        matching(nameSpace, classes, *q, [&](KVOSmrPtr<IKivoObject> const& o) { return out(q->project(*o)); });
    };
}

KVOSmrPtr<IKivoClass> ObjectManager::queryResultClass(KVOString const& nameSpace, KVOString const& queryLanguage,
                                                      KVOString const& query) const {
    return bindQuery(nameSpace, queryLanguage, query).resultClass();
}

QueryRows ObjectManager::queryRows(KVOString const& nameSpace, KVOString const& queryLanguage, KVOString const& query) {
    auto q = std::make_shared<wql::BoundQuery const>(bindQuery(nameSpace, queryLanguage, query));
    std::vector<KVOSmrPtr<IKivoClass>> classes = family(nameSpace, q->queryClass());
    QueryRows rows;
    rows.className = q->queryClass()->getName();
    rows.columns = q->columns();
    rows.rows = [this, nameSpace, classes, q](Sink<qora::QueryRow> const& out) {
        matching(nameSpace, classes, *q, [&](KVOSmrPtr<IKivoObject> const& o) {
            qora::QueryRow row(new KVOValSlist<KVOSmrPtr<IKivoProperty>>());
            for (KVOSmrPtr<IKivoProperty> const& p : q->row(*o)) row->append(p);
            return out(row);
        });
    };
    return rows;
}

}  // namespace kivo::om
