// End to end: HTTPS. A request served over TLS 1.2 and 1.3 (and pipelined
// requests, whose bytes wait inside the TLS session), TLS 1.0 and 1.1 clients
// refused in the handshake, silent clients that hold no thread and are
// dropped at the handshake deadline, client certificates (a verified one
// authenticates its mapped user, none or another CA's is refused), and plain
// HTTP turned off.
#include "E2EHarness.h"
#include "TLSTestSupport.h"

#include <gtest/gtest.h>

#include <openssl/ssl.h>
#include <signal.h>

#include <chrono>
#include <memory>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using e2e::TLSClient;

std::string const kScaleClass = "<IPARAMVALUE NAME=\"ClassName\"><CLASSNAME NAME=\"KIVO_ScaleItem\"/></IPARAMVALUE>";

std::string getClass(std::string const& extraHeaders = "Connection: close\r\n") {
    return e2e::cimRequest(
        "GetClass", "root/cimv2",
        e2e::intrinsicBody("GetClass", "<IPARAMVALUE NAME=\"ClassName\"><CLASSNAME NAME=\"KIVO_DiskDrive\"/></IPARAMVALUE>"),
        extraHeaders);
}

class TLSTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        pki = std::make_unique<e2e::TestPKI>();
        std::string error;
        if (!pki->make(error)) pkiError = error;
    }
    static void TearDownTestSuite() { pki.reset(); }

    void SetUp() override { ASSERT_TRUE(pkiError.empty()) << pkiError; }
    void TearDown() override {
        if (server.pid() > 0) {
            EXPECT_EQ(server.stop(SIGTERM), 0) << "the server did not exit cleanly";
        }
    }

    // Starts the server with HTTPS on tlsPort beside plain HTTP (server.port()).
    void start(std::vector<std::string> args) {
        tlsPort = e2e::freePort();
        std::vector<std::string> all = {"--https", "on", "--https-port", std::to_string(tlsPort), "--tls-certificate",
                                        pki->path("server.pem"), "--tls-key", pki->path("server.key"), "--log-level",
                                        "critical"};
        all.insert(all.end(), args.begin(), args.end());
        std::string error;
        ASSERT_TRUE(server.start(all, error)) << error;
    }

    // One request over a new TLS connection; the whole raw answer, "" when
    // the handshake or the session failed.
    std::string overTLS(std::string const& request, e2e::TLSClientOptions const& options = {}) {
        TLSClient client(tlsPort, options);
        if (!client.handshake() || !client.send(request)) return "";
        return client.readAll();
    }

    static std::unique_ptr<e2e::TestPKI> pki;
    static std::string pkiError;
    e2e::ServerProcess server;
    int tlsPort = 0;
};

std::unique_ptr<e2e::TestPKI> TLSTest::pki;
std::string TLSTest::pkiError;

