#include "CIMXMLRequest.h"

#include "CIMXMLText.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace cimxmlpa {

namespace {

RequestRejection reject(int status, char const* cimError, std::string detail) {
    return RequestRejection{status, cimError, std::move(detail)};
}

RequestRejection notValid(std::string detail) {
    return reject(400, cimerror::REQUEST_NOT_VALID, std::move(detail));
}

bool nameIs(pugi::xml_node node, char const* name) {
    return std::strcmp(node.name(), name) == 0;
}

// "2", "2.0", "2.4.1" have the major version 2.
bool hasMajorVersion(char const* version, char const* major) {
    std::string_view v(version);
    std::size_t dot = v.find('.');
    return v.substr(0, dot) == major;
}

pugi::xml_node onlyChild(pugi::xml_node parent, char const* name) {
    std::vector<pugi::xml_node> children = childElements(parent);
    if (children.size() != 1 || !nameIs(children[0], name)) return {};
    return children[0];
}

}  // namespace

std::vector<pugi::xml_node> childElements(pugi::xml_node node) {
    std::vector<pugi::xml_node> out;
    for (pugi::xml_node child : node.children()) {
        if (child.type() == pugi::node_element) out.push_back(child);
    }
    return out;
}

std::string readLocalNamespacePath(pugi::xml_node localNamespacePath) {
    std::string ns;
    std::vector<pugi::xml_node> parts = childElements(localNamespacePath);
    if (parts.empty()) return "";
    for (pugi::xml_node part : parts) {
        if (!nameIs(part, "NAMESPACE")) return "";
        pugi::xml_attribute name = part.attribute("NAME");
        if (!name || *name.value() == '\0') return "";
        if (!ns.empty()) ns += '/';
        ns += name.value();
    }
    return text::normalizeNamespace(ns);
}

