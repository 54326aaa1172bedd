#include "AuthGate.h"

#include "support/LogCapture.h"

#include "KivoUtilities/KVOGenericHTTPIStream.h"
#include "KivoUtilities/KVOHTTPRequest.h"
#include "KivoUtilities/KVOMemorySocket.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using namespace std::chrono_literals;
using refserver::AuthDecision;
using refserver::AuthGate;
using refserver::AuthRequest;
using refserver::AuthSettings;
using refserver::CheckCost;
using Ms = std::chrono::milliseconds;

std::string hex(refserver::authdetail::Digest const& d) {
    std::string out;
    for (unsigned char c : d) {
        out += "0123456789abcdef"[c >> 4];
        out += "0123456789abcdef"[c & 15];
    }
    return out;
}

std::string const kAlice = "Basic YWxpY2U6c2VjcmV0";         // alice:secret
std::string const kWrongPassword = "Basic YWxpY2U6c2VjcmVU";  // alice:secreT
std::string const kMalformed = "Basic YWxpY2VzZWNyZXQ=";      // alicesecret (no colon)

struct AuthGateTest : ::testing::Test {
    kivo_test::LogCapture log;  // keeps records off standard error; asserted where they matter
    AuthGate::Clock::time_point const t0 = AuthGate::Clock::now();
    std::map<std::string, std::string> const users = {{"alice", "secret"}, {"bob", "pa:ss word"}};

    static AuthRequest attempt(std::string const* authorization, std::string peer = "10.0.0.1",
                               std::uint64_t connection = 1, bool reusable = false) {
        AuthRequest r;
        r.authorization = authorization;
        r.peerAddress = std::move(peer);
        r.connectionId = connection;
        r.reusable = reusable;
        return r;
    }
};

TEST(AuthGateBase64Test, DecodingIsStrict) {
    EXPECT_EQ(refserver::authdetail::decodeBase64(""), "");
    EXPECT_EQ(refserver::authdetail::decodeBase64("YWxpY2U6c2VjcmV0"), "alice:secret");
    EXPECT_EQ(refserver::authdetail::decodeBase64("YTpi"), "a:b");
    EXPECT_EQ(refserver::authdetail::decodeBase64("YTpiYw=="), "a:bc");
    EXPECT_EQ(refserver::authdetail::decodeBase64("YTpiYzE="), "a:bc1");
    EXPECT_EQ(refserver::authdetail::decodeBase64("+/8A"), std::string("\xfb\xff\x00", 3));
    for (char const* bad : {"YTpiYw", "YTpiYw=", "YT=iYw==", "YTpi====", "=YTp", "YTp!", "YTp-", "YTp_", "YTp ",
                            "YTpiYw==YTpi"}) {
        EXPECT_FALSE(refserver::authdetail::decodeBase64(bad)) << bad;
    }
    EXPECT_FALSE(refserver::authdetail::decodeBase64(std::string_view("YT\0i", 4)));
}

