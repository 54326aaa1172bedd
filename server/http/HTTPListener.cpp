#include "HTTPListener.h"
#include "TLS.h"

#include "KivoUtilities/KVOGenericHTTPIStream.h"
#include "KivoUtilities/KVOGenericHTTPOStream.h"
#include "KivoUtilities/KVOHTTPException.h"
#include "KivoUtilities/KVOHTTPRequest.h"
#include "KivoUtilities/KVOLog.h"
#include "KivoUtilities/KVOMemorySocket.h"
#include "KivoUtilities/KVOSocket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <set>
#include <stdexcept>
#include <unordered_map>

namespace refserver {

using Clock = std::chrono::steady_clock;

namespace {

char const* const WHO = "refserver::HTTPListener";

// The request intake's own cap on a body (HTTPAdapterInput answers 413 above
// it without reading): such bodies are not buffered here.
constexpr long kIntakeBodyCap = 52428800;
// Longest head kept while waiting for its end; the head parser refuses
// longer ones (431) by itself.
constexpr std::size_t kHeadCap = KVOHTTPRequest::MAX_HEAD_LENGTH + 1024;
// Body bytes are kept in pieces of this size, so that the adapter thread frees
// them as it reads them.
constexpr std::size_t kBodyPiece = std::size_t{1} << 20;
// Connections answered 503 that linger at once; beyond, they close at once.
constexpr std::size_t kMaxRejecting = 64;
constexpr int kRejectLingerMs = 1000;

std::atomic<std::uint64_t> nextConnectionId{1};

std::string errnoText(char const* what) {
    return std::string(what) + ": " + std::strerror(errno);
}

void log(std::string const& message, KivoTraceLog::Severity severity) {
    KVOLog::log(WHO, message, severity, 2, 0, KVOLog::CIMOMLOG);
}

void describe(sockaddr_storage const& addr, std::string& host, std::string& port) {
    char buf[INET6_ADDRSTRLEN] = {};
    if (addr.ss_family == AF_INET) {
        auto const* in = reinterpret_cast<sockaddr_in const*>(&addr);
        ::inet_ntop(AF_INET, &in->sin_addr, buf, sizeof buf);
        port = std::to_string(ntohs(in->sin_port));
    } else if (addr.ss_family == AF_INET6) {
        auto const* in6 = reinterpret_cast<sockaddr_in6 const*>(&addr);
        ::inet_ntop(AF_INET6, &in6->sin6_addr, buf, sizeof buf);
        port = std::to_string(ntohs(in6->sin6_port));
    }
    host = buf;
}

char const* reasonFor(int status) {
    switch (status) {
        case 413: return "Request Entity Too Large";
        case 414: return "URI Too Long";
        case 431: return "Request Header Fields Too Large";
        case 500: return "Internal Server Error";
        case 503: return "Service Unavailable";
        case 505: return "HTTP Version Not Supported";
        default: return "Bad Request";
    }
}

// A whole answer with an empty body that closes the connection.
std::string emptyAnswer(int status, bool retryAfter = false) {
    if (status < 400 || status > 599) status = 400;
    return "HTTP/1.1 " + std::to_string(status) + " " + reasonFor(status) + "\r\n" +
           (retryAfter ? "Retry-After: 1\r\n" : "") + "Content-Length: 0\r\nConnection: close\r\n\r\n";
}

int millisUntil(Clock::time_point when, Clock::time_point now) {
    if (when <= now) return 0;
    auto const ms = std::chrono::duration_cast<std::chrono::milliseconds>(when - now).count() + 1;
    return static_cast<int>(std::min<long long>(ms, 1 << 30));
}

// Reads and writes of a connection: through its TLS session when it has one,
// else on the descriptor; like ::recv and ::send with MSG_DONTWAIT.
ssize_t receiveFrom(int fd, TLSSession* tls, char* dst, std::size_t max) {
    return tls != nullptr ? tls->recv(dst, max) : ::recv(fd, dst, max, MSG_DONTWAIT);
}
ssize_t sendTo(int fd, TLSSession* tls, char const* src, std::size_t n) {
    return tls != nullptr ? tls->send(src, n) : ::send(fd, src, n, MSG_NOSIGNAL | MSG_DONTWAIT);
}
// What a connection that would block waits for.
short awaited(TLSSession* tls, short plain) {
    if (tls == nullptr) return plain;
    return tls->wantsWrite() ? POLLOUT : POLLIN;
}

// The socket an adapter thread reads a request through and writes its
// response to: first the bytes the event loop already took off the
// connection, then the connection itself (through its TLS session, if any). Receives end (read as end of
// stream) at the request's deadline; a send that makes no progress for the
// send timeout throws. The descriptor stays the event loop's: this socket
// never closes it. Used by one adapter thread.
class ConnectionSocket : public KVOSocket {
public:
    ConnectionSocket(int fd, TLSSession* tls, bool loopback, std::deque<std::string> buffered,
                     Clock::time_point readDeadline, int sendTimeoutMs)
        : _fd(fd),
          _tls(tls),
          _loopback(loopback),
          _buffered(std::move(buffered)),
          _readDeadline(readDeadline),
          _sendTimeoutMs(sendTimeoutMs) {}

