// The security token of an authenticated principal, as the CIM-XML adapter
// hands it to the object manager with every operation of the principal's
// requests. The HTTP front end authenticates (server/http/AuthGate.h); the
// adapter wraps the user name it admitted. Immutable: shared by any threads.
#pragma once

#include "Cimom/ProtocolAdapter/SecurityToken.h"

#include <string>
#include <utility>

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

}  // namespace cimxmlpa