TEST_F(AuthGateTest, Sha256MatchesKnownDigestsAcrossBlockBoundaries) {
    using refserver::authdetail::sha256;
    EXPECT_EQ(hex(sha256("")), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(hex(sha256("abc")), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    // 56 bytes: the length no longer fits in the first block.
    EXPECT_EQ(hex(sha256("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(hex(sha256(std::string(1000, 'a'))),
              "41edece42d63e8d9bf515a9ba6932e1c20cbc9f5a5d134645adb5db1b9737ea3");
}

TEST_F(AuthGateTest, VerifyAdmitsOnlyAConfiguredUserWithItsPassword) {
    AuthGate gate(users);
    for (auto const& [value, user] : std::vector<std::pair<std::string, std::string>>{
             {kAlice, "alice"},
             {"basic YWxpY2U6c2VjcmV0", "alice"},          // scheme case ignored
             {"BASIC   YWxpY2U6c2VjcmV0  ", "alice"},      // spaces around the token
             {"Basic Ym9iOnBhOnNzIHdvcmQ=", "bob"},        // bob:pa:ss word
         }) {
        EXPECT_EQ(gate.verify(&value), user) << value;
    }
    std::string const huge = "Basic " + std::string(gate.settings().maxAuthorizationLength, 'A');
    for (std::string const& bad : std::vector<std::string>{
             kWrongPassword, kMalformed,
             "Basic YWxpY2U6c2VjcmU=",      // alice:secre
             "Basic YWxpY2U6c2VjcmV0cw==",  // alice:secrets
             "Basic bWFsbG9yeTpzZWNyZXQ=",  // mallory:secret
             "Basic QWxpY2U6c2VjcmV0",      // Alice:secret
             "Basic YWxpY2U6c2VjcmV0!", "Basic YWxpY2U6c2VjcmU", "Basic YWxp Y2U6c2VjcmV0", "Basic ", "Basic", "",
             "Bearer YWxpY2U6c2VjcmV0", "Digest username=\"alice\"", "BasicYWxpY2U6c2VjcmV0", "Basics YWxpY2U6c2VjcmV0",
             "Basic YWxpY2U6c2VjcmV0\r\n", "Basic\tYWxpY2U6c2VjcmV0", std::string("Basic YWxpY2U6c2VjcmV0\0", 23),
             "Basic YWxpY2U6c2VjcmV0\x7f", huge}) {
        EXPECT_FALSE(gate.verify(&bad)) << bad;
    }
    EXPECT_FALSE(gate.verify(nullptr));
    // The length limit, at its boundary.
    AuthSettings s;
    s.maxAuthorizationLength = kAlice.size();
    EXPECT_EQ(AuthGate(users, s).verify(&kAlice), "alice");
    s.maxAuthorizationLength = kAlice.size() - 1;
    EXPECT_FALSE(AuthGate(users, s).verify(&kAlice));
}

TEST_F(AuthGateTest, EveryWellFormedCredentialCostsOneDigestAndEveryStoredDigestCompared) {
    AuthGate gate(users);
    // Right password, wrong at the first or the last byte, unknown user,
    // empty password: the same work.
    for (std::string const& value :
         {kAlice, std::string("Basic YWxpY2U6U2VjcmV0"), kWrongPassword, std::string("Basic bWFsbG9yeTpzZWNyZXQ="),
          std::string("Basic YWxpY2U6")}) {
        CheckCost cost;
        gate.verify(&value, &cost);
        EXPECT_EQ(cost.digests, 1) << value;
        EXPECT_EQ(cost.bytesCompared, users.size() * 32) << value;
    }
}

TEST_F(AuthGateTest, TheRefusalIsThe401ChallengeAndClosesUnlessTheConnectionCanGoOn) {
    AuthGate gate(users);
    std::string const keep = "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"kivo-cimxml-server\"\r\n"
                             "Content-Length: 0\r\n\r\n";
    std::string const close = "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"kivo-cimxml-server\"\r\n"
                              "Content-Length: 0\r\nConnection: close\r\n\r\n";
    // Without credentials: challenged at once, nothing counted.
    AuthDecision d = gate.check(attempt(nullptr, "10.0.0.1", 1, true), t0);
    EXPECT_FALSE(d.admitted);
    EXPECT_EQ(d.refusal, keep);
    EXPECT_FALSE(d.close);
    EXPECT_EQ(d.delay, 0ms);
    EXPECT_EQ(gate.peersRemembered(), 0u);
    // A reusable connection is closed at its third failure.
    for (int i = 1; i <= 3; ++i) {
        d = gate.check(attempt(&kWrongPassword, "10.0.0.1", 1, true), t0);
        EXPECT_EQ(d.close, i == 3) << i;
        EXPECT_EQ(d.refusal, i == 3 ? close : keep) << i;
    }
    // One that is not (a body follows, or no keep-alive) closes at once.
    d = gate.check(attempt(nullptr, "10.0.0.2", 2, false), t0);
    EXPECT_TRUE(d.close);
    EXPECT_EQ(d.refusal, close);
    AuthRequest old = attempt(&kMalformed, "10.0.0.2", 2, false);
    old.http10 = true;
    EXPECT_EQ(gate.check(old, t0).refusal.substr(0, 26), "HTTP/1.0 401 Unauthorized\r");
    // The front end's admission takes every field.
    struct Admission {
        bool admitted = true;
        std::string principal, refusal;
        Ms delay{0};
        bool close = false;
    } const a = refserver::toAdmission<Admission>(d);
    EXPECT_FALSE(a.admitted);
    EXPECT_EQ(a.refusal, d.refusal);
    EXPECT_TRUE(a.close);
    // A success names the user and carries no delay.
    d = gate.check(attempt(&kAlice, "10.0.0.1", 1, true), t0);
    EXPECT_TRUE(d.admitted);
    EXPECT_EQ(d.principal, "alice");
    EXPECT_EQ(d.delay, 0ms);
    // A closed connection is forgotten.
    EXPECT_EQ(gate.connectionsRemembered(), 2u);
    gate.connectionClosed(1);
    gate.connectionClosed(2);
    gate.connectionClosed(99);
    EXPECT_EQ(gate.connectionsRemembered(), 0u);
}

TEST_F(AuthGateTest, DelaysDoubleToTheCapAndDecayByOneStepPerQuietPeriod) {
    AuthGate gate(users);
    AuthSettings const& s = gate.settings();
    // Each attempt on a new connection: the peer's level alone drives the delay.
    std::uint64_t connection = 0;
    auto fail = [&](std::string const& peer, AuthGate::Clock::time_point at) {
        return gate.check(attempt(&kWrongPassword, peer, ++connection), at).delay;
    };
    std::vector<Ms> delays;
    for (int i = 0; i < 8; ++i) delays.push_back(fail("10.0.0.1", t0 + Ms(i)));
    EXPECT_EQ(delays, (std::vector<Ms>{100ms, 200ms, 400ms, 800ms, 1600ms, 3200ms, 3200ms, 3200ms}));
    // Another peer is not slowed by the first.
    EXPECT_EQ(fail("10.0.0.2", t0), 100ms);
    // Two quiet periods take two steps off; a success does not reset.
    EXPECT_TRUE(gate.check(attempt(&kAlice, "10.0.0.1", ++connection), t0 + 2 * s.quietPeriod).admitted);
    EXPECT_EQ(fail("10.0.0.1", t0 + Ms(7) + 2 * s.quietPeriod), 1600ms);
    // Failures on one connection slow it even when the peer is forgotten.
    AuthSettings one;
    one.maxPeers = 1;
    AuthGate small(users, one);
    for (Ms expected : {100ms, 200ms, 400ms}) {
        EXPECT_EQ(small.check(attempt(&kWrongPassword, "10.0.0.1", 7, true), t0).delay, expected);
        small.check(attempt(&kWrongPassword, "10.0.0.9", 8), t0);  // evicts 10.0.0.1
    }
    // Fully decayed entries are dropped.
    gate.expire(t0 + 60 * s.quietPeriod);
    EXPECT_EQ(gate.peersRemembered(), 0u);
    EXPECT_EQ(gate.connectionsRemembered(), 0u);
    EXPECT_EQ(fail("10.0.0.1", t0 + 60 * s.quietPeriod), 100ms);
}

TEST_F(AuthGateTest, TablesStayWithinTheirBounds) {
    AuthSettings s;
    s.maxPeers = 4;
    s.maxConnections = 3;
    AuthGate gate(users, s);
    for (std::uint64_t i = 0; i < 20; ++i) {
        gate.check(attempt(&kWrongPassword, "10.0.1." + std::to_string(i), i), t0 + Ms(i));
        EXPECT_LE(gate.peersRemembered(), 4u);
        EXPECT_LE(gate.connectionsRemembered(), 3u);
    }
    EXPECT_EQ(gate.peersRemembered(), 4u);
    // The most recent peers stayed: the last one is slowed further, the first starts over.
    EXPECT_EQ(gate.check(attempt(&kWrongPassword, "10.0.1.19", 100), t0 + Ms(20)).delay, 200ms);
    EXPECT_EQ(gate.check(attempt(&kWrongPassword, "10.0.1.0", 101), t0 + Ms(20)).delay, 100ms);
}

TEST_F(AuthGateTest, FailuresAreLoggedOncePerBurstWithTheirCount) {
    AuthGate gate(users);
    AuthSettings const& s = gate.settings();
    for (int i = 0; i < 50; ++i) gate.check(attempt(i == 0 ? &kMalformed : &kWrongPassword), t0 + Ms(i));
    gate.check(attempt(&kAlice), t0 + Ms(50));  // successes are not logged
    gate.check(attempt(nullptr), t0 + Ms(50));  // nor challenges
    EXPECT_EQ(log.messages(),
              std::vector<std::string>{"Authentication failures from 10.0.0.1 began: malformed credentials"});
    // Failures closer together than the quiet period: a summary once the
    // interval has passed, then the end after a quiet period.
    for (int i = 1; i <= 6; ++i) gate.check(attempt(&kWrongPassword), t0 + i * s.summaryInterval / 6);
    gate.check(attempt(&kWrongPassword), t0 + s.summaryInterval + 1500ms);
    gate.expire(t0 + s.summaryInterval + 1500ms + s.quietPeriod - 1ms);
    EXPECT_EQ(log.messages().size(), 2u);
    gate.expire(t0 + s.summaryInterval + 1500ms + s.quietPeriod);
    // A new burst begins with a new record.
    gate.check(attempt(&kWrongPassword), t0 + 10 * s.quietPeriod);
    EXPECT_EQ(log.messages(), (std::vector<std::string>{
                                  "Authentication failures from 10.0.0.1 began: malformed credentials",
                                  "Authentication failures from 10.0.0.1 continue: 55 more in 60.0 s",
                                  "Authentication failures from 10.0.0.1 ended: 1 more in 1.5 s, 57 in all",
                                  "Authentication failures from 10.0.0.1 began: wrong user or password",
                              }));
    for (KVOLogRecord const& r : log.records()) {
        EXPECT_EQ(r.who.str(), AuthGate::kLogWho);
        EXPECT_EQ(r.severity, KivoTraceLog::KIVO_WARNING);
        EXPECT_EQ(r.category, KVOLog::SECURITYLOG);
    }
}

TEST_F(AuthGateTest, ConcurrentChecksKeepTheTablesConsistent) {
    AuthSettings s;
    s.maxPeers = 8;
    s.maxConnections = 8;
    AuthGate gate(users, s);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 500; ++i) {
                std::uint64_t const connection = static_cast<std::uint64_t>(t * 1000 + i % 20);
                AuthDecision d = gate.check(attempt(i % 3 == 0 ? &kAlice : &kWrongPassword,
                                                    "10.0.2." + std::to_string(i % 12), connection));
                EXPECT_EQ(d.admitted, i % 3 == 0);
                if (i % 7 == 0) gate.connectionClosed(connection);
                if (i % 50 == 0) gate.expire();
            }
        });
    }
    for (auto& t : threads) t.join();
    EXPECT_LE(gate.peersRemembered(), 8u);
    EXPECT_LE(gate.connectionsRemembered(), 8u);
}