    std::size_t receive(char* dst, std::size_t max) override {
        while (!_buffered.empty()) {
            std::string& front = _buffered.front();
            std::size_t const n = std::min(max, front.size() - _pos);
            std::memcpy(dst, front.data() + _pos, n);
            _pos += n;
            if (_pos == front.size()) {
                _buffered.pop_front();
                _pos = 0;
            }
            if (n > 0) return n;
        }
        for (;;) {
            ssize_t const n = receiveFrom(_fd, _tls, dst, max);
            if (n >= 0) return static_cast<std::size_t>(n);
            if (errno == EINTR) continue;
            if (errno != EAGAIN && errno != EWOULDBLOCK) return 0;
            int const left = millisUntil(_readDeadline, Clock::now());
            if (left == 0) return 0;  // the request's deadline: the stream ends
            pollfd p{_fd, awaited(_tls, POLLIN), 0};
            if (::poll(&p, 1, left) < 0 && errno != EINTR) return 0;
        }
    }

    void send(char const* src, std::size_t n) override {
        while (n > 0) {
            ssize_t const sent = sendTo(_fd, _tls, src, n);
            if (sent > 0) {
                src += sent;
                n -= static_cast<std::size_t>(sent);
                continue;
            }
            if (sent < 0 && errno == EINTR) continue;
            if (sent < 0 && errno != EAGAIN && errno != EWOULDBLOCK) {
                throw KVOHTTPException("KVOSocket::send", KVOString("Send failed: ") + std::strerror(errno), 0);
            }
            pollfd p{_fd, awaited(_tls, POLLOUT), 0};
            int const ready = ::poll(&p, 1, _sendTimeoutMs);
            if (ready == 0) {
                throw KVOHTTPException("KVOSocket::send",
                                       "Send failed: the client read nothing for " + std::to_string(_sendTimeoutMs) +
                                           " ms",
                                       0);
            }
        }
    }

    bool isLoopback() const override { return _loopback; }
    void setReceiveTimeout(int) override {}  // the request's deadline rules

    // What the event loop buffered and the handler did not read.
    std::string unread() {
        std::string rest;
        for (std::string const& piece : _buffered) rest += piece;
        rest.erase(0, _pos);
        return rest;
    }

private:
    int const _fd;
    TLSSession* const _tls;  // null for plain HTTP
    bool const _loopback;
    std::deque<std::string> _buffered;
    std::size_t _pos = 0;  // read so far of _buffered.front()
    Clock::time_point const _readDeadline;
    int const _sendTimeoutMs;
};

bool isLoopbackPeer(int fd) {
    sockaddr_storage addr{};
    socklen_t len = sizeof addr;
    if (::getpeername(fd, reinterpret_cast<sockaddr*>(&addr), &len) != 0) return false;
    if (addr.ss_family == AF_INET) {
        return (ntohl(reinterpret_cast<sockaddr_in const*>(&addr)->sin_addr.s_addr) >> 24) == 127;
    }
    if (addr.ss_family == AF_INET6) {
        auto const& a = reinterpret_cast<sockaddr_in6 const*>(&addr)->sin6_addr;
        return IN6_IS_ADDR_LOOPBACK(&a) || (IN6_IS_ADDR_V4MAPPED(&a) && a.s6_addr[12] == 127);
    }
    return addr.ss_family == AF_UNIX;
}

// A listening socket on address:port; `bound` receives the port bound.
int bindListener(std::string const& address, int port, int& bound) {
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(port));
    if (::inet_pton(AF_INET, address.c_str(), &addr.sin_addr) != 1) {
        throw std::runtime_error("not an IPv4 address: " + address);
    }
    int const fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) throw std::runtime_error(errnoText("socket"));
    auto fail = [fd](std::string const& what) {
        std::string const text = errnoText(what.c_str());
        ::close(fd);
        throw std::runtime_error(text);
    };
    int one = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    if (::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        fail("bind " + address + ":" + std::to_string(port));
    }
    if (::listen(fd, 1024) != 0) fail("listen");
    sockaddr_in local{};
    socklen_t len = sizeof local;
    if (::getsockname(fd, reinterpret_cast<sockaddr*>(&local), &len) != 0) fail("getsockname");
    bound = ntohs(local.sin_port);
    return fd;
}

}  // namespace

ConnectionInfo describeConnection(int fd) {
    ConnectionInfo info;
    sockaddr_storage addr{};
    socklen_t len = sizeof addr;
    if (::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) == 0) {
        describe(addr, info.localAddress, info.localPort);
    }
    len = sizeof addr;
    if (::getpeername(fd, reinterpret_cast<sockaddr*>(&addr), &len) == 0) {
        describe(addr, info.peerAddress, info.peerPort);
    }
    return info;
}

// A request handed to the adapter threads.
struct HTTPListener::Job {
    std::uint64_t id;
    int fd;
    TLSSession* tls;  // the connection's, owned by the loop's Conn
    bool loopback;
    KVOHTTPRequest request;
    std::deque<std::string> buffered;  // what follows the head, as the loop read it
    ConnectionInfo info;
    Clock::time_point deadline;  // of the request's arrival
    std::size_t reserved;        // of the body budget
};

