#include "BasicAuth.h"

#include <array>
#include <stdexcept>

namespace cimxmlpa {

namespace auth {

namespace {

// Value of each base64 letter, -1 for every other byte.
constexpr std::array<signed char, 256> kBase64Values = [] {
    std::array<signed char, 256> t{};
    for (auto& v : t) v = -1;
    char const* const alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (int i = 0; i < 64; ++i) t[static_cast<unsigned char>(alphabet[i])] = static_cast<signed char>(i);
    return t;
}();

}  // namespace

std::optional<std::string> decodeBase64(std::string_view text) {
    if (text.size() % 4 != 0) return std::nullopt;
    std::size_t padding = 0;
    if (!text.empty() && text.back() == '=') ++padding;
    if (text.size() >= 2 && text[text.size() - 2] == '=') ++padding;
    std::string out;
    out.reserve(text.size() / 4 * 3);
    for (std::size_t i = 0; i < text.size(); i += 4) {
        bool const last = i + 4 == text.size();
        std::size_t const letters = last ? 4 - padding : 4;
        unsigned long group = 0;
        for (std::size_t j = 0; j < 4; ++j) {
            int v = 0;
            if (j < letters) {
                v = kBase64Values[static_cast<unsigned char>(text[i + j])];
                if (v < 0) return std::nullopt;  // a stray '=' lands here too
            }
            group = (group << 6) | static_cast<unsigned long>(v);
        }
        out += static_cast<char>((group >> 16) & 0xff);
        if (letters > 2) out += static_cast<char>((group >> 8) & 0xff);
        if (letters > 3) out += static_cast<char>(group & 0xff);
    }
    return out;
}

bool constantTimeEquals(std::string_view offered, std::string_view expected) {
    // Every offered byte is compared with some expected byte, whatever the
    // lengths; the difference in length is folded into the result.
    unsigned diff = offered.size() == expected.size() ? 0u : 1u;
    std::size_t const n = expected.size();
    for (std::size_t i = 0; i < offered.size(); ++i) {
        unsigned char const e = n == 0 ? 0 : static_cast<unsigned char>(expected[i % n]);
        diff |= static_cast<unsigned char>(offered[i]) ^ e;
    }
    return diff == 0;
}

}  // namespace auth

BasicAuthenticator::BasicAuthenticator(std::map<std::string, std::string> users, std::string realm)
    : _users(std::move(users)), _realm(std::move(realm)) {
    for (char c : _realm) {
        if (c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
            throw std::invalid_argument("the realm may not hold quotes, backslashes or control characters");
        }
    }
}

std::optional<std::string> BasicAuthenticator::check(std::string const* authorization) const {
    if (authorization == nullptr || authorization->size() > MAX_CREDENTIALS_LENGTH) return std::nullopt;
    std::string_view value(*authorization);
    std::size_t const space = value.find(' ');
    if (space != 5) return std::nullopt;
    for (std::size_t i = 0; i < 5; ++i) {
        if ((value[i] | 0x20) != "basic"[i]) return std::nullopt;
    }
    value.remove_prefix(space);
    while (!value.empty() && value.front() == ' ') value.remove_prefix(1);
    while (!value.empty() && value.back() == ' ') value.remove_suffix(1);
    std::optional<std::string> decoded = auth::decodeBase64(value);
    if (!decoded || decoded->empty()) return std::nullopt;
    std::size_t const colon = decoded->find(':');
    if (colon == std::string::npos) return std::nullopt;
    std::string user = decoded->substr(0, colon);
    std::string_view const password = std::string_view(*decoded).substr(colon + 1);
    auto const it = _users.find(user);
    // An unknown user is compared with a password of its own, so that it
    // takes the same time as a wrong password.
    static std::string const kNobody = "\x01no such user\x01";
    bool const same = auth::constantTimeEquals(password, it != _users.end() ? it->second : kNobody);
    if (it == _users.end() || !same) return std::nullopt;
    return user;
}

std::string BasicAuthenticator::challenge() const {
    return "Basic realm=\"" + _realm + "\"";
}

}  // namespace cimxmlpa
