// The CreateInstance operation as the object manager's handler sees it: the
// instance to create and the slot for the path of the created instance.
//
// Implemented by KivoCreateInstanceOperationBase; the handler receives it in
// handleCreateInstance. The handler stores the result before its entry returns,
// on the adapter's thread; nothing is locked.
#pragma once

#include "Cimom/ProtocolAdapter/KivoOperation.h"
#include "KivoUtilities/IKivoInstanceName.h"
#include "KivoUtilities/IKivoObject.h"

class IKivoCreateInstanceOperation : public virtual IKivoOperation {
public:
    // The NewInstance parameter, shared with the operation; null until the
    // adapter sets it.
    virtual KVOSmrPtr<IKivoObject> getInstance() const = 0;
    // Stores the path of the created instance, sharing it. May be called again:
    // the adapter writes the path stored last, and a null path if none was
    // stored.
    virtual void setInstanceName(KVOSmrPtr<IKivoInstanceName> instanceName) = 0;
    ~IKivoCreateInstanceOperation() override = default;
};
