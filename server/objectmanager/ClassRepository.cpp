#include "objectmanager/ClassRepository.h"

#include "objectmanager/CimStatus.h"

#include <algorithm>
#include <cctype>
#include <mutex>

namespace kivo::om {

std::string nameKey(KVOString const& name) {
    std::string key = name.str();
    for (char& c : key) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return key;
}

std::string nameSpaceKey(KVOString const& nameSpace) {
    std::string key = nameKey(nameSpace);
    std::size_t const b = key.find_first_not_of('/');
    if (b == std::string::npos) return std::string();
    std::size_t const e = key.find_last_not_of('/');
    return key.substr(b, e - b + 1);
}

namespace {

char const kWhere[] = "ClassRepository";

// Qualifiers that pass from `inherited` to a subclass's element (those with
// the ToSubclass flavor), marked propagated, unless `own` redefines them;
// `own` first.
std::vector<KVOSmrPtr<IKivoQualifier>> mergeQualifiers(std::vector<KVOSmrPtr<IKivoQualifier>> const& own,
                                                       std::vector<KVOSmrPtr<IKivoQualifier>> const& inherited) {
    std::vector<KVOSmrPtr<IKivoQualifier>> out;
    for (KVOSmrPtr<IKivoQualifier> const& q : own) out.push_back(CKivoQualifier::withPropagated(*q, false));
    for (KVOSmrPtr<IKivoQualifier> const& q : inherited) {
        if (!q->getFlavors().toSubclass) continue;
        bool const redefined = std::any_of(own.begin(), own.end(), [&](KVOSmrPtr<IKivoQualifier> const& o) {
            return o->getName().equalsIgnoreCase(q->getName());
        });
        if (!redefined) out.push_back(CKivoQualifier::withPropagated(*q, true));
    }
    return out;
}

// Merges own members over inherited ones: inherited members first in their
// order (marked propagated unless overridden, an override taking the
// inherited one's place), then the members the class adds. `Element` is
// IKivoProperty or IKivoMethod; `rebuild(member, qualifiers, origin,
// propagated)` makes the merged member.
template <class Element, class Rebuild>
std::vector<KVOSmrPtr<Element>> mergeMembers(std::vector<KVOSmrPtr<Element>> const& own,
                                             std::vector<KVOSmrPtr<Element>> const& inherited,
                                             KVOString const& className, Rebuild rebuild) {
    std::vector<KVOSmrPtr<Element>> out;
    std::vector<bool> used(own.size(), false);
    for (KVOSmrPtr<Element> const& base : inherited) {
        auto it = std::find_if(own.begin(), own.end(), [&](KVOSmrPtr<Element> const& o) {
            return o->getName().equalsIgnoreCase(base->getName());
        });
        if (it == own.end()) {
            out.push_back(rebuild(*base, mergeQualifiers({}, base->getQualifiers()), base->getClassOrigin(), true));
        } else {
            used[static_cast<std::size_t>(it - own.begin())] = true;
            out.push_back(rebuild(**it, mergeQualifiers((*it)->getQualifiers(), base->getQualifiers()), className, false));
        }
    }
    for (std::size_t i = 0; i < own.size(); ++i) {
        if (used[i]) continue;
        out.push_back(rebuild(*own[i], mergeQualifiers(own[i]->getQualifiers(), {}), className, false));
    }
    return out;
}

KVOSmrPtr<IKivoProperty> rebuildProperty(IKivoProperty const& p, std::vector<KVOSmrPtr<IKivoQualifier>> qualifiers,
                                         KVOString origin, bool propagated) {
    return KVOSmrPtr<IKivoProperty>(new CKivoProperty(p.getName(), p.getCIMType(), p.isArray(), p.getValue(),
                                                      std::move(qualifiers), std::move(origin), propagated,
                                                      p.getReferenceClass(), p.getArraySize()));
}

KVOSmrPtr<IKivoMethod> rebuildMethod(IKivoMethod const& m, std::vector<KVOSmrPtr<IKivoQualifier>> qualifiers,
                                     KVOString origin, bool propagated) {
    return KVOSmrPtr<IKivoMethod>(new CKivoMethod(m.getName(), m.getReturnType(), m.getParameters(),
                                                  std::move(qualifiers), std::move(origin), propagated));
}

}  // namespace

ClassRepository::Namespace* ClassRepository::find(KVOString const& nameSpace) {
    auto it = _namespaces.find(nameSpaceKey(nameSpace));
    return it == _namespaces.end() ? nullptr : &it->second;
}

ClassRepository::Namespace const* ClassRepository::find(KVOString const& nameSpace) const {
    auto it = _namespaces.find(nameSpaceKey(nameSpace));
    return it == _namespaces.end() ? nullptr : &it->second;
}

ClassRepository::Namespace& ClassRepository::require(KVOString const& nameSpace) {
    Namespace* ns = find(nameSpace);
    if (!ns) raise(CIM_ERR_INVALID_NAMESPACE, kWhere, "no namespace " + nameSpace);
    return *ns;
}

ClassRepository::Entry const* ClassRepository::entry(Namespace const& ns, KVOString const& name) {
    auto it = ns.byName.find(nameKey(name));
    return it == ns.byName.end() ? nullptr : &ns.classes[it->second];
}

ClassRepository::ClassRepository(ClassRepository const& other) {
    std::shared_lock lock(other._lock);
    _namespaces = other._namespaces;
    _namespaceOrder = other._namespaceOrder;
}

ClassRepository& ClassRepository::operator=(ClassRepository const& other) {
    if (this == &other) return *this;
    ClassRepository copy(other);
    std::unique_lock lock(_lock);
    retire(copy._namespaces);
    _namespaces = std::move(copy._namespaces);
    _namespaceOrder = std::move(copy._namespaceOrder);
    return *this;
}

void ClassRepository::retire(std::map<std::string, Namespace> const& now) {
    for (auto const& [key, ns] : _namespaces) {
        auto other = now.find(key);
        for (auto const& [name, decl] : ns.qualifiers) {
            bool kept = false;
            if (other != now.end()) {
                auto it = other->second.qualifiers.find(name);
                kept = it != other->second.qualifiers.end() && it->second.get() == decl.get();
            }
            if (!kept) _retired.push_back(decl);
        }
    }
}

void ClassRepository::addNamespace(KVOString const& nameSpace) {
    std::unique_lock lock(_lock);
    std::string key = nameSpaceKey(nameSpace);
    if (_namespaces.count(key)) return;
    Namespace ns;
    std::string const& given = nameSpace.str();
    std::size_t const b = given.find_first_not_of('/');
    if (b != std::string::npos) ns.name = KVOString(given.substr(b, given.find_last_not_of('/') - b + 1));
    _namespaceOrder.push_back(ns.name);
    _namespaces.emplace(std::move(key), std::move(ns));
}

bool ClassRepository::hasNamespace(KVOString const& nameSpace) const {
    std::shared_lock lock(_lock);
    return find(nameSpace) != nullptr;
}

std::vector<KVOString> ClassRepository::namespaces() const {
    std::shared_lock lock(_lock);
    return _namespaceOrder;
}

void ClassRepository::addQualifierDecl(KVOString const& nameSpace, KVOSmrPtr<qora::IQualifierDef> decl) {
    std::unique_lock lock(_lock);
    Namespace& ns = require(nameSpace);
    std::string key = nameKey(decl->getName());
    auto it = ns.qualifiers.find(key);
    if (it == ns.qualifiers.end()) {
        ns.qualifierOrder.push_back(key);
        ns.qualifiers.emplace(std::move(key), std::move(decl));
        return;
    }
    _retired.push_back(it->second);
    it->second = std::move(decl);
}

bool ClassRepository::removeQualifierDecl(KVOString const& nameSpace, KVOString const& name) {
    std::unique_lock lock(_lock);
    Namespace& ns = require(nameSpace);
    auto it = ns.qualifiers.find(nameKey(name));
    if (it == ns.qualifiers.end()) return false;
    _retired.push_back(it->second);
    ns.qualifierOrder.erase(std::find(ns.qualifierOrder.begin(), ns.qualifierOrder.end(), it->first));
    ns.qualifiers.erase(it);
    return true;
}

namespace {

bool uses(std::vector<KVOSmrPtr<IKivoQualifier>> const& qs, KVOString const& name) {
    return std::any_of(qs.begin(), qs.end(), [&](auto const& q) { return q->getName().equalsIgnoreCase(name); });
}

}  // namespace

std::vector<KVOString> ClassRepository::classesUsing(KVOString const& nameSpace, KVOString const& qualifier) const {
    std::shared_lock lock(_lock);
    std::vector<KVOString> out;
    Namespace const* ns = find(nameSpace);
    if (!ns) return out;
    for (Entry const& e : ns->classes) {
        IKivoClass const& c = *e.resolved;
        bool used = uses(c.getQualifiers(), qualifier);
        for (auto const& p : c.getProperties()) used = used || uses(p->getQualifiers(), qualifier);
        for (auto const& m : c.getMethods()) {
            used = used || uses(m->getQualifiers(), qualifier);
            for (auto const& a : m->getParameters()) used = used || uses(a->getQualifiers(), qualifier);
        }
        if (used) out.push_back(c.getName());
    }
    return out;
}

qora::IQualifierDef const* ClassRepository::getQualifierDecl(KVOString const& nameSpace, KVOString const& name) const {
    std::shared_lock lock(_lock);
    Namespace const* ns = find(nameSpace);
    if (!ns) return nullptr;
    auto it = ns->qualifiers.find(nameKey(name));
    return it == ns->qualifiers.end() ? nullptr : it->second.get();
}

std::vector<qora::IQualifierDef const*> ClassRepository::qualifierDecls(KVOString const& nameSpace) const {
    std::shared_lock lock(_lock);
    std::vector<qora::IQualifierDef const*> out;
    if (Namespace const* ns = find(nameSpace))
        for (std::string const& key : ns->qualifierOrder) out.push_back(ns->qualifiers.at(key).get());
    return out;
}

KVOSmrPtr<IKivoClass> ClassRepository::resolve(Namespace const& ns, KVOString const& name,
                                               CKivoClass::Members declared, std::string& superKey) {
    CKivoClass::Members resolved;
    superKey.clear();
    std::vector<KVOSmrPtr<IKivoProperty>> inheritedProperties;
    std::vector<KVOSmrPtr<IKivoMethod>> inheritedMethods;
    std::vector<KVOSmrPtr<IKivoQualifier>> inheritedQualifiers;
    if (!declared.superClassName.isEmpty()) {
        Entry const* super = entry(ns, declared.superClassName);
        if (!super) raise(CIM_ERR_INVALID_SUPERCLASS, kWhere, "no superclass " + declared.superClassName + " for " + name);
        superKey = nameKey(declared.superClassName);
        resolved.superClass = super->resolved;
        inheritedProperties = super->resolved->getProperties();
        inheritedMethods = super->resolved->getMethods();
        inheritedQualifiers = super->resolved->getQualifiers();
    }
    resolved.properties = mergeMembers(declared.properties, inheritedProperties, name, rebuildProperty);
    resolved.methods = mergeMembers(declared.methods, inheritedMethods, name, rebuildMethod);
    resolved.qualifiers = mergeQualifiers(declared.qualifiers, inheritedQualifiers);
    return KVOSmrPtr<IKivoClass>(new CKivoClass(name, std::move(resolved)));
}

void ClassRepository::reindex(Namespace& ns) {
    ns.byName.clear();
    for (std::size_t i = 0; i < ns.classes.size(); ++i) {
        ns.classes[i].children.clear();
        ns.byName.emplace(nameKey(ns.classes[i].resolved->getName()), i);
    }
    for (std::size_t i = 0; i < ns.classes.size(); ++i)
        if (!ns.classes[i].superKey.empty()) ns.classes[ns.byName.at(ns.classes[i].superKey)].children.push_back(i);
}

std::size_t ClassRepository::leaf(Namespace const& ns, KVOString const& name) {
    auto it = ns.byName.find(nameKey(name));
    if (it == ns.byName.end()) raise(CIM_ERR_NOT_FOUND, kWhere, "no class " + name + " in " + ns.name);
    if (!ns.classes[it->second].children.empty())
        raise(CIM_ERR_CLASS_HAS_CHILDREN, kWhere, "class " + name + " has subclasses");
    return it->second;
}

void ClassRepository::addClass(KVOString const& nameSpace, KVOString const& name, CKivoClass::Members declared) {
    std::unique_lock lock(_lock);
    Namespace& ns = require(nameSpace);
    std::string const key = nameKey(name);
    if (ns.byName.count(key)) raise(CIM_ERR_ALREADY_EXISTS, kWhere, "class " + name + " already exists");
    std::string superKey;
    KVOSmrPtr<IKivoClass> resolved = resolve(ns, name, std::move(declared), superKey);
    std::size_t const index = ns.classes.size();
    ns.classes.push_back(Entry{std::move(resolved), superKey, {}});
    ns.byName.emplace(key, index);
    if (!superKey.empty()) ns.classes[ns.byName.at(superKey)].children.push_back(index);
}

void ClassRepository::replaceClass(KVOString const& nameSpace, KVOString const& name, CKivoClass::Members declared) {
    std::unique_lock lock(_lock);
    Namespace& ns = require(nameSpace);
    std::size_t const index = leaf(ns, name);
    KVOString const spelled = ns.classes[index].resolved->getName();
    if (!declared.superClassName.isEmpty() && nameKey(declared.superClassName) == nameKey(name))
        raise(CIM_ERR_INVALID_SUPERCLASS, kWhere, "class " + name + " cannot be its own superclass");
    std::string superKey;
    KVOSmrPtr<IKivoClass> resolved = resolve(ns, spelled, std::move(declared), superKey);
    ns.classes[index] = Entry{std::move(resolved), superKey, {}};
    reindex(ns);
}

void ClassRepository::removeClass(KVOString const& nameSpace, KVOString const& name) {
    std::unique_lock lock(_lock);
    Namespace& ns = require(nameSpace);
    std::size_t const index = leaf(ns, name);
    ns.classes.erase(ns.classes.begin() + static_cast<std::ptrdiff_t>(index));
    reindex(ns);
}

KVOSmrPtr<IKivoClass> ClassRepository::getClass(KVOString const& nameSpace, KVOString const& name) const {
    std::shared_lock lock(_lock);
    Namespace const* ns = find(nameSpace);
    Entry const* e = ns ? entry(*ns, name) : nullptr;
    return e ? e->resolved : nullptr;
}

void ClassRepository::collect(Namespace const& ns, std::vector<std::size_t> const& from, bool deep,
                              std::vector<KVOSmrPtr<IKivoClass>>& out) {
    for (std::size_t i : from) {
        out.push_back(ns.classes[i].resolved);
        if (deep) collect(ns, ns.classes[i].children, deep, out);
    }
}

std::vector<KVOSmrPtr<IKivoClass>> ClassRepository::subclasses(KVOString const& nameSpace, KVOString const& name,
                                                               bool deep) const {
    std::shared_lock lock(_lock);
    std::vector<KVOSmrPtr<IKivoClass>> out;
    Namespace const* ns = find(nameSpace);
    if (!ns) return out;
    if (name.isEmpty()) {
        std::vector<std::size_t> roots;
        for (std::size_t i = 0; i < ns->classes.size(); ++i)
            if (ns->classes[i].superKey.empty()) roots.push_back(i);
        collect(*ns, roots, deep, out);
    } else if (Entry const* e = entry(*ns, name)) {
        collect(*ns, e->children, deep, out);
    }
    return out;
}

bool ClassRepository::isA(KVOString const& nameSpace, KVOString const& className, KVOString const& ancestor) const {
    std::shared_lock lock(_lock);
    Namespace const* ns = find(nameSpace);
    if (!ns) return false;
    std::string const target = nameKey(ancestor);
    for (std::string key = nameKey(className); !key.empty();) {
        if (key == target) return true;
        auto it = ns->byName.find(key);
        if (it == ns->byName.end()) return false;
        key = ns->classes[it->second].superKey;
    }
    return false;
}

std::vector<KVOSmrPtr<IKivoClass>> ClassRepository::classes(KVOString const& nameSpace) const {
    std::shared_lock lock(_lock);
    std::vector<KVOSmrPtr<IKivoClass>> out;
    if (Namespace const* ns = find(nameSpace))
        for (Entry const& e : ns->classes) out.push_back(e.resolved);
    return out;
}

std::vector<KVOSmrPtr<IKivoClass>> ClassRepository::associations(KVOString const& nameSpace) const {
    std::shared_lock lock(_lock);
    std::vector<KVOSmrPtr<IKivoClass>> out;
    if (Namespace const* ns = find(nameSpace))
        for (Entry const& e : ns->classes)
            if (e.resolved->isAssociation()) out.push_back(e.resolved);
    return out;
}

bool ClassRepository::isKey(IKivoProperty const& property) { return KVOQualifierFlag(property.getQualifier("Key")); }

std::vector<KVOString> ClassRepository::keyNames(IKivoClass const& cls) {
    std::vector<KVOString> out;
    for (KVOSmrPtr<IKivoProperty> const& p : cls.getProperties())
        if (isKey(*p)) out.push_back(p->getName());
    return out;
}

}  // namespace kivo::om
