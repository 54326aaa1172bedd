#include "objectmanager/ClassChecks.h"

#include "objectmanager/CimStatus.h"

#include <set>

namespace kivo::om::checks {

char const* scopeWord(unsigned scope) {
    switch (scope) {
        case KVOQualifierScope::CLASS: return "class";
        case KVOQualifierScope::ASSOCIATION: return "association";
        case KVOQualifierScope::INDICATION: return "indication";
        case KVOQualifierScope::PROPERTY: return "property";
        case KVOQualifierScope::REFERENCE: return "reference";
        case KVOQualifierScope::METHOD: return "method";
        default: return "parameter";
    }
}

unsigned classScope(bool association, bool indication) {
    return association ? KVOQualifierScope::ASSOCIATION
           : indication ? KVOQualifierScope::INDICATION
                        : KVOQualifierScope::CLASS;
}

bool sameValue(KVOSmrPtr<IKivoValue> const& a, KVOSmrPtr<IKivoValue> const& b) {
    if (!a || !b) return !a && !b;
    if (a->isArray() != b->isArray()) return false;
    if (!a->isArray()) return a->toString() == b->toString();
    std::vector<KVOSmrPtr<IKivoValue>> const x = a->getElements();
    std::vector<KVOSmrPtr<IKivoValue>> const y = b->getElements();
    if (x.size() != y.size()) return false;
    for (std::size_t i = 0; i < x.size(); ++i)
        if (!sameValue(x[i], y[i])) return false;
    return true;
}

std::vector<KVOSmrPtr<IKivoQualifier>> passedOn(std::vector<KVOSmrPtr<IKivoQualifier>> const& qs) {
    std::vector<KVOSmrPtr<IKivoQualifier>> out;
    for (KVOSmrPtr<IKivoQualifier> const& q : qs)
        if (q->getFlavors().toSubclass) out.push_back(q);
    return out;
}

std::string qualifierUse(qora::IQualifierDef const* decl, std::string const& name, unsigned scope) {
    if (!decl) return "qualifier " + name + " is not declared";
    if (!(decl->getScopes() & scope)) return "qualifier " + name + " is not allowed on a " + scopeWord(scope);
    return {};
}

std::string disabledOverride(std::vector<KVOSmrPtr<IKivoQualifier>> const& inherited, std::string const& name,
                             KVOSmrPtr<IKivoValue> const& value) {
    for (KVOSmrPtr<IKivoQualifier> const& i : inherited)
        if (i->getName().equalsIgnoreCase(KVOString(name)) && !i->getFlavors().overridable && !sameValue(i->getValue(), value))
            return "qualifier " + name + " has the DisableOverride flavor and cannot be overridden";
    return {};
}

std::string overrideUse(std::optional<std::string> const& target, std::string const& name, bool inherited,
                        char const* what) {
    if (!target) {
        if (inherited) return std::string(what) + " " + name + " is inherited; redeclaring it needs the Override qualifier";
        return {};
    }
    if (!KVOString(*target).equalsIgnoreCase(KVOString(name)))
        return "Override names " + *target + ", but an overriding " + what + " keeps the name " + name;
    if (!inherited) return "Override names " + *target + ", which no superclass declares";
    return {};
}

std::string keyUse(std::string const& name, bool isArray, IKivoProperty const* base, IKivoClass const* super) {
    if (isArray) return "key property " + name + " cannot be an array";
    // A subclass of a class with keys keeps those keys.
    if (super && !(base && ClassRepository::isKey(*base)) && !ClassRepository::keyNames(*super).empty())
        return "key " + name + " is new, but superclass " + super->getName().str() + " already has keys";
    return {};
}

namespace {

using Qualifiers = std::vector<KVOSmrPtr<IKivoQualifier>>;

char const kWhere[] = "ClassChecks";

[[noreturn]] void invalid(KVOString const& className, std::string const& problem) {
    raise(CIM_ERR_INVALID_PARAMETER, kWhere, "class " + className + ": " + KVOString(problem));
}

void require(KVOString const& className, std::string const& problem) {
    if (!problem.empty()) invalid(className, problem);
}

// A value that has the type `type` (and arrayness) asks for.
bool fits(IKivoValue const& value, KVOCIMType type, bool isArray) {
    return value.isArray() == isArray && value.getCIMType() == type;
}

class Checker {
public:
    Checker(ClassRepository const& repo, KVOString ns, KVOString name)
        : _repo(repo), _ns(std::move(ns)), _name(std::move(name)) {}