// A request an adapter thread has finished.
struct HTTPListener::Done {
    std::uint64_t id;
    bool persist;         // the connection may carry another request
    bool linger;          // the client may still be sending: close with a lingering close
    std::string unread;   // bytes read past the request (pipelined requests)
    std::size_t reserved; // of the body budget, to give back
};

// The event loop: every connection that is not with an adapter thread, the
// timers, the caps and the body budget. Touched by the thread in run() only.
struct HTTPListener::Loop {
    enum class State {
        Handshake,   // TLS handshake under way (before any request)
        Head,        // reading a request head (or idle between requests)
        WaitBudget,  // head read, waiting for room in the body budget (not reading)
        Body,        // reading a Content-Length body
        Busy,        // with an adapter thread (not in the epoll set)
        Delay,       // a refusal waiting for its delay to pass (not reading)
        Writing,     // sending an answer of the loop's own (not reading)
        Lingering,   // sending side ended; dropping input until the peer closes
    };
    struct Conn {
        std::uint64_t id;
        int fd;
        std::unique_ptr<TLSSession> tls;  // null for plain HTTP
        bool loopback;
        bool counted;  // counts against the connection caps
        State state = State::Head;
        ConnectionInfo info;
        std::string in;                // Head: bytes not yet parsed
        std::deque<std::string> body;  // Body: what follows the head
        std::size_t bodyHave = 0;
        std::size_t bodyWant = 0;
        KVOHTTPRequest request;
        std::size_t reserved = 0;  // of the body budget
        Clock::time_point requestDeadline;
        Clock::time_point timer = Clock::time_point::max();
        std::string out;  // Writing: what is left to send
        bool closeAfter = true;
        std::size_t dropped = 0;
        unsigned events = 0;  // in the epoll set, when not Busy
    };

    static constexpr std::uint64_t kListenToken = ~std::uint64_t{0};
    static constexpr std::uint64_t kWakeToken = kListenToken - 1;
    static constexpr std::uint64_t kTLSListenToken = kListenToken - 2;

    HTTPListener& self;
    Options const& opt;
    int ep = -1;
    std::unordered_map<std::uint64_t, std::unique_ptr<Conn>> conns;
    std::set<std::pair<Clock::time_point, std::uint64_t>> timers;
    std::unordered_map<std::string, int> perPeer;  // counted connections by peer address
    std::size_t counted = 0;
    std::size_t rejecting = 0;
    std::size_t budgetUsed = 0;
    std::deque<std::uint64_t> budgetWaiters;
    bool stopping = false;
    Clock::time_point cutAt = Clock::time_point::max();  // the shutdown deadline
    bool cut = false;
    Clock::time_point acceptAgainAt = Clock::time_point::max();  // accepting paused (EMFILE)

    explicit Loop(HTTPListener& s) : self(s), opt(s._options) {
        ep = ::epoll_create1(EPOLL_CLOEXEC);
        if (ep < 0) throw std::runtime_error(errnoText("epoll_create1"));
        listen(true);
        add(self._wakeFd, EPOLLIN, kWakeToken);
    }
    ~Loop() {
        for (auto& [id, c] : conns) ::close(c->fd);
        ::close(ep);
    }

    void add(int fd, unsigned events, std::uint64_t token) {
        epoll_event ev{};
        ev.events = events;
        ev.data.u64 = token;
        ::epoll_ctl(ep, EPOLL_CTL_ADD, fd, &ev);
    }

    // Starts (or stops) watching the listening sockets.
    void listen(bool on) {
        for (auto [fd, token] : {std::pair{self._listenFd, kListenToken}, std::pair{self._tlsListenFd, kTLSListenToken}}) {
            if (fd < 0) continue;
            if (on) {
                add(fd, EPOLLIN, token);
            } else {
                ::epoll_ctl(ep, EPOLL_CTL_DEL, fd, nullptr);
            }
        }
    }

    void watch(Conn& c, unsigned events) {
        if (c.events == events) return;
        epoll_event ev{};
        ev.events = events;
        ev.data.u64 = c.id;
        ::epoll_ctl(ep, EPOLL_CTL_MOD, c.fd, &ev);
        c.events = events;
    }

    void setTimer(Conn& c, Clock::time_point when) {
        if (c.timer != Clock::time_point::max()) timers.erase({c.timer, c.id});
        c.timer = when;
        if (when != Clock::time_point::max()) timers.insert({when, c.id});
    }

    void run() {
        std::vector<epoll_event> events(256);
        while (!(stopping && conns.empty())) {
            Clock::time_point const now = Clock::now();
            Clock::time_point next = cut ? Clock::time_point::max() : cutAt;
            if (!timers.empty()) next = std::min(next, timers.begin()->first);
            next = std::min(next, acceptAgainAt);
            int const timeout = next == Clock::time_point::max() ? -1 : millisUntil(next, now);
            int const n = ::epoll_wait(ep, events.data(), static_cast<int>(events.size()), timeout);
            if (n < 0 && errno != EINTR) {
                log(errnoText("epoll_wait"), KivoTraceLog::KIVO_ERROR);
                beginStop();
            }
            for (int i = 0; i < n; ++i) {
                std::uint64_t const token = events[static_cast<std::size_t>(i)].data.u64;
                unsigned const ev = events[static_cast<std::size_t>(i)].events;
                if (token == kListenToken) {
                    acceptAll(self._listenFd, false);
                } else if (token == kTLSListenToken) {
                    acceptAll(self._tlsListenFd, true);
                } else if (token == kWakeToken) {
                    std::uint64_t count;
                    [[maybe_unused]] ssize_t r = ::read(self._wakeFd, &count, sizeof count);
                    takeDone();
                } else if (auto it = conns.find(token); it != conns.end()) {
                    onEvent(*it->second, ev);
                }
            }
            fireTimers();
        }
    }

