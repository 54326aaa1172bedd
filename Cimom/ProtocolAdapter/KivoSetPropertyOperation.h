// The SetProperty operation as the object manager's handler sees it: the
// instance and property to write and the value to write.
//
// Implemented by KivoSetPropertyOperationBase; the handler receives it in
// handleSetProperty. The operation has no result besides its status. The
// adapter sets the parameters before processing and the handler only reads
// them; nothing is locked.
#pragma once

#include "Cimom/ProtocolAdapter/KivoOperation.h"
#include "KivoUtilities/IKivoInstanceName.h"
#include "KivoUtilities/IKivoValue.h"

class IKivoSetPropertyOperation : public virtual IKivoOperation {
public:
    // The InstanceName parameter: the path of the instance whose property is
    // written; null until the adapter sets it.
    virtual KVOSmrPtr<IKivoInstanceName> getInstanceName() const = 0;
    // The PropertyName parameter.
    virtual KVOString getPropertyName() const = 0;
    // The NewValue parameter, shared with the operation; null when the request
    // carried none.
    virtual KVOSmrPtr<IKivoValue> getPropertyValue() = 0;
    ~IKivoSetPropertyOperation() override = default;
};
