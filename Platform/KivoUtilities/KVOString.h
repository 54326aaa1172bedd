// The utility library's 8-bit string: a thin value wrapper around std::string.
//
// Bytes are kept as given (no encoding is assumed, zero bytes included when a
// length is passed). Equality and ordering are byte-wise. Not synchronised:
// like std::string, one object is used by one thread at a time.
#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

class KVOGenericHTTPIStream;

class KVOString {
public:
    KVOString() = default;
    KVOString(char const* s) : _s(s ? s : "") {}  // NOLINT(google-explicit-constructor): used as a literal
    KVOString(std::string s) : _s(std::move(s)) {}  // NOLINT(google-explicit-constructor)
    KVOString(char const* s, std::size_t length) : _s(s, length) {}
    explicit KVOString(std::string_view s) : _s(s) {}

    char const* c_str() const noexcept { return _s.c_str(); }
    std::size_t length() const noexcept { return _s.size(); }
    bool isEmpty() const noexcept { return _s.empty(); }
    std::string const& str() const noexcept { return _s; }
    std::string& str() noexcept { return _s; }

    // Lower-cases the ASCII letters in place; returns *this.
    KVOString& toLower();
    // Case-insensitive (ASCII) equality.
    bool equalsIgnoreCase(KVOString const& other) const;

    KVOString& operator+=(KVOString const& rhs) { _s += rhs._s; return *this; }
    KVOString& operator+=(char const* rhs) { _s += rhs; return *this; }
    KVOString& operator+=(char c) { _s += c; return *this; }

    friend bool operator==(KVOString const& a, KVOString const& b) noexcept { return a._s == b._s; }
    friend bool operator!=(KVOString const& a, KVOString const& b) noexcept { return a._s != b._s; }
    friend bool operator<(KVOString const& a, KVOString const& b) noexcept { return a._s < b._s; }
    friend bool operator==(KVOString const& a, char const* b) { return a._s == b; }
    friend bool operator!=(KVOString const& a, char const* b) { return a._s != b; }
    friend KVOString operator+(KVOString a, KVOString const& b) { a._s += b._s; return a; }
    friend KVOString operator+(KVOString a, char const* b) { a._s += b; return a; }
    friend KVOString operator+(char const* a, KVOString const& b) { return KVOString(std::string(a) + b._s); }

    // Signed decimal text of a number.
    static KVOString itoa(long long value);

    // Reads one line from an HTTP input stream: bytes up to and not including
    // `delimiter`, which is consumed. Stops at end of stream or after
    // `maxLength` bytes of line content, whichever comes first; the rest of an
    // over-long line stays in the stream. A delimiter that begins within the
    // limit is still taken whole (should it break off past the limit, the
    // bytes of it already taken end the returned line), so at most
    // maxLength + delimiter length bytes leave the stream. Defined with the
    // HTTP streams.
    static KVOString readLine(KVOGenericHTTPIStream& istr, KVOString const& delimiter, unsigned maxLength);

private:
    std::string _s;
};

std::ostream& operator<<(std::ostream& os, KVOString const& s);

template <>
struct std::hash<KVOString> {
    std::size_t operator()(KVOString const& s) const noexcept { return std::hash<std::string>()(s.str()); }
};
