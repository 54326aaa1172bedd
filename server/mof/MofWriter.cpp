#include "mof/MofWriter.h"

#include "KivoUtilities/CKivoData.h"
#include "objectmanager/CimStatus.h"
#include "objectmanager/ClassChecks.h"

#include <cmath>
#include <map>
#include <set>

namespace kivo::mof {

namespace {

char const kWhere[] = "MofWriter";

[[noreturn]] void unwritable(std::string const& what) {
    om::raise(om::CIM_ERR_NOT_SUPPORTED, kWhere, KVOString(what + " cannot be written as MOF"));
}

char const kHex[] = "0123456789ABCDEF";

// One byte of a string or char16 literal. Control characters get an escape
// the lexer reads back; a \x escape always has four digits, so a hex digit
// that follows it is never taken into it. Bytes from 0x80 up (UTF-8) are
// copied as they are.
void appendLiteralByte(std::string& out, char c, char quote) {
    switch (c) {
        case '\b': out += "\\b"; return;
        case '\t': out += "\\t"; return;
        case '\n': out += "\\n"; return;
        case '\f': out += "\\f"; return;
        case '\r': out += "\\r"; return;
        case '\\': out += "\\\\"; return;
        default: break;
    }
    if (c == quote) {
        out += '\\';
        out += c;
        return;
    }
    auto const u = static_cast<unsigned char>(c);
    if (u < 0x20 || u == 0x7F) {
        out += "\\x00";
        out += kHex[u >> 4];
        out += kHex[u & 0xF];
        return;
    }
    out += c;
}

void appendQuoted(std::string& out, std::string const& text, char quote) {
    out += quote;
    for (char c : text) appendLiteralByte(out, c, quote);
    out += quote;
}

// Where the classes of instances are looked up (to write NULL over a class
// default): a namespace of a repository, or nowhere.
struct Classes {
    om::ClassRepository const* repository = nullptr;
    KVOString nameSpace;

