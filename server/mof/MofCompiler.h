// The MOF compiler: reads MOF (DSP0221) files and adds their qualifier
// declarations and classes to a ClassRepository, and returns their instances.
//
// Covered: qualifier declarations (type, array, default, scopes, flavors);
// classes with superclass, qualifiers, properties (scalar, fixed and variable
// arrays, defaults), references, methods and parameters; `instance of` with
// `as $Alias` and alias references, references also as object path strings
// ("ns:Class.Key=\"v\""), embedded instances as `instance of` in a value; `#pragma include` (relative to the
// including file, then to the include path), `#pragma namespace`,
// `#pragma locale` (other pragmas are read and ignored); comments, string concatenation and escapes, binary,
// octal, decimal, hexadecimal, real, char16, datetime, boolean and null
// literals, arrays.
//
// Checked (the rules shared with the object manager's CreateClass,
// objectmanager/ClassChecks.h): the superclass exists; every qualifier is declared and allowed
// on its element; a DisableOverride qualifier is not given a new value in a
// subclass; Override names an inherited member of the same type; keys are
// scalar and not null-typed; reference classes exist (checked at the end of
// the compile, so a reference may name a class declared later); defaults and
// qualifier values have the declared type; no property or method twice;
// instances name existing properties, give every key, and use defined
// aliases.
//
// All or nothing: a compile works on a copy of the repository and replaces
// the repository with it only when the whole tree compiled. The first error
// stops the compile and is returned as `file:line:column: message`.
//
// Who calls it: the server at start-up (loading its model), kivo-mof, tests.
// Threading: one compile at a time per compiler, on the caller's thread; the
// commit replaces the repository's content in one locked step, so readers on
// other threads see it before or after the compile (ClassRepository.h).
#pragma once

#include "KivoUtilities/CKivoData.h"
#include "mof/MofLexer.h"
#include "objectmanager/ClassRepository.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kivo::mof {

// Limits of one compile; each answered with an error naming the limit.
struct MofLimits {
    // Nesting of #pragma include.
    unsigned maxIncludeDepth = 32;
    // Bytes of one source file.
    std::size_t maxFileBytes = 64u << 20;
    // Elements of one array literal.
    std::size_t maxArrayElements = 100000;
    // Nesting of `instance of` (an instance with embedded ones inside).
    unsigned maxInstanceDepth = 32;
};

struct MofError {
    std::string file;
    MofPosition where;
    std::string message;

    // "file:line:column: message".
    std::string text() const;
};

// An instance declared with `instance of`, in the namespace it was declared in.
struct MofInstance {
    KVOString nameSpace;
    KVOSmrPtr<IKivoObject> instance;
};

struct MofResult {
    std::optional<MofError> error;  // set when the compile failed
    std::size_t classes = 0;        // classes added
    std::size_t qualifierDecls = 0; // qualifier declarations added or replaced
    std::vector<MofInstance> instances;

    bool ok() const { return !error; }
};

// Reads the regular file at `path` into `out`; false when it is not one or
// cannot be read. The compiler's default reader.
bool readMofFile(std::string const& path, std::string& out);

class MofCompiler {
public:
    // Reads the file at `path` into `out`; false when it cannot be read.
    using Reader = std::function<bool(std::string const& path, std::string& out)>;

    // Compiles into `repository`, starting in `nameSpace` (created when it
    // does not exist). `reader` defaults to reading the file system.
    explicit MofCompiler(om::ClassRepository& repository, KVOString nameSpace = "root/cimv2", MofLimits limits = {},
                         Reader reader = {});

    // Directories where `#pragma include` looks for a relative file name
    // not found beside the including file, in this order.
    void setIncludePath(std::vector<std::string> directories) { _includePath = std::move(directories); }

    // Compiles the file and everything it includes.
    MofResult compileFile(std::string const& path);
    // Compiles `text`, named `name` in errors; includes are relative to the
    // directory of `name`.
    MofResult compileText(std::string const& text, std::string const& name = "<text>");

private:
    MofResult run(std::string const& name, std::string const* text);

    om::ClassRepository& _repository;
    KVOString const _nameSpace;
    MofLimits const _limits;
    Reader _reader;
    std::vector<std::string> _includePath;
};

}  // namespace kivo::mof
