#include "HTTPListener.h"

#include "KivoUtilities/KVOGenericHTTPIStream.h"
#include "KivoUtilities/KVOGenericHTTPOStream.h"
#include "KivoUtilities/KVOHTTPException.h"
#include "KivoUtilities/KVOHTTPRequest.h"
#include "KivoUtilities/KVOHTTPResponse.h"
#include "KivoUtilities/KVOLog.h"
#include "KivoUtilities/KVOSocket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace refserver {

namespace {

char const* const WHO = "refserver::HTTPListener";

std::string errnoText(char const* what) {
    return std::string(what) + ": " + std::strerror(errno);
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
        case 414: return "URI Too Long";
        case 431: return "Request Header Fields Too Large";
        case 505: return "HTTP Version Not Supported";
        default: return "Bad Request";
    }
}

// Answers a request whose head could not be read, with an empty body; the
// connection is closed afterwards.
void answerBadHead(KVOGenericHTTPOStream& ostr, int status) {
    if (status < 400 || status > 599) status = 400;
    KVOHTTPResponse response;
    response.setStatus(KVOString::itoa(status));
    response.setReasonPhrase(reasonFor(status));
    response.setContentLength(0);
    response.setConnection("close", false);
    ostr.setStreamType(KVOGenericHTTPOStream::StreamType::NotEncoded);
    response.writeResponseTo(ostr);
    ostr.flush();
}

char const kServiceUnavailable[] =
    "HTTP/1.1 503 Service Unavailable\r\nRetry-After: 1\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";

// One receive on `fd`, its bytes dropped and counted in `dropped`; false
// once the peer has closed or the socket failed.
bool dropSome(int fd, std::size_t& dropped) {
    char scratch[4096];
    ssize_t const n = ::recv(fd, scratch, sizeof scratch, MSG_DONTWAIT);
    if (n > 0) dropped += static_cast<std::size_t>(n);
    return n > 0 || (n < 0 && (errno == EINTR || errno == EAGAIN));
}

// Ends the sending side of `fd`, then drops what the peer still sends until
// it closes, `limitMs` pass or `limitBytes` arrive: the bytes already sent
// reach the peer instead of being discarded by the reset that closing a
// socket with unread input provokes.
void lingerClose(int fd, int limitMs, std::size_t limitBytes) {
    ::shutdown(fd, SHUT_WR);
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
    std::size_t dropped = 0;
    while (dropped < limitBytes) {
        auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline -
                                                                               std::chrono::steady_clock::now());
        if (left.count() <= 0) return;
        pollfd p{fd, POLLIN, 0};
        int const ready = ::poll(&p, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0 || !dropSome(fd, dropped)) return;
    }
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

HTTPListener::HTTPListener(Options options, RequestHandler handler)
    : _options(std::move(options)), _handler(std::move(handler)) {}

HTTPListener::~HTTPListener() {
    stop();
    for (std::thread& t : _workers) {
        if (t.joinable()) t.join();
    }
    for (int fd : _pending) ::close(fd);
    if (_listenFd >= 0) ::close(_listenFd);
    for (int fd : _wakePipe) {
        if (fd >= 0) ::close(fd);
    }
}