    void beginStop() {
        if (stopping) return;
        stopping = true;
        acceptAgainAt = Clock::time_point::max();
        cutAt = Clock::now() + std::chrono::milliseconds(opt.shutdownTimeoutMs);
        listen(false);
        std::vector<std::uint64_t> idle;
        for (auto const& [id, c] : conns) {
            if (c->state != State::Busy) idle.push_back(id);
        }
        for (std::uint64_t id : idle) close(*conns[id]);
    }

    void fireTimers() {
        Clock::time_point const now = Clock::now();
        if (now >= acceptAgainAt) {
            acceptAgainAt = Clock::time_point::max();
            if (!stopping) listen(true);
        }
        if (!cut && now >= cutAt) {
            // Responses still in flight are cut: their sends fail at once.
            cut = true;
            for (auto const& [id, c] : conns) {
                if (c->state == State::Busy) ::shutdown(c->fd, SHUT_RDWR);
            }
        }
        while (!timers.empty() && timers.begin()->first <= now) {
            std::uint64_t const id = timers.begin()->second;
            timers.erase(timers.begin());
            auto it = conns.find(id);
            if (it == conns.end()) continue;
            Conn& c = *it->second;
            c.timer = Clock::time_point::max();
            onTimer(c);
        }
    }

    void acceptAll(int listenFd, bool tls) {
        if (stopping) return;
        for (;;) {
            int const fd = ::accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
            if (fd < 0) {
                if (errno == EINTR || errno == ECONNABORTED) continue;
                if (errno != EAGAIN && errno != EWOULDBLOCK) {
                    log(errnoText("accept"), KivoTraceLog::KIVO_WARNING);
                    if (errno == EMFILE || errno == ENFILE) {
                        // Out of descriptors: accept again once connections
                        // had time to close, instead of spinning.
                        listen(false);
                        acceptAgainAt = Clock::now() + std::chrono::milliseconds(100);
                    }
                }
                return;
            }
            int one = 1;
            ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
            auto c = std::make_unique<Conn>();
            c->id = nextConnectionId.fetch_add(1);
            c->fd = fd;
            c->loopback = isLoopbackPeer(fd);
            c->info = describeConnection(fd);
            c->info.id = c->id;
            c->info.tls = tls;
            self._accepted.fetch_add(1, std::memory_order_relaxed);
            int& fromPeer = perPeer[c->info.peerAddress];
            bool const overCap = counted >= static_cast<std::size_t>(opt.maxConnections);
            bool const overPeerCap = fromPeer >= opt.maxConnectionsPerPeer;
            Conn& conn = *c;
            conns.emplace(conn.id, std::move(c));
            add(fd, 0, conn.id);
            if (overCap || overPeerCap) {
                if (fromPeer == 0) perPeer.erase(conn.info.peerAddress);
                conn.counted = false;
                self._refused.fetch_add(1, std::memory_order_relaxed);
                log("Connection refused with 503: " +
                        (overCap ? std::to_string(opt.maxConnections) + " connections open"
                                 : std::to_string(opt.maxConnectionsPerPeer) + " connections open from " +
                                       conn.info.peerAddress),
                    KivoTraceLog::KIVO_INFORMATION);
                if (tls) {
                    // No answer without a handshake: the connection closes
                    // (counted as a refusal, which close() discounts).
                    ++rejecting;
                    close(conn);
                    continue;
                }
                if (rejecting >= kMaxRejecting) {
                    // Too many lingering already: the answer goes out, the
                    // connection closes at once.
                    std::string const answer = emptyAnswer(503, true);
                    [[maybe_unused]] ssize_t r = ::send(fd, answer.data(), answer.size(), MSG_NOSIGNAL);
                    close(conn);
                    continue;
                }
                ++rejecting;
                answer(conn, emptyAnswer(503, true), true);
                continue;
            }
            conn.counted = true;
            ++fromPeer;
            ++counted;
            if (tls) {
                conn.tls = opt.tls->newSession(fd);
                if (!conn.tls) {
                    log("No TLS session for a connection from " + conn.info.peerAddress, KivoTraceLog::KIVO_ERROR);
                    close(conn);
                    continue;
                }
                conn.state = State::Handshake;
                setTimer(conn, Clock::now() + std::chrono::milliseconds(opt.handshakeTimeoutMs));
                handshake(conn);
                continue;
            }
            startIdle(conn);
        }
    }

