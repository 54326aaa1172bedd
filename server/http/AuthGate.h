// The authentication gate of the HTTP front end: decides, from a request's
// head alone, whether the request may be served, and answers the ones that
// may not with HTTP Basic's 401 challenge, slowly enough that guessing
// passwords does not pay.
//
// Who calls it: the front end, once per request, on its event-loop thread,
// after the head is read and before any adapter thread or body byte is spent
// on the request; and connectionClosed() when a connection ends. check() and
// every other method may be called from any number of threads at once (one
// mutex guards the failure tables; the credentials are immutable).
//
// Credentials. Only the "Basic" scheme (case ignored) is accepted, with
// strict base64 (the standard alphabet, padded) of "user:password", the user
// being what precedes the first colon; a value longer than
// Settings::maxAuthorizationLength, with a control character, of another
// scheme, with bad base64 or without a colon fails. A well-formed credential
// costs the same work whoever it names: one SHA-256 digest of the user name
// and password together, then a constant-time comparison of that fixed-length
// digest with the stored digest of every configured user, with no early exit.
// An unknown user, a wrong password (wherever it differs) and a right one run
// the same digest and the same comparisons (CheckCost counts them for tests).
//
// Answers. A success admits the request with the user name as its principal.
// A refusal is the whole response: "401 Unauthorized" with
// `WWW-Authenticate: Basic realm="<realm>"`, `Content-Length: 0` and an empty
// body, as the CIM-XML adapter answers it. The refusal closes the connection
// (`Connection: close`) unless the connection could carry another request,
// which needs all of: the head says keep-alive, no body follows it (the gate
// answers before the body is read) and fewer than
// Settings::maxFailuresPerConnection failures on this connection. Every
// CIM-XML operation has a body, so for operations every refusal closes.
//
// Slowing. Each failed attempt (any Authorization field that does not admit;
// a request without the field is only challenged: no delay, no count) raises
// a failure level on its connection and on its peer address. The refusal is
// sent after firstDelay * 2^(level-1), capped at maxDelay, with the higher of
// the two levels: 100 ms, 200, 400, ... 3.2 s with the defaults. The front
// end waits without holding a thread. The level falls by one for each
// quietPeriod without failures, so a client that stops failing is soon served
// at full speed again; a success does not lower it (a known account cannot
// launder guesses at another). A delayed refusal keeps its connection open,
// so with the front end's connection cap one peer guesses at most about
// maxConnections / maxDelay times a second (20 with 64 and 3.2 s), however
// many connections it opens. Tables are bounded: at most maxPeers peers and
// maxConnections connections are remembered, the least recently failing are
// forgotten first, and an entry whose level has decayed to zero is dropped.
//
// Logging. Failures are logged once per burst per peer, never once per
// attempt: one record when a peer starts failing, one summary with the count
// every summaryInterval while it goes on, and one when it ends (quietPeriod
// without failures, noticed on the next call of check() or expire()). Records
// go to the platform log as KIVO_WARNING (a client's fault, not the
// server's), category SECURITYLOG, from kLogWho:
//   "Authentication failures from PEER began: REASON"
//   "Authentication failures from PEER continue: N more in S s"
//   "Authentication failures from PEER ended: N more in S s, T in all"
// REASON is "wrong user or password" or "malformed credentials".
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

class KVOHTTPRequest;

namespace refserver {

// The settings of an AuthGate; every limit a client can reach is here.
struct AuthSettings {
    std::string realm = "kivo-cimxml-server";
    // Delay of the first refused attempt; each further one doubles it.
    std::chrono::milliseconds firstDelay{100};
    // Longest delay of a refusal.
    std::chrono::milliseconds maxDelay{3200};
    // Without failures for this long, a peer's or connection's level falls by
    // one, and its burst of failures ends.
    std::chrono::milliseconds quietPeriod{30000};
    // Failures after which a connection is closed even if it could go on.
    int maxFailuresPerConnection = 3;
    // Peer addresses and connections remembered at once.
    std::size_t maxPeers = 10000;
    std::size_t maxConnections = 10000;
    // While a burst goes on, a summary record at most this often.
    std::chrono::milliseconds summaryInterval{60000};
    // Longest Authorization field value looked at; longer ones fail.
    std::size_t maxAuthorizationLength = 4096;
};

// What the front end knows of one request when it asks the gate.
struct AuthRequest {
    std::string const* authorization = nullptr;  // the Authorization field's value; null when absent
    std::string peerAddress;                     // the client's address, without the port
    std::uint64_t connectionId = 0;              // unique per connection in the process
    bool http10 = false;                         // the refusal is then an HTTP/1.0 response
    bool reusable = false;  // keep-alive, and no body follows the head: a refusal may leave it open
};

// The gate's answer, in the shape of the front end's admission.
struct AuthDecision {
    bool admitted = true;
    std::string principal;               // admitted: the user name
    std::string refusal;                 // refused: the whole HTTP response to send
    std::chrono::milliseconds delay{0};  // refused: sent after this delay
    bool close = true;                   // refused: close the connection after sending
};

// Work done by one credential check, for tests that show it does not depend
// on the user or the password.
struct CheckCost {
    int digests = 0;                  // SHA-256 digests computed
    std::size_t bytesCompared = 0;    // digest bytes compared
};

namespace authdetail {

using Digest = std::array<unsigned char, 32>;

Digest sha256(std::string_view data);

// Decodes padded base64 of the standard alphabet; nothing when `text` is not
// exactly that.
std::optional<std::string> decodeBase64(std::string_view text);

// A table that remembers the most recently touched keys, evicting the least
// recently touched first; not thread-safe (the gate's mutex guards it).
template <class Key, class Value>
class RecentTable {
public:
    using Item = std::pair<Key, Value>;

