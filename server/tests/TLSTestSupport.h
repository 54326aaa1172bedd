// Test support for HTTPS: throwaway certificates made with the openssl
// command at run time, and a blocking TLS client with bounded reads.
//
// TestPKI makes, in a fresh temporary directory removed by its destructor:
// "ca" (a CA), "server" (127.0.0.1, signed by ca), "alice" (a client
// certificate with CN "Alice Example", signed by ca), "other-ca" and
// "mallory" (a client certificate signed by other-ca). path("server.pem") and
// path("server.key") name the files. Nothing is written outside the directory.
#pragma once

#include <string>

namespace e2e {

class TestPKI {
public:
    TestPKI() = default;
    ~TestPKI();
    TestPKI(TestPKI const&) = delete;
    TestPKI& operator=(TestPKI const&) = delete;

    // False (with `error`) when the openssl command failed.
    bool make(std::string& error);
    std::string path(std::string const& file) const { return _dir + "/" + file; }

private:
    std::string _dir;
};

// A loopback port that was free a moment ago.
int freePort();

struct TLSClientOptions {
    int minVersion = 0;       // TLS1_VERSION ... ; 0: the library's default
    int maxVersion = 0;
    std::string certificate;  // client certificate and key files, PEM; empty: none
    std::string key;
};

// One TLS connection to 127.0.0.1:port. Every read waits at most kReadLimit.
class TLSClient {
public:
    TLSClient(int port, TLSClientOptions const& options = {});
    ~TLSClient();
    TLSClient(TLSClient const&) = delete;
    TLSClient& operator=(TLSClient const&) = delete;

    // Runs the handshake; false when it failed, with failure() the reason
    // OpenSSL gives (e.g. "tlsv1 alert protocol version").
    bool handshake();
    std::string const& failure() const { return _failure; }
    std::string protocol() const;
    bool send(std::string const& bytes);
    // Everything the server sends until it closes the connection (or a read
    // waits kReadLimit). A closed TLS session after the handshake, as when
    // the server refuses a certificate, reads as "".
    std::string readAll();

private:
    int _fd = -1;
    struct State;
    State* _state = nullptr;
    std::string _failure;
};

// The status code of a raw HTTP response ("HTTP/1.1 200 OK..."), or 0.
int statusOf(std::string const& response);

}  // namespace e2e
