#include "KivoUtilities/KVOCIMText.h"

#include "KivoUtilities/KivoBaseException.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

namespace {

std::string trimmed(KVOString const& text) {
    std::string const& s = text.str();
    std::size_t b = 0, e = s.size();
    while (b < e && std::isspace(static_cast<unsigned char>(s[b]))) ++b;
    while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1]))) --e;
    return s.substr(b, e - b);
}

// Reads "[+-][0x]digits" (blanks around allowed) into a sign and a
// magnitude; false when malformed or beyond 64 bits.
bool readInteger(KVOString const& text, bool& negative, std::uint64_t& magnitude) {
    std::string const s = trimmed(text);
    std::size_t i = 0;
    negative = false;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) negative = s[i++] == '-';
    int base = 10;
    if (i + 1 < s.size() && s[i] == '0' && (s[i + 1] == 'x' || s[i + 1] == 'X')) {
        base = 16;
        i += 2;
    }
    char const* const first = s.data() + i;
    char const* const last = s.data() + s.size();
    if (first == last || *first == '+' || *first == '-') return false;
    auto [end, ec] = std::from_chars(first, last, magnitude, base);
    return ec == std::errc() && end == last;
}

}  // namespace

bool KVOCIMText::parseBoolean(KVOString const& text, bool& value) {
    KVOString t(trimmed(text));
    if (t.equalsIgnoreCase("true")) value = true;
    else if (t.equalsIgnoreCase("false")) value = false;
    else return false;
    return true;
}

bool KVOCIMText::parseUnsigned(KVOString const& text, std::uint64_t& value) {
    bool negative = false;
    std::uint64_t v = 0;
    if (!readInteger(text, negative, v) || (negative && v != 0)) return false;
    value = v;
    return true;
}

bool KVOCIMText::parseSigned(KVOString const& text, std::int64_t& value) {
    bool negative = false;
    std::uint64_t v = 0;
    if (!readInteger(text, negative, v)) return false;
    std::uint64_t const limit = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) + (negative ? 1 : 0);
    if (v > limit) return false;
    value = negative ? static_cast<std::int64_t>(0 - v) : static_cast<std::int64_t>(v);
    return true;
}

bool KVOCIMText::parseReal(KVOString const& text, double& value) {
    std::string s = trimmed(text);
    if (s.empty()) return false;
    if (s == "INF" || s == "+INF") {
        value = std::numeric_limits<double>::infinity();
        return true;
    }
    if (s == "-INF") {
        value = -std::numeric_limits<double>::infinity();
        return true;
    }
    if (s == "NaN") {
        value = std::numeric_limits<double>::quiet_NaN();
        return true;
    }
    char* end = nullptr;
    double v = std::strtod(s.c_str(), &end);
    if (end != s.c_str() + s.size()) return false;
    value = v;
    return true;
}

KVOString KVOCIMText::formatReal(double value, bool single) {
    if (std::isnan(value)) return "NaN";
    if (std::isinf(value)) return value > 0 ? "INF" : "-INF";
    char buf[64];
    std::to_chars_result r = single ? std::to_chars(buf, buf + sizeof buf, static_cast<float>(value))
                                    : std::to_chars(buf, buf + sizeof buf, value);
    return KVOString(buf, static_cast<std::size_t>(r.ptr - buf));
}

bool KVOCIMText::isDateTime(KVOString const& text) {
    std::string const& s = text.str();
    if (s.size() != 25 || s[14] != '.') return false;
    char const sign = s[21];
    if (sign != '+' && sign != '-' && sign != ':') return false;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (i == 14 || i == 21) continue;
        if (!std::isdigit(static_cast<unsigned char>(s[i])) && s[i] != '*') return false;
    }
    return sign != ':' || s.compare(22, 3, "000") == 0;
}

KVOString KVOCIMText::quote(KVOString const& text) {
    std::string out = "\"";
    for (char c : text.str()) {
        if (c == '"' || c == '\\') out += '\\';
        out += c;
    }
    out += '"';
    return out;
}

void KVOCIMText::invalid(KVOString const& where, KVOString const& message) {
    throw KivoBaseException("", where, "", message, 4);
}
