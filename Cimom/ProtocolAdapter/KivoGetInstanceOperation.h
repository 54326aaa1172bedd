// The GetInstance operation as the object manager's handler sees it: the path
// of the instance to get, its parameters, and the slot for the instance found.
//
// Implemented by KivoGetInstanceOperationBase; the handler receives it in
// handleGetInstance. IncludeClassOrigin and PropertyList come through the
// facets. The handler stores the result before its entry returns, on the
// adapter's thread; nothing is locked.
#pragma once

#include "Cimom/ProtocolAdapter/KivoClassOriginatedOperation.h"
#include "Cimom/ProtocolAdapter/KivoOperation.h"
#include "Cimom/ProtocolAdapter/KivoPropertyListOperation.h"
#include "KivoUtilities/IKivoInstanceName.h"
#include "KivoUtilities/IKivoObject.h"

class IKivoGetInstanceOperation : public virtual IKivoOperation,
                                  public virtual IKivoPropertyListOperation,
                                  public virtual IKivoClassOriginatedOperation {
public:
    // The InstanceName parameter: the path of the instance to get; null until
    // the adapter sets it.
    virtual KVOSmrPtr<IKivoInstanceName> getName() const = 0;
    // Stores the instance found, sharing it. May be called again: the adapter
    // writes the instance stored last, and a null instance if none was stored.
    virtual void setInstance(KVOSmrPtr<IKivoObject> instance) = 0;
    ~IKivoGetInstanceOperation() override = default;
};
