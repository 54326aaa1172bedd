#include "CIMXMLDataWriter.h"

#include "CIMXMLText.h"

#include "Cimom/ProtocolAdapter/KivoOperationHandlerContext.h"
#include "KivoUtilities/KVOCIMUtils.h"

#include <charconv>
#include <cctype>
#include <stdexcept>

namespace cimxmlpa {

namespace {

void attr(std::string& out, char const* name, std::string_view value) {
    out += ' ';
    out += name;
    out += "=\"";
    text::appendEscaped(out, value);
    out += '"';
}

void attr(std::string& out, char const* name, KVOString const& value) {
    attr(out, name, std::string_view(value.str()));
}

void attr(std::string& out, char const* name, std::string const& value) {
    attr(out, name, std::string_view(value));
}

void attr(std::string& out, char const* name, char const* value) {
    attr(out, name, std::string_view(value));
}

void flag(std::string& out, char const* name, bool value) {
    attr(out, name, value ? "true" : "false");
}

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

char const* keyValueType(KVOCIMType type) {
    if (type == KVOCIMType::Boolean) return "boolean";
    if (KVOCIMTypes::isNumeric(type)) return "numeric";
    return "string";
}

}  // namespace

CIMXMLDataWriter::CIMXMLDataWriter(std::string host, KVOString nameSpace, IKivoOperationHandlerContext* context,
                                   bool includeClassOrigin)
    : _host(std::move(host)), _nameSpace(std::move(nameSpace)), _context(context), _includeClassOrigin(includeClassOrigin) {}

std::string CIMXMLDataWriter::typeName(KVOCIMType type) {
    if (type == KVOCIMType::Instance || type == KVOCIMType::Class) return "string";
    return KVOCIMTypes::name(type).str();
}

std::string CIMXMLDataWriter::statusName(int code) {
    static char const* const names[] = {
        "CIM_ERR_OK",
        "CIM_ERR_FAILED",
        "CIM_ERR_ACCESS_DENIED",
        "CIM_ERR_INVALID_NAMESPACE",
        "CIM_ERR_INVALID_PARAMETER",
        "CIM_ERR_INVALID_CLASS",
        "CIM_ERR_NOT_FOUND",
        "CIM_ERR_NOT_SUPPORTED",
        "CIM_ERR_CLASS_HAS_CHILDREN",
        "CIM_ERR_CLASS_HAS_INSTANCES",
        "CIM_ERR_INVALID_SUPERCLASS",
        "CIM_ERR_ALREADY_EXISTS",
        "CIM_ERR_NO_SUCH_PROPERTY",
        "CIM_ERR_TYPE_MISMATCH",
        "CIM_ERR_QUERY_LANGUAGE_NOT_SUPPORTED",
        "CIM_ERR_INVALID_QUERY",
        "CIM_ERR_METHOD_NOT_AVAILABLE",
        "CIM_ERR_METHOD_NOT_FOUND",
        "CIM_ERR_UNEXPECTED_RESPONSE",
        "CIM_ERR_INVALID_RESPONSE_DESTINATION",
        "CIM_ERR_NAMESPACE_NOT_EMPTY",
        "CIM_ERR_INVALID_ENUMERATION_CONTEXT",
        "CIM_ERR_INVALID_OPERATION_TIMEOUT",
        "CIM_ERR_PULL_HAS_BEEN_ABANDONED",
        "CIM_ERR_PULL_CANNOT_BE_ABANDONED",
        "CIM_ERR_FILTERED_ENUMERATION_NOT_SUPPORTED",
        "CIM_ERR_CONTINUATION_ON_ERROR_NOT_SUPPORTED",
        "CIM_ERR_SERVER_LIMITS_EXCEEDED",
        "CIM_ERR_SERVER_IS_SHUTTING_DOWN",
    };
    if (code >= 0 && static_cast<std::size_t>(code) < std::size(names)) return names[code];
    return "CIM_ERR_" + std::to_string(code);
}

void CIMXMLDataWriter::writeError(std::string& out, int code, std::string const& description) {
    out += "<ERROR";
    attr(out, "CODE", std::to_string(code));
    attr(out, "DESCRIPTION", description);
    out += "/>";
}

void CIMXMLDataWriter::writeClassName(std::string& out, KVOString const& name) {
    out += "<CLASSNAME";
    attr(out, "NAME", name);
    out += "/>";
}

void CIMXMLDataWriter::writeQualifiers(std::string& out, std::vector<KVOSmrPtr<IKivoQualifier>> const& qualifiers) {
    for (KVOSmrPtr<IKivoQualifier> const& q : qualifiers) {
        if (q) writeQualifier(out, *q);
    }
}

void CIMXMLDataWriter::writeQualifier(std::string& out, IKivoQualifier const& qualifier) {
    KVOQualifierFlavors const flavors = qualifier.getFlavors();
    KVOQualifierFlavors const defaults;
    out += "<QUALIFIER";
    attr(out, "NAME", qualifier.getName());
    attr(out, "TYPE", typeName(qualifier.getCIMType()));
    if (qualifier.isPropagated()) flag(out, "PROPAGATED", true);
    if (flavors.overridable != defaults.overridable) flag(out, "OVERRIDABLE", flavors.overridable);
    if (flavors.toSubclass != defaults.toSubclass) flag(out, "TOSUBCLASS", flavors.toSubclass);
    if (flavors.toInstance != defaults.toInstance) flag(out, "TOINSTANCE", flavors.toInstance);
    if (flavors.translatable != defaults.translatable) flag(out, "TRANSLATABLE", flavors.translatable);
    out += '>';
    if (KVOSmrPtr<IKivoValue> v = qualifier.getValue()) writeValue(out, *v);
    out += "</QUALIFIER>";
}

void CIMXMLDataWriter::writeQualifierDeclaration(std::string& out, qora::IQualifierDef const& declaration) {
    KVOQualifierFlavors const flavors = declaration.getFlavors();
    unsigned const scopes = declaration.getScopes();
    out += "<QUALIFIER.DECLARATION";
    attr(out, "NAME", declaration.getName());
    attr(out, "TYPE", typeName(declaration.getCIMType()));
    flag(out, "ISARRAY", declaration.isArray());
    flag(out, "OVERRIDABLE", flavors.overridable);
    flag(out, "TOSUBCLASS", flavors.toSubclass);
    flag(out, "TOINSTANCE", flavors.toInstance);
    flag(out, "TRANSLATABLE", flavors.translatable);
    out += "><SCOPE";
    flag(out, "CLASS", (scopes & KVOQualifierScope::CLASS) != 0);
    flag(out, "ASSOCIATION", (scopes & KVOQualifierScope::ASSOCIATION) != 0);
    flag(out, "REFERENCE", (scopes & KVOQualifierScope::REFERENCE) != 0);
    flag(out, "PROPERTY", (scopes & KVOQualifierScope::PROPERTY) != 0);
    flag(out, "METHOD", (scopes & KVOQualifierScope::METHOD) != 0);
    flag(out, "PARAMETER", (scopes & KVOQualifierScope::PARAMETER) != 0);
    flag(out, "INDICATION", (scopes & KVOQualifierScope::INDICATION) != 0);
    out += "/>";
    if (KVOSmrPtr<IKivoValue> v = declaration.getDefault()) writeValue(out, *v);
    out += "</QUALIFIER.DECLARATION>";
}

namespace {

// Appends the decimal digits of an integer value; false, appending nothing,
// when the value holds no integer (text that the general path spells).
bool appendInteger(std::string& out, IKivoValue const& value, KVOCIMType type) {
    char digits[24];
    try {
        auto const end = KVOCIMTypes::isUnsigned(type) ? std::to_chars(digits, digits + sizeof digits, value.getUnsigned())
                                                        : std::to_chars(digits, digits + sizeof digits, value.getSigned());
        out.append(digits, end.ptr);
        return true;
    } catch (KivoBaseException const&) {
        return false;
    }
}

}  // namespace

void CIMXMLDataWriter::writeScalarText(std::string& out, IKivoValue const& value) {
    out += "<VALUE>";
    KVOCIMType const type = value.getCIMType();
    if (type == KVOCIMType::Instance || type == KVOCIMType::Class) {
        // An embedded object travels as the escaped CIM-XML of the object.
        std::string embedded;
        if (KVOSmrPtr<IKivoObject> inst = value.getInstance()) {
            writeInstance(embedded, *inst);
        } else if (KVOSmrPtr<IKivoClass> cls = value.getClass()) {
            writeClass(embedded, cls);
        }
        text::appendEscaped(out, embedded);
    } else if (!KVOCIMTypes::isInteger(type) || !appendInteger(out, value, type)) {
        // (Integers need neither escaping nor a string of their own.) Leading
        // and trailing spaces as character references, so that readers that
        // trim element text keep them.
        KVOString const spelled = value.toString();
        std::string_view const s = spelled.str();
        std::size_t first = 0;
        std::size_t last = s.size();
        while (first < last && s[first] == ' ') {
            out += HTML_SPACE.str();
            ++first;
        }
        std::size_t trailing = 0;
        while (last > first && s[last - 1] == ' ') {
            --last;
            ++trailing;
        }
        text::appendEscaped(out, s.substr(first, last - first));
        for (; trailing > 0; --trailing) out += HTML_SPACE.str();
    }
    out += "</VALUE>";
}

void CIMXMLDataWriter::writeValue(std::string& out, IKivoValue const& value) {
    struct Level {
        int& depth;
        explicit Level(int& d) : depth(d) {
            if (++depth > MAX_NESTING) {
                --depth;
                throw std::length_error("values nested more than 64 deep");
            }
        }
        ~Level() { --depth; }
        Level(Level const&) = delete;
        Level& operator=(Level const&) = delete;
    } const level(_depth);
    bool const isRef = value.getCIMType() == KVOCIMType::Reference;
    if (value.isArray()) {
        out += isRef ? "<VALUE.REFARRAY>" : "<VALUE.ARRAY>";
        for (KVOSmrPtr<IKivoValue> const& e : value.getElements()) {
            if (e) writeValue(out, *e);
        }
        out += isRef ? "</VALUE.REFARRAY>" : "</VALUE.ARRAY>";
    } else if (isRef) {
        out += "<VALUE.REFERENCE>";
        // A path with a host is written in full; one with a namespace only as
        // a LOCALINSTANCEPATH (some clients print an INSTANCEPATH reference
        // without the colon between namespace and class).
        if (KVOSmrPtr<IKivoInstanceName> path = value.getReference()) {
            if (!path->getHost().isEmpty()) {
                writeInstancePath(out, *path);
            } else if (!path->getNameSpace().isEmpty()) {
                out += "<LOCALINSTANCEPATH>";
                writeLocalNamespacePath(out, path->getNameSpace());
                writeInstanceName(out, *path);
                out += "</LOCALINSTANCEPATH>";
            } else {
                writeInstanceName(out, *path);
            }
        }
        out += "</VALUE.REFERENCE>";
    } else {
        writeScalarText(out, value);
    }
}

void CIMXMLDataWriter::writeLocalNamespacePath(std::string& out, KVOString const& nameSpace) {
    out += "<LOCALNAMESPACEPATH>";
    std::string ns = text::normalizeNamespace((nameSpace.isEmpty() ? _nameSpace : nameSpace).str());
    std::size_t start = 0;
    while (start <= ns.size()) {
        std::size_t slash = ns.find('/', start);
        std::string part = ns.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
        out += "<NAMESPACE";
        attr(out, "NAME", part);
        out += "/>";
        if (slash == std::string::npos) break;
        start = slash + 1;
    }
    out += "</LOCALNAMESPACEPATH>";
}

void CIMXMLDataWriter::writeKeyBinding(std::string& out, KVOKeyBinding const& key) {
    out += "<KEYBINDING";
    attr(out, "NAME", key.name);
    out += '>';
    if (key.value && key.value->getCIMType() == KVOCIMType::Reference && !key.value->isArray()) {
        writeValue(out, *key.value);
    } else {
        KVOCIMType const type = key.value ? key.value->getCIMType() : KVOCIMType::String;
        out += "<KEYVALUE";
        attr(out, "VALUETYPE", keyValueType(type));
        out += '>';
        if (key.value) text::appendEscaped(out, key.value->toString().str());
        out += "</KEYVALUE>";
    }
    out += "</KEYBINDING>";
}

void CIMXMLDataWriter::writeInstanceName(std::string& out, IKivoInstanceName const& path) {
    out += "<INSTANCENAME";
    attr(out, "CLASSNAME", path.getClassName());
    out += '>';
    if (auto const* own = dynamic_cast<CKivoInstanceName const*>(&path)) {
        for (KVOKeyBinding const& key : own->keys()) writeKeyBinding(out, key);
    } else {
        for (KVOKeyBinding const& key : path.getKeys()) writeKeyBinding(out, key);
    }
    out += "</INSTANCENAME>";
}

void CIMXMLDataWriter::writeNamespacePath(std::string& out, KVOString const& host, KVOString const& nameSpace) {
    out += "<NAMESPACEPATH><HOST>";
    text::appendEscaped(out, host.isEmpty() ? std::string_view(_host) : std::string_view(host.str()));
    out += "</HOST>";
    writeLocalNamespacePath(out, nameSpace);
    out += "</NAMESPACEPATH>";
}

void CIMXMLDataWriter::writeClassPath(std::string& out, KVOString const& host, KVOString const& nameSpace,
                                      KVOString const& className) {
    out += "<CLASSPATH>";
    writeNamespacePath(out, host, nameSpace);
    writeClassName(out, className);
    out += "</CLASSPATH>";
}

void CIMXMLDataWriter::writeInstancePath(std::string& out, IKivoInstanceName const& path) {
    out += "<INSTANCEPATH>";
    writeNamespacePath(out, path.getHost(), path.getNameSpace());
    writeInstanceName(out, path);
    out += "</INSTANCEPATH>";
}

void CIMXMLDataWriter::writeObjectPath(std::string& out, IKivoInstanceName const& path, bool asClassPath) {
    out += "<OBJECTPATH>";
    if (asClassPath) {
        writeClassPath(out, path.getHost(), path.getNameSpace(), path.getClassName());
    } else {
        writeInstancePath(out, path);
    }
    out += "</OBJECTPATH>";
}

void CIMXMLDataWriter::writeProperty(std::string& out, IKivoProperty const& property, ClassOriginDictionary* origins) {
    KVOCIMType const type = property.getCIMType();
    bool const isRef = type == KVOCIMType::Reference;
    bool const isArray = property.isArray();
    char const* element = isRef ? (isArray ? "PROPERTY.REFARRAY" : "PROPERTY.REFERENCE")
                                : (isArray ? "PROPERTY.ARRAY" : "PROPERTY");
    out += '<';
    out += element;
    attr(out, "NAME", property.getName());
    if (isRef) {
        if (!property.getReferenceClass().isEmpty()) attr(out, "REFERENCECLASS", property.getReferenceClass());
    } else {
        attr(out, "TYPE", typeName(type));
    }
    if (type == KVOCIMType::Instance || type == KVOCIMType::Class) {
        attr(out, "EmbeddedObject", type == KVOCIMType::Instance ? "instance" : "object");
    }
    if (isArray && property.getArraySize() != 0) attr(out, "ARRAYSIZE", std::to_string(property.getArraySize()));
    if (_includeClassOrigin) {
        KVOString origin = origins ? origins->getPropertyOrigin(property.getName()) : KVOString();
        if (origin.isEmpty()) origin = property.getClassOrigin();
        if (!origin.isEmpty()) attr(out, "CLASSORIGIN", origin);
    }
    if (property.isPropagated()) flag(out, "PROPAGATED", true);
    out += '>';
    writeQualifiers(out, property.getQualifiers());
    if (KVOSmrPtr<IKivoValue> v = property.getValue()) writeValue(out, *v);
    out += "</";
    out += element;
    out += '>';
}

void CIMXMLDataWriter::writeMethod(std::string& out, IKivoMethod const& method) {
    out += "<METHOD";
    attr(out, "NAME", method.getName());
    attr(out, "TYPE", typeName(method.getReturnType()));
    if (_includeClassOrigin && !method.getClassOrigin().isEmpty()) attr(out, "CLASSORIGIN", method.getClassOrigin());
    if (method.isPropagated()) flag(out, "PROPAGATED", true);
    out += '>';
    writeQualifiers(out, method.getQualifiers());
    for (KVOSmrPtr<IKivoParameter> const& p : method.getParameters()) {
        bool const isRef = p->getCIMType() == KVOCIMType::Reference;
        char const* element = isRef ? (p->isArray() ? "PARAMETER.REFARRAY" : "PARAMETER.REFERENCE")
                                    : (p->isArray() ? "PARAMETER.ARRAY" : "PARAMETER");
        out += '<';
        out += element;
        attr(out, "NAME", p->getName());
        if (isRef) {
            if (!p->getReferenceClass().isEmpty()) attr(out, "REFERENCECLASS", p->getReferenceClass());
        } else {
            attr(out, "TYPE", typeName(p->getCIMType()));
        }
        if (p->isArray() && p->getArraySize() != 0) attr(out, "ARRAYSIZE", std::to_string(p->getArraySize()));
        out += '>';
        writeQualifiers(out, p->getQualifiers());
        out += "</";
        out += element;
        out += '>';
    }
    out += "</METHOD>";
}

void CIMXMLDataWriter::writeClass(std::string& out, KVOSmrPtr<IKivoClass> const& cls) {
    if (!cls) return;
    std::unique_ptr<ClassOriginDictionary> origins;
    if (_includeClassOrigin) origins = std::make_unique<ClassOriginDictionary>(cls);
    out += "<CLASS";
    attr(out, "NAME", cls->getName());
    KVOString const super = cls->getSuperClassName();
    if (!super.isEmpty()) attr(out, "SUPERCLASS", super);
    out += '>';
    writeQualifiers(out, cls->getQualifiers());
    for (KVOSmrPtr<IKivoProperty> const& p : cls->getProperties()) {
        if (p) writeProperty(out, *p, origins.get());
    }
    for (KVOSmrPtr<IKivoMethod> const& m : cls->getMethods()) {
        if (m) writeMethod(out, *m);
    }
    out += "</CLASS>";
}

ClassOriginDictionary* CIMXMLDataWriter::originsOfInstanceClass(KVOString const& className) {
    std::string key = lower(className.str());
    auto it = _origins.find(key);
    if (it != _origins.end()) return it->second.get();
    KVOSmrPtr<IKivoClass> cls;
    if (_context != nullptr) {
        try {
            cls = _context->getClass(_nameSpace, className);
        } catch (...) {
            cls = nullptr;  // no class, no dictionary: the properties' own origins serve
        }
    }
    auto dictionary = std::make_unique<ClassOriginDictionary>(cls);
    ClassOriginDictionary* result = dictionary.get();
    _origins.emplace(key, std::move(dictionary));
    return result;
}

std::shared_ptr<CIMXMLDataWriter::Prepared const> CIMXMLDataWriter::prepared(CKivoPackedObject const& instance) {
    for (std::shared_ptr<Prepared const> const& p : _prepared)
        if (p->table.get() == &instance.table() && p->withOrigins == _includeClassOrigin) return p;
    if (_prepared.size() >= 64) _prepared.clear();
    auto made = std::make_shared<Prepared>();
    Prepared& p = *made;
    p.table = instance.sharedTable();
    p.withOrigins = _includeClassOrigin;
    KVOString const& className = p.table->className();
    ClassOriginDictionary* origins = _includeClassOrigin ? originsOfInstanceClass(className) : nullptr;
    p.instanceHead = "<INSTANCE";
    attr(p.instanceHead, "CLASSNAME", className);
    p.instanceHead += '>';
    for (CKivoPropertyTable::Column const& c : p.table->columns()) {
        // The element of the property without a value, cut before its closing tag.
        std::string element;
        writeProperty(element, CKivoProperty(c.name, c.type, c.isArray, nullptr, {}, c.classOrigin, c.propagated,
                                             c.referenceClass),
                      origins);
        std::size_t const close = element.rfind("</");
        p.tails.push_back(element.substr(close));
        element.resize(close);
        p.heads.push_back(std::move(element));
    }
    _prepared.push_back(made);
    return made;
}

void CIMXMLDataWriter::writePacked(std::string& out, CKivoPackedObject const& instance) {
    std::shared_ptr<Prepared const> const held = prepared(instance);
    Prepared const& p = *held;
    out += p.instanceHead;
    for (std::size_t i = 0; i < p.heads.size(); ++i) {
        out += p.heads[i];
        if (KVOSmrPtr<IKivoValue> const& v = instance.value(i)) writeValue(out, *v);
        out += p.tails[i];
    }
    out += "</INSTANCE>";
}

void CIMXMLDataWriter::writeInstance(std::string& out, IKivoObject const& instance) {
    if (auto const* packed = dynamic_cast<CKivoPackedObject const*>(&instance)) return writePacked(out, *packed);
    ClassOriginDictionary* origins = _includeClassOrigin ? originsOfInstanceClass(instance.getClassName()) : nullptr;
    out += "<INSTANCE";
    attr(out, "CLASSNAME", instance.getClassName());
    out += '>';
    for (KVOSmrPtr<IKivoProperty> const& p : instance.getProperties()) {
        if (p) writeProperty(out, *p, origins);
    }
    out += "</INSTANCE>";
}

void CIMXMLDataWriter::writeNamedInstance(std::string& out, IKivoObject const& instance) {
    out += "<VALUE.NAMEDINSTANCE>";
    if (KVOSmrPtr<IKivoInstanceName> path = instance.getInstanceName()) {
        writeInstanceName(out, *path);
    } else {
        out += "<INSTANCENAME";
        attr(out, "CLASSNAME", instance.getClassName());
        out += "></INSTANCENAME>";
    }
    writeInstance(out, instance);
    out += "</VALUE.NAMEDINSTANCE>";
}

void CIMXMLDataWriter::writeObjectWithPath(std::string& out, IKivoValue const& object) {
    if (KVOSmrPtr<IKivoObject> inst = object.getInstance()) return writeObjectWithPath(out, *inst);
    out += "<VALUE.OBJECTWITHPATH>";
    if (KVOSmrPtr<IKivoClass> cls = object.getClass()) {
        writeClassPath(out, KVOString(), _nameSpace, cls->getName());
        writeClass(out, cls);
    }
    out += "</VALUE.OBJECTWITHPATH>";
}

void CIMXMLDataWriter::writeOwnInstancePath(std::string& out, IKivoObject const& instance) {
    if (KVOSmrPtr<IKivoInstanceName> path = instance.getInstanceName()) {
        writeInstancePath(out, *path);
    } else {
        out += "<INSTANCEPATH>";
        writeNamespacePath(out, KVOString(), _nameSpace);
        out += "<INSTANCENAME";
        attr(out, "CLASSNAME", instance.getClassName());
        out += "></INSTANCENAME></INSTANCEPATH>";
    }
}

void CIMXMLDataWriter::writeWithOwnPath(std::string& out, char const* element, IKivoObject const& instance) {
    out += '<';
    out += element;
    out += '>';
    writeOwnInstancePath(out, instance);
    writeInstance(out, instance);
    out += "</";
    out += element;
    out += '>';
}

void CIMXMLDataWriter::writeObjectWithPath(std::string& out, IKivoObject const& instance) {
    writeWithOwnPath(out, "VALUE.OBJECTWITHPATH", instance);
}

void CIMXMLDataWriter::writeInstanceWithPath(std::string& out, IKivoObject const& instance) {
    writeWithOwnPath(out, "VALUE.INSTANCEWITHPATH", instance);
}

}  // namespace cimxmlpa