    // Advances a TLS handshake; once done, the connection waits for its first
    // request like a plain one.
    void handshake(Conn& c) {
        switch (c.tls->handshake()) {
            case TLSSession::Step::WantRead:
                watch(c, EPOLLIN | EPOLLRDHUP);
                return;
            case TLSSession::Step::WantWrite:
                watch(c, EPOLLOUT);
                return;
            case TLSSession::Step::Failed:
                log("TLS handshake with " + c.info.peerAddress + ":" + c.info.peerPort + " failed: " +
                        c.tls->failure(),
                    KivoTraceLog::KIVO_INFORMATION);
                close(c);
                return;
            case TLSSession::Step::Done:
                break;
        }
        c.info.certificateUser = c.tls->user();
        if (opt.tls->requiresClientCertificate() && c.info.certificateUser.empty()) {
            log("TLS client " + c.info.peerAddress + ":" + c.info.peerPort +
                    " refused: its certificate names no user (no CN)",
                KivoTraceLog::KIVO_WARNING);
            close(c);
            return;
        }
        startIdle(c);
        readIfPending(c);
    }

    // A TLS session may hold bytes it took off the descriptor already, which
    // epoll does not report: read them now.
    void readIfPending(Conn& c) {
        if (c.tls && (c.state == State::Head || c.state == State::Body) && c.tls->pending()) readRequest(c);
    }

    // Waiting for the next request, with nothing of it yet.
    void startIdle(Conn& c) {
        c.state = State::Head;
        watch(c, EPOLLIN | EPOLLRDHUP);
        setTimer(c, Clock::now() + std::chrono::milliseconds(opt.idleTimeoutMs));
    }

    void onEvent(Conn& c, unsigned ev) {
        switch (c.state) {
            case State::Handshake:
                handshake(c);
                break;
            case State::Head:
            case State::Body:
                readRequest(c);
                break;
            case State::Writing:
                if ((ev & (EPOLLERR | EPOLLHUP)) != 0) {
                    close(c);
                } else {
                    flushOut(c);
                }
                break;
            case State::Lingering:
                drop(c);
                break;
            default:
                // Not reading: only the end of the connection matters.
                if ((ev & (EPOLLERR | EPOLLHUP)) != 0) close(c);
                break;
        }
    }

    void onTimer(Conn& c) {
        switch (c.state) {
            case State::WaitBudget:
                // No room came in time.
                std::erase(budgetWaiters, c.id);
                answer(c, emptyAnswer(503, true), true);
                break;
            case State::Delay:
                c.state = State::Writing;
                flushOut(c);
                break;
            case State::Handshake:
                log("TLS handshake with " + c.info.peerAddress + ":" + c.info.peerPort + " not finished within " +
                        std::to_string(opt.handshakeTimeoutMs) + " ms: connection dropped",
                    KivoTraceLog::KIVO_INFORMATION);
                close(c);
                break;
            default:
                // The idle timeout, the request's deadline, a refusal or a
                // lingering close that took too long.
                close(c);
                break;
        }
    }