    void run(CKivoClass::Members const& d) {
        KVOSmrPtr<IKivoClass> super;
        if (!d.superClassName.isEmpty()) {
            super = _repo.getClass(_ns, d.superClassName);
            if (!super) raise(CIM_ERR_INVALID_SUPERCLASS, kWhere, "no superclass " + d.superClassName + " for " + _name);
        }
        auto flagged = [&](char const* q) {
            if (KVOSmrPtr<IKivoQualifier> own = KVOFindNamed(d.qualifiers, q)) return KVOQualifierFlag(own);
            return super && KVOQualifierFlag(super->getQualifier(q));
        };
        qualifiers(d.qualifiers, classScope(flagged("Association"), flagged("Indication")),
                   super ? passedOn(super->getQualifiers()) : Qualifiers());

        std::set<std::string> names;
        for (KVOSmrPtr<IKivoProperty> const& p : d.properties) {
            if (!names.insert(nameKey(p->getName())).second) invalid(_name, "duplicate property " + p->getName().str());
            property(*p, super.get());
        }
        names.clear();
        for (KVOSmrPtr<IKivoMethod> const& m : d.methods) {
            if (!names.insert(nameKey(m->getName())).second) invalid(_name, "duplicate method " + m->getName().str());
            method(*m, super.get());
        }
    }

private:
    void qualifiers(Qualifiers const& qs, unsigned scope, Qualifiers const& inherited) {
        std::set<std::string> seen;
        for (KVOSmrPtr<IKivoQualifier> const& q : qs) {
            std::string const name = q->getName().str();
            qora::IQualifierDef const* decl = _repo.getQualifierDecl(_ns, q->getName());
            require(_name, qualifierUse(decl, name, scope));
            if (!seen.insert(nameKey(q->getName())).second) invalid(_name, "qualifier " + name + " is given twice");
            if (q->getValue() && !fits(*q->getValue(), decl->getCIMType(), decl->isArray()))
                invalid(_name, "qualifier " + name + " has a value of another type than its declaration");
            require(_name, disabledOverride(inherited, name, q->getValue()));
        }
    }

    // The Override target of a member, or nullopt; an Override without a
    // value names the member itself.
    static std::optional<std::string> overrideOf(Qualifiers const& qs, KVOString const& name) {
        KVOSmrPtr<IKivoQualifier> q = KVOFindNamed(qs, "Override");
        if (!q) return std::nullopt;
        KVOSmrPtr<IKivoValue> v = q->getValue();
        return v && !v->isArray() ? v->toString().str() : name.str();
    }

    void referenceClass(KVOString const& referenceClass, std::string const& member) {
        if (referenceClass.isEmpty() || _repo.getClass(_ns, referenceClass) ||
            nameKey(referenceClass) == nameKey(_name))
            return;
        invalid(_name, "reference " + member + " names class " + referenceClass.str() + ", which is not defined");
    }

    void property(IKivoProperty const& p, IKivoClass const* super) {
        std::string const name = p.getName().str();
        KVOCIMType const type = p.getCIMType();
        bool const isRef = type == KVOCIMType::Reference;
        if (isRef && p.isArray()) invalid(_name, "a reference cannot be an array");
        if (p.getValue() && !fits(*p.getValue(), type, p.isArray()))
            invalid(_name, "the default of property " + name + " is not of its type");
        KVOSmrPtr<IKivoProperty> base = super ? super->getProperty(p.getName()) : nullptr;
        require(_name, overrideUse(overrideOf(p.getQualifiers(), p.getName()), name, base != nullptr, "property"));
        if (base && (base->getCIMType() != type || base->isArray() != p.isArray() || base->getArraySize() != p.getArraySize()))
            invalid(_name, "property " + name + " overrides one of another type");
        qualifiers(p.getQualifiers(), isRef ? KVOQualifierScope::REFERENCE : KVOQualifierScope::PROPERTY,
                   base ? passedOn(base->getQualifiers()) : Qualifiers());
        if (KVOQualifierFlag(KVOFindNamed(p.getQualifiers(), "Key")))
            require(_name, keyUse(name, p.isArray(), base.get(), super));
        if (isRef) referenceClass(p.getReferenceClass(), name);
    }

    void method(IKivoMethod const& m, IKivoClass const* super) {
        std::string const name = m.getName().str();
        KVOSmrPtr<IKivoMethod> base = super ? KVOFindNamed(super->getMethods(), m.getName()) : nullptr;
        require(_name, overrideUse(overrideOf(m.getQualifiers(), m.getName()), name, base != nullptr, "method"));
        if (base && base->getReturnType() != m.getReturnType())
            invalid(_name, "method " + name + " overrides one of another return type");
        qualifiers(m.getQualifiers(), KVOQualifierScope::METHOD, base ? passedOn(base->getQualifiers()) : Qualifiers());
        std::set<std::string> names;
        for (KVOSmrPtr<IKivoParameter> const& a : m.getParameters()) {
            if (!names.insert(nameKey(a->getName())).second)
                invalid(_name, "duplicate parameter " + a->getName().str() + " of method " + name);
            KVOSmrPtr<IKivoParameter> inherited = base ? base->getParameter(a->getName()) : nullptr;
            Qualifiers own;
            for (KVOSmrPtr<IKivoQualifier> const& q : a->getQualifiers())
                if (!q->isPropagated()) own.push_back(q);
            qualifiers(own, KVOQualifierScope::PARAMETER, inherited ? passedOn(inherited->getQualifiers()) : Qualifiers());
            if (a->getCIMType() == KVOCIMType::Reference) referenceClass(a->getReferenceClass(), name + "." + a->getName().str());
        }
    }

    ClassRepository const& _repo;
    KVOString const _ns;
    KVOString const _name;
};

}  // namespace

void checkClass(ClassRepository const& repository, KVOString const& nameSpace, KVOString const& name,
                CKivoClass::Members const& declared) {
    Checker(repository, nameSpace, name).run(declared);
}

}  // namespace kivo::om::checks
