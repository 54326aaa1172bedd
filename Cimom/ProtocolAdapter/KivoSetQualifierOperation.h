// The SetQualifier operation as the object manager's handler sees it: the
// qualifier declaration to create or replace in the operation's namespace.
//
// Implemented by KivoSetQualifierOperationBase; the handler receives it in
// handleSetQualifier. The operation has no result besides its status. The
// adapter sets the parameter before processing and the handler only reads it;
// nothing is locked.
#pragma once

#include "Cimom/ProtocolAdapter/KivoOperation.h"
#include "KivoUtilities/IQualifierDef.h"

class IKivoSetQualifierOperation : public virtual IKivoOperation {
public:
    // The QualifierDeclaration parameter, shared with the operation; null
    // until the adapter sets it. Unlike GetQualifier's result, which the
    // object manager owns, the declaration comes from the request: it is
    // shared, so a handler may keep it (declarations are immutable).
    virtual KVOSmrPtr<qora::IQualifierDef> getQualifierDef() const = 0;
    ~IKivoSetQualifierOperation() override = default;
};
