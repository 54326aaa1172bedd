#include "RepositoryCompare.h"

#include "KivoUtilities/IKivoInstanceName.h"

namespace kivo::test {

namespace {

std::string text(KVOSmrPtr<IKivoValue> const& v) {
    return v ? "'" + v->toString().str() + "'" : std::string("NULL");
}

// `what` prefixed to a difference, or nothing.
std::string in(std::string const& what, std::string const& difference) {
    return difference.empty() ? difference : what + ": " + difference;
}

template <class T>
std::string differ(char const* what, T const& a, T const& b) {
    return a == b ? std::string() : std::string(what) + " differ";
}

std::string sameFlavors(KVOQualifierFlavors const& a, KVOQualifierFlavors const& b) {
    if (a == b) return {};
    auto spell = [](KVOQualifierFlavors const& f) {
        return std::string(f.overridable ? "EnableOverride" : "DisableOverride") + (f.toSubclass ? " ToSubclass" : " Restricted") +
               (f.translatable ? " Translatable" : "") + (f.toInstance ? " ToInstance" : "");
    };
    return "flavors " + spell(a) + " != " + spell(b);
}

std::string sameQualifiers(std::vector<KVOSmrPtr<IKivoQualifier>> const& a,
                           std::vector<KVOSmrPtr<IKivoQualifier>> const& b) {
    for (std::size_t i = 0; i < a.size() || i < b.size(); ++i) {
        if (i >= a.size()) return "extra qualifier " + b[i]->getName().str();
        if (i >= b.size()) return "missing qualifier " + a[i]->getName().str();
        IKivoQualifier const& x = *a[i];
        IKivoQualifier const& y = *b[i];
        if (x.getName() != y.getName()) return "qualifier " + x.getName().str() + " != " + y.getName().str();
        std::string d = differ("types", x.getCIMType(), y.getCIMType());
        if (d.empty()) d = sameValue(x.getValue(), y.getValue());
        if (d.empty()) d = sameFlavors(x.getFlavors(), y.getFlavors());
        if (d.empty() && x.isPropagated() != y.isPropagated()) d = "propagated flags differ";
        if (!d.empty()) return "qualifier " + x.getName().str() + ": " + d;
    }
    return {};
}

std::string sameParameter(IKivoParameter const& a, IKivoParameter const& b) {
    std::string d = differ("types", a.getCIMType(), b.getCIMType());
    if (d.empty()) d = differ("array-ness", a.isArray(), b.isArray());
    if (d.empty()) d = differ("array sizes", a.getArraySize(), b.getArraySize());
    if (d.empty()) d = differ("reference classes", a.getReferenceClass(), b.getReferenceClass());
    if (d.empty()) d = sameQualifiers(a.getQualifiers(), b.getQualifiers());
    return d;
}

std::string sameProperty(IKivoProperty const& a, IKivoProperty const& b) {
    std::string d = differ("types", a.getCIMType(), b.getCIMType());
    if (d.empty()) d = differ("array-ness", a.isArray(), b.isArray());
    if (d.empty()) d = differ("array sizes", a.getArraySize(), b.getArraySize());
    if (d.empty()) d = in("default", sameValue(a.getValue(), b.getValue()));
    if (d.empty()) d = differ("class origins", a.getClassOrigin(), b.getClassOrigin());
    if (d.empty()) d = differ("propagated flags", a.isPropagated(), b.isPropagated());
    if (d.empty()) d = differ("reference classes", a.getReferenceClass(), b.getReferenceClass());
    if (d.empty()) d = sameQualifiers(a.getQualifiers(), b.getQualifiers());
    return d;
}

std::string sameMethod(IKivoMethod const& a, IKivoMethod const& b) {
    std::string d = differ("return types", a.getReturnType(), b.getReturnType());
    if (d.empty()) d = differ("class origins", a.getClassOrigin(), b.getClassOrigin());
    if (d.empty()) d = differ("propagated flags", a.isPropagated(), b.isPropagated());
    if (d.empty()) d = sameQualifiers(a.getQualifiers(), b.getQualifiers());
    if (!d.empty()) return d;
    auto const pa = a.getParameters(), pb = b.getParameters();
    if (pa.size() != pb.size()) return "parameter counts differ";
    for (std::size_t i = 0; i < pa.size(); ++i) {
        if (pa[i]->getName() != pb[i]->getName()) return "parameter " + pa[i]->getName().str() + " != " + pb[i]->getName().str();
        if (std::string e = sameParameter(*pa[i], *pb[i]); !e.empty()) return "parameter " + pa[i]->getName().str() + ": " + e;
    }
    return {};
}

// Members (properties or methods) in order, by name and by `same`.
template <class Member, class Same>
std::string sameMembers(char const* what, std::vector<KVOSmrPtr<Member>> const& a,
                        std::vector<KVOSmrPtr<Member>> const& b, Same same) {
    for (std::size_t i = 0; i < a.size() || i < b.size(); ++i) {
        if (i >= a.size()) return std::string("extra ") + what + " " + b[i]->getName().str();
        if (i >= b.size()) return std::string("missing ") + what + " " + a[i]->getName().str();
        if (a[i]->getName() != b[i]->getName())
            return std::string(what) + " " + a[i]->getName().str() + " != " + b[i]->getName().str();
        if (std::string d = same(*a[i], *b[i]); !d.empty()) return std::string(what) + " " + a[i]->getName().str() + ": " + d;
    }
    return {};
}

std::string samePath(KVOSmrPtr<IKivoInstanceName> const& a, KVOSmrPtr<IKivoInstanceName> const& b) {
    if (!a || !b) return a || b ? std::string("only one has a path") : std::string();
    if (!a->sameAs(*b) || !a->getNameSpace().equalsIgnoreCase(b->getNameSpace()))
        return "paths " + a->toString().str() + " != " + b->toString().str();
    return {};
}

}  // namespace

std::string sameValue(KVOSmrPtr<IKivoValue> const& a, KVOSmrPtr<IKivoValue> const& b) {
    if (!a || !b) return a || b ? text(a) + " != " + text(b) : std::string();
    if (a->getCIMType() != b->getCIMType())
        return "types " + KVOCIMTypes::name(a->getCIMType()).str() + " != " + KVOCIMTypes::name(b->getCIMType()).str();
    if (a->isArray() != b->isArray()) return "array-ness differs";
    if (a->getCIMType() != KVOCIMType::Instance)
        return a->sameValue(*b) ? std::string() : text(a) + " != " + text(b);
    std::vector<KVOSmrPtr<IKivoValue>> const ea = a->isArray() ? a->getElements() : std::vector{a};
    std::vector<KVOSmrPtr<IKivoValue>> const eb = b->isArray() ? b->getElements() : std::vector{b};
    if (ea.size() != eb.size()) return "element counts differ";
    for (std::size_t i = 0; i < ea.size(); ++i) {
        KVOSmrPtr<IKivoObject> const x = ea[i]->getInstance(), y = eb[i]->getInstance();
        if (!x || !y) return "an instance value without an instance";
        if (std::string d = sameInstance(*x, *y); !d.empty()) return "embedded instance: " + d;
    }
    return {};
}

std::string sameQualifierDecl(qora::IQualifierDef const& a, qora::IQualifierDef const& b) {
    std::string d = differ("names", a.getName(), b.getName());
    if (d.empty()) d = differ("types", a.getCIMType(), b.getCIMType());
    if (d.empty()) d = differ("array-ness", a.isArray(), b.isArray());
    if (d.empty()) d = in("default", sameValue(a.getDefault(), b.getDefault()));
    if (d.empty()) d = differ("scopes", a.getScopes(), b.getScopes());
    if (d.empty()) d = sameFlavors(a.getFlavors(), b.getFlavors());
    return in("qualifier declaration " + a.getName().str(), d);
}

std::string sameClass(IKivoClass const& a, IKivoClass const& b) {
    std::string d = differ("names", a.getName(), b.getName());
    if (d.empty()) d = differ("superclasses", a.getSuperClassName(), b.getSuperClassName());
    if (d.empty()) d = sameQualifiers(a.getQualifiers(), b.getQualifiers());
    if (d.empty()) d = sameMembers("property", a.getProperties(), b.getProperties(), sameProperty);
    if (d.empty()) d = sameMembers("method", a.getMethods(), b.getMethods(), sameMethod);
    return in("class " + a.getName().str(), d);
}

std::string sameInstance(IKivoObject const& a, IKivoObject const& b) {
    std::string d = differ("class names", a.getClassName(), b.getClassName());
    if (d.empty()) d = samePath(a.getInstanceName(), b.getInstanceName());
    if (d.empty()) {
        std::vector<KVOSmrPtr<IKivoProperty>> pa, pb;
        for (auto const& p : a.getProperties()) pa.push_back(p);
        for (auto const& p : b.getProperties()) pb.push_back(p);
        d = sameMembers("property", pa, pb, [](IKivoProperty const& x, IKivoProperty const& y) {
            return sameValue(x.getValue(), y.getValue());
        });
    }
    return in("instance of " + a.getClassName().str(), d);
}

std::string sameRepository(om::ClassRepository const& a, om::ClassRepository const& b, KVOString const& nameSpace) {
    std::string const where = "namespace " + nameSpace.str() + ": ";
    if (!b.hasNamespace(nameSpace)) return where + "missing";
    auto const da = a.qualifierDecls(nameSpace), db = b.qualifierDecls(nameSpace);
    for (std::size_t i = 0; i < da.size() || i < db.size(); ++i) {
        if (i >= da.size()) return where + "extra qualifier declaration " + db[i]->getName().str();
        if (i >= db.size()) return where + "missing qualifier declaration " + da[i]->getName().str();
        if (std::string d = sameQualifierDecl(*da[i], *db[i]); !d.empty()) return where + d;
    }
    auto const ca = a.classes(nameSpace), cb = b.classes(nameSpace);
    for (std::size_t i = 0; i < ca.size() || i < cb.size(); ++i) {
        if (i >= ca.size()) return where + "extra class " + cb[i]->getName().str();
        if (i >= cb.size()) return where + "missing class " + ca[i]->getName().str();
        if (std::string d = sameClass(*ca[i], *cb[i]); !d.empty()) return where + d;
    }
    return {};
}

}  // namespace kivo::test