    // Reads what the connection has for the head or the body in progress.
    void readRequest(Conn& c) {
        char buf[65536];
        for (;;) {
            std::size_t room = sizeof buf;
            if (c.state == State::Head) {
                room = std::min(room, kHeadCap > c.in.size() ? kHeadCap - c.in.size() : 0);
            } else {
                room = std::min(room, c.bodyWant - c.bodyHave);
            }
            if (room == 0) break;
            ssize_t const n = receiveFrom(c.fd, c.tls.get(), buf, room);
            if (n < 0 && errno == EINTR) continue;
            if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
                if (c.tls) watch(c, c.tls->wantsWrite() ? EPOLLOUT : EPOLLIN | EPOLLRDHUP);
                return;
            }
            if (n == 0 && c.state == State::Body) {
                // The client ended its sending side inside a body: the
                // handler reads the short body and answers it (it may still
                // be reading).
                dispatch(c);
                return;
            }
            if (n <= 0) {
                // The client closed (or the connection failed) before its
                // head was whole: nothing to answer.
                close(c);
                return;
            }
            std::size_t const got = static_cast<std::size_t>(n);
            if (c.state == State::Body) {
                appendBody(c, buf, got);
                if (c.bodyHave == c.bodyWant) {
                    dispatch(c);
                    return;
                }
                continue;
            }
            if (c.in.empty()) {
                c.requestDeadline = Clock::now() + std::chrono::milliseconds(opt.requestTimeoutMs);
                setTimer(c, c.requestDeadline);
            }
            c.in.append(buf, got);
            // A head ends with a line: only a new line can complete it.
            if (std::memchr(buf, '\n', got) != nullptr || c.in.size() >= kHeadCap) {
                if (!parseHead(c)) return;
                if (c.state != State::Head && c.state != State::Body) return;
            }
            // Drained for now (a TLS session returns one record at a time:
            // only EAGAIN says it is drained).
            if (!c.tls && static_cast<std::size_t>(n) < room) return;
        }
        // Head state with a full buffer: parseHead has decided already.
    }

    void appendBody(Conn& c, char const* data, std::size_t n) {
        while (n > 0) {
            if (c.body.empty() || c.body.back().size() == c.body.back().capacity()) {
                c.body.emplace_back();
                c.body.back().reserve(std::min(kBodyPiece, c.bodyWant - c.bodyHave));
            }
            std::string& piece = c.body.back();
            std::size_t const take = std::min(n, piece.capacity() - piece.size());
            piece.append(data, take);
            c.bodyHave += take;
            data += take;
            n -= take;
        }
    }

    // Parses the head in c.in if it is whole, and decides the request's fate.
    // False when the connection was closed or handed over.
    bool parseHead(Conn& c) {
        KVOMemorySocket memory;
        memory.borrowInput(c.in);
        KVOGenericHTTPIStream istr(memory, 4096);
        KVOHTTPRequest request;
        bool parsed = false;
        int error = 0;
        try {
            parsed = request.readFrom(istr);
        } catch (KVOHTTPException const& e) {
            error = static_cast<int>(e.getCode());
            if (error == 0) error = 400;
        }
        if (istr.eof() || (!parsed && error == 0)) {
            // The head is not whole yet.
            if (c.in.size() < kHeadCap) return true;
            error = 431;
        }
        if (error != 0) {
            answer(c, emptyAnswer(error), true);
            return false;
        }
        std::size_t const headLength = c.in.size() - memory.unreceived() - istr.buffered();
        self._requests.fetch_add(1, std::memory_order_relaxed);
        c.request = std::move(request);
        std::string rest = c.in.substr(headLength);
        c.in.clear();
        c.in.shrink_to_fit();

        long const length = c.request.getContentLength();
        bool const http11 = c.request.getProtocolEnum() == KVOHTTPRequest::HTTP_1_1;
        bool const chunked = http11 &&
                             (c.request.getHeaderField("TE") != nullptr ||
                              c.request.getHeaderField("Transfer-Encoding") != nullptr) &&
                             length <= 0;
        bool const hasBody = chunked || length > 0 || length == KVOHTTPRequest::CONTENT_LENGTH_INVALID;

        if (!c.info.certificateUser.empty()) {
            // The verified client certificate authenticated the connection.
            c.info.principal = c.info.certificateUser;
        } else if (self._gate) {
            Admission admission;
            try {
                admission = self._gate(c.request, c.info);
            } catch (std::exception const& e) {
                log(std::string("The request gate failed: ") + e.what(), KivoTraceLog::KIVO_ERROR);
                admission.admitted = false;
                admission.refusal = emptyAnswer(500);
            }
            if (!admission.admitted) {
                // The body is never read: a connection with one cannot go on.
                c.closeAfter = admission.close || hasBody;
                c.out = std::move(admission.refusal);
                c.in = std::move(rest);
                watch(c, 0);
                if (admission.delay.count() > 0) {
                    c.state = State::Delay;
                    setTimer(c, Clock::now() + admission.delay);
                } else {
                    c.state = State::Writing;
                    setTimer(c, Clock::time_point::max());
                    flushOut(c);
                }
                return false;
            }
            c.info.principal = admission.principal;
        } else {
            c.info.principal.clear();
        }

        c.body.clear();
        c.bodyHave = 0;
        c.bodyWant = 0;
        if (!rest.empty()) {
            c.bodyHave = rest.size();
            c.body.push_back(std::move(rest));
        }
        if (chunked || length <= 0 || length > kIntakeBodyCap) {
            // Read by the adapter thread: a chunked body, no body, or one the
            // intake refuses without reading.
            dispatch(c);
            return false;
        }
        std::size_t const want = static_cast<std::size_t>(length);
        if (want > opt.bodyBudgetBytes) {
            log("Request body of " + std::to_string(want) + " bytes refused with 413: over the body budget of " +
                    std::to_string(opt.bodyBudgetBytes),
                KivoTraceLog::KIVO_ERROR);
            answer(c, emptyAnswer(413), true);
            return false;
        }
        // The bytes already there count as the body; anything past it is the
        // next request, kept at the back of the pieces.
        c.bodyWant = std::max(want, c.bodyHave);
        if (budgetUsed + want <= opt.bodyBudgetBytes && budgetWaiters.empty()) {
            grant(c, want);
            return c.state == State::Body;
        }
        c.state = State::WaitBudget;
        c.reserved = 0;
        budgetWaiters.push_back(c.id);
        watch(c, 0);
        log("Request body of " + std::to_string(want) + " bytes waits: " + std::to_string(budgetUsed) +
                " bytes of the body budget in use",
            KivoTraceLog::KIVO_TRACE);
        return false;
    }

    // The request on c takes `want` bytes of the budget and reads its body.
    void grant(Conn& c, std::size_t want) {
        budgetUsed += want;
        c.reserved = want;
        if (c.bodyHave >= c.bodyWant) {
            dispatch(c);
            return;
        }
        c.state = State::Body;
        if (c.request.hasHeaderToken("Expect", "100-continue") &&
            c.request.getProtocolEnum() == KVOHTTPRequest::HTTP_1_1) {
            static char const kContinue[] = "HTTP/1.1 100 Continue\r\n\r\n";
            if (c.tls) {
                c.tls->sendEventually(kContinue, sizeof kContinue - 1);
            } else {
                [[maybe_unused]] ssize_t r =
                    ::send(c.fd, kContinue, sizeof kContinue - 1, MSG_NOSIGNAL | MSG_DONTWAIT);
            }
        }
        watch(c, EPOLLIN | EPOLLRDHUP);
        setTimer(c, c.requestDeadline);
    }

    void release(std::size_t bytes) {
        budgetUsed -= bytes;
        while (!stopping && !budgetWaiters.empty()) {
            auto it = conns.find(budgetWaiters.front());
            if (it == conns.end() || it->second->state != State::WaitBudget) {
                budgetWaiters.pop_front();
                continue;
            }
            Conn& c = *it->second;
            std::size_t const want = static_cast<std::size_t>(c.request.getContentLength());
            if (budgetUsed + want > opt.bodyBudgetBytes) return;
            budgetWaiters.pop_front();
            grant(c, want);
            readIfPending(c);
        }
    }

    void dispatch(Conn& c) {
        c.state = State::Busy;
        setTimer(c, Clock::time_point::max());
        ::epoll_ctl(ep, EPOLL_CTL_DEL, c.fd, nullptr);
        c.events = ~0u;
        auto job = std::make_unique<Job>(Job{c.id, c.fd, c.tls.get(), c.loopback, std::move(c.request),
                                             std::move(c.body), c.info, c.requestDeadline, c.reserved});
        c.body.clear();
        c.reserved = 0;
        {
            std::lock_guard<std::mutex> lock(self._mutex);
            self._jobs.push_back(std::move(job));
        }
        // Outside the lock, so that the thread woken does not wait for it.
        self._jobsChanged.notify_one();
    }

    void takeDone() {
        std::vector<std::unique_ptr<Done>> done;
        bool stopAsked;
        {
            std::lock_guard<std::mutex> lock(self._mutex);
            done.swap(self._done);
            stopAsked = self._stopping;
        }
        if (stopAsked) beginStop();
        for (auto& d : done) {
            if (d->reserved > 0) release(d->reserved);
            auto it = conns.find(d->id);
            if (it == conns.end()) continue;
            Conn& c = *it->second;
            c.state = State::Head;  // the loop's again
            // Watched at once as a connection waiting for its next request
            // is, which is what most become.
            c.events = EPOLLIN | EPOLLRDHUP;
            add(c.fd, c.events, c.id);
            if (stopping || cut || !d->persist) {
                if (d->linger && !stopping) {
                    linger(c);
                } else {
                    close(c);
                }
                continue;
            }
            c.in = std::move(d->unread);
            if (c.in.empty()) {
                startIdle(c);
                readIfPending(c);
                continue;
            }
            // Pipelined: the next request has begun already.
            c.state = State::Head;
            c.requestDeadline = Clock::now() + std::chrono::milliseconds(opt.requestTimeoutMs);
            setTimer(c, c.requestDeadline);
            watch(c, EPOLLIN | EPOLLRDHUP);
            if (c.in.find('\n') != std::string::npos || c.in.size() >= kHeadCap) {
                if (parseHead(c)) readIfPending(c);
            } else {
                readIfPending(c);
            }
        }
    }

    // Sends `text` (an answer of the loop's own), then closes or lingers.
    void answer(Conn& c, std::string text, bool closeAfter) {
        c.out = std::move(text);
        c.closeAfter = closeAfter;
        c.state = State::Writing;
        setTimer(c, Clock::now() + std::chrono::milliseconds(opt.sendTimeoutMs));
        flushOut(c);
    }

    void flushOut(Conn& c) {
        while (!c.out.empty()) {
            ssize_t const n = sendTo(c.fd, c.tls.get(), c.out.data(), c.out.size());
            if (n > 0) {
                c.out.erase(0, static_cast<std::size_t>(n));
                continue;
            }
            if (n < 0 && errno == EINTR) continue;
            if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
                watch(c, c.tls && !c.tls->wantsWrite() ? EPOLLIN : EPOLLOUT);
                if (c.timer == Clock::time_point::max()) {
                    setTimer(c, Clock::now() + std::chrono::milliseconds(opt.sendTimeoutMs));
                }
                return;
            }
            close(c);
            return;
        }
        if (c.closeAfter) {
            linger(c);
            return;
        }
        // A refusal that leaves the connection open: on to the next request.
        std::string rest = std::move(c.in);
        startIdle(c);
        c.in = std::move(rest);
        if (!c.in.empty()) {
            c.requestDeadline = Clock::now() + std::chrono::milliseconds(opt.requestTimeoutMs);
            setTimer(c, c.requestDeadline);
            if (c.in.find('\n') != std::string::npos && !parseHead(c)) return;
        }
        readIfPending(c);
    }

    // Ends the sending side, then drops what the client still sends until it
    // closes, kLingerMs pass or kLingerBytes arrive.
    void linger(Conn& c) {
        if (c.tls) c.tls->closeNotify();
        ::shutdown(c.fd, SHUT_WR);
        c.state = State::Lingering;
        c.in.clear();
        c.body.clear();
        c.dropped = 0;
        watch(c, EPOLLIN | EPOLLRDHUP);
        setTimer(c, Clock::now() + std::chrono::milliseconds(c.counted ? kLingerMs : kRejectLingerMs));
        drop(c);
    }

    void drop(Conn& c) {
        char scratch[16384];
        for (;;) {
            ssize_t const n = ::recv(c.fd, scratch, sizeof scratch, MSG_DONTWAIT);
            if (n > 0) {
                c.dropped += static_cast<std::size_t>(n);
                if (c.dropped >= kLingerBytes) break;
                continue;
            }
            if (n < 0 && errno == EINTR) continue;
            if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return;
            break;
        }
        close(c);
    }

    void close(Conn& c) {
        if (c.state == State::Busy) return;  // the adapter thread's until it is done
        setTimer(c, Clock::time_point::max());
        if (c.reserved > 0) {
            std::size_t const bytes = c.reserved;
            c.reserved = 0;
            c.state = State::Lingering;  // not a budget waiter any more
            release(bytes);
        }
        ::epoll_ctl(ep, EPOLL_CTL_DEL, c.fd, nullptr);
        ::close(c.fd);
        if (c.counted) {
            --counted;
            auto it = perPeer.find(c.info.peerAddress);
            if (it != perPeer.end() && --it->second == 0) perPeer.erase(it);
        } else if (rejecting > 0) {
            --rejecting;
        }
        conns.erase(c.id);
    }
};

