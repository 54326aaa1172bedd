// Text helpers of the CIM-XML adapter: escaping for XML output, decoding of
// the CIMObject header, and the parse of an object path written in that
// header (namespace, class and key bindings).
//
// Used by the request parser (header against body), the response writer
// (every text and attribute value goes through appendEscaped) and their
// tests. Pure functions; safe from any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace cimxmlpa::text {

// Appends `s` to `out` with the XML escapes: the platform's escape strings for
// <, >, " and line feed, "&amp;" for the ampersand (the one escape that set
// lacks), "&#13;" and "&#9;" for carriage return and tab (so that attribute
// values keep them), and U+FFFD for control characters that XML 1.0 cannot
// carry at all. Everything else, UTF-8 included, is copied as it is.
void appendEscaped(std::string& out, std::string_view s);
std::string escape(std::string_view s);

// ASCII case-insensitive equality (CIM names compare without regard to case).
bool equalsIgnoreCase(std::string_view a, std::string_view b);

// Decodes %XX sequences (either case of hex digits). A '%' not followed by
// two hex digits is kept as it is.
std::string percentDecode(std::string_view s);

// True when `s` is well-formed UTF-8 (no overlong forms, no surrogates, no
// code point above U+10FFFF).
bool isValidUtf8(std::string_view s);
// The offset of the first byte of `s` that is not part of a well-formed UTF-8
// sequence; s.size() when there is none.
std::size_t invalidUtf8Offset(std::string_view s);

// Client-supplied text as a log record quotes it: in double quotes, with
// backslash, double quote, control characters, DEL and bytes that are not
// well-formed UTF-8 escaped (\n, \r, \t, \", \\, \xHH), and cut after `cap`
// bytes of the text with "...(N bytes)" naming the whole length. Every record
// the adapter logs quotes client text through this one function, so that a
// client cannot forge records or flood the log.
inline constexpr std::size_t LOG_TEXT_CAP = 256;
std::string forLog(std::string_view s, std::size_t cap = LOG_TEXT_CAP);

// HTTP header values are ISO-8859-1 unless they happen to be UTF-8: a value
// that is valid UTF-8 is returned unchanged, any other is converted from
// ISO-8859-1 to UTF-8.
std::string headerToUtf8(std::string_view s);

// An object path as a CIMObject header carries it (after percent decoding):
//   root/cimv2                                   a namespace
//   root/cimv2:CIM_Foo                           a class
//   root/cimv2:CIM_Foo.Name="a \"q\"",Id=7       an instance
// Key values: a double-quoted string with backslash escapes (\" and \\), or
// an unquoted token (number, TRUE/FALSE) up to the next comma.
struct ObjectPathHeader {
    std::string nameSpace;
    std::string className;  // empty for a namespace
    bool isInstance = false;
    std::vector<std::pair<std::string, std::string>> keys;
};

// Parses a decoded CIMObject value; nullopt when it is not an object path of
// the forms above (an empty namespace, an unterminated quote, a key without
// '=', text after a quoted value that is not a comma, ...).
std::optional<ObjectPathHeader> parseObjectPathHeader(std::string_view decoded);

// A namespace as one slash-separated string, without leading or trailing
// slashes ("/root/cimv2/" -> "root/cimv2").
std::string normalizeNamespace(std::string_view ns);

}  // namespace cimxmlpa::text