RequestRejection CIMXMLRequest::parse(std::string body, RequestLimits const& limits) {
    _buffer = std::move(body);
    std::size_t const badByte = text::invalidUtf8Offset(_buffer);
    pugi::xml_parse_result parsed = _doc.load_buffer_inplace(_buffer.data(), _buffer.size(),
                                                             pugi::parse_default | pugi::parse_declaration,
                                                             pugi::encoding_utf8);
    if (!parsed) {
        return reject(400, cimerror::REQUEST_NOT_WELL_FORMED,
                      std::string(parsed.description()) + " at offset " + std::to_string(parsed.offset));
    }
    std::vector<pugi::xml_node> roots = childElements(_doc);
    if (roots.size() != 1) {
        return reject(400, cimerror::REQUEST_NOT_WELL_FORMED, "the document needs exactly one root element");
    }
    pugi::xml_node cim = roots[0];
    if (!nameIs(cim, "CIM")) return notValid("the root element is not CIM");
    pugi::xml_attribute cimVersion = cim.attribute("CIMVERSION");
    pugi::xml_attribute dtdVersion = cim.attribute("DTDVERSION");
    if (!cimVersion || !dtdVersion) return notValid("CIM lacks CIMVERSION or DTDVERSION");
    if (!hasMajorVersion(cimVersion.value(), "2")) {
        return reject(501, cimerror::UNSUPPORTED_CIM_VERSION, std::string("CIMVERSION ") + cimVersion.value());
    }
    if (!hasMajorVersion(dtdVersion.value(), "2")) {
        return reject(501, cimerror::UNSUPPORTED_DTD_VERSION, std::string("DTDVERSION ") + dtdVersion.value());
    }
    pugi::xml_node message = onlyChild(cim, "MESSAGE");
    if (!message) return notValid("CIM does not hold one MESSAGE");
    pugi::xml_attribute id = message.attribute("ID");
    pugi::xml_attribute protocol = message.attribute("PROTOCOLVERSION");
    if (!id || !protocol) return notValid("MESSAGE lacks ID or PROTOCOLVERSION");
    if (!hasMajorVersion(protocol.value(), "1")) {
        return reject(501, cimerror::UNSUPPORTED_PROTOCOL_VERSION, std::string("PROTOCOLVERSION ") + protocol.value());
    }
    _messageId = id.value();
    std::vector<pugi::xml_node> messageChildren = childElements(message);
    if (messageChildren.size() == 1 && nameIs(messageChildren[0], "MULTIREQ")) {
        return reject(501, cimerror::MULTIPLE_REQUESTS_UNSUPPORTED, "MULTIREQ");
    }
    pugi::xml_node simple = onlyChild(message, "SIMPLEREQ");
    if (!simple) return notValid("MESSAGE does not hold one SIMPLEREQ");

    pugi::xml_node call;
    for (pugi::xml_node child : childElements(simple)) {
        if (nameIs(child, "CORRELATOR")) continue;  // DSP0201 2.4: carried, not interpreted
        if (call || (!nameIs(child, "IMETHODCALL") && !nameIs(child, "METHODCALL"))) {
            return notValid("SIMPLEREQ must hold one IMETHODCALL or METHODCALL");
        }
        call = child;
    }
    if (!call) return notValid("SIMPLEREQ holds no call");
    _intrinsic = nameIs(call, "IMETHODCALL");
    pugi::xml_attribute methodName = call.attribute("NAME");
    if (!methodName || *methodName.value() == '\0') return notValid("the call has no NAME");
    _methodName = methodName.value();

    std::vector<pugi::xml_node> parts = childElements(call);
    if (parts.empty()) return notValid("the call has no target");
    char const* const paramElement = _intrinsic ? "IPARAMVALUE" : "PARAMVALUE";
    if (_intrinsic) {
        if (!nameIs(parts[0], "LOCALNAMESPACEPATH")) return notValid("IMETHODCALL must begin with LOCALNAMESPACEPATH");
        _nameSpace = readLocalNamespacePath(parts[0]);
    } else {
        pugi::xml_node path = parts[0];
        std::vector<pugi::xml_node> pathParts = childElements(path);
        bool instancePath = nameIs(path, "LOCALINSTANCEPATH");
        if ((!instancePath && !nameIs(path, "LOCALCLASSPATH")) || pathParts.size() != 2 ||
            !nameIs(pathParts[0], "LOCALNAMESPACEPATH") ||
            !nameIs(pathParts[1], instancePath ? "INSTANCENAME" : "CLASSNAME")) {
            return notValid("METHODCALL must begin with LOCALINSTANCEPATH or LOCALCLASSPATH");
        }
        _nameSpace = readLocalNamespacePath(pathParts[0]);
        _target = pathParts[1];
        if (*_target.attribute(instancePath ? "CLASSNAME" : "NAME").value() == '\0') {
            return notValid("the target names no class");
        }
    }
    if (!text::isValidUtf8(_messageId) || !text::isValidUtf8(_methodName)) {
        return notValid("the message ID or the method name is not UTF-8");
    }
    if (_nameSpace.empty()) return notValid("LOCALNAMESPACEPATH names no namespace");
    for (std::size_t i = 1; i < parts.size(); ++i) {
        if (!nameIs(parts[i], paramElement) || *parts[i].attribute("NAME").value() == '\0') {
            return notValid(std::string("expected a named ") + paramElement + ", found " + parts[i].name());
        }
        _params.push_back(parts[i]);
    }
    if (badByte != _buffer.size()) {
        _contentError = "the request is not UTF-8 (byte " + std::to_string(badByte) + ")";
    } else {
        _contentError = checkContent(limits);
    }
    return {};
}

void CIMXMLRequest::release() {
    _target = pugi::xml_node();
    _params.clear();
    _doc.reset();
    std::string().swap(_buffer);
}

namespace {

// The length of a text as the object manager renders it, and how many of its
// bytes a further quoting level escapes (double quotes and backslashes).
struct RenderedText {
    std::uint64_t length = 0;
    std::uint64_t escapes = 0;

    void add(char const* s) {
        for (; *s != '\0'; ++s) {
            ++length;
            if (*s == '"' || *s == '\\') ++escapes;
        }
    }
    void add(RenderedText const& r) {
        length += r.length;
        escapes += r.escapes;
    }
    // The text in double quotes with its escapes.
    RenderedText quoted() const { return {length + escapes + 2, 2 * escapes + 2}; }
};

// Separators and punctuation a rendered path adds per attribute at most.
constexpr std::uint64_t kPunctuation = 4;

}  // namespace