TEST_F(AuthGateTest, AHeadIsReusableOnlyWhenNothingFollowsItAndItKeepsAlive) {
    struct Case {
        char const* fields;
        char const* protocol;
        bool reusable;
    };
    for (Case const& c : std::vector<Case>{
             {"", "HTTP/1.1", true},
             {"Content-Length: 0\r\n", "HTTP/1.1", true},
             {"Content-Length: 5\r\n", "HTTP/1.1", false},
             {"Content-Length: 5x\r\n", "HTTP/1.1", false},
             {"Transfer-Encoding: chunked\r\n", "HTTP/1.1", false},
             {"Connection: close\r\n", "HTTP/1.1", false},
             {"Connection: keep-alive\r\n", "HTTP/1.0", false},
         }) {
        SCOPED_TRACE(std::string(c.protocol) + " " + c.fields);
        KVOMemorySocket sock(std::string("POST /cimom ") + c.protocol + "\r\nAuthorization: " + kAlice + "\r\n" +
                             c.fields + "\r\n");
        KVOGenericHTTPIStream istr(sock);
        KVOHTTPRequest head;
        ASSERT_TRUE(head.readFrom(istr));
        AuthRequest const r = refserver::authRequestFor(head, "10.0.0.1", 5);
        EXPECT_EQ(r.reusable, c.reusable);
        EXPECT_EQ(r.http10, std::string(c.protocol) == "HTTP/1.0");
        ASSERT_NE(r.authorization, nullptr);
        EXPECT_EQ(*r.authorization, kAlice);
        EXPECT_EQ(r.peerAddress, "10.0.0.1");
        EXPECT_EQ(r.connectionId, 5u);
    }
}

TEST_F(AuthGateTest, RefusesSettingsItCannotHonour) {
    auto with = [](auto change) {
        AuthSettings s;
        change(s);
        return s;
    };
    for (AuthSettings const& s : {with([](AuthSettings& s) { s.realm = "a\"b"; }),
                                  with([](AuthSettings& s) { s.realm = "a\r\nb"; }),
                                  with([](AuthSettings& s) { s.firstDelay = 0ms; }),
                                  with([](AuthSettings& s) { s.maxDelay = 50ms; }),
                                  with([](AuthSettings& s) { s.quietPeriod = 0ms; }),
                                  with([](AuthSettings& s) { s.maxFailuresPerConnection = 0; }),
                                  with([](AuthSettings& s) { s.maxPeers = 0; })}) {
        EXPECT_THROW(AuthGate(users, s), std::invalid_argument);
    }
}

}  // namespace
