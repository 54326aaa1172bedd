#include "mof/MofLexer.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <limits>

namespace kivo::mof {

namespace {

bool isIdentStart(char c) {
    return std::isalpha(static_cast<unsigned char>(c)) || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}
bool isIdentChar(char c) { return isIdentStart(c) || std::isdigit(static_cast<unsigned char>(c)); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHex(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }

int digitValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return c - 'A' + 10;
}

}  // namespace

bool MofToken::isWord(std::string_view word) const {
    if (kind != MofTokenKind::Identifier || text.size() != word.size()) return false;
    for (std::size_t i = 0; i < word.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(text[i])) != std::tolower(static_cast<unsigned char>(word[i])))
            return false;
    return true;
}

void appendUtf8(std::string& out, std::uint32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

void MofLexer::fail(MofPosition at, std::string const& message) const { throw MofSyntaxError(at, message); }

void MofLexer::advance(std::size_t n) {
    for (; n > 0 && _pos < _text.size(); --n, ++_pos) {
        if (_text[_pos] == '\n') {
            ++_at.line;
            _at.column = 1;
        } else {
            ++_at.column;
        }
    }
}

void MofLexer::skipSpaceAndComments() {
    for (;;) {
        char const c = peek();
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v') {
            advance();
        } else if (c == '/' && peek(1) == '/') {
            while (_pos < _text.size() && peek() != '\n') advance();
        } else if (c == '/' && peek(1) == '*') {
            MofPosition const start = _at;
            advance(2);
            while (!(peek() == '*' && peek(1) == '/')) {
                if (_pos >= _text.size()) fail(start, "unterminated comment");
                advance();
            }
            advance(2);
        } else if (c == '\xEF' && peek(1) == '\xBB' && peek(2) == '\xBF' && _pos == 0) {
            _pos += 3;  // a UTF-8 byte order mark
        } else {
            return;
        }
    }
}

MofToken MofLexer::next() {
    skipSpaceAndComments();
    MofToken token;
    token.at = _at;
    if (_pos >= _text.size()) return token;
    char const c = peek();
    if (isIdentStart(c)) {
        std::size_t const start = _pos;
        while (isIdentChar(peek())) advance();
        token.kind = MofTokenKind::Identifier;
        token.text.assign(_text.substr(start, _pos - start));
        return token;
    }
    if (isDigit(c) || ((c == '+' || c == '-' || c == '.') && (isDigit(peek(1)) || (peek(1) == '.' && isDigit(peek(2)))))) {
        readNumber(token);
        return token;
    }
    if (c == '"' || c == '\'') {
        readQuoted(token, c);
        return token;
    }
    if (c == '$') {
        advance();
        std::size_t const start = _pos;
        while (isIdentChar(peek())) advance();
        if (_pos == start) fail(token.at, "expected an alias name after '$'");
        token.kind = MofTokenKind::Alias;
        token.text.assign(_text.substr(start, _pos - start));
        return token;
    }
    if (c == '#') {
        advance();
        std::size_t const start = _pos;
        while (isIdentChar(peek())) advance();
        std::string_view const word = _text.substr(start, _pos - start);
        if (word != "pragma") fail(token.at, "expected 'pragma' after '#'");
        token.kind = MofTokenKind::Pragma;
        return token;
    }
    if (std::string_view("{}[]();,=:").find(c) != std::string_view::npos) {
        advance();
        token.kind = MofTokenKind::Punct;
        token.punct = c;
        return token;
    }
    fail(token.at, std::string("unexpected character '") + (std::isprint(static_cast<unsigned char>(c)) ? std::string(1, c) : "\\x" + std::to_string(static_cast<unsigned char>(c))) + "'");
}

