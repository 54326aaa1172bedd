// The GetQualifier operation as the object manager's handler sees it: the name
// of the qualifier declaration to get and the slot for the declaration found.
//
// Implemented by KivoGetQualifierOperationBase; the handler receives it in
// handleGetQualifier. The namespace is the operation's (IKivoOperation). The
// handler stores the result before its entry returns, on the adapter's thread;
// nothing is locked.
#pragma once

#include "Cimom/ProtocolAdapter/KivoOperation.h"
#include "KivoUtilities/IQualifierDef.h"

class IKivoGetQualifierOperation : public virtual IKivoOperation {
public:
    // The QualifierName parameter.
    virtual KVOString getQualifierName() const = 0;
    // Stores a pointer to the declaration found. The operation neither copies
    // nor frees it: the object manager keeps it valid until the response has
    // been written. May be called again; the adapter writes the declaration
    // stored last, or none if none was stored.
    virtual void setQualifierDef(const qora::IQualifierDef* def) = 0;
    ~IKivoGetQualifierOperation() override = default;
};
