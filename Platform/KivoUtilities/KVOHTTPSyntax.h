// Character classes of the HTTP head grammar, shared by the request parser
// and the response writer so that both agree on what a token or a field value
// may hold.
#pragma once

#include <string_view>

namespace KVOHTTPSyntax {

// tchar: a letter, a digit or one of !#$%&'*+-.^_`|~
constexpr bool isTokenChar(unsigned char c) {
    if ((c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z')) return true;
    return c != 0 && std::string_view("!#$%&'*+-.^_`|~").find(static_cast<char>(c)) != std::string_view::npos;
}

constexpr bool isToken(std::string_view s) {
    if (s.empty()) return false;
    for (char c : s) {
        if (!isTokenChar(static_cast<unsigned char>(c))) return false;
    }
    return true;
}

constexpr bool isBlank(char c) { return c == ' ' || c == '\t'; }

// A byte of a field value or reason phrase: visible, obs-text, SP or HTAB.
constexpr bool isFieldValueChar(unsigned char c) { return c == '\t' || (c >= 0x20 && c != 0x7f); }

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }

// "HTTP/" DIGIT "." DIGIT
constexpr bool isVersion(std::string_view v) {
    return v.size() == 8 && v.substr(0, 5) == "HTTP/" && isDigit(v[5]) && v[6] == '.' && isDigit(v[7]);
}

constexpr std::string_view trimBlanks(std::string_view s) {
    while (!s.empty() && isBlank(s.front())) s.remove_prefix(1);
    while (!s.empty() && isBlank(s.back())) s.remove_suffix(1);
    return s;
}

}  // namespace KVOHTTPSyntax