// Binary (1010b), octal (017), decimal, hexadecimal (0x1F) integers and
// reals (1.5, -.5e3), each with an optional sign.
void MofLexer::readNumber(MofToken& token) {
    MofPosition const at = _at;
    std::size_t const start = _pos;
    if (peek() == '+' || peek() == '-') {
        token.negative = peek() == '-';
        advance();
    }
    std::size_t const digits = _pos;
    if (peek() == '0' && (peek(1) == 'x' || peek(1) == 'X')) {
        advance(2);
        std::size_t const first = _pos;
        std::uint64_t v = 0;
        while (isHex(peek())) {
            if (v > (std::numeric_limits<std::uint64_t>::max() >> 4)) fail(at, "integer literal out of range");
            v = (v << 4) | static_cast<std::uint64_t>(digitValue(peek()));
            advance();
        }
        if (_pos == first) fail(at, "expected hexadecimal digits after '0x'");
        if (isIdentChar(peek())) fail(_at, "bad hexadecimal literal");
        token.kind = MofTokenKind::Integer;
        token.integer = v;
        return;
    }
    while (isDigit(peek())) advance();
    bool real = false;
    if (peek() == '.') {
        real = true;
        advance();
        if (!isDigit(peek())) fail(_at, "expected digits after '.' in a real literal");
        while (isDigit(peek())) advance();
    }
    if (peek() == 'e' || peek() == 'E') {
        real = true;
        advance();
        if (peek() == '+' || peek() == '-') advance();
        if (!isDigit(peek())) fail(_at, "expected digits in the exponent of a real literal");
        while (isDigit(peek())) advance();
    }
    std::string_view const body = _text.substr(digits, _pos - digits);
    if (real) {
        if (isIdentChar(peek())) fail(_at, "bad real literal");
        std::string const text(_text.substr(start, _pos - start));
        errno = 0;
        token.real = std::strtod(text.c_str(), nullptr);
        if (errno == ERANGE && (token.real > 1 || token.real < -1)) fail(at, "real literal out of range");
        token.kind = MofTokenKind::Real;
        return;
    }
    unsigned base = 10;
    if ((peek() == 'b' || peek() == 'B') && !isIdentChar(peek(1))) {
        for (char d : body)
            if (d != '0' && d != '1') fail(at, "bad binary literal");
        advance();
        base = 2;
    } else if (body.size() > 1 && body[0] == '0') {
        for (char d : body)
            if (d > '7') fail(at, "bad octal literal");
        base = 8;
    }
    if (isIdentChar(peek())) fail(_at, "bad integer literal");
    std::uint64_t v = 0;
    for (char d : body) {
        std::uint64_t const digit = static_cast<std::uint64_t>(d - '0');
        if (v > (std::numeric_limits<std::uint64_t>::max() - digit) / base) fail(at, "integer literal out of range");
        v = v * base + digit;
    }
    token.kind = MofTokenKind::Integer;
    token.integer = v;
}

void MofLexer::readEscape(std::string& out) {
    MofPosition const at = _at;
    advance();  // the backslash
    char const e = peek();
    switch (e) {
        case 'b': out += '\b'; break;
        case 't': out += '\t'; break;
        case 'n': out += '\n'; break;
        case 'f': out += '\f'; break;
        case 'r': out += '\r'; break;
        case '"': out += '"'; break;
        case '\'': out += '\''; break;
        case '\\': out += '\\'; break;
        case 'x':
        case 'X': {
            advance();
            std::uint32_t cp = 0;
            int n = 0;
            for (; n < 4 && isHex(peek()); ++n) {
                cp = (cp << 4) | static_cast<std::uint32_t>(digitValue(peek()));
                advance();
            }
            if (n == 0) fail(at, "expected hexadecimal digits after '\\x'");
            appendUtf8(out, cp);
            return;
        }
        default: fail(at, "unknown escape sequence in a literal");
    }
    advance();
}

void MofLexer::readQuoted(MofToken& token, char quote) {
    MofPosition const at = _at;
    advance();
    std::string value;
    for (;;) {
        char const c = peek();
        if (_pos >= _text.size() || c == '\n' || c == '\r')
            fail(at, quote == '"' ? "unterminated string literal" : "unterminated char16 literal");
        if (c == quote) break;
        if (c == '\\') {
            readEscape(value);
        } else {
            value += c;
            advance();
        }
    }
    advance();
    if (quote == '"') {
        token.kind = MofTokenKind::String;
    } else {
        // One character: one byte, or one UTF-8 sequence.
        std::size_t chars = 0;
        for (char b : value)
            if ((static_cast<unsigned char>(b) & 0xC0) != 0x80) ++chars;
        if (chars != 1) fail(at, "a char16 literal holds one character");
        token.kind = MofTokenKind::Char16;
    }
    token.text = std::move(value);
}

}  // namespace kivo::mof