int HTTPListener::defaultThreads() {
    unsigned const cores = std::max(1u, std::thread::hardware_concurrency());
    return static_cast<int>(std::max(32u, 4 * cores));
}

HTTPListener::HTTPListener(Options options, RequestHandler handler, RequestGate gate)
    : _options(std::move(options)), _handler(std::move(handler)), _gate(std::move(gate)) {}

HTTPListener::~HTTPListener() {
    stop();
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _workersQuit = true;
        _jobsChanged.notify_all();
    }
    for (std::thread& t : _workers) {
        if (t.joinable()) t.join();
    }
    if (_listenFd >= 0) ::close(_listenFd);
    if (_tlsListenFd >= 0) ::close(_tlsListenFd);
    if (_wakeFd >= 0) ::close(_wakeFd);
}

int HTTPListener::open() {
    _wakeFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (_wakeFd < 0) throw std::runtime_error(errnoText("eventfd"));
    if (!_options.plain && !_options.tls) throw std::runtime_error("neither plain HTTP nor TLS is on");
    if (_options.plain) _listenFd = bindListener(_options.address, _options.port, _plainPort);
    if (_options.tls) _tlsListenFd = bindListener(_options.address, _options.tlsPort, _tlsPort);
    return _options.plain ? _plainPort : _tlsPort;
}

