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
