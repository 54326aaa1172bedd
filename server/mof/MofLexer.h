// The tokens of MOF text (DSP0221): identifiers, punctuation, string, char16
// and number literals, `$alias` names and `#pragma`; comments and white space
// are skipped. Used only by the MOF compiler (MofCompiler.cpp), one lexer per
// source file, on the compiling thread.
//
// A lexer reads a buffer it does not own and that outlives it. Errors are
// thrown as MofSyntaxError with the line and column (1-based, in bytes) of the
// offending character.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kivo::mof {

// A position in a source file.
struct MofPosition {
    unsigned line = 1;
    unsigned column = 1;
};

// What the lexer and the parser throw; the compiler adds the file name.
struct MofSyntaxError : std::runtime_error {
    MofSyntaxError(MofPosition at, std::string const& message) : std::runtime_error(message), where(at) {}
    MofPosition where;
};

enum class MofTokenKind {
    End,
    Identifier,
    Alias,     // $Name; text is the name without '$'
    String,    // text is the decoded string (escapes resolved)
    Char16,    // text is the decoded character as UTF-8
    Integer,   // magnitude in `integer`, sign in `negative`
    Real,      // value in `real`
    Pragma,    // #pragma
    Punct,     // one character in `punct`
};

struct MofToken {
    MofTokenKind kind = MofTokenKind::End;
    MofPosition at;
    std::string text;
    char punct = 0;
    bool negative = false;
    std::uint64_t integer = 0;
    double real = 0;

    bool is(char c) const { return kind == MofTokenKind::Punct && punct == c; }
    // An identifier equal to `word` without regard to ASCII case.
    bool isWord(std::string_view word) const;
};

class MofLexer {
public:
    explicit MofLexer(std::string_view text) : _text(text) {}

    // The next token; End at the end of the text (and every time after).
    MofToken next();

private:
    [[noreturn]] void fail(MofPosition at, std::string const& message) const;
    char peek(std::size_t ahead = 0) const { return _pos + ahead < _text.size() ? _text[_pos + ahead] : '\0'; }
    void advance(std::size_t n = 1);
    void skipSpaceAndComments();
    void readNumber(MofToken& token);
    void readQuoted(MofToken& token, char quote);
    // One character of a string or char16 literal after its backslash, as UTF-8.
    void readEscape(std::string& out);

    std::string_view _text;
    std::size_t _pos = 0;
    MofPosition _at;
};

// Appends the code point as UTF-8.
void appendUtf8(std::string& out, std::uint32_t codePoint);

}  // namespace kivo::mof