int HTTPListener::open() {
    if (::pipe2(_wakePipe, O_CLOEXEC | O_NONBLOCK) != 0) throw std::runtime_error(errnoText("pipe"));
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(_options.port));
    if (::inet_pton(AF_INET, _options.address.c_str(), &addr.sin_addr) != 1) {
        throw std::runtime_error("not an IPv4 address: " + _options.address);
    }
    _listenFd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (_listenFd < 0) throw std::runtime_error(errnoText("socket"));
    int one = 1;
    ::setsockopt(_listenFd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    if (::bind(_listenFd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        throw std::runtime_error(errnoText(("bind " + _options.address + ":" + std::to_string(_options.port)).c_str()));
    }
    if (::listen(_listenFd, 128) != 0) throw std::runtime_error(errnoText("listen"));
    sockaddr_in bound{};
    socklen_t len = sizeof bound;
    if (::getsockname(_listenFd, reinterpret_cast<sockaddr*>(&bound), &len) != 0) {
        throw std::runtime_error(errnoText("getsockname"));
    }
    return ntohs(bound.sin_port);
}

void HTTPListener::run() {
    using Clock = std::chrono::steady_clock;
    for (int i = 0; i < _options.threads; ++i) _workers.emplace_back([this] { workerLoop(); });
    std::vector<Rejecting> rejecting;  // answered 503, lingering until the client closes
    std::vector<pollfd> fds;
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(_mutex);
            if (_stopping) break;
        }
        Clock::time_point const now = Clock::now();
        int timeoutMs = -1;
        std::erase_if(rejecting, [&](Rejecting const& r) {
            if (r.deadline > now) return false;
            ::close(r.fd);
            return true;
        });
        fds.assign({{_listenFd, POLLIN, 0}, {_wakePipe[0], POLLIN, 0}});
        for (Rejecting const& r : rejecting) {
            fds.push_back({r.fd, POLLIN, 0});
            auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(r.deadline - now).count() + 1;
            if (timeoutMs < 0 || left < timeoutMs) timeoutMs = static_cast<int>(left);
        }
        if (::poll(fds.data(), fds.size(), timeoutMs) < 0) {
            if (errno == EINTR) continue;
            KVOLog::log(WHO, errnoText("poll"), KivoTraceLog::KIVO_ERROR, 2, 0, KVOLog::CIMOMLOG);
            break;
        }
        if (fds[1].revents != 0) break;  // stop() was called
        for (std::size_t i = rejecting.size(); i-- > 0;) {
            std::size_t ignored = 0;
            if (fds[i + 2].revents == 0 || dropSome(rejecting[i].fd, ignored)) continue;
            ::close(rejecting[i].fd);
            rejecting.erase(rejecting.begin() + static_cast<std::ptrdiff_t>(i));
        }
        if ((fds[0].revents & POLLIN) == 0) continue;
        int fd = ::accept4(_listenFd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) {
            if (errno != EINTR && errno != EAGAIN && errno != ECONNABORTED) {
                KVOLog::log(WHO, errnoText("accept"), KivoTraceLog::KIVO_WARNING, 2, 0, KVOLog::CIMOMLOG);
                if (errno == EMFILE || errno == ENFILE) ::usleep(100 * 1000);  // let connections close first
            }
            continue;
        }
        int one = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        admit(fd, rejecting);
    }
    for (Rejecting const& r : rejecting) ::close(r.fd);
    stop();
    ::close(_listenFd);
    _listenFd = -1;
    for (std::thread& t : _workers) t.join();
    _workers.clear();
}

void HTTPListener::admit(int fd, std::vector<Rejecting>& rejecting) {
    {
        std::lock_guard<std::mutex> lock(_mutex);
        ++_accepted;
        if (_pending.size() + _connections.size() < static_cast<std::size_t>(_options.maxConnections)) {
            _pending.push_back(fd);
            _queueChanged.notify_all();
            return;
        }
        ++_refused;
    }
    KVOLog::log(WHO, "Connection refused with 503: " + std::to_string(_options.maxConnections) + " connections open",
                KivoTraceLog::KIVO_INFORMATION, 2, 0, KVOLog::CIMOMLOG);
    // The answer fits the socket's empty send buffer: never blocks.
    [[maybe_unused]] ssize_t n =
        ::send(fd, kServiceUnavailable, sizeof kServiceUnavailable - 1, MSG_DONTWAIT | MSG_NOSIGNAL);
    ::shutdown(fd, SHUT_WR);
    if (rejecting.size() >= kMaxRejecting) {
        ::close(fd);
        return;
    }
    rejecting.push_back({fd, std::chrono::steady_clock::now() + std::chrono::milliseconds(kRejectLingerMs)});
}

