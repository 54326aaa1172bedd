// The DeleteQualifier operation as the object manager's handler sees it: the
// name of the qualifier declaration to delete from the operation's namespace.
//
// Implemented by KivoDeleteQualifierOperationBase; the handler receives it in
// handleDeleteQualifier. The operation has no result besides its status. The
// adapter sets the parameter before processing and the handler only reads it;
// nothing is locked.
#pragma once

#include "Cimom/ProtocolAdapter/KivoOperation.h"

class IKivoDeleteQualifierOperation : public virtual IKivoOperation {
public:
    // The QualifierName parameter.
    virtual KVOString getQualifierName() const = 0;
    ~IKivoDeleteQualifierOperation() override = default;
};
