// The GetProperty operation as the object manager's handler sees it: the
// instance and property to read, and the slot for the property's value.
//
// Implemented by KivoGetPropertyOperationBase; the handler receives it in
// handleGetProperty. The handler stores the result before its entry returns, on
// the adapter's thread; nothing is locked.
#pragma once

#include "Cimom/ProtocolAdapter/KivoOperation.h"
#include "KivoUtilities/IKivoInstanceName.h"
#include "KivoUtilities/IKivoValue.h"

class IKivoGetPropertyOperation : public virtual IKivoOperation {
public:
    // The InstanceName parameter: the path of the instance whose property is
    // read; null until the adapter sets it.
    virtual KVOSmrPtr<IKivoInstanceName> getInstanceName() const = 0;
    // The PropertyName parameter.
    virtual KVOString getPropertyName() const = 0;
    // Stores the property's value, sharing it. May be called again: the adapter
    // writes the value stored last, and a null value if none was stored.
    virtual void setPropertyValue(KVOSmrPtr<IKivoValue> propertyValue) = 0;
    ~IKivoGetPropertyOperation() override = default;
};
