// The DeleteInstance operation as the object manager's handler sees it: the
// path of the instance to delete.
//
// Implemented by KivoDeleteInstanceOperationBase; the handler receives it in
// handleDeleteInstance. The operation has no result besides its status. The
// adapter sets the parameter before processing and the handler only reads it;
// nothing is locked.
#pragma once

#include "Cimom/ProtocolAdapter/KivoOperation.h"
#include "KivoUtilities/IKivoInstanceName.h"

class IKivoDeleteInstanceOperation : public virtual IKivoOperation {
public:
    // The InstanceName parameter; null until the adapter sets it.
    virtual KVOSmrPtr<IKivoInstanceName> getInstanceName() const = 0;
    ~IKivoDeleteInstanceOperation() override = default;
};