void HTTPListener::stop() {
    std::lock_guard<std::mutex> lock(_mutex);
    if (_stopping) return;
    _stopping = true;
    char byte = 1;
    if (_wakePipe[1] >= 0) {
        [[maybe_unused]] ssize_t n = ::write(_wakePipe[1], &byte, 1);
    }
    // Connections waiting for a request head: their reader sees the end of the
    // stream at once. Busy ones finish their request and then close.
    for (auto const& [fd, slot] : _connections) {
        if (slot.idle) ::shutdown(fd, SHUT_RD);
    }
    _queueChanged.notify_all();
}

unsigned long HTTPListener::connectionsAccepted() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _accepted;
}

unsigned long HTTPListener::requestsStarted() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _requests;
}

unsigned long HTTPListener::connectionsRefused() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _refused;
}

void HTTPListener::workerLoop() {
    for (;;) {
        int fd;
        {
            std::unique_lock<std::mutex> lock(_mutex);
            _queueChanged.wait(lock, [&] { return _stopping || !_pending.empty(); });
            if (_pending.empty()) return;  // stopping, nothing left
            fd = _pending.front();
            _pending.pop_front();
            _queueChanged.notify_all();
            if (_stopping) {
                // Accepted before the stop, no request read yet: not in flight.
                ::close(fd);
                continue;
            }
            _connections[fd] = Slot{};
        }
        serveConnection(fd);
    }
}

void HTTPListener::setIdle(int fd, bool idle) {
    std::lock_guard<std::mutex> lock(_mutex);
    _connections[fd].idle = idle;
    if (idle && _stopping) ::shutdown(fd, SHUT_RD);
    if (!idle) ++_requests;
}

void HTTPListener::serveConnection(int fd) {
    {
        timeval tv{};
        tv.tv_sec = _options.readTimeoutMs / 1000;
        tv.tv_usec = (_options.readTimeoutMs % 1000) * 1000;
        ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
    }
    ConnectionInfo const info = describeConnection(fd);
    KVOSocket sock(fd);
    sock.setReceiveTimeout(_options.readTimeoutMs);
    // The slot goes before the socket closes the descriptor, so stop() never
    // shuts down a descriptor number that was already reused.
    struct SlotGuard {
        HTTPListener& self;
        int fd;
        ~SlotGuard() {
            std::lock_guard<std::mutex> lock(self._mutex);
            self._connections.erase(fd);
        }
    } slotGuard{*this, fd};
    KVOGenericHTTPIStream istr(sock);
    KVOGenericHTTPOStream ostr(sock);
    // Whether the client may still be sending when the connection ends: then
    // it ends with a lingering close.
    bool linger = true;
    try {
        for (;;) {
            setIdle(fd, true);
            KVOHTTPRequest request;
            try {
                if (!request.readFrom(istr)) {  // closed between requests
                    linger = false;
                    break;
                }
            } catch (KVOHTTPException const& e) {
                bool stopping;
                {
                    std::lock_guard<std::mutex> lock(_mutex);
                    stopping = _stopping;
                }
                if (!stopping && !istr.eof()) answerBadHead(ostr, e.getCode());
                break;
            }
            setIdle(fd, false);
            if (!_handler(request, istr, ostr, info)) break;
            std::lock_guard<std::mutex> lock(_mutex);
            if (_stopping) {
                linger = false;  // between two requests: nothing of the client's is left unread
                break;
            }
        }
    } catch (std::exception const& e) {
        KVOLog::log(WHO, KVOString("Connection from ") + info.peerAddress + ":" + info.peerPort + " ended: " + e.what(),
                    KivoTraceLog::KIVO_TRACE, 2, 0, KVOLog::CIMOMLOG);
    } catch (...) {
        KVOLog::log(WHO, "Connection ended by an unknown exception", KivoTraceLog::KIVO_WARNING, 2, 0,
                    KVOLog::CIMOMLOG);
    }
    if (linger && !istr.eof()) lingerClose(fd, std::min(kLingerMs, _options.readTimeoutMs), kLingerBytes);
}

}  // namespace refserver
