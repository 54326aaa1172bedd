// TLS for the HTTP front end (OpenSSL inside; nothing of it leaks into this
// header or into the library).
//
// TLSContext is built once at start-up from the certificate chain, the
// private key and, optionally, a client-CA file: TLS 1.2 and 1.3 only,
// OpenSSL's default secure ciphers, renegotiation off, session resumption on
// (a server-side session cache for TLS 1.2 and tickets for 1.3). With a
// client-CA file every client must present a certificate that chains to it:
// a missing or unverified certificate fails the handshake (the client gets a
// TLS alert, no HTTP answer). A verified certificate names its user: the
// subject's common name (CN), or the name it is mapped to in
// TLSSettings::certificateUsers. It is immutable once built and may be
// shared by any number of threads.
//
// TLSSession is one connection's TLS state over a non-blocking descriptor it
// does not own. The listener's event loop runs the handshake and reads request
// heads and bodies through it; an adapter thread then reads and writes through
// it while it serves a request. One thread at a time: the listener hands it
// over under its mutex, as it does the descriptor. recv() and send() behave
// like ::recv and ::send with MSG_DONTWAIT: a count, 0 at the end of the
// stream (a close_notify, the peer's close or a failed connection), or -1 with
// errno EAGAIN when the descriptor must become readable (wantsWrite() false)
// or writable (wantsWrite() true) first. Bytes OpenSSL has taken off the
// descriptor but not yet returned are invisible to epoll: pending() says when
// a read would yield without waiting.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <sys/types.h>

struct ssl_ctx_st;
struct ssl_st;

namespace refserver {

struct TLSSettings {
    std::string certificateChainFile;  // PEM: the server's certificate, then its intermediates
    std::string privateKeyFile;        // PEM
    std::string clientCAFile;          // PEM; empty: no client certificates asked for
    std::map<std::string, std::string> certificateUsers;  // a certificate's CN -> the user it stands for
};

class TLSSession;

class TLSContext {
public:
    // Throws std::runtime_error naming the file or the setting that is wrong.
    explicit TLSContext(TLSSettings const& settings);
    ~TLSContext();
    TLSContext(TLSContext const&) = delete;
    TLSContext& operator=(TLSContext const&) = delete;

    bool requiresClientCertificate() const { return _clientCertificates; }
    // A new session on the accepted descriptor `fd`, server side.
    std::unique_ptr<TLSSession> newSession(int fd) const;
    // The user a verified certificate with this CN stands for.
    std::string userFor(std::string const& commonName) const;

private:
    ssl_ctx_st* _ctx = nullptr;
    bool _clientCertificates = false;
    std::map<std::string, std::string> const _users;
};

class TLSSession {
public:
    enum class Step { Done, WantRead, WantWrite, Failed };

    TLSSession(ssl_st* ssl, TLSContext const& context);
    ~TLSSession();
    TLSSession(TLSSession const&) = delete;
    TLSSession& operator=(TLSSession const&) = delete;

    // Advances the handshake as far as the descriptor allows.
    Step handshake();
    // After a finished handshake: the user of the client's verified
    // certificate, or "" without one. A verified certificate without a CN
    // also gives "".
    std::string const& user() const { return _user; }
    // Why the handshake or the last call failed (for the log).
    std::string const& failure() const { return _failure; }
    // The negotiated protocol, e.g. "TLSv1.3".
    std::string protocol() const;

    ssize_t recv(char* dst, std::size_t max);
    ssize_t send(char const* src, std::size_t n);
    // Sends `n` bytes now or as soon as the next send() runs: for the short
    // interim answers (100 Continue) the caller does not retry.
    void sendEventually(char const* src, std::size_t n);
    bool wantsWrite() const { return _wantsWrite; }
    bool pending() const;
    // Sends close_notify if it can without waiting (before the sending side
    // of the descriptor is shut down).
    void closeNotify();

private:
    ssize_t failed(int result, bool reading);

    ssl_st* const _ssl;
    TLSContext const& _context;
    bool _wantsWrite = false;
    std::string _owed;  // sendEventually's bytes not yet taken by OpenSSL
    std::string _user;
    std::string _failure;
};

}  // namespace refserver
