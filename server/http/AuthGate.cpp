#include "AuthGate.h"

#include "KivoUtilities/KVOHTTPRequest.h"
#include "KivoUtilities/KVOLog.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace refserver {

namespace authdetail {

namespace {

constexpr std::array<std::uint32_t, 64> kRoundConstants = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

std::uint32_t rotr(std::uint32_t x, int n) { return (x >> n) | (x << (32 - n)); }

void compress(std::array<std::uint32_t, 8>& h, unsigned char const* block) {
    std::array<std::uint32_t, 64> w;
    for (int i = 0; i < 16; ++i) {
        w[i] = std::uint32_t(block[4 * i]) << 24 | std::uint32_t(block[4 * i + 1]) << 16 |
               std::uint32_t(block[4 * i + 2]) << 8 | std::uint32_t(block[4 * i + 3]);
    }
    for (int i = 16; i < 64; ++i) {
        std::uint32_t const s0 = rotr(w[i - 15], 7) ^ rotr(w[i - 15], 18) ^ (w[i - 15] >> 3);
        std::uint32_t const s1 = rotr(w[i - 2], 17) ^ rotr(w[i - 2], 19) ^ (w[i - 2] >> 10);
        w[i] = w[i - 16] + s0 + w[i - 7] + s1;
    }
    std::uint32_t a = h[0], b = h[1], c = h[2], d = h[3], e = h[4], f = h[5], g = h[6], k = h[7];
    for (int i = 0; i < 64; ++i) {
        std::uint32_t const t1 = k + (rotr(e, 6) ^ rotr(e, 11) ^ rotr(e, 25)) + ((e & f) ^ (~e & g)) +
                                 kRoundConstants[i] + w[i];
        std::uint32_t const t2 = (rotr(a, 2) ^ rotr(a, 13) ^ rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
        k = g;
        g = f;
        f = e;
        e = d + t1;
        d = c;
        c = b;
        b = a;
        a = t1 + t2;
    }
    h[0] += a, h[1] += b, h[2] += c, h[3] += d, h[4] += e, h[5] += f, h[6] += g, h[7] += k;
}

// Value of each base64 letter, -1 for every other byte.
constexpr std::array<signed char, 256> kBase64Values = [] {
    std::array<signed char, 256> t{};
    for (auto& v : t) v = -1;
    char const* const alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (int i = 0; i < 64; ++i) t[static_cast<unsigned char>(alphabet[i])] = static_cast<signed char>(i);
    return t;
}();

// The digest a user is stored and checked as: the name's length, the name,
// the password, so that no two (name, password) pairs share an input.
Digest credentialDigest(std::string_view user, std::string_view password) {
    std::string input;
    input.reserve(8 + user.size() + password.size());
    for (int i = 7; i >= 0; --i) input += static_cast<char>((user.size() >> (8 * i)) & 0xff);
    input.append(user).append(password);
    return sha256(input);
}

// Equal digests; every byte is compared whatever the first difference.
bool digestsEqual(Digest const& a, Digest const& b) {
    unsigned diff = 0;
    for (std::size_t i = 0; i < a.size(); ++i) diff |= static_cast<unsigned>(a[i] ^ b[i]);
    return diff == 0;
}

}  // namespace

Digest sha256(std::string_view data) {
    std::array<std::uint32_t, 8> h = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                      0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    std::size_t const whole = data.size() / 64 * 64;
    for (std::size_t i = 0; i < whole; i += 64) compress(h, reinterpret_cast<unsigned char const*>(data.data() + i));
    // The tail, the 0x80 byte, zeros and the length in bits: one or two blocks.
    std::array<unsigned char, 128> tail{};
    std::size_t const rest = data.size() - whole;
    std::memcpy(tail.data(), data.data() + whole, rest);
    tail[rest] = 0x80;
    std::size_t const blocks = rest + 9 <= 64 ? 1 : 2;
    std::uint64_t const bits = static_cast<std::uint64_t>(data.size()) * 8;
    for (int i = 0; i < 8; ++i) tail[blocks * 64 - 1 - i] = static_cast<unsigned char>(bits >> (8 * i));
    for (std::size_t b = 0; b < blocks; ++b) compress(h, tail.data() + 64 * b);
    Digest out;
    for (int i = 0; i < 8; ++i) {
        for (int j = 0; j < 4; ++j) out[4 * i + j] = static_cast<unsigned char>(h[i] >> (24 - 8 * j));
    }
    return out;
}

std::optional<std::string> decodeBase64(std::string_view text) {
    if (text.size() % 4 != 0) return std::nullopt;
    std::size_t padding = 0;
    if (!text.empty() && text.back() == '=') ++padding;
    if (text.size() >= 2 && text[text.size() - 2] == '=') ++padding;
    std::string out;
    out.reserve(text.size() / 4 * 3);
    for (std::size_t i = 0; i < text.size(); i += 4) {
        std::size_t const letters = i + 4 == text.size() ? 4 - padding : 4;
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

}  // namespace authdetail

namespace {

using Ms = std::chrono::milliseconds;

std::string seconds(AuthGate::Clock::duration d) {
    long long const ms = std::chrono::duration_cast<Ms>(d).count();
    return std::to_string(ms / 1000) + "." + std::to_string(ms % 1000 / 100) + " s";
}

void logAll(std::vector<std::string> const& records) {
    for (std::string const& r : records) {
        KVOLog::log(AuthGate::kLogWho, KVOString(r), KivoTraceLog::KIVO_WARNING, 0, 0, KVOLog::SECURITYLOG);
    }
}

// The user and password a Basic field names; nothing when it is not one.
std::optional<std::pair<std::string, std::string>> parseBasic(std::string_view value, std::size_t maxLength) {
    if (value.size() > maxLength) return std::nullopt;
    for (char c : value) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) return std::nullopt;
    }
    if (value.size() < 6 || value[5] != ' ') return std::nullopt;
    for (std::size_t i = 0; i < 5; ++i) {
        if ((value[i] | 0x20) != "basic"[i]) return std::nullopt;
    }
    value.remove_prefix(5);
    while (!value.empty() && value.front() == ' ') value.remove_prefix(1);
    while (!value.empty() && value.back() == ' ') value.remove_suffix(1);
    std::optional<std::string> decoded = authdetail::decodeBase64(value);
    if (!decoded) return std::nullopt;
    std::size_t const colon = decoded->find(':');
    if (colon == std::string::npos) return std::nullopt;
    return std::make_pair(decoded->substr(0, colon), decoded->substr(colon + 1));
}

}  // namespace

AuthGate::AuthGate(std::map<std::string, std::string> const& users, AuthSettings settings)
    : _users([&] {
          std::vector<User> out;
          for (auto const& [name, password] : users) out.push_back({name, authdetail::credentialDigest(name, password)});
          return out;
      }()),
      _settings(std::move(settings)),
      _maxLevel([this] {
          int level = 1;
          for (Ms d = _settings.firstDelay; d < _settings.maxDelay && level < 62; d *= 2) ++level;
          return level;
      }()) {
    for (char c : _settings.realm) {
        if (c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
            throw std::invalid_argument("the realm may not hold quotes, backslashes or control characters");
        }
    }
    if (_settings.firstDelay <= Ms(0) || _settings.maxDelay < _settings.firstDelay || _settings.quietPeriod <= Ms(0) ||
        _settings.summaryInterval <= Ms(0) || _settings.maxFailuresPerConnection < 1 || _settings.maxPeers == 0 ||
        _settings.maxConnections == 0 || _settings.maxAuthorizationLength == 0) {
        throw std::invalid_argument("authentication settings out of range");
    }
}

AuthGate::~AuthGate() = default;

std::optional<std::string> AuthGate::verify(std::string const* authorization, CheckCost* cost) const {
    if (authorization == nullptr) return std::nullopt;
    auto credentials = parseBasic(*authorization, _settings.maxAuthorizationLength);
    if (!credentials) return std::nullopt;
    // From here on the work is the same for every user and password of a
    // given length: one digest, every stored digest compared in full.
    authdetail::Digest const offered = authdetail::credentialDigest(credentials->first, credentials->second);
    std::size_t match = 0;  // 1 + index of the matching user
    for (std::size_t i = 0; i < _users.size(); ++i) {
        std::size_t const equal = authdetail::digestsEqual(offered, _users[i].digest) ? 1 : 0;
        match |= equal * (i + 1);
    }
    if (cost != nullptr) {
        cost->digests += 1;
        cost->bytesCompared += _users.size() * offered.size();
    }
    if (match == 0) return std::nullopt;
    return _users[match - 1].name;
}

int AuthGate::decayed(Level const& l, Clock::time_point now) const {
    if (now <= l.lastFailure) return l.level;
    auto const quiet = (now - l.lastFailure) / _settings.quietPeriod;
    return quiet >= l.level ? 0 : l.level - static_cast<int>(quiet);
}

std::chrono::milliseconds AuthGate::delayFor(int level) const {
    if (level <= 0) return Ms(0);
    Ms d = _settings.firstDelay;
    for (int i = 1; i < level && d < _settings.maxDelay; ++i) d *= 2;
    return std::min(d, _settings.maxDelay);
}

std::string AuthGate::endOf(Burst const& b) {
    return "Authentication failures from " + b.peer + " ended: " + std::to_string(b.sinceRecord) + " more in " +
           seconds(b.lastFailure - b.lastRecord) + ", " + std::to_string(b.total) + " in all";
}

void AuthGate::expireLocked(Clock::time_point now, std::vector<std::string>& records) {
    while (!_bursts.empty() && now - _bursts.oldest().second.lastFailure >= _settings.quietPeriod) {
        Burst const& b = _bursts.oldest().second;
        records.push_back(endOf(b));
        _bursts.dropOldest();
    }
    // A level decays to zero at the latest _maxLevel quiet periods after its
    // last failure; the least recently failing entries are at the back.
    auto const forgetAfter = _settings.quietPeriod * _maxLevel;
    while (!_peers.empty() && now - _peers.oldest().second.lastFailure >= forgetAfter) _peers.dropOldest();
    while (!_connections.empty() && now - _connections.oldest().second.lastFailure >= forgetAfter) {
        _connections.dropOldest();
    }
}

std::string AuthGate::refusal(bool http10, bool close) const {
    return std::string(http10 ? "HTTP/1.0" : "HTTP/1.1") + " 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"" +
           _settings.realm + "\"\r\nContent-Length: 0\r\n" + (close ? "Connection: close\r\n" : "") + "\r\n";
}

AuthDecision AuthGate::check(AuthRequest const& request, Clock::time_point now) {
    std::optional<std::string> user = verify(request.authorization);
    std::vector<std::string> records;
    AuthDecision d;
    {
        std::lock_guard<std::mutex> guard(_mutex);
        expireLocked(now, records);
        if (user) {
            d.principal = std::move(*user);
        } else {
            d.admitted = false;
            Level* connection = _connections.find(request.connectionId);
            if (request.authorization != nullptr) {
                // A failed attempt: raise both levels, then count it in the burst.
                bool created = false;
                auto raise = [&](Level& l) {
                    l.level = std::min(decayed(l, now) + 1, _maxLevel);
                    l.failures += 1;
                    l.lastFailure = now;
                    return l.level;
                };
                int level = raise(_peers.touch(request.peerAddress, created));
                if (_peers.size() > _settings.maxPeers) _peers.dropOldest();
                connection = &_connections.touch(request.connectionId, created);
                level = std::max(level, raise(*connection));
                if (_connections.size() > _settings.maxConnections) _connections.dropOldest();
                d.delay = delayFor(level);

                Burst& b = _bursts.touch(request.peerAddress, created);
                if (created) {
                    b = Burst{request.peerAddress, now, now, now, 0, 1};
                    bool const malformed = !parseBasic(*request.authorization, _settings.maxAuthorizationLength);
                    records.push_back("Authentication failures from " + request.peerAddress + " began: " +
                                      (malformed ? "malformed credentials" : "wrong user or password"));
                    if (_bursts.size() > _settings.maxPeers) {
                        records.push_back(endOf(_bursts.oldest().second));
                        _bursts.dropOldest();
                    }
                } else {
                    b.lastFailure = now;
                    b.sinceRecord += 1;
                    b.total += 1;
                    if (now - b.lastRecord >= _settings.summaryInterval) {
                        records.push_back("Authentication failures from " + b.peer + " continue: " +
                                          std::to_string(b.sinceRecord) + " more in " + seconds(now - b.lastRecord));
                        b.sinceRecord = 0;
                        b.lastRecord = now;
                    }
                }
            }
            int const failures = connection != nullptr ? connection->failures : 0;
            d.close = !request.reusable || failures >= _settings.maxFailuresPerConnection;
            d.refusal = refusal(request.http10, d.close);
        }
    }
    logAll(records);
    return d;
}

void AuthGate::connectionClosed(std::uint64_t connectionId) {
    std::lock_guard<std::mutex> guard(_mutex);
    _connections.erase(connectionId);
}

void AuthGate::expire(Clock::time_point now) {
    std::vector<std::string> records;
    {
        std::lock_guard<std::mutex> guard(_mutex);
        expireLocked(now, records);
    }
    logAll(records);
}

AuthRequest authRequestFor(KVOHTTPRequest const& head, std::string peerAddress, std::uint64_t connectionId) {
    AuthRequest r;
    KVOString const* field = head.getHeaderField("Authorization");
    r.authorization = field != nullptr ? &field->str() : nullptr;
    r.peerAddress = std::move(peerAddress);
    r.connectionId = connectionId;
    r.http10 = head.getProtocolEnum() == KVOHTTPRequest::HTTP_1_0;
    long const length = head.getContentLength();
    r.reusable = head.getProtocolEnum() == KVOHTTPRequest::HTTP_1_1 && head.isKeepAlive() &&
                 head.getHeaderField("Transfer-Encoding") == nullptr &&
                 (length == KVOHTTPRequest::CONTENT_LENGTH_ABSENT || length == 0);
    return r;
}

std::size_t AuthGate::peersRemembered() const {
    std::lock_guard<std::mutex> guard(_mutex);
    return _peers.size();
}

std::size_t AuthGate::connectionsRemembered() const {
    std::lock_guard<std::mutex> guard(_mutex);
    return _connections.size();
}

}  // namespace refserver