void HTTPListener::run() {
    int const threads = _options.threads > 0 ? _options.threads : defaultThreads();
    for (int i = 0; i < threads; ++i) _workers.emplace_back([this] { workerLoop(); });
    {
        Loop loop(*this);
        {
            std::lock_guard<std::mutex> lock(_mutex);
            if (_stopping) loop.beginStop();
        }
        loop.run();
    }
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _workersQuit = true;
        _jobsChanged.notify_all();
    }
    for (std::thread& t : _workers) t.join();
    _workers.clear();
    if (_listenFd >= 0) ::close(_listenFd);
    if (_tlsListenFd >= 0) ::close(_tlsListenFd);
    _listenFd = -1;
    _tlsListenFd = -1;
}

void HTTPListener::stop() {
    std::lock_guard<std::mutex> lock(_mutex);
    if (_stopping) return;
    _stopping = true;
    wake();
}

void HTTPListener::wake() {
    std::uint64_t one = 1;
    if (_wakeFd >= 0) {
        [[maybe_unused]] ssize_t n = ::write(_wakeFd, &one, sizeof one);
    }
}

unsigned long HTTPListener::connectionsAccepted() const {
    return _accepted.load(std::memory_order_relaxed);
}

unsigned long HTTPListener::requestsStarted() const {
    return _requests.load(std::memory_order_relaxed);
}

unsigned long HTTPListener::connectionsRefused() const {
    return _refused.load(std::memory_order_relaxed);
}

void HTTPListener::workerLoop() {
    for (;;) {
        std::unique_ptr<Job> job;
        {
            std::unique_lock<std::mutex> lock(_mutex);
            _jobsChanged.wait(lock, [&] { return _workersQuit || !_jobs.empty(); });
            if (_jobs.empty()) return;
            job = std::move(_jobs.front());
            _jobs.pop_front();
        }
        serve(*job);
    }
}

void HTTPListener::serve(Job& job) {
    auto done = std::make_unique<Done>(Done{job.id, false, true, {}, job.reserved});
    {
        ConnectionSocket sock(job.fd, job.tls, job.loopback, std::move(job.buffered), job.deadline, _options.sendTimeoutMs);
        KVOGenericHTTPIStream istr(sock);
        try {
            KVOGenericHTTPOStream ostr(sock);
            done->persist = _handler(job.request, istr, ostr, job.info);
        } catch (std::exception const& e) {
            log("Connection from " + job.info.peerAddress + ":" + job.info.peerPort + " ended: " + e.what(),
                KivoTraceLog::KIVO_TRACE);
        } catch (...) {
            log("Connection ended by an unknown exception", KivoTraceLog::KIVO_WARNING);
        }
        if (istr.eof()) {
            // The client closed, or its request's deadline passed.
            done->persist = false;
            done->linger = false;
        }
        std::string rest(istr.buffered(), '\0');
        istr.read(rest.data(), static_cast<long>(rest.size()));
        done->unread = std::move(rest) + sock.unread();
    }
    bool first;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        first = _done.empty();
        _done.push_back(std::move(done));
    }
    // The loop reads the eventfd before it takes the whole list, so one wake
    // per list it has not taken yet is enough.
    if (first) wake();
}

}  // namespace refserver
