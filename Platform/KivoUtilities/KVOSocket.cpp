#include "KivoUtilities/KVOSocket.h"

#include "KivoUtilities/KVOHTTPException.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

KVOSocket::KVOSocket() = default;

KVOSocket::KVOSocket(int fd) : _fd(fd) {}

KVOSocket::~KVOSocket() {
    if (_fd >= 0) ::close(_fd);
}

std::size_t KVOSocket::receive(char* dst, std::size_t max) {
    if (_fd < 0 || max == 0) return 0;
    for (;;) {
        ssize_t n = ::recv(_fd, dst, max, 0);
        if (n >= 0) return static_cast<std::size_t>(n);
        if (errno == EINTR) continue;
        // Timeout, reset or any other failure: the stream has ended.
        return 0;
    }
}

void KVOSocket::send(char const* src, std::size_t n) {
    if (_fd < 0) throw KVOHTTPException("KVOSocket::send", "The socket has no connection", 0);
    while (n > 0) {
        ssize_t sent = ::send(_fd, src, n, MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EINTR) continue;
            throw KVOHTTPException("KVOSocket::send", KVOString("Send failed: ") + std::strerror(errno), 0);
        }
        src += sent;
        n -= static_cast<std::size_t>(sent);
    }
}

bool KVOSocket::isLoopback() const {
    if (_fd < 0) return false;
    sockaddr_storage addr{};
    socklen_t len = sizeof addr;
    if (::getpeername(_fd, reinterpret_cast<sockaddr*>(&addr), &len) != 0) return false;
    switch (addr.ss_family) {
    case AF_UNIX:
        return true;
    case AF_INET: {
        auto const* in = reinterpret_cast<sockaddr_in const*>(&addr);
        return (ntohl(in->sin_addr.s_addr) >> 24) == 127;
    }
    case AF_INET6: {
        auto const* in6 = reinterpret_cast<sockaddr_in6 const*>(&addr);
        if (IN6_IS_ADDR_LOOPBACK(&in6->sin6_addr)) return true;
        return IN6_IS_ADDR_V4MAPPED(&in6->sin6_addr) && in6->sin6_addr.s6_addr[12] == 127;
    }
    default:
        return false;
    }
}

void KVOSocket::setCloseSocketOption(int seconds) {
    _closeOption = seconds;
    if (_fd < 0) return;
    linger lg{};
    lg.l_onoff = seconds >= 0 ? 1 : 0;
    lg.l_linger = seconds >= 0 ? seconds : 0;
    ::setsockopt(_fd, SOL_SOCKET, SO_LINGER, &lg, sizeof lg);
}

void KVOSocket::endRequestBody() {
    ++_bodiesEnded;
    if (_bodyEndListener) _bodyEndListener();
}

void KVOSocket::setReceiveTimeout(int milliseconds) {
    if (_fd < 0) return;
    timeval tv{};
    if (milliseconds > 0) {
        tv.tv_sec = milliseconds / 1000;
        tv.tv_usec = (milliseconds % 1000) * 1000;
    }
    ::setsockopt(_fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
}
