#include "CIMXMLDataReader.h"

#include "CIMXMLRequest.h"
#include "CIMXMLText.h"

#include "Cimom/ProtocolAdapter/Common/AdapterException.h"
#include "KivoUtilities/CKivoData.h"

#include <cstring>
#include <vector>

namespace cimxmlpa::reader {

namespace {

bool is(pugi::xml_node node, char const* name) {
    return std::strcmp(node.name(), name) == 0;
}

std::string where(pugi::xml_node node) {
    std::string out = node.name();
    if (pugi::xml_attribute name = node.attribute("NAME")) out += std::string(" ") + name.value();
    return out;
}

// The one child element of `node`, which must be named `name`.
pugi::xml_node only(pugi::xml_node node, char const* name) {
    std::vector<pugi::xml_node> children = childElements(node);
    if (children.size() != 1 || !is(children[0], name)) {
        invalid(where(node) + " must hold one " + name);
    }
    return children[0];
}

KVOString requiredAttribute(pugi::xml_node node, char const* attribute) {
    pugi::xml_attribute a = node.attribute(attribute);
    if (!a || *a.value() == '\0') invalid(where(node) + " lacks " + attribute);
    return a.value();
}

KVOCIMType typeNamed(pugi::xml_node node, std::string const& name) {
    KVOCIMType type = KVOCIMType::String;
    if (!KVOCIMTypes::fromName(name, type) || type == KVOCIMType::Instance || type == KVOCIMType::Class) {
        invalid(where(node) + ": unknown type " + name);
    }
    return type;
}

KVOString textOf(pugi::xml_node node) {
    return KVOString(node.text().get());
}

std::vector<KVOString> arrayTexts(pugi::xml_node valueArray) {
    std::vector<KVOString> texts;
    for (pugi::xml_node v : childElements(valueArray)) {
        if (!is(v, "VALUE")) invalid("VALUE.ARRAY holds " + std::string(v.name()) + ", not VALUE");
        texts.push_back(textOf(v));
    }
    return texts;
}

KVOSmrPtr<IKivoValue> keyValue(pugi::xml_node kv) {
    KVOString text = textOf(kv);
    if (pugi::xml_attribute type = kv.attribute("TYPE")) {
        return CKivoValue::parse(typeNamed(kv, type.value()), text);
    }
    std::string valueType = kv.attribute("VALUETYPE").value();
    if (valueType.empty() || valueType == "string") return CKivoValue::makeString(text);
    if (valueType == "boolean") return CKivoValue::parse(KVOCIMType::Boolean, text);
    if (valueType == "numeric") return KVOSmrPtr<IKivoValue>(new CKivoValue(text));
    invalid("KEYVALUE has the VALUETYPE " + valueType);
}

KVOSmrPtr<IKivoInstanceName> instanceName(pugi::xml_node element, KVOString const& nameSpace, KVOString const& host) {
    KVOString cls = requiredAttribute(element, "CLASSNAME");
    std::vector<KVOKeyBinding> keys;
    for (pugi::xml_node binding : childElements(element)) {
        if (!is(binding, "KEYBINDING")) invalid("INSTANCENAME holds " + std::string(binding.name()));
        KVOString name = requiredAttribute(binding, "NAME");
        std::vector<pugi::xml_node> content = childElements(binding);
        if (content.size() != 1) invalid(where(binding) + " must hold one value");
        if (is(content[0], "KEYVALUE")) {
            keys.push_back({name, keyValue(content[0])});
        } else if (is(content[0], "VALUE.REFERENCE")) {
            keys.push_back({name, reference(content[0], nameSpace)});
        } else {
            invalid(where(binding) + " holds " + content[0].name());
        }
    }
    return KVOSmrPtr<IKivoInstanceName>(new CKivoInstanceName(nameSpace, cls, std::move(keys), host));
}

KVOString localNamespace(pugi::xml_node localNamespacePath) {
    std::string ns = readLocalNamespacePath(localNamespacePath);
    if (ns.empty()) invalid("LOCALNAMESPACEPATH names no namespace");
    return ns;
}

}  // namespace

void invalid(std::string const& message) {
    throw AdapterException("CIM_ERR_INVALID_PARAMETER", "cimxmlpa::reader", "CIMXMLAdapter", message, 4);
}

KVOString className(pugi::xml_node classNameElement) {
    if (!is(classNameElement, "CLASSNAME")) invalid(std::string("expected CLASSNAME, found ") + classNameElement.name());
    return requiredAttribute(classNameElement, "NAME");
}

KVOSmrPtr<IKivoInstanceName> instancePath(pugi::xml_node element, KVOString const& nameSpace) {
    if (is(element, "INSTANCENAME")) return instanceName(element, nameSpace, KVOString());
    std::vector<pugi::xml_node> parts = childElements(element);
    if (is(element, "LOCALINSTANCEPATH") && parts.size() == 2 && is(parts[0], "LOCALNAMESPACEPATH") &&
        is(parts[1], "INSTANCENAME")) {
        return instanceName(parts[1], localNamespace(parts[0]), KVOString());
    }
    if (is(element, "INSTANCEPATH") && parts.size() == 2 && is(parts[0], "NAMESPACEPATH") &&
        is(parts[1], "INSTANCENAME")) {
        std::vector<pugi::xml_node> nsParts = childElements(parts[0]);
        if (nsParts.size() != 2 || !is(nsParts[0], "HOST") || !is(nsParts[1], "LOCALNAMESPACEPATH")) {
            invalid("NAMESPACEPATH must hold HOST and LOCALNAMESPACEPATH");
        }
        return instanceName(parts[1], localNamespace(nsParts[1]), textOf(nsParts[0]));
    }
    invalid(std::string("expected an instance path, found ") + element.name());
}

KVOSmrPtr<IKivoValue> reference(pugi::xml_node valueReference, KVOString const& nameSpace) {
    std::vector<pugi::xml_node> content = childElements(valueReference);
    if (!is(valueReference, "VALUE.REFERENCE") || content.size() != 1) {
        invalid("VALUE.REFERENCE must hold one path");
    }
    return CKivoValue::makeReference(instancePath(content[0], nameSpace));
}

KVOSmrPtr<IKivoObject> instance(pugi::xml_node instanceElement, KVOSmrPtr<IKivoInstanceName> const& path,
                                KVOString const& nameSpace) {
    if (!is(instanceElement, "INSTANCE")) invalid(std::string("expected INSTANCE, found ") + instanceElement.name());
    KVOString cls = requiredAttribute(instanceElement, "CLASSNAME");
    KVOValSlist<KVOSmrPtr<IKivoProperty>> properties;
    for (pugi::xml_node p : childElements(instanceElement)) {
        if (is(p, "QUALIFIER")) continue;  // instance qualifiers are not kept
        bool scalar = is(p, "PROPERTY");
        bool array = is(p, "PROPERTY.ARRAY");
        bool ref = is(p, "PROPERTY.REFERENCE");
        if (!scalar && !array && !ref) invalid("INSTANCE holds " + std::string(p.name()));
        KVOString name = requiredAttribute(p, "NAME");
        KVOCIMType type = ref ? KVOCIMType::Reference : typeNamed(p, requiredAttribute(p, "TYPE").str());
        KVOSmrPtr<IKivoValue> value;
        for (pugi::xml_node v : childElements(p)) {
            if (is(v, "QUALIFIER")) continue;
            if (value) invalid(where(p) + " holds more than one value");
            if (scalar && is(v, "VALUE")) {
                value = CKivoValue::parse(type, textOf(v));
            } else if (array && is(v, "VALUE.ARRAY")) {
                value = CKivoValue::parseArray(type, arrayTexts(v));
            } else if (ref && is(v, "VALUE.REFERENCE")) {
                value = reference(v, nameSpace);
            } else {
                invalid(where(p) + " holds " + v.name());
            }
        }
        KVOString referenceClass = ref ? KVOString(p.attribute("REFERENCECLASS").value()) : KVOString();
        properties.append(KVOSmrPtr<IKivoProperty>(
            new CKivoProperty(name, type, array, value, {}, KVOString(), false, referenceClass)));
    }
    return KVOSmrPtr<IKivoObject>(new CKivoObject(cls, std::move(properties), path));
}

KVOSmrPtr<IKivoObject> namedInstance(pugi::xml_node namedInstanceElement, KVOString const& nameSpace) {
    std::vector<pugi::xml_node> parts = childElements(namedInstanceElement);
    if (!is(namedInstanceElement, "VALUE.NAMEDINSTANCE") || parts.size() != 2 || !is(parts[0], "INSTANCENAME")) {
        invalid("VALUE.NAMEDINSTANCE must hold INSTANCENAME and INSTANCE");
    }
    return instance(parts[1], instancePath(parts[0], nameSpace), nameSpace);
}

KVOSmrPtr<IKivoValue> parameterValue(pugi::xml_node parameter, std::string const& typeName, KVOString const& nameSpace) {
    std::vector<pugi::xml_node> content = childElements(parameter);
    if (content.empty()) return nullptr;
    if (content.size() != 1) invalid(where(parameter) + " holds more than one value");
    pugi::xml_node v = content[0];
    bool typed = !typeName.empty() && typeName != "reference";
    if (is(v, "VALUE")) {
        if (!typed) return KVOSmrPtr<IKivoValue>(new CKivoValue(textOf(v)));
        return CKivoValue::parse(typeNamed(parameter, typeName), textOf(v));
    }
    if (is(v, "VALUE.ARRAY")) {
        std::vector<KVOString> texts = arrayTexts(v);
        if (typed) return CKivoValue::parseArray(typeNamed(parameter, typeName), texts);
        std::vector<KVOSmrPtr<IKivoValue>> elements;
        for (KVOString const& t : texts) elements.push_back(KVOSmrPtr<IKivoValue>(new CKivoValue(t)));
        return CKivoValue::makeArray(KVOCIMType::String, std::move(elements));
    }
    if (is(v, "VALUE.REFERENCE")) return reference(v, nameSpace);
    if (is(v, "VALUE.REFARRAY")) {
        std::vector<KVOSmrPtr<IKivoValue>> elements;
        for (pugi::xml_node r : childElements(v)) elements.push_back(reference(r, nameSpace));
        return CKivoValue::makeArray(KVOCIMType::Reference, std::move(elements));
    }
    invalid(where(parameter) + " holds " + v.name());
}

namespace {

// A boolean attribute ("true"/"false", any case); `fallback` when absent.
bool flagAttribute(pugi::xml_node node, char const* name, bool fallback) {
    pugi::xml_attribute a = node.attribute(name);
    if (!a) return fallback;
    if (text::equalsIgnoreCase(a.value(), "true")) return true;
    if (text::equalsIgnoreCase(a.value(), "false")) return false;
    invalid(where(node) + ": " + name + " is not true or false");
}

unsigned arraySize(pugi::xml_node node) {
    pugi::xml_attribute a = node.attribute("ARRAYSIZE");
    if (!a) return 0;
    std::string const t = a.value();
    if (t.empty() || t.size() > 10 || t.find_first_not_of("0123456789") != std::string::npos ||
        std::stoull(t) > 0xFFFFFFFFull)
        invalid(where(node) + ": ARRAYSIZE is not a uint32");
    return static_cast<unsigned>(std::stoull(t));
}

// The type of a property or parameter: TYPE, an EmbeddedObject string as
// instance or class.
KVOCIMType memberType(pugi::xml_node node) {
    KVOCIMType const type = typeNamed(node, requiredAttribute(node, "TYPE").str());
    pugi::xml_attribute embedded = node.attribute("EmbeddedObject");
    if (!embedded || type != KVOCIMType::String) return type;
    if (text::equalsIgnoreCase(embedded.value(), "instance")) return KVOCIMType::Instance;
    if (text::equalsIgnoreCase(embedded.value(), "object")) return KVOCIMType::Class;
    invalid(where(node) + ": EmbeddedObject " + embedded.value());
}

// VALUE or VALUE.ARRAY of `type`; null for none.
KVOSmrPtr<IKivoValue> typedValue(pugi::xml_node v, KVOCIMType type, bool isArray, pugi::xml_node owner) {
    if (type == KVOCIMType::Instance || type == KVOCIMType::Class)
        invalid(where(owner) + ": an embedded object default is not supported");
    if (!isArray && is(v, "VALUE")) return CKivoValue::parse(type, textOf(v));
    if (isArray && is(v, "VALUE.ARRAY")) return CKivoValue::parseArray(type, arrayTexts(v));
    invalid(where(owner) + " holds " + v.name());
}

KVOSmrPtr<IKivoQualifier> qualifier(pugi::xml_node q) {
    KVOString name = requiredAttribute(q, "NAME");
    KVOCIMType const type = typeNamed(q, requiredAttribute(q, "TYPE").str());
    KVOQualifierFlavors flavors;
    flavors.overridable = flagAttribute(q, "OVERRIDABLE", flavors.overridable);
    flavors.toSubclass = flagAttribute(q, "TOSUBCLASS", flavors.toSubclass);
    flavors.toInstance = flagAttribute(q, "TOINSTANCE", flavors.toInstance);
    flavors.translatable = flagAttribute(q, "TRANSLATABLE", flavors.translatable);
    std::vector<pugi::xml_node> content = childElements(q);
    if (content.size() > 1) invalid(where(q) + " holds more than one value");
    KVOSmrPtr<IKivoValue> value;
    if (!content.empty()) value = typedValue(content[0], type, is(content[0], "VALUE.ARRAY"), q);
    return KVOSmrPtr<IKivoQualifier>(new CKivoQualifier(name, type, value, flavors, flagAttribute(q, "PROPAGATED", false)));
}

// The QUALIFIER children of `node`; the other children in `rest`.
std::vector<KVOSmrPtr<IKivoQualifier>> qualifiersOf(pugi::xml_node node, std::vector<pugi::xml_node>& rest) {
    std::vector<KVOSmrPtr<IKivoQualifier>> out;
    for (pugi::xml_node c : childElements(node)) {
        if (is(c, "QUALIFIER")) out.push_back(qualifier(c));
        else rest.push_back(c);
    }
    return out;
}

KVOSmrPtr<IKivoProperty> classProperty(pugi::xml_node p) {
    bool const array = is(p, "PROPERTY.ARRAY");
    bool const ref = is(p, "PROPERTY.REFERENCE");
    KVOString name = requiredAttribute(p, "NAME");
    KVOCIMType const type = ref ? KVOCIMType::Reference : memberType(p);
    std::vector<pugi::xml_node> rest;
    std::vector<KVOSmrPtr<IKivoQualifier>> qualifiers = qualifiersOf(p, rest);
    if (rest.size() > 1) invalid(where(p) + " holds more than one value");
    KVOSmrPtr<IKivoValue> value;
    if (!rest.empty()) {
        if (ref && !is(rest[0], "VALUE.REFERENCE")) invalid(where(p) + " holds " + rest[0].name());
        value = ref ? reference(rest[0], KVOString()) : typedValue(rest[0], type, array, p);
    }
    return KVOSmrPtr<IKivoProperty>(new CKivoProperty(
        name, type, array, value, std::move(qualifiers), KVOString(p.attribute("CLASSORIGIN").value()),
        flagAttribute(p, "PROPAGATED", false), KVOString(p.attribute("REFERENCECLASS").value()), arraySize(p)));
}

KVOSmrPtr<IKivoParameter> parameter(pugi::xml_node p) {
    bool const ref = is(p, "PARAMETER.REFERENCE") || is(p, "PARAMETER.REFARRAY");
    bool const array = is(p, "PARAMETER.ARRAY") || is(p, "PARAMETER.REFARRAY");
    if (!ref && !array && !is(p, "PARAMETER")) invalid("METHOD holds " + std::string(p.name()));
    KVOCIMType const type = ref ? KVOCIMType::Reference : memberType(p);
    std::vector<pugi::xml_node> rest;
    std::vector<KVOSmrPtr<IKivoQualifier>> qualifiers = qualifiersOf(p, rest);
    if (!rest.empty()) invalid(where(p) + " holds " + rest[0].name());
    return KVOSmrPtr<IKivoParameter>(new CKivoParameter(requiredAttribute(p, "NAME"), type, array, std::move(qualifiers),
                                                        KVOString(p.attribute("REFERENCECLASS").value()), arraySize(p)));
}

KVOSmrPtr<IKivoMethod> method(pugi::xml_node m) {
    KVOString name = requiredAttribute(m, "NAME");
    KVOCIMType const type = m.attribute("TYPE") ? typeNamed(m, m.attribute("TYPE").value()) : KVOCIMType::UInt32;
    std::vector<pugi::xml_node> rest;
    std::vector<KVOSmrPtr<IKivoQualifier>> qualifiers = qualifiersOf(m, rest);
    std::vector<KVOSmrPtr<IKivoParameter>> parameters;
    for (pugi::xml_node p : rest) parameters.push_back(parameter(p));
    return KVOSmrPtr<IKivoMethod>(new CKivoMethod(name, type, std::move(parameters), std::move(qualifiers),
                                                  KVOString(m.attribute("CLASSORIGIN").value()),
                                                  flagAttribute(m, "PROPAGATED", false)));
}

}  // namespace

KVOSmrPtr<IKivoClass> classDeclaration(pugi::xml_node classElement) {
    if (!is(classElement, "CLASS")) invalid(std::string("expected CLASS, found ") + classElement.name());
    KVOString name = requiredAttribute(classElement, "NAME");
    CKivoClass::Members members;
    members.superClassName = KVOString(classElement.attribute("SUPERCLASS").value());
    std::vector<pugi::xml_node> rest;
    members.qualifiers = qualifiersOf(classElement, rest);
    for (pugi::xml_node c : rest) {
        if (is(c, "PROPERTY") || is(c, "PROPERTY.ARRAY") || is(c, "PROPERTY.REFERENCE")) {
            members.properties.push_back(classProperty(c));
        } else if (is(c, "METHOD")) {
            members.methods.push_back(method(c));
        } else {
            invalid("CLASS holds " + std::string(c.name()));
        }
    }
    return KVOSmrPtr<IKivoClass>(new CKivoClass(name, std::move(members)));
}

KVOSmrPtr<qora::IQualifierDef> qualifierDeclaration(pugi::xml_node element) {
    if (!is(element, "QUALIFIER.DECLARATION"))
        invalid(std::string("expected QUALIFIER.DECLARATION, found ") + element.name());
    KVOString name = requiredAttribute(element, "NAME");
    KVOCIMType const type = typeNamed(element, requiredAttribute(element, "TYPE").str());
    bool const isArray = flagAttribute(element, "ISARRAY", false);
    KVOQualifierFlavors flavors;
    flavors.overridable = flagAttribute(element, "OVERRIDABLE", flavors.overridable);
    flavors.toSubclass = flagAttribute(element, "TOSUBCLASS", flavors.toSubclass);
    flavors.toInstance = flagAttribute(element, "TOINSTANCE", flavors.toInstance);
    flavors.translatable = flagAttribute(element, "TRANSLATABLE", flavors.translatable);
    unsigned scopes = 0;
    KVOSmrPtr<IKivoValue> def;
    bool scoped = false;
    for (pugi::xml_node c : childElements(element)) {
        if (is(c, "SCOPE") && !scoped) {
            scoped = true;
            static constexpr std::pair<char const*, unsigned> kScopes[] = {
                {"CLASS", KVOQualifierScope::CLASS},         {"ASSOCIATION", KVOQualifierScope::ASSOCIATION},
                {"REFERENCE", KVOQualifierScope::REFERENCE}, {"PROPERTY", KVOQualifierScope::PROPERTY},
                {"METHOD", KVOQualifierScope::METHOD},       {"PARAMETER", KVOQualifierScope::PARAMETER},
                {"INDICATION", KVOQualifierScope::INDICATION}};
            for (auto const& [attribute, bit] : kScopes)
                if (flagAttribute(c, attribute, false)) scopes |= bit;
        } else if (!def && (is(c, "VALUE") || is(c, "VALUE.ARRAY"))) {
            def = typedValue(c, type, isArray, element);
        } else {
            invalid(where(element) + " holds " + c.name());
        }
    }
    return KVOSmrPtr<qora::IQualifierDef>(new CKivoQualifierDef(name, type, isArray, def, scopes, flavors));
}

bool booleanValue(pugi::xml_node parameter) {
    std::string value = only(parameter, "VALUE").text().get();
    if (text::equalsIgnoreCase(value, "TRUE")) return true;
    if (text::equalsIgnoreCase(value, "FALSE")) return false;
    invalid(where(parameter) + " is not TRUE or FALSE");
}

KVOString stringValue(pugi::xml_node parameter) {
    return textOf(only(parameter, "VALUE"));
}

KVOSmrPtr<KVOValSlist<KVOString>> stringList(pugi::xml_node parameter) {
    if (childElements(parameter).empty()) return nullptr;
    auto list = KVOSmrPtr<KVOValSlist<KVOString>>(new KVOValSlist<KVOString>());
    for (KVOString const& name : arrayTexts(only(parameter, "VALUE.ARRAY"))) list->append(name);
    return list;
}

}  // namespace cimxmlpa::reader
