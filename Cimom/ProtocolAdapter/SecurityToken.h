// The object manager's token of an authenticated principal.
//
// The adapters' common layer only stores and hands it around; the object
// manager (or a reference server) defines what it holds. A token is shared
// through KVOSmrPtr and immutable once made.
#pragma once

#include "KivoUtilities/KVOString.h"

namespace qora::security {

class ISecurityToken {
public:
    virtual ~ISecurityToken() = default;
    // The authenticated user's name; empty for an anonymous principal.
    virtual KVOString getUserName() const = 0;
};

}  // namespace qora::security