TEST_F(TLSTest, ServesTLS12And13AndRefusesOlderProtocolsInTheHandshake) {
    start({});
    struct Case {
        char const* name;
        int version;
        char const* failure;  // nullptr: served with this version
    } const cases[] = {
        {"TLSv1.3", TLS1_3_VERSION, nullptr},
        {"TLSv1.2", TLS1_2_VERSION, nullptr},
        {"TLSv1.1", TLS1_1_VERSION, "tlsv1 alert protocol version"},
        {"TLSv1", TLS1_VERSION, "tlsv1 alert protocol version"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        TLSClient client(tlsPort, {c.version, c.version, "", ""});
        if (c.failure != nullptr) {
            // The server's alert, not the client declining to offer the
            // protocol ("no protocols available").
            EXPECT_FALSE(client.handshake());
            EXPECT_EQ(client.failure(), c.failure);
            continue;
        }
        ASSERT_TRUE(client.handshake()) << client.failure();
        EXPECT_EQ(client.protocol(), c.name);
        // Two pipelined requests in one write: the second waits in the TLS
        // session's buffer while the first is served.
        ASSERT_TRUE(client.send(getClass("") + getClass()));
        std::string const answers = client.readAll();
        EXPECT_EQ(e2e::statusOf(answers), 200) << answers;
        EXPECT_EQ(e2e::count(answers, "<CLASS NAME=\"KIVO_DiskDrive\""), 2u) << answers;
    }
    // Plain HTTP is still served beside it.
    e2e::Connection plain(server.port());
    ASSERT_TRUE(plain.send(getClass()));
    EXPECT_EQ(plain.read().status, 200);
}

TEST_F(TLSTest, SilentClientsHoldNoThreadAndAreDroppedAtTheHandshakeDeadline) {
    start({"--threads", "2", "--tls-handshake-timeout", "1"});
    auto const opened = Clock::now();
    std::vector<std::unique_ptr<e2e::Connection>> silent;
    for (int i = 0; i < 6; ++i) {
        silent.push_back(std::make_unique<e2e::Connection>(tlsPort));
        ASSERT_TRUE(silent.back()->ok());
    }
    // Six silent connections and two threads: a request is still served.
    EXPECT_EQ(e2e::statusOf(overTLS(getClass())), 200);
    for (auto& c : silent) EXPECT_TRUE(c->waitClosed());
    EXPECT_GE(Clock::now() - opened, std::chrono::milliseconds(900));
}

TEST_F(TLSTest, AConnectionBeyondTheCapIsClosedWithoutAHandshake) {
    start({"--max-connections", "1"});
    auto held = std::make_unique<TLSClient>(tlsPort);
    ASSERT_TRUE(held->handshake()) << held->failure();
    TLSClient beyond(tlsPort);
    EXPECT_FALSE(beyond.handshake());
    held.reset();
    // Once the server has seen the first one go, there is room again.
    std::string answer;
    for (int i = 0; i < 50 && e2e::statusOf(answer) != 200; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        answer = overTLS(getClass());
    }
    EXPECT_EQ(e2e::statusOf(answer), 200) << answer;
}

TEST_F(TLSTest, AVerifiedClientCertificateAuthenticatesItsUserAndOthersAreRefused) {
    // Basic authentication on: a request without credentials is served only
    // as the user of its certificate.
    start({"--tls-client-ca", pki->path("ca.pem"), "--authentication", "basic", "--user", "alice:secret", "--user",
           "bob:secret", "--certificate-user", "Alice Example=alice", "--scale-instances", "10"});
    struct Case {
        char const* name;
        char const* certificate;  // "" for none
        bool served;
    } const cases[] = {
        {"signed by the client CA", "alice", true},
        {"no certificate", "", false},
        {"signed by another CA", "mallory", false},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        e2e::TLSClientOptions options;
        if (*c.certificate != '\0') {
            options.certificate = pki->path(std::string(c.certificate) + ".pem");
            options.key = pki->path(std::string(c.certificate) + ".key");
        }
        std::string const answer = overTLS(getClass(), options);
        EXPECT_EQ(e2e::statusOf(answer), c.served ? 200 : 0) << answer;
    }

    // The principal is the mapped user: an enumeration opened with the
    // certificate continues over plain HTTP for alice, not for bob.
    e2e::TLSClientOptions alice{0, 0, pki->path("alice.pem"), pki->path("alice.key")};
    struct Pull {
        char const* as;
        int error;
    } const pulls[] = {{"Authorization: Basic YWxpY2U6c2VjcmV0\r\n", 0}, {"Authorization: Basic Ym9iOnNlY3JldA==\r\n", 21}};
    for (Pull const& p : pulls) {
        SCOPED_TRACE(p.as);
        std::string const opened = overTLS(
            e2e::cimRequest("OpenEnumerateInstances", "root/cimv2",
                            e2e::intrinsicBody("OpenEnumerateInstances", kScaleClass + e2e::valueParam("MaxObjectCount", "1")),
                            "Connection: close\r\n"),
            alice);
        std::string const context =
            e2e::between(opened, "<PARAMVALUE NAME=\"EnumerationContext\" PARAMTYPE=\"string\"><VALUE>", "</VALUE>");
        ASSERT_FALSE(context.empty()) << opened;
        e2e::Connection plain(server.port());
        ASSERT_TRUE(plain.send(e2e::cimRequest(
            "PullInstancesWithPath", "root/cimv2",
            e2e::intrinsicBody("PullInstancesWithPath", e2e::valueParam("EnumerationContext", context) +
                                                            e2e::valueParam("MaxObjectCount", "1")),
            p.as)));
        e2e::HttpResponse const r = plain.read();
        EXPECT_EQ(r.status, 200);
        std::string const code = e2e::between(r.body, "<ERROR CODE=\"", "\"");
        EXPECT_EQ(code.empty() ? 0 : std::stoi(code), p.error) << r.body;
    }
}

TEST_F(TLSTest, PlainHTTPOffLeavesItsPortClosed) {
    int const plainPort = e2e::freePort();
    std::vector<std::string> const args = {"--http", "off", "--port", std::to_string(plainPort), "--https", "on",
                                           "--https-port", "0", "--tls-certificate", pki->path("server.pem"),
                                           "--tls-key", pki->path("server.key"), "--log-level", "critical"};
    std::string error;
    // The harness adds "--port 0" first; the later "--port" wins.
    ASSERT_TRUE(server.start(args, error)) << error;
    tlsPort = server.port();  // the only port reported: the HTTPS one
    EXPECT_NE(tlsPort, plainPort);
    EXPECT_FALSE(e2e::Connection(plainPort).ok());
    EXPECT_EQ(e2e::statusOf(overTLS(getClass())), 200);
}

}  // namespace
