// The one way the adapter turns IPARAMVALUEs into an operation's setters: a
// table of ParamSpec per operation (name, required, how to read the element
// and which setter takes the value) and bindParams, which walks the request's
// parameters against the table.
//
// Each operation's table lives with its traits in CIMXMLOperations.cpp and is
// written with the helpers below, one line per DSP0200 parameter:
//     boolParam(&Base::setLocalOnly, "LocalOnly"),
//     classNameParam(&Base::setClassName, "ClassName", Required),
// bindParams throws AdapterException with code 4 (CIM_ERR_INVALID_PARAMETER)
// for a parameter the operation does not know, one given twice, a required
// one that is missing, or content its reader refuses; the adapter stores that
// on the operation, which then answers the error without calling the handler.
// Names are matched without regard to case. Used on the adapter's thread.
#pragma once

#include "CIMXMLDataReader.h"
#include "CIMXMLRequest.h"
#include "CIMXMLText.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace cimxmlpa {

enum ParamPresence { Optional, Required };

template <class Base>
struct ParamSpec {
    char const* name;
    ParamPresence presence;
    // Reads the IPARAMVALUE element and stores what it holds on the operation.
    std::function<void(Base& op, pugi::xml_node param, KVOString const& nameSpace)> apply;
};

// A parameter read by `read(param, nameSpace)` and stored with `setter`.
template <class Base, class Owner, class Arg, class Reader>
ParamSpec<Base> param(void (Owner::*setter)(Arg), char const* name, ParamPresence presence, Reader read) {
    return {name, presence, [setter, read](Base& op, pugi::xml_node p, KVOString const& ns) {
                (op.*setter)(read(p, ns));
            }};
}

// The readers, one per kind of DSP0200 parameter.
struct ParamReaders {
    static bool boolean(pugi::xml_node p, KVOString const&) { return reader::booleanValue(p); }
    static KVOString string(pugi::xml_node p, KVOString const&) { return reader::stringValue(p); }
    // A string that may be NULL (an empty IPARAMVALUE): empty.
    static KVOString optionalString(pugi::xml_node p, KVOString const&) {
        return childElements(p).empty() ? KVOString() : reader::stringValue(p);
    }
    // A CLASSNAME, or empty for NULL.
    static KVOString className(pugi::xml_node p, KVOString const&) {
        std::vector<pugi::xml_node> c = childElements(p);
        if (c.empty()) return KVOString();
        if (c.size() != 1) reader::invalid(std::string(p.attribute("NAME").value()) + " holds more than one element");
        return reader::className(c[0]);
    }
    static KVOSmrPtr<IKivoInstanceName> instanceName(pugi::xml_node p, KVOString const& ns) {
        std::vector<pugi::xml_node> c = childElements(p);
        if (c.size() != 1) reader::invalid(std::string(p.attribute("NAME").value()) + " must hold one instance name");
        return reader::instancePath(c[0], ns);
    }
    static KVOSmrPtr<KVOValSlist<KVOString>> propertyList(pugi::xml_node p, KVOString const&) {
        return reader::stringList(p);
    }
    static KVOSmrPtr<IKivoValue> value(pugi::xml_node p, KVOString const& ns) {
        return reader::parameterValue(p, "", ns);
    }
    // A uint32 in decimal (MaxObjectCount).
    static KVOuint32 uint32(pugi::xml_node p, KVOString const&) {
        std::string const t = reader::stringValue(p).str();
        std::size_t i = 0;
        while (i < t.size() && (t[i] == ' ' || t[i] == '\t')) ++i;
        if (i < t.size() && t[i] == '+') ++i;
        std::uint64_t v = 0;
        std::size_t digits = 0;
        for (; i < t.size() && t[i] >= '0' && t[i] <= '9'; ++i, ++digits) {
            v = v * 10 + static_cast<unsigned>(t[i] - '0');
            if (v > 0xFFFFFFFFu) break;
        }
        while (i < t.size() && (t[i] == ' ' || t[i] == '\t')) ++i;
        if (digits == 0 || i != t.size() || v > 0xFFFFFFFFu) {
            reader::invalid(std::string(p.attribute("NAME").value()) + " is not a uint32: \"" + t + "\"");
        }
        return static_cast<KVOuint32>(v);
    }
    // OperationTimeout: a uint32, or NULL for none (0xFFFFFFFF, the value
    // IOperationTimeout reads as absent).
    static KVOuint32 operationTimeout(pugi::xml_node p, KVOString const& ns) {
        return childElements(p).empty() ? 0xFFFFFFFFu : uint32(p, ns);
    }
};

template <class Base, class Owner>
ParamSpec<Base> boolParam(void (Owner::*setter)(bool), char const* name) {
    return param<Base>(setter, name, Optional, &ParamReaders::boolean);
}

// A parameter DSP0200 defines for the operation but that this server does not
// act on (for example the deprecated IncludeQualifiers of GetInstance): its
// value is checked as a boolean and dropped.
template <class Base>
ParamSpec<Base> ignoredBoolParam(char const* name) {
    return {name, Optional, [](Base&, pugi::xml_node p, KVOString const&) { reader::booleanValue(p); }};
}

// Walks the request's parameters against `table` and applies each one.
template <class Base>
void bindParams(Base& op, std::vector<ParamSpec<Base>> const& table, std::vector<pugi::xml_node> const& params,
                KVOString const& nameSpace) {
    std::vector<bool> seen(table.size(), false);
    for (pugi::xml_node p : params) {
        std::string_view name = p.attribute("NAME").value();
        std::size_t i = 0;
        while (i < table.size() && !text::equalsIgnoreCase(table[i].name, name)) ++i;
        if (i == table.size()) reader::invalid("unknown parameter " + std::string(name));
        if (seen[i]) reader::invalid("parameter " + std::string(name) + " given twice");
        seen[i] = true;
        table[i].apply(op, p, nameSpace);
    }
    for (std::size_t i = 0; i < table.size(); ++i) {
        if (table[i].presence == Required && !seen[i]) {
            reader::invalid(std::string("missing required parameter ") + table[i].name);
        }
    }
}

}  // namespace cimxmlpa
