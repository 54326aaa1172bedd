#include "TLS.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace refserver {

namespace {

// Names the sessions this server caches, so that a resumed session is only
// ever one this server's verification settings made.
unsigned char const kSessionContext[] = "kivo-cimxml-server";

std::string lastError(std::string const& fallback) {
    unsigned long const code = ERR_get_error();
    ERR_clear_error();
    if (code == 0) return fallback;
    char text[256];
    ERR_error_string_n(code, text, sizeof text);
    return text;
}

std::string commonName(X509* certificate) {
    X509_NAME* subject = X509_get_subject_name(certificate);
    int const index = subject == nullptr ? -1 : X509_NAME_get_index_by_NID(subject, NID_commonName, -1);
    if (index < 0) return "";
    ASN1_STRING* data = X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, index));
    unsigned char* utf8 = nullptr;
    int const length = ASN1_STRING_to_UTF8(&utf8, data);
    if (length < 0) return "";
    std::string name(reinterpret_cast<char*>(utf8), static_cast<std::size_t>(length));
    OPENSSL_free(utf8);
    // A name with a NUL inside is not one anybody could have meant.
    return name.find('\0') == std::string::npos ? name : "";
}

}  // namespace

TLSContext::TLSContext(TLSSettings const& settings) : _users(settings.certificateUsers) {
    _ctx = SSL_CTX_new(TLS_server_method());
    if (_ctx == nullptr) throw std::runtime_error("TLS: " + lastError("cannot create a context"));
    auto fail = [this](std::string const& message) {
        std::string const text = "TLS: " + message + ": " + lastError("failed");
        SSL_CTX_free(_ctx);
        _ctx = nullptr;
        throw std::runtime_error(text);
    };
    SSL_CTX_set_min_proto_version(_ctx, TLS1_2_VERSION);
    SSL_CTX_set_max_proto_version(_ctx, TLS1_3_VERSION);
    SSL_CTX_set_options(_ctx, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION | SSL_OP_CIPHER_SERVER_PREFERENCE |
                                  SSL_OP_IGNORE_UNEXPECTED_EOF);
    SSL_CTX_set_mode(_ctx, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    SSL_CTX_set_session_cache_mode(_ctx, SSL_SESS_CACHE_SERVER);
    SSL_CTX_set_session_id_context(_ctx, kSessionContext, sizeof kSessionContext - 1);
    if (settings.certificateChainFile.empty()) fail("no certificate chain file");
    if (settings.privateKeyFile.empty()) fail("no private key file");
    if (SSL_CTX_use_certificate_chain_file(_ctx, settings.certificateChainFile.c_str()) != 1) {
        fail("certificate chain " + settings.certificateChainFile);
    }
    if (SSL_CTX_use_PrivateKey_file(_ctx, settings.privateKeyFile.c_str(), SSL_FILETYPE_PEM) != 1) {
        fail("private key " + settings.privateKeyFile);
    }
    if (SSL_CTX_check_private_key(_ctx) != 1) fail("the private key does not match the certificate");
    if (!settings.clientCAFile.empty()) {
        if (SSL_CTX_load_verify_locations(_ctx, settings.clientCAFile.c_str(), nullptr) != 1) {
            fail("client CA " + settings.clientCAFile);
        }
        STACK_OF(X509_NAME)* names = SSL_load_client_CA_file(settings.clientCAFile.c_str());
        if (names == nullptr) fail("client CA " + settings.clientCAFile + " names no certificate");
        SSL_CTX_set_client_CA_list(_ctx, names);
        SSL_CTX_set_verify(_ctx, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
        _clientCertificates = true;
    }
}

TLSContext::~TLSContext() {
    SSL_CTX_free(_ctx);
}

std::unique_ptr<TLSSession> TLSContext::newSession(int fd) const {
    SSL* ssl = SSL_new(_ctx);
    if (ssl == nullptr) return nullptr;
    if (SSL_set_fd(ssl, fd) != 1) {
        SSL_free(ssl);
        return nullptr;
    }
    SSL_set_accept_state(ssl);
    return std::make_unique<TLSSession>(ssl, *this);
}

std::string TLSContext::userFor(std::string const& commonName) const {
    auto it = _users.find(commonName);
    return it == _users.end() ? commonName : it->second;
}

TLSSession::TLSSession(ssl_st* ssl, TLSContext const& context) : _ssl(ssl), _context(context) {}

TLSSession::~TLSSession() {
    SSL_free(_ssl);
}

TLSSession::Step TLSSession::handshake() {
    ERR_clear_error();
    int const r = SSL_do_handshake(_ssl);
    if (r == 1) {
        X509* peer = SSL_get0_peer_certificate(_ssl);
        if (peer != nullptr && SSL_get_verify_result(_ssl) == X509_V_OK) {
            std::string const cn = commonName(peer);
            if (!cn.empty()) _user = _context.userFor(cn);
        }
        return Step::Done;
    }
    switch (SSL_get_error(_ssl, r)) {
        case SSL_ERROR_WANT_READ: return Step::WantRead;
        case SSL_ERROR_WANT_WRITE: return Step::WantWrite;
        case SSL_ERROR_SYSCALL:
            _failure = errno != 0 ? std::string("connection failed: ") + std::strerror(errno) : "connection closed";
            ERR_clear_error();
            return Step::Failed;
        default:
            _failure = lastError("handshake failed");
            return Step::Failed;
    }
}

std::string TLSSession::protocol() const {
    return SSL_get_version(_ssl);
}

ssize_t TLSSession::failed(int result, bool reading) {
    int const error = SSL_get_error(_ssl, result);
    if (error == SSL_ERROR_WANT_READ || error == SSL_ERROR_WANT_WRITE) {
        _wantsWrite = error == SSL_ERROR_WANT_WRITE;
        errno = EAGAIN;
        return -1;
    }
    if (error == SSL_ERROR_ZERO_RETURN) {
        ERR_clear_error();
        if (reading) return 0;
        errno = EPIPE;
        return -1;
    }
    _failure = lastError(error == SSL_ERROR_SYSCALL ? "connection failed" : "TLS failure");
    if (reading) return 0;  // a broken connection reads as ended
    errno = EPIPE;
    return -1;
}

ssize_t TLSSession::recv(char* dst, std::size_t max) {
    if (max == 0) return 0;
    ERR_clear_error();
    int const n = SSL_read(_ssl, dst, static_cast<int>(std::min<std::size_t>(max, 1 << 30)));
    if (n > 0) return n;
    return failed(n, true);
}

ssize_t TLSSession::send(char const* src, std::size_t n) {
    while (!_owed.empty()) {
        ERR_clear_error();
        int const r = SSL_write(_ssl, _owed.data(), static_cast<int>(_owed.size()));
        if (r <= 0) return failed(r, false);
        _owed.erase(0, static_cast<std::size_t>(r));
    }
    if (n == 0) return 0;
    ERR_clear_error();
    int const r = SSL_write(_ssl, src, static_cast<int>(std::min<std::size_t>(n, 1 << 30)));
    if (r > 0) return r;
    return failed(r, false);
}

void TLSSession::sendEventually(char const* src, std::size_t n) {
    if (!_owed.empty()) {
        _owed.append(src, n);
        return;
    }
    while (n > 0) {
        ERR_clear_error();
        int const r = SSL_write(_ssl, src, static_cast<int>(n));
        if (r <= 0) {
            // OpenSSL keeps the record it began; the retry must offer the
            // same bytes, which _owed holds.
            failed(r, false);
            _owed.assign(src, n);
            return;
        }
        src += r;
        n -= static_cast<std::size_t>(r);
    }
}

bool TLSSession::pending() const {
    return SSL_pending(_ssl) > 0 || SSL_has_pending(_ssl) == 1;
}

void TLSSession::closeNotify() {
    if (!_owed.empty()) return;
    ERR_clear_error();
    if (SSL_is_init_finished(_ssl)) SSL_shutdown(_ssl);
    ERR_clear_error();
}

}  // namespace refserver