    KVOSmrPtr<IKivoClass> find(KVOString const& name) const {
        return repository ? repository->getClass(nameSpace, name) : nullptr;
    }
};

void appendInstance(std::string& out, IKivoObject const& instance, IKivoClass const* cls, Classes const& classes,
                    unsigned indent);

void appendScalar(std::string& out, IKivoValue const& v, Classes const& classes, unsigned indent) {
    KVOCIMType const type = v.getCIMType();
    switch (type) {
        case KVOCIMType::String:
        case KVOCIMType::DateTime: appendQuoted(out, v.toString().str(), '"'); return;
        case KVOCIMType::Char16: appendQuoted(out, v.toString().str(), '\''); return;
        case KVOCIMType::Boolean: out += v.getBoolean() ? "TRUE" : "FALSE"; return;
        case KVOCIMType::Real32:
        case KVOCIMType::Real64:
            if (!std::isfinite(v.getReal())) unwritable("the real value " + v.toString().str());
            out += v.toString().str();
            return;
        case KVOCIMType::Reference: {
            KVOSmrPtr<IKivoInstanceName> path = v.getReference();
            if (!path) unwritable("a reference without a path");
            appendQuoted(out, path->toString().str(), '"');
            return;
        }
        case KVOCIMType::Instance: {
            KVOSmrPtr<IKivoObject> inst = v.getInstance();
            if (!inst) unwritable("an instance value without an instance");
            appendInstance(out, *inst, classes.find(inst->getClassName()).get(), classes, indent);
            return;
        }
        case KVOCIMType::Class: unwritable("a class value");
        default: out += v.toString().str(); return;  // integers in decimal
    }
}

// A value, or NULL; arrays as {a, b}.
void appendValue(std::string& out, KVOSmrPtr<IKivoValue> const& v, Classes const& classes = {}, unsigned indent = 0) {
    if (!v) {
        out += "NULL";
        return;
    }
    if (!v->isArray()) return appendScalar(out, *v, classes, indent);
    out += '{';
    bool first = true;
    for (KVOSmrPtr<IKivoValue> const& e : v->getElements()) {
        if (!first) out += ", ";
        first = false;
        appendScalar(out, *e, classes, indent);
    }
    out += '}';
}

void appendIndent(std::string& out, unsigned indent) { out.append(indent, ' '); }

// "instance of Class {\n  P = v;\n}" (without the ';'): the properties that
// have a value, and, when the class is known, NULL for those whose class
// default is not NULL (the compiler would give them the default otherwise).
void appendInstance(std::string& out, IKivoObject const& instance, IKivoClass const* cls, Classes const& classes,
                    unsigned indent) {
    out += "instance of ";
    out += instance.getClassName().str();
    out += " {\n";
    for (KVOSmrPtr<IKivoProperty> const& p : instance.getProperties()) {
        KVOSmrPtr<IKivoValue> const v = p->getValue();
        if (!v) {
            KVOSmrPtr<IKivoProperty> const declared = cls ? cls->getProperty(p->getName()) : nullptr;
            if (!declared || !declared->getValue()) continue;
        }
        appendIndent(out, indent + 3);
        out += p->getName().str();
        out += " = ";
        appendValue(out, v, classes, indent + 3);
        out += ";\n";
    }
    appendIndent(out, indent);
    out += '}';
}

// The qualifier list of an element: its own qualifiers (not the propagated
// ones), each with its value and the flavors its declaration would not give it.
void appendQualifiers(std::string& out, std::vector<KVOSmrPtr<IKivoQualifier>> const& qualifiers,
                      om::ClassRepository const& repository, KVOString const& nameSpace, unsigned indent,
                      bool ownLine) {
    bool first = true;
    for (KVOSmrPtr<IKivoQualifier> const& q : qualifiers) {
        if (q->isPropagated()) continue;
        out += first ? "[" : ",\n";
        if (!first) appendIndent(out, indent + 1);
        first = false;
        out += q->getName().str();
        qora::IQualifierDef const* decl = repository.getQualifierDecl(nameSpace, q->getName());
        KVOSmrPtr<IKivoValue> const v = q->getValue();
        bool const booleanDecl = decl ? decl->getCIMType() == KVOCIMType::Boolean && !decl->isArray()
                                      : q->getCIMType() == KVOCIMType::Boolean && !(v && v->isArray());
        if (!v) {
            // No value: a boolean qualifier written bare would read back true.
            if (booleanDecl) out += "(NULL)";
        } else if (v->isArray()) {
            appendValue(out, v);
        } else if (!(booleanDecl && v->getCIMType() == KVOCIMType::Boolean && v->getBoolean())) {
            out += '(';
            appendValue(out, v);
            out += ')';
        }
        KVOQualifierFlavors const want = q->getFlavors();
        KVOQualifierFlavors const given = decl ? decl->getFlavors() : KVOQualifierFlavors();
        std::string flavors;
        if (want.overridable != given.overridable) flavors += want.overridable ? " EnableOverride" : " DisableOverride";
        if (want.toSubclass != given.toSubclass) flavors += want.toSubclass ? " ToSubclass" : " Restricted";
        if (want.translatable && !given.translatable) flavors += " Translatable";
        if (want.toInstance && !given.toInstance) flavors += " ToInstance";
        if (!flavors.empty()) {
            out += " :";
            out += flavors;
        }
    }
    if (first) return;
    out += ']';
    if (ownLine) {
        out += '\n';
    } else {
        out += ' ';
    }
}

// "type" or "Class REF" and the name, with the array suffix after the name.
void appendTyped(std::string& out, KVOCIMType type, KVOString const& referenceClass, KVOString const& name,
                 bool isArray, unsigned arraySize) {
    if (type == KVOCIMType::Reference) {
        if (referenceClass.isEmpty()) unwritable("reference " + name.str() + " without a class");
        out += referenceClass.str();
        out += " REF ";
    } else {
        if (type == KVOCIMType::Instance || type == KVOCIMType::Class)
            unwritable("element " + name.str() + " of type " + KVOCIMTypes::name(type).str());
        out += KVOCIMTypes::name(type).str();
        out += ' ';
    }
    out += name.str();
    if (isArray) {
        out += '[';
        if (arraySize) out += std::to_string(arraySize);
        out += ']';
    }
}

void appendScopes(std::string& out, unsigned scopes) {
    if ((scopes & KVOQualifierScope::ANY) == KVOQualifierScope::ANY) {
        out += "any";
        return;
    }
    bool first = true;
    for (unsigned bit = 1; bit < KVOQualifierScope::ANY; bit <<= 1) {
        if (!(scopes & bit)) continue;
        if (!first) out += ", ";
        first = false;
        out += om::checks::scopeWord(bit);
    }
}

}  // namespace

void writeQualifierDecl(std::string& out, qora::IQualifierDef const& decl) {
    if (!(decl.getScopes() & KVOQualifierScope::ANY)) unwritable("qualifier " + decl.getName().str() + " without a scope");
    out += "Qualifier ";
    out += decl.getName().str();
    out += " : ";
    out += KVOCIMTypes::name(decl.getCIMType()).str();
    if (decl.isArray()) out += "[]";
    if (KVOSmrPtr<IKivoValue> const def = decl.getDefault()) {
        out += " = ";
        appendValue(out, def);
    }
    out += ", Scope(";
    appendScopes(out, decl.getScopes());
    out += ')';
    KVOQualifierFlavors const f = decl.getFlavors();
    std::vector<char const*> flavors;
    if (!f.overridable) flavors.push_back("DisableOverride");
    if (!f.toSubclass) flavors.push_back("Restricted");
    if (f.translatable) flavors.push_back("Translatable");
    if (f.toInstance) flavors.push_back("ToInstance");
    if (!flavors.empty()) {
        out += ", Flavor(";
        for (std::size_t i = 0; i < flavors.size(); ++i) {
            if (i) out += ", ";
            out += flavors[i];
        }
        out += ')';
    }
    out += ";\n";
}

void writeClass(std::string& out, IKivoClass const& cls, om::ClassRepository const& repository,
                KVOString const& nameSpace) {
    appendQualifiers(out, cls.getQualifiers(), repository, nameSpace, 0, true);
    out += "class ";
    out += cls.getName().str();
    KVOString const super = cls.getSuperClassName();
    if (!super.isEmpty()) {
        out += " : ";
        out += super.str();
    }
    out += " {\n";
    for (KVOSmrPtr<IKivoProperty> const& p : cls.getProperties()) {
        if (p->isPropagated()) continue;
        std::string qualifiers;
        appendQualifiers(qualifiers, p->getQualifiers(), repository, nameSpace, 6, true);
        if (!qualifiers.empty()) {
            out += "\n      ";
            out += qualifiers;
        }
        out += "   ";
        appendTyped(out, p->getCIMType(), p->getReferenceClass(), p->getName(), p->isArray(), p->getArraySize());
        if (KVOSmrPtr<IKivoValue> const def = p->getValue()) {
            out += " = ";
            appendValue(out, def, {}, 3);
        }
        out += ";\n";
    }
    for (KVOSmrPtr<IKivoMethod> const& m : cls.getMethods()) {
        if (m->isPropagated()) continue;
        std::string qualifiers;
        appendQualifiers(qualifiers, m->getQualifiers(), repository, nameSpace, 6, true);
        if (!qualifiers.empty()) {
            out += "\n      ";
            out += qualifiers;
        }
        out += "   ";
        appendTyped(out, m->getReturnType(), KVOString(), m->getName(), false, 0);
        out += '(';
        bool first = true;
        for (KVOSmrPtr<IKivoParameter> const& prm : m->getParameters()) {
            out += first ? "\n" : ",\n";
            first = false;
            out += "      ";
            appendQualifiers(out, prm->getQualifiers(), repository, nameSpace, 6, false);
            appendTyped(out, prm->getCIMType(), prm->getReferenceClass(), prm->getName(), prm->isArray(),
                        prm->getArraySize());
        }
        out += ");\n";
    }
    out += "};\n";
}

void writeInstance(std::string& out, IKivoObject const& instance) {
    appendInstance(out, instance, nullptr, {}, 0);
    out += ";\n";
}

void writeInstance(std::string& out, IKivoObject const& instance, IKivoClass const& cls) {
    appendInstance(out, instance, &cls, {}, 0);
    out += ";\n";
}

std::vector<KVOSmrPtr<IKivoClass>> compileOrder(om::ClassRepository const& repository, KVOString const& nameSpace) {
    std::vector<KVOSmrPtr<IKivoClass>> const declared = repository.classes(nameSpace);
    std::map<std::string, KVOSmrPtr<IKivoClass>> byName;
    for (KVOSmrPtr<IKivoClass> const& c : declared) byName.emplace(om::nameKey(c->getName()), c);
    std::vector<KVOSmrPtr<IKivoClass>> out;
    out.reserve(declared.size());
    std::set<std::string> placed;
    for (KVOSmrPtr<IKivoClass> const& c : declared) {
        // The chain of ancestors not yet placed, nearest first; placed from
        // the farthest down.
        std::vector<KVOSmrPtr<IKivoClass>> chain;
        for (KVOSmrPtr<IKivoClass> at = c; at && !placed.count(om::nameKey(at->getName()));) {
            chain.push_back(at);
            auto const it = byName.find(om::nameKey(at->getSuperClassName()));
            at = it == byName.end() ? nullptr : it->second;
        }
        for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
            placed.insert(om::nameKey((*it)->getName()));
            out.push_back(*it);
        }
    }
    return out;
}

void writeNamespace(std::ostream& out, om::ClassRepository const& repository, KVOString const& nameSpace,
                    InstanceSource const& instances) {
    std::string text = "#pragma namespace (";
    appendQuoted(text, nameSpace.str(), '"');
    text += ")\n\n";
    for (qora::IQualifierDef const* decl : repository.qualifierDecls(nameSpace)) writeQualifierDecl(text, *decl);
    out << text;
    for (KVOSmrPtr<IKivoClass> const& c : compileOrder(repository, nameSpace)) {
        text.clear();
        text += '\n';
        writeClass(text, *c, repository, nameSpace);
        out << text;
    }
    if (!instances) return;
    Classes const classes{&repository, nameSpace};
    instances([&](KVOSmrPtr<IKivoObject> const& instance) {
        text.clear();
        text += '\n';
        KVOSmrPtr<IKivoClass> const cls = repository.getClass(nameSpace, instance->getClassName());
        appendInstance(text, *instance, cls.get(), classes, 0);
        text += ";\n";
        out << text;
        return static_cast<bool>(out);
    });
}

}  // namespace kivo::mof
