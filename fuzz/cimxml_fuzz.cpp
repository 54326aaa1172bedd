// Fuzz target of the CIM-XML adapter's request reading over untrusted bodies:
// the envelope (CIMXMLRequest::parse with its UTF-8, nesting and reference
// text checks, then matchesHeaders), and the DSP0201 readers of
// CIMXMLDataReader.h on every parameter in every way an operation may read
// one (value, instance path, instance, named instance, class name, boolean,
// string, property list), and what they read written back as DSP0201.
//
// Input: a request body, as the intake hands it to the adapter.
// Invariants checked beyond the sanitizers: the readers throw nothing but
// their invalid-parameter exception (code 4) or the platform's exceptions;
// a request whose content was refused is never read; whatever was read and
// written back is well-formed UTF-8 (nothing the client sent that is not UTF-8
// reaches a response).
#include "CIMXMLDataReader.h"
#include "CIMXMLDataWriter.h"
#include "CIMXMLRequest.h"
#include "CIMXMLText.h"

#include "KivoUtilities/KivoBaseException.h"

#include <cstdint>
#include <string>

namespace {

using namespace cimxmlpa;

// Runs `read`, then writes what it returned with `write`; a refusal is fine.
template <class Read, class Write>
void readAndWrite(Read const& read, Write const& write) {
    try {
        write(read());
    } catch (KivoBaseException const&) {
        // Refused as an invalid parameter (or a value the platform cannot take).
    }
}

void check(std::string const& written) {
    if (!text::isValidUtf8(written)) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    CIMXMLRequest request;
    RequestLimits limits;
    limits.referenceTextBudget = 1 << 16;
    if (request.parse(std::string(reinterpret_cast<char const*>(data), size), limits)) return 0;
    static_cast<void>(request.matchesHeaders(request.methodName(), request.nameSpace()));
    if (!request.contentError().empty()) return 0;
    if (!text::isValidUtf8(request.messageId()) || !text::isValidUtf8(request.methodName())) __builtin_trap();

    KVOString const ns = request.nameSpace();
    CIMXMLDataWriter writer("fuzz:5988", ns, nullptr, true);
    std::string out;
    for (pugi::xml_node p : request.params()) {
        readAndWrite([&] { return reader::parameterValue(p, "", ns); },
                     [&](KVOSmrPtr<IKivoValue> const& v) { if (v) writer.writeValue(out, *v); });
        readAndWrite([&] { return reader::parameterValue(p, "string", ns); },
                     [&](KVOSmrPtr<IKivoValue> const& v) { if (v) writer.writeValue(out, *v); });
        for (pugi::xml_node child : childElements(p)) {
            readAndWrite([&] { return reader::instancePath(child, ns); },
                         [&](KVOSmrPtr<IKivoInstanceName> const& n) { writer.writeInstancePath(out, *n); });
            readAndWrite([&] { return reader::instance(child, nullptr, ns); },
                         [&](KVOSmrPtr<IKivoObject> const& o) { writer.writeInstance(out, *o); });
            readAndWrite([&] { return reader::namedInstance(child, ns); },
                         [&](KVOSmrPtr<IKivoObject> const& o) { writer.writeNamedInstance(out, *o); });
            readAndWrite([&] { return reader::className(child); },
                         [&](KVOString const& c) { writer.writeClassName(out, c); });
        }
        readAndWrite([&] { return reader::booleanValue(p); }, [&](bool b) { out += b ? "T" : "F"; });
        readAndWrite([&] { return reader::stringValue(p); }, [&](KVOString const& s) { text::appendEscaped(out, s.str()); });
        readAndWrite([&] { return reader::stringList(p); }, [&](KVOSmrPtr<KVOValSlist<KVOString>> const& l) {
            if (l) for (KVOString const& s : *l) text::appendEscaped(out, s.str());
        });
    }
    if (request.target()) {
        readAndWrite([&] { return reader::instancePath(request.target(), ns); },
                     [&](KVOSmrPtr<IKivoInstanceName> const& n) { writer.writeInstanceName(out, *n); });
    }
    check(out);
    return 0;
}
