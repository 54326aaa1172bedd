// The root interface of every operation object: what the object manager's
// handler sees of any operation, whatever its kind.
//
// It carries the operation's name, target namespace and class, the requesting
// principal's authorization and client information, the error slot with the
// CIM status (0: success), and a completion handshake. An interface without
// data: KivoOperationBase implements it, and the operation interfaces derive
// from it virtually so that an operation object holds it once.
#pragma once

#include "Cimom/ProtocolAdapter/KivoOperationContext.h"
#include "Cimom/ProtocolAdapter/QORAClientInfo.h"
#include "Cimom/ProtocolAdapter/SecurityToken.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"
#include "KivoUtilities/KVOTypes.h"
#include "KivoUtilities/KivoBaseException.h"

class IKivoOperation {
public:
    virtual KVOString getNameSpace() const = 0;
    virtual KVOString getClassName() const = 0;
    // Sets the CIM status. Once an error is set it cannot be cleared: a
    // request for 0 records status 1 (failed).
    virtual void setErrorCode(int errorCode) = 0;
    // Sets the whole error (type, where, who, message, code); a code of 0 is
    // recorded as 1.
    virtual void setErrorContext(KivoBaseException const& e) = 0;
    virtual KVOSmrPtr<qora::security::ISecurityToken> getAuthorization() const = 0;
    virtual KVOSmrPtr<IKivoOperationContext> getContext() const = 0;
    virtual void setContext(KVOSmrPtr<IKivoOperationContext> context) = 0;
    virtual KVOString getOperationName() const = 0;
    virtual KVOSmrPtr<IQORAClientInfo> getClientInfo() const = 0;
    // Called by the processing driver once the response has been written.
    virtual void signalProcessCompletion() = 0;
    // Waits at most `seconds` for completion to be signalled (see the base
    // class for who signals it); true only when it was.
    virtual bool waitForProcessCompletion(KVOuint32 seconds) = 0;
    virtual ~IKivoOperation() = default;
    // The provider timeout the adapter recorded; the library gives it no meaning.
    virtual KVOsint32 getProviderTimeout() const = 0;
};
