#include "CIMXMLText.h"

#include "KivoUtilities/KVOCIMUtils.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>

namespace cimxmlpa::text {

namespace {

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

char asciiLower(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

std::string_view trim(std::string_view s) {
    while (!s.empty() && isBlank(s.front())) s.remove_prefix(1);
    while (!s.empty() && isBlank(s.back())) s.remove_suffix(1);
    return s;
}

}  // namespace

void appendEscaped(std::string& out, std::string_view s) {
    // Runs of bytes that need no escape are appended whole.
    std::size_t run = 0;
    for (std::size_t i = 0; i < s.size(); ++i) {
        char const c = s[i];
        if (static_cast<unsigned char>(c) >= 0x20 && c != '&' && c != '<' && c != '>' && c != '"') continue;
        out.append(s.data() + run, i - run);
        run = i + 1;
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += XML_LT.str(); break;
            case '>': out += XML_GT.str(); break;
            case '"': out += XML_QUOTE.str(); break;
            case '\n': out += HTML_LINE_FEED.str(); break;
            case '\r': out += "&#13;"; break;
            case '\t': out += "&#9;"; break;
            default: out += "\xEF\xBF\xBD";  // U+FFFD: XML 1.0 has no way to carry it
        }
    }
    out.append(s.data() + run, s.size() - run);
}

std::string escape(std::string_view s) {
    std::string out;
    out.reserve(s.size());
    appendEscaped(out, s);
    return out;
}

bool equalsIgnoreCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (asciiLower(a[i]) != asciiLower(b[i])) return false;
    }
    return true;
}

std::string percentDecode(std::string_view s) {
    std::string out;
    out.reserve(s.size());
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '%' && i + 2 < s.size()) {
            int hi = hexDigit(s[i + 1]);
            int lo = hexDigit(s[i + 2]);
            if (hi >= 0 && lo >= 0) {
                out += static_cast<char>(hi * 16 + lo);
                i += 2;
                continue;
            }
        }
        out += s[i];
    }
    return out;
}

namespace {

// The length of the well-formed UTF-8 sequence at s[i], or 0.
std::size_t utf8SequenceAt(std::string_view s, std::size_t i) {
    auto c = static_cast<unsigned char>(s[i]);
    if (c < 0x80) return 1;
    std::size_t extra;
    unsigned min;
    unsigned cp;
    if ((c & 0xE0) == 0xC0) {
        extra = 1; min = 0x80; cp = c & 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
        extra = 2; min = 0x800; cp = c & 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
        extra = 3; min = 0x10000; cp = c & 0x07;
    } else {
        return 0;
    }
    if (i + extra >= s.size()) return 0;
    for (std::size_t k = 1; k <= extra; ++k) {
        auto cc = static_cast<unsigned char>(s[i + k]);
        if ((cc & 0xC0) != 0x80) return 0;
        cp = (cp << 6) | (cc & 0x3F);
    }
    if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
    return extra + 1;
}

}  // namespace

std::size_t invalidUtf8Offset(std::string_view s) {
    std::size_t i = 0;
    while (i < s.size()) {
        // Runs of ASCII, the common case, eight bytes at a time.
        while (i + 8 <= s.size()) {
            std::uint64_t word;
            std::memcpy(&word, s.data() + i, sizeof word);
            if ((word & 0x8080808080808080ull) != 0) break;
            i += 8;
        }
        if (i >= s.size()) break;
        std::size_t const n = utf8SequenceAt(s, i);
        if (n == 0) return i;
        i += n;
    }
    return s.size();
}

bool isValidUtf8(std::string_view s) {
    return invalidUtf8Offset(s) == s.size();
}

std::string forLog(std::string_view s, std::size_t cap) {
    static char const hex[] = "0123456789abcdef";
    std::string out = "\"";
    std::size_t i = 0;
    std::size_t const end = std::min(s.size(), cap);
    while (i < end) {
        auto c = static_cast<unsigned char>(s[i]);
        std::size_t const n = c >= 0x80 ? utf8SequenceAt(s, i) : 1;
        // C1 controls (U+0080..U+009F) are escaped too: some terminals act on them.
        bool const c1 = n == 2 && c == 0xC2 && static_cast<unsigned char>(s[i + 1]) < 0xA0;
        if (n > 1 && !c1 && i + n <= end) {
            out.append(s.substr(i, n));
            i += n;
            continue;
        }
        switch (c) {
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            case '\t': out += "\\t"; break;
            case '"': out += "\\\""; break;
            case '\\': out += "\\\\"; break;
            default:
                if (c < 0x20 || c >= 0x7f) {
                    out += "\\x";
                    out += hex[c >> 4];
                    out += hex[c & 0xF];
                } else {
                    out += static_cast<char>(c);
                }
        }
        ++i;
    }
    out += '"';
    if (s.size() > cap) out += "...(" + std::to_string(s.size()) + " bytes)";
    return out;
}

std::string headerToUtf8(std::string_view s) {
    if (isValidUtf8(s)) return std::string(s);
    std::string out;
    out.reserve(s.size() * 2);
    for (char ch : s) {
        auto c = static_cast<unsigned char>(ch);
        if (c < 0x80) {
            out += ch;
        } else {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

std::string normalizeNamespace(std::string_view ns) {
    std::string out;
    std::size_t i = 0;
    while (i < ns.size()) {
        while (i < ns.size() && ns[i] == '/') ++i;
        std::size_t start = i;
        while (i < ns.size() && ns[i] != '/') ++i;
        if (i > start) {
            if (!out.empty()) out += '/';
            out.append(ns.substr(start, i - start));
        }
    }
    return out;
}

std::optional<ObjectPathHeader> parseObjectPathHeader(std::string_view decoded) {
    ObjectPathHeader path;
    std::string_view s = trim(decoded);
    std::size_t colon = s.find(':');
    path.nameSpace = normalizeNamespace(s.substr(0, colon));
    if (path.nameSpace.empty()) return std::nullopt;
    if (colon == std::string_view::npos) return path;

    std::string_view rest = s.substr(colon + 1);
    std::size_t dot = rest.find('.');
    path.className = std::string(trim(rest.substr(0, dot)));
    if (path.className.empty()) return std::nullopt;
    if (dot == std::string_view::npos) return path;

    path.isInstance = true;
    std::size_t i = dot + 1;
    while (true) {
        std::size_t eq = rest.find('=', i);
        if (eq == std::string_view::npos) return std::nullopt;
        std::string name(trim(rest.substr(i, eq - i)));
        if (name.empty()) return std::nullopt;
        i = eq + 1;
        std::string value;
        if (i < rest.size() && rest[i] == '"') {
            ++i;
            bool closed = false;
            while (i < rest.size()) {
                char c = rest[i++];
                if (c == '\\' && i < rest.size()) {
                    value += rest[i++];
                } else if (c == '"') {
                    closed = true;
                    break;
                } else {
                    value += c;
                }
            }
            if (!closed) return std::nullopt;
            while (i < rest.size() && isBlank(rest[i])) ++i;
            if (i < rest.size() && rest[i] != ',') return std::nullopt;
        } else {
            std::size_t comma = rest.find(',', i);
            value = std::string(trim(rest.substr(i, comma == std::string_view::npos ? rest.size() - i : comma - i)));
            if (value.empty()) return std::nullopt;
            i = comma == std::string_view::npos ? rest.size() : comma;
        }
        path.keys.emplace_back(std::move(name), std::move(value));
        if (i >= rest.size()) break;
        ++i;  // the comma
    }
    return path;
}

}  // namespace cimxmlpa::text