std::string CIMXMLRequest::checkContent(RequestLimits const& limits) const {
    std::uint64_t const budget = std::max<std::uint64_t>(limits.referenceTextBudget, 2 * std::uint64_t{_buffer.size()});
    RenderedText nameSpace;
    nameSpace.add(_nameSpace.c_str());
    std::vector<RenderedText> open;  // one per VALUE.REFERENCE around the node
    std::uint64_t spent = 0;
    auto notUtf8 = [](char const* what) { return std::string("the request holds ") + what + " that is not UTF-8"; };

    // Document order without recursion: down to the first child, else on to
    // the next sibling, else back up (leaving elements) to one that has one.
    pugi::xml_node node = _doc.first_child();
    while (node) {
        if (node.type() == pugi::node_element) {
            if (!text::isValidUtf8(node.name())) return notUtf8("an element name");
            for (pugi::xml_attribute a : node.attributes()) {
                if (!text::isValidUtf8(a.name()) || !text::isValidUtf8(a.value())) return notUtf8("an attribute");
                if (!open.empty()) {
                    open.back().add(a.value());
                    open.back().length += kPunctuation;
                }
            }
            if (nameIs(node, "VALUE.REFERENCE")) {
                if (open.size() >= limits.maxNesting) {
                    return "references are nested more than " + std::to_string(limits.maxNesting) + " deep";
                }
                open.push_back(nameSpace);  // a path without its own namespace takes the request's
            }
        } else {
            if (!text::isValidUtf8(node.value())) return notUtf8("text");
            if (!open.empty()) {
                RenderedText value;  // a key's value is rendered in quotes
                value.add(node.value());
                open.back().add(value.quoted());
            }
        }
        if (pugi::xml_node child = node.first_child()) {
            node = child;
            continue;
        }
        while (node) {
            if (node.type() == pugi::node_element && nameIs(node, "VALUE.REFERENCE")) {
                RenderedText const inner = open.back().quoted();
                open.pop_back();
                if (!open.empty()) {
                    open.back().add(inner);
                } else {
                    spent += inner.length;
                }
                if (inner.length > budget || spent > budget) {
                    return "the references' text would exceed " + std::to_string(budget) + " bytes";
                }
            }
            if (pugi::xml_node next = node.next_sibling()) {
                node = next;
                break;
            }
            node = node.parent();
            if (node.type() == pugi::node_document) node = pugi::xml_node();
        }
    }
    return {};
}

RequestRejection CIMXMLRequest::matchesHeaders(std::string_view cimMethod, std::string_view cimObject) const {
    auto mismatch = [](std::string detail) { return reject(400, cimerror::HEADER_MISMATCH, std::move(detail)); };
    if (!text::equalsIgnoreCase(cimMethod, _methodName)) {
        return mismatch("CIMMethod " + std::string(cimMethod) + " but the body calls " + _methodName);
    }
    std::string decoded = text::headerToUtf8(text::percentDecode(cimObject));
    std::optional<text::ObjectPathHeader> header = text::parseObjectPathHeader(decoded);
    if (!header) return mismatch("CIMObject is not an object path: " + decoded);
    if (!text::equalsIgnoreCase(header->nameSpace, _nameSpace)) {
        return mismatch("CIMObject names the namespace " + header->nameSpace + ", the body " + _nameSpace);
    }
    if (_intrinsic) {
        if (!header->className.empty()) return mismatch("CIMObject of an intrinsic call names a class");
        return {};
    }
    bool bodyInstance = nameIs(_target, "INSTANCENAME");
    char const* bodyClass = _target.attribute(bodyInstance ? "CLASSNAME" : "NAME").value();
    if (!text::equalsIgnoreCase(header->className, bodyClass) || header->isInstance != bodyInstance) {
        return mismatch("CIMObject names " + decoded + ", the body another target");
    }
    if (!bodyInstance) return {};
    std::vector<pugi::xml_node> bindings;
    for (pugi::xml_node b : childElements(_target)) {
        if (nameIs(b, "KEYBINDING")) bindings.push_back(b);
    }
    if (bindings.size() != header->keys.size()) return mismatch("CIMObject and the body give different keys");
    for (pugi::xml_node b : bindings) {
        char const* name = b.attribute("NAME").value();
        auto it = header->keys.begin();
        while (it != header->keys.end() && !text::equalsIgnoreCase(it->first, name)) ++it;
        if (it == header->keys.end()) return mismatch(std::string("CIMObject lacks the key ") + name);
        pugi::xml_node keyValue = b.child("KEYVALUE");
        bool isBoolean = std::strcmp(keyValue.attribute("VALUETYPE").value(), "boolean") == 0;
        std::string_view bodyValue = keyValue.text().get();
        bool same = it->second == bodyValue || (isBoolean && text::equalsIgnoreCase(it->second, bodyValue));
        if (keyValue && !same) {
            return mismatch(std::string("CIMObject gives the key ") + name + " another value");
        }
    }
    return {};
}

}  // namespace cimxmlpa
