// HTTP Basic authentication (RFC 7617) of the CIM-XML adapter: the table of
// users and passwords the server was configured with, the check of a
// request's Authorization field against it, and the security token that
// names the authenticated user to the object manager.
//
// The adapter asks check() once per request, before the request's body is
// taken and before any operation exists; a request that does not pass is
// answered 401 with challenge() in WWW-Authenticate. Only the "Basic" scheme
// (case ignored) is accepted, with strict base64 (the standard alphabet,
// padded to a multiple of four) holding "user:password"; the user is what
// precedes the first colon. Anything else, including a field too long to be
// a credential, fails without raising. Passwords are compared in time that
// depends only on the length of the password offered, and a user that does
// not exist costs the same comparison as one that does, so the answer's
// timing tells neither a stored password nor whether a user exists.
//
// The HTTP front end's gate (server/http/AuthGate.h) makes the same check
// on the event-loop thread before a request takes a thread, and adds what a
// per-request check on an adapter thread cannot: delays that grow with
// failures, closing, and failure logging once per burst. Once the front end
// admits requests through it, the adapter needs only UserToken from here.
//
// Immutable once built: check() may be called from every adapter thread at
// once.
#pragma once

#include "Cimom/ProtocolAdapter/SecurityToken.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace cimxmlpa {

// The token of a principal, carried by every operation of its request
// (KivoOperationBase::setAuthorization).
class UserToken final : public qora::security::ISecurityToken {
public:
    explicit UserToken(std::string userName) : _userName(std::move(userName)) {}
    KVOString getUserName() const override { return KVOString(_userName); }

private:
    std::string const _userName;
};

class BasicAuthenticator {
public:
    // Longest Authorization value looked at; longer ones fail.
    static constexpr std::size_t MAX_CREDENTIALS_LENGTH = 4096;

    // `users`: user name -> password. `realm` is quoted in the challenge, so
    // it must not hold a double quote, a backslash or a control character
    // (std::invalid_argument otherwise).
    BasicAuthenticator(std::map<std::string, std::string> users, std::string realm);

    // The user whose name and password the value of an Authorization field
    // gives, or nothing: no field (null), another scheme, malformed base64,
    // no colon, an unknown user or a wrong password.
    std::optional<std::string> check(std::string const* authorization) const;

    // The value of WWW-Authenticate in a 401 answer: Basic realm="...".
    std::string challenge() const;

private:
    std::map<std::string, std::string> const _users;
    std::string const _realm;
};

namespace auth {

// Decodes padded base64 of the standard alphabet; nothing when `text` is
// not exactly that (wrong length, a byte outside the alphabet, padding
// anywhere but at the end).
std::optional<std::string> decodeBase64(std::string_view text);

// True when `offered` and `expected` are equal; the time taken depends on
// the length of `offered` only, not on the contents or length of `expected`.
bool constantTimeEquals(std::string_view offered, std::string_view expected);

}  // namespace auth

}  // namespace cimxmlpa
