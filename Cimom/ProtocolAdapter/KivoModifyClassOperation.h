// The ModifyClass operation as the object manager's handler sees it: the
// modified class, in the operation's namespace.
//
// Implemented by KivoModifyClassOperationBase; the handler receives it in
// handleModifyClass. The operation has no result besides its status. The
// adapter sets the parameter before processing and the handler only reads it;
// nothing is locked.
#pragma once

#include "Cimom/ProtocolAdapter/KivoOperation.h"
#include "KivoUtilities/IKivoClass.h"

class IKivoModifyClassOperation : public virtual IKivoOperation {
public:
    // The ModifiedClass parameter, shared with the operation; null until the
    // adapter sets it. A handler may keep it: the class is immutable.
    virtual KVOSmrPtr<IKivoClass> getClass() const = 0;
    ~IKivoModifyClassOperation() override = default;
};
