// Who sent a request and over which connection: the object manager's handler
// reads it from every operation (IKivoOperation::getClientInfo).
//
// An interface without data; QORAClientInfo implements it.
#pragma once

#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"
#include "KivoUtilities/KVOValSlist.h"

class IQORAClientInfo {
public:
    virtual KVOString getPeerIPAddress() const = 0;
    virtual KVOString getLocalIPAddress() const = 0;
    // Ports are handed out as text.
    virtual KVOString getLocalPort() const = 0;
    virtual KVOString getPeerPort() const = 0;
    // Whether the client is connected over PPP.
    virtual bool isPPP() const = 0;
    // Whether the client is on the loopback interface.
    virtual bool isLoopback() const = 0;
    // Roles of the authenticated user; may be null.
    virtual KVOSmrPtr<KVOValSlist<KVOString> > getUserRoles() const = 0;
    virtual KVOString getUserName() const = 0;
    virtual ~IQORAClientInfo() = default;
};
