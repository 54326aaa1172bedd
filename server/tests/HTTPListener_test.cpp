// The connection layer in process, with a small handler and a fake request
// gate: pipelined requests, heads split at every byte, clients that leave
// mid-head, mid-body and mid-response, every deadline and cap at its
// boundary, the body budget, the gate, and the stop deadline.
//
// The handler answers "/echo" with the body it read, prefixed by the
// connection's id and principal (after 1.5 s for "/hold"); "/big" with
// kBigResponse bytes, counting failed writes. Deadlines are short and asserted from below, with generous
// upper bounds.
#include "HTTPListener.h"

#include "KivoUtilities/KVOGenericHTTPIStream.h"
#include "KivoUtilities/KVOGenericHTTPOStream.h"
#include "KivoUtilities/KVOHTTPRequest.h"
#include "KivoUtilities/KVOLog.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <set>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;
using refserver::Admission;
using refserver::ConnectionInfo;
using refserver::HTTPListener;

constexpr std::size_t kBigResponse = 64u << 20;

// A raw client; every wait is bounded.
class Client {
public:
    explicit Client(int port, char const* from = "127.0.0.1") {
        _fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in local{};
        local.sin_family = AF_INET;
        ::inet_pton(AF_INET, from, &local.sin_addr);
        ::bind(_fd, reinterpret_cast<sockaddr*>(&local), sizeof local);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_port = htons(static_cast<uint16_t>(port));
        ::inet_pton(AF_INET, "127.0.0.1", &addr.sin_addr);
        if (::connect(_fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
            ::close(_fd);
            _fd = -1;
        }
    }
    ~Client() { close(); }
    void close() {
        if (_fd >= 0) ::close(_fd);
        _fd = -1;
    }
    void setReceiveBuffer(int bytes) { ::setsockopt(_fd, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes); }
    bool send(std::string const& bytes) {
        return ::send(_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
    }
    // Everything until the server closes or `limit` passes.
    std::string readAll(std::chrono::milliseconds limit = 10s) {
        std::string out;
        while (readSome(out, limit) > 0) {
        }
        return out;
    }
    // One response with a Content-Length; "" when none came within `limit`.
    std::string readResponse(std::chrono::milliseconds limit = 10s) {
        Clock::time_point const end = Clock::now() + limit;
        for (;;) {
            std::size_t const head = _buf.find("\r\n\r\n");
            if (head != std::string::npos) {
                std::size_t const at = _buf.find("Content-Length: ");
                std::size_t const length = at < head ? std::stoul(_buf.substr(at + 16)) : 0;
                if (_buf.size() >= head + 4 + length) {
                    std::string r = _buf.substr(0, head + 4 + length);
                    _buf.erase(0, r.size());
                    return r;
                }
            }
            auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
            if (left.count() <= 0 || readSome(_buf, left) <= 0) return "";
        }
    }
    // True when the server closes the connection within `limit`.
    bool closedWithin(std::chrono::milliseconds limit) {
        Clock::time_point const end = Clock::now() + limit;
        std::string ignored;
        for (;;) {
            auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
            if (left.count() <= 0) return false;
            long const n = readSome(ignored, left);
            if (n == 0) return true;
            if (n < 0) return false;
        }
    }

private:
    // Bytes appended, 0 at the end, -1 on timeout.
    long readSome(std::string& out, std::chrono::milliseconds limit) {
        pollfd p{_fd, POLLIN, 0};
        if (::poll(&p, 1, static_cast<int>(limit.count())) <= 0) return -1;
        char buf[65536];
        ssize_t const n = ::recv(_fd, buf, sizeof buf, 0);
        if (n <= 0) return 0;
        out.append(buf, static_cast<std::size_t>(n));
        return n;
    }
    int _fd = -1;
    std::string _buf;
};

std::string request(std::string const& path, std::string const& body = "", std::string const& extra = "") {
    return "POST " + path + " HTTP/1.1\r\nHost: x\r\n" + extra + "Content-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

std::string bodyOf(std::string const& response) {
    std::size_t const at = response.find("\r\n\r\n");
    return at == std::string::npos ? "" : response.substr(at + 4);
}

class ListenerTest : public ::testing::Test {
protected:
    void SetUp() override { _previousSink = KVOLog::setSink([](KVOLogRecord const&) {}); }
    void TearDown() override {
        stop();
        KVOLog::setSink(_previousSink);
    }

    void start(HTTPListener::Options options, refserver::RequestGate gate = {}) {
        options.address = "127.0.0.1";
        options.port = 0;
        if (options.threads == 0) options.threads = 2;
        _listener = std::make_unique<HTTPListener>(
            options,
            [this](KVOHTTPRequest& request, KVOGenericHTTPIStream& istr, KVOGenericHTTPOStream& ostr,
                   ConnectionInfo const& c) { return handle(request, istr, ostr, c); },
            std::move(gate));
        _port = _listener->open();
        _runner = std::thread([this] { _listener->run(); });
    }
    // Stops the listener; how long run() took to return.
    std::chrono::milliseconds stop() {
        Clock::time_point const begin = Clock::now();
        if (_listener) _listener->stop();
        if (_runner.joinable()) _runner.join();
        _listener.reset();
        return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
    }

    bool handle(KVOHTTPRequest& request, KVOGenericHTTPIStream& istr, KVOGenericHTTPOStream& ostr,
                ConnectionInfo const& c) {
        ++handled;
        std::string body(static_cast<std::size_t>(std::max<long>(0, request.getContentLength())), '\0');
        body.resize(static_cast<std::size_t>(istr.read(body.data(), static_cast<long>(body.size()))));
        ostr.setStreamType(KVOGenericHTTPOStream::StreamType::NotEncoded);
        if (request.getRequestURI() == "/big") {
            try {
                std::string const chunk(1 << 20, 'x');
                ostr << "HTTP/1.1 200 OK\r\nContent-Length: " << kBigResponse << "\r\n\r\n";
                for (std::size_t sent = 0; sent < kBigResponse; sent += chunk.size()) ostr.write(chunk.data(), chunk.size());
                ostr.flush();
            } catch (...) {
                ++failedWrites;
                throw;
            }
            return true;
        }
        if (request.getRequestURI() == "/hold") std::this_thread::sleep_for(1500ms);
        std::string const answer = std::to_string(c.id) + " " + c.principal + " " + body;
        ostr << "HTTP/1.1 200 OK\r\nContent-Length: " << answer.size() << "\r\n\r\n" << answer;
        ostr.flush();
        return true;
    }

    std::atomic<int> handled{0};
    std::atomic<int> failedWrites{0};
    std::unique_ptr<HTTPListener> _listener;
    std::thread _runner;
    int _port = 0;
    KVOLog::Sink _previousSink;
};

TEST_F(ListenerTest, PipelinedRequestsAndHeadsSplitAtEveryByteAreServedInOrder) {
    start({});
    {
        Client c(_port);
        ASSERT_TRUE(c.send(request("/echo", "one") + request("/echo", "two") + "\r\n" + request("/echo", "three")));
        std::string ids;
        for (char const* expected : {"one", "two", "three"}) {
            std::string const r = bodyOf(c.readResponse());
            EXPECT_EQ(r.substr(r.rfind(' ') + 1), expected);
            std::string const id = r.substr(0, r.find(' '));
            if (!ids.empty()) {
                EXPECT_EQ(id, ids) << "one connection, one id";
            }
            ids = id;
        }
    }
    std::string const whole = request("/echo", "payload");
    std::set<std::string> ids;
    for (std::size_t cut = 1; cut < whole.size(); ++cut) {
        SCOPED_TRACE(cut);
        Client c(_port);
        ASSERT_TRUE(c.send(whole.substr(0, cut)));
        std::this_thread::sleep_for(1ms);
        ASSERT_TRUE(c.send(whole.substr(cut)));
        std::string const r = bodyOf(c.readResponse());
        EXPECT_EQ(r.substr(r.rfind(' ') + 1), "payload");
        EXPECT_TRUE(ids.insert(r.substr(0, r.find(' '))).second) << "ids are never reused";
    }
}

TEST_F(ListenerTest, ClientsLeavingMidHeadMidBodyOrMidResponseFreeTheOnlyThread) {
    HTTPListener::Options options;
    options.threads = 1;
    options.sendTimeoutMs = 30000;
    start(options);
    for (std::string const& partial : {std::string("POST /echo HTTP/1.1\r\nHost"),
                                      request("/echo", std::string(1000, 'b')).substr(0, 80)}) {
        Client c(_port);
        ASSERT_TRUE(c.send(partial));
    }
    {
        Client c(_port);
        c.setReceiveBuffer(4096);
        ASSERT_TRUE(c.send(request("/big")));
        std::this_thread::sleep_for(200ms);
    }  // gone mid-response: the handler's write fails
    Client next(_port);
    ASSERT_TRUE(next.send(request("/echo", "after")));
    std::string const r = next.readResponse(5s);
    EXPECT_NE(r.find(" after"), std::string::npos);
    EXPECT_EQ(failedWrites.load(), 1);
    // A head cut short never reaches the handler; a body cut short does (the
    // intake answers it).
    EXPECT_EQ(handled.load(), 3);
}

TEST_F(ListenerTest, DeadlinesCloseAtTheirBoundary) {
    HTTPListener::Options options;
    options.requestTimeoutMs = 600;
    options.idleTimeoutMs = 400;
    options.sendTimeoutMs = 500;
    options.threads = 1;
    start(options);
    struct Case {
        char const* name;
        std::chrono::milliseconds limit;
        std::function<void(Client&)> act;
    };
    std::string const whole = request("/echo", std::string(100, 'z'));
    std::vector<Case> const cases = {
        {"idle connection", 400ms, [](Client&) {}},
        {"half a head", 600ms, [&](Client& c) { c.send(whole.substr(0, 20)); }},
        {"half a body", 600ms, [&](Client& c) { c.send(whole.substr(0, whole.size() - 10)); }},
        // Every byte arrives well within any per-receive limit; the request as
        // a whole does not.
        {"a byte every 50 ms", 600ms,
         [&](Client& c) {
             for (std::size_t i = 0; i < 40 && c.send(whole.substr(i, 1)); ++i) std::this_thread::sleep_for(50ms);
         }},
    };
    for (Case const& k : cases) {
        SCOPED_TRACE(k.name);
        Clock::time_point const begin = Clock::now();
        Client c(_port);
        k.act(c);
        EXPECT_TRUE(c.closedWithin(5s));
        EXPECT_GE(Clock::now() - begin, k.limit - 20ms);
    }
    // A response the client stops reading is abandoned after the send
    // timeout, and its thread serves the next client.
    Client stalled(_port);
    stalled.setReceiveBuffer(4096);
    ASSERT_TRUE(stalled.send(request("/big")));
    Clock::time_point const begin = Clock::now();
    Client next(_port);
    ASSERT_TRUE(next.send(request("/echo", "next")));
    EXPECT_NE(next.readResponse(10s).find(" next"), std::string::npos);
    EXPECT_GE(Clock::now() - begin, 480ms);
    EXPECT_EQ(failedWrites.load(), 1);
}

TEST_F(ListenerTest, ConnectionCapsAnswer503AtTheirBoundary) {
    HTTPListener::Options options;
    options.maxConnections = 3;
    options.maxConnectionsPerPeer = 2;
    start(options);
    auto served = [&](Client& c) {
        return c.send(request("/echo", "x")) && c.readResponse(5s).find("200 OK") != std::string::npos;
    };
    Client a(_port), b(_port);
    ASSERT_TRUE(served(a));
    ASSERT_TRUE(served(b));
    Client overPeer(_port);  // a third from 127.0.0.1
    std::string const refused = overPeer.readAll(5s);
    EXPECT_EQ(refused.substr(0, 12), "HTTP/1.1 503");
    EXPECT_NE(refused.find("Retry-After: 1\r\n"), std::string::npos);
    Client other(_port, "127.0.0.2");  // another peer still fits the global cap
    ASSERT_TRUE(served(other));
    Client overAll(_port, "127.0.0.3");
    EXPECT_EQ(overAll.readAll(5s).substr(0, 12), "HTTP/1.1 503");
    a.close();
    std::this_thread::sleep_for(100ms);
    Client again(_port);
    EXPECT_TRUE(served(again));
    EXPECT_EQ(_listener->connectionsRefused(), 2u);
}

TEST_F(ListenerTest, BodiesShareTheBudgetWaitForRoomOrGet503) {
    HTTPListener::Options options;
    options.bodyBudgetBytes = 1000;
    options.requestTimeoutMs = 800;
    start(options);
    {
        Client c(_port);
        ASSERT_TRUE(c.send(request("/echo", std::string(1001, 'o'))));
        EXPECT_EQ(c.readAll(5s).substr(0, 12), "HTTP/1.1 413");
    }
    std::string const first = request("/echo", std::string(600, 'f'));
    std::string const second = request("/echo", std::string(600, 's'));
    {
        // The first holds 600 bytes of the budget while its body arrives; the
        // second waits and is served once the first is done.
        Client a(_port), b(_port);
        ASSERT_TRUE(a.send(first.substr(0, first.size() - 100)));
        std::this_thread::sleep_for(50ms);
        ASSERT_TRUE(b.send(second));
        std::this_thread::sleep_for(100ms);
        EXPECT_EQ(handled.load(), 0);
        ASSERT_TRUE(a.send(first.substr(first.size() - 100)));
        EXPECT_NE(a.readResponse(5s).find(std::string(600, 'f')), std::string::npos);
        EXPECT_NE(b.readResponse(5s).find(std::string(600, 's')), std::string::npos);
    }
    {
        // The first is served for longer than the second's deadline: the
        // second is answered 503 then.
        Client a(_port), b(_port);
        ASSERT_TRUE(a.send(request("/hold", std::string(600, 'h'))));
        std::this_thread::sleep_for(50ms);
        Clock::time_point const begin = Clock::now();
        ASSERT_TRUE(b.send(second));
        std::string const r = b.readAll(5s);
        EXPECT_EQ(r.substr(0, 12), "HTTP/1.1 503");
        EXPECT_NE(r.find("Retry-After: 1\r\n"), std::string::npos);
        EXPECT_GE(Clock::now() - begin, 780ms);
    }
    {
        // A stop while a body is being read and another waits, its body whole
        // already: both connections close and the stop completes.
        Client a(_port), b(_port);
        ASSERT_TRUE(a.send(first.substr(0, first.size() - 100)));
        std::this_thread::sleep_for(50ms);
        ASSERT_TRUE(b.send(second));
        std::this_thread::sleep_for(50ms);
        EXPECT_LT(stop(), 3s);
        EXPECT_TRUE(b.closedWithin(1s));
    }
}

TEST_F(ListenerTest, TheGateDecidesFromTheHeadAlone) {
    std::atomic<int> gated{0};
    start({}, [&](KVOHTTPRequest const& head, ConnectionInfo const& c) {
        ++gated;
        EXPECT_GT(c.id, 0u);
        Admission a;
        if (head.getRequestURI() == "/echo") {
            a.principal = "alice";
        } else {
            a.admitted = false;
            a.refusal = "HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n";
            a.delay = head.getRequestURI() == "/slow" ? 300ms : 0ms;
            a.close = head.getRequestURI() != "/open";
        }
        return a;
    });
    {
        Client c(_port);
        ASSERT_TRUE(c.send(request("/echo", "hi")));
        std::string const r = bodyOf(c.readResponse());
        EXPECT_EQ(r.substr(r.find(' ')), " alice hi");
    }
    {
        // Refused after its delay, its large body never read, then closed.
        Client c(_port);
        Clock::time_point const begin = Clock::now();
        std::string const big = request("/slow", std::string(512 << 10, 'b'));
        std::thread sender([&] { c.send(big); });
        std::string const r = c.readAll(5s);
        EXPECT_GE(Clock::now() - begin, 290ms);
        EXPECT_EQ(r, "HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n");
        c.close();
        sender.join();
    }
    {
        // A refusal that keeps a body-less connection open: the next request
        // on it is served.
        Client c(_port);
        ASSERT_TRUE(c.send("GET /open HTTP/1.1\r\nHost: x\r\n\r\n" + request("/echo", "next")));
        EXPECT_EQ(c.readResponse().substr(0, 12), "HTTP/1.1 401");
        EXPECT_NE(c.readResponse().find(" alice next"), std::string::npos);
    }
    EXPECT_EQ(handled.load(), 2);
    EXPECT_EQ(gated.load(), 4);
}

TEST_F(ListenerTest, StopClosesIdleConnectionsAndCutsResponsesAtTheShutdownDeadline) {
    HTTPListener::Options options;
    options.shutdownTimeoutMs = 700;
    options.sendTimeoutMs = 60000;
    start(options);
    Client idle(_port);
    Client stalled(_port);
    stalled.setReceiveBuffer(4096);
    ASSERT_TRUE(stalled.send(request("/big")));
    std::this_thread::sleep_for(200ms);
    std::chrono::milliseconds const took = stop();
    EXPECT_GE(took, 690ms);
    EXPECT_LT(took, 5s);
    EXPECT_TRUE(idle.closedWithin(1s));
    EXPECT_EQ(failedWrites.load(), 1);
}

}  // namespace
