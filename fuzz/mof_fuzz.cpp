// The MOF compiler on arbitrary bytes: the input is the top file; it may
// include "q.mof" (a few qualifier declarations) and itself, nothing else.
// Whatever it holds, the compile ends with a result or one error, and a
// failed compile leaves the repository empty.
#include "mof/MofCompiler.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

char const kQualifiers[] =
    "Qualifier Key : boolean = false, Scope(property, reference), Flavor(DisableOverride, ToSubclass);\n"
    "Qualifier Description : string = null, Scope(any), Flavor(Translatable);\n"
    "Qualifier Association : boolean = false, Scope(association), Flavor(DisableOverride, ToSubclass);\n"
    "Qualifier Override : string = null, Scope(property, reference, method), Flavor(Restricted);\n"
    "Qualifier ValueMap : string[], Scope(property, method, parameter);\n"
    "Qualifier In : boolean = true, Scope(parameter), Flavor(DisableOverride, ToSubclass);\n"
    "Qualifier Out : boolean = false, Scope(parameter), Flavor(DisableOverride, ToSubclass);\n"
    "Qualifier Abstract : boolean = false, Scope(class, association, indication), Flavor(Restricted);\n";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const text(reinterpret_cast<char const*>(data), size);
    kivo::om::ClassRepository repository;
    kivo::mof::MofLimits limits;
    limits.maxArrayElements = 1000;
    kivo::mof::MofCompiler compiler(repository, "root/fuzz", limits, [&](std::string const& path, std::string& out) {
        if (path == "q.mof") out = kQualifiers;
        else if (path == "main.mof") out = text;
        else return false;
        return true;
    });
    kivo::mof::MofResult const r = compiler.compileFile("main.mof");
    if (!r.ok()) {
        if (r.error->text().empty() || repository.hasNamespace("root/fuzz")) std::abort();
    }
    return 0;
}