    // The value of `key`, created when missing, moved to the front.
    Value& touch(Key const& key, bool& created) {
        auto const it = _index.find(key);
        created = it == _index.end();
        if (created) {
            _items.emplace_front(key, Value{});
            _index.emplace(key, _items.begin());
        } else {
            _items.splice(_items.begin(), _items, it->second);
        }
        return _items.front().second;
    }
    Value* find(Key const& key) {
        auto const it = _index.find(key);
        return it == _index.end() ? nullptr : &it->second->second;
    }
    void erase(Key const& key) {
        auto const it = _index.find(key);
        if (it == _index.end()) return;
        _items.erase(it->second);
        _index.erase(it);
    }
    bool empty() const { return _items.empty(); }
    std::size_t size() const { return _items.size(); }
    Item& oldest() { return _items.back(); }
    void dropOldest() {
        _index.erase(_items.back().first);
        _items.pop_back();
    }

private:
    std::list<Item> _items;  // most recently touched first
    std::unordered_map<Key, typename std::list<Item>::iterator> _index;
};

}  // namespace authdetail

class AuthGate {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr char const* kLogWho = "refserver::AuthGate";

    // `users`: user name -> password. Throws std::invalid_argument for a realm
    // that cannot be quoted (a double quote, backslash or control character)
    // or settings out of range (a zero delay or period, a zero limit).
    AuthGate(std::map<std::string, std::string> const& users, AuthSettings settings = {});
    ~AuthGate();
    AuthGate(AuthGate const&) = delete;
    AuthGate& operator=(AuthGate const&) = delete;

    AuthDecision check(AuthRequest const& request, Clock::time_point now = Clock::now());
    // Forgets a connection that has ended.
    void connectionClosed(std::uint64_t connectionId);
    // Ends bursts that have gone quiet and drops decayed entries; check()
    // does the same. A front end may call it now and then (say once a second)
    // so that the end of a burst is logged without waiting for the next request.
    void expire(Clock::time_point now = Clock::now());

    // The user that `authorization` names with a right password, or nothing.
    // `cost`, when given, receives the work done. Thread-safe (no state).
    std::optional<std::string> verify(std::string const* authorization, CheckCost* cost = nullptr) const;

    // For tests: the number of peers and connections remembered.
    std::size_t peersRemembered() const;
    std::size_t connectionsRemembered() const;
    AuthSettings const& settings() const { return _settings; }

private:
    struct Level {
        int level = 0;     // capped at _maxLevel
        int failures = 0;  // in all, for maxFailuresPerConnection
        Clock::time_point lastFailure;
    };
    struct Burst {
        std::string peer;
        Clock::time_point start;        // of the burst
        Clock::time_point lastRecord;   // of the last record logged
        Clock::time_point lastFailure;
        unsigned long sinceRecord = 0;  // failures not yet in a record
        unsigned long total = 0;
    };

    // The level after decay to `now`; 0 means the entry may be dropped.
    int decayed(Level const& l, Clock::time_point now) const;
    std::chrono::milliseconds delayFor(int level) const;
    void expireLocked(Clock::time_point now, std::vector<std::string>& records);
    static std::string endOf(Burst const& b);
    std::string refusal(bool http10, bool close) const;

    struct User {
        std::string name;
        authdetail::Digest digest;
    };
    std::vector<User> const _users;  // immutable
    AuthSettings const _settings;
    int const _maxLevel;  // the level at which maxDelay is reached

    mutable std::mutex _mutex;
    authdetail::RecentTable<std::string, Level> _peers;           // guarded by _mutex
    authdetail::RecentTable<std::uint64_t, Level> _connections;   // guarded by _mutex
    authdetail::RecentTable<std::string, Burst> _bursts;          // guarded by _mutex; by last failure
};

// The gate's question about a request head the front end has read: its
// Authorization field (pointing into `head`, which must outlive the result),
// whether the refusal is HTTP/1.0, and whether the connection could carry
// another request after a refusal (HTTP/1.1 keep-alive with no body: no
// Transfer-Encoding, a Content-Length absent or 0).
AuthRequest authRequestFor(KVOHTTPRequest const& head, std::string peerAddress, std::uint64_t connectionId);

// The gate's answer in the shape of the front end's admission (a struct with
// admitted, principal, refusal, delay and close), so that its request gate is
//   [&gate](auto const& head, auto const& c) {
//       return toAdmission<Admission>(gate.check(authRequestFor(head, c.peerAddress, c.id)));
//   }
template <class Admission>
Admission toAdmission(AuthDecision d) {
    Admission a;
    a.admitted = d.admitted;
    a.principal = std::move(d.principal);
    a.refusal = std::move(d.refusal);
    a.delay = d.delay;
    a.close = d.close;
    return a;
}

}  // namespace refserver
