#include "TLSTestSupport.h"

#include "E2EHarness.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <arpa/inet.h>
#include <signal.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace e2e {

namespace {

// One openssl command; false with its output in `error` when it fails.
bool openssl(std::string const& dir, std::vector<std::string> args, std::string& error) {
    std::string output;
    if (run("cd " + dir + " && openssl", args, output) == 0) return true;
    error = "openssl " + args[0] + " failed: " + output;
    return false;
}

}  // namespace

TestPKI::~TestPKI() {
    if (!_dir.empty()) std::filesystem::remove_all(_dir);
}

bool TestPKI::make(std::string& error) {
    char pattern[] = "/tmp/kivo-tls-XXXXXX";
    if (::mkdtemp(pattern) == nullptr) {
        error = "mkdtemp failed";
        return false;
    }
    _dir = pattern;
    auto ca = [&](std::string const& name) {
        return openssl(_dir, {"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                              "-days", "2", "-subj", "/CN=" + name + " Test CA", "-keyout", name + ".key", "-out",
                              name + ".pem"},
                       error);
    };
    auto leaf = [&](std::string const& name, std::string const& cn, std::string const& issuer,
                    std::string const& extension) {
        std::string const ext = name + ".ext";
        return run("printf '%s\\n' " + extension + " >", {_dir + "/" + ext}, error) == 0 &&
               openssl(_dir, {"req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-subj",
                              "/CN=" + cn, "-keyout", name + ".key", "-out", name + ".csr"},
                       error) &&
               openssl(_dir, {"x509", "-req", "-in", name + ".csr", "-CA", issuer + ".pem", "-CAkey",
                              issuer + ".key", "-CAcreateserial", "-days", "2", "-extfile", ext, "-out",
                              name + ".pem"},
                       error);
    };
    return ca("ca") && ca("other-ca") &&
           leaf("server", "localhost", "ca", "'subjectAltName=IP:127.0.0.1,DNS:localhost'") &&
           leaf("alice", "Alice Example", "ca", "'extendedKeyUsage=clientAuth'") &&
           leaf("mallory", "Mallory", "other-ca", "'extendedKeyUsage=clientAuth'");
}

int freePort() {
    int const fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    int port = 0;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) == 0) {
        port = ntohs(addr.sin_port);
    }
    ::close(fd);
    return port;
}

struct TLSClient::State {
    SSL_CTX* ctx = nullptr;
    SSL* ssl = nullptr;
};

TLSClient::TLSClient(int port, TLSClientOptions const& options) : _state(new State) {
    // OpenSSL writes with write(): a server that closes first (a refused
    // handshake) must fail the write, not kill the test with SIGPIPE.
    static bool const pipeIgnored = [] { return ::signal(SIGPIPE, SIG_IGN) != SIG_ERR; }();
    (void)pipeIgnored;
    _fd = connectLoopback(port);
    if (_fd < 0) {
        _failure = "connect failed";
        return;
    }
    _state->ctx = SSL_CTX_new(TLS_client_method());
    if (options.minVersion != 0 || options.maxVersion != 0) {
        // Old protocols only exist at security level 0.
        SSL_CTX_set_security_level(_state->ctx, 0);
        SSL_CTX_set_cipher_list(_state->ctx, "ALL:@SECLEVEL=0");
        SSL_CTX_set_min_proto_version(_state->ctx, options.minVersion);
        SSL_CTX_set_max_proto_version(_state->ctx, options.maxVersion);
    }
    if (!options.certificate.empty()) {
        SSL_CTX_use_certificate_file(_state->ctx, options.certificate.c_str(), SSL_FILETYPE_PEM);
        SSL_CTX_use_PrivateKey_file(_state->ctx, options.key.c_str(), SSL_FILETYPE_PEM);
    }
    _state->ssl = SSL_new(_state->ctx);
    SSL_set_fd(_state->ssl, _fd);
}

TLSClient::~TLSClient() {
    if (_state->ssl != nullptr) SSL_free(_state->ssl);
    if (_state->ctx != nullptr) SSL_CTX_free(_state->ctx);
    delete _state;
    if (_fd >= 0) ::close(_fd);
}

bool TLSClient::handshake() {
    if (_fd < 0) return false;
    ERR_clear_error();
    if (SSL_connect(_state->ssl) == 1) return true;
    unsigned long const code = ERR_get_error();
    char const* reason = code != 0 ? ERR_reason_error_string(code) : nullptr;
    _failure = reason != nullptr ? reason : "the connection ended";
    ERR_clear_error();
    return false;
}

std::string TLSClient::protocol() const {
    return SSL_get_version(_state->ssl);
}

bool TLSClient::send(std::string const& bytes) {
    ERR_clear_error();
    return _fd >= 0 && SSL_write(_state->ssl, bytes.data(), static_cast<int>(bytes.size())) ==
                           static_cast<int>(bytes.size());
}

std::string TLSClient::readAll() {
    std::string out;
    char buf[16384];
    for (;;) {
        ERR_clear_error();
        int const n = _fd >= 0 ? SSL_read(_state->ssl, buf, sizeof buf) : 0;
        if (n <= 0) break;
        out.append(buf, static_cast<std::size_t>(n));
    }
    ERR_clear_error();
    return out;
}

int statusOf(std::string const& response) {
    if (response.rfind("HTTP/1.", 0) != 0 || response.size() < 12) return 0;
    return std::atoi(response.c_str() + 9);
}

}  // namespace e2e
