// An InvokeMethod request as the object manager's handler sees it: the call of
// an extrinsic method on a CIM instance, with input parameters, output
// parameters and a return value.
//
// Implemented by KivoInvokeMethodOperationBase and handed to
// IKivoOperationHandler::handleInvokeMethod. The handler reads the parameters
// and stores its results through this interface before the entry returns, on
// the adapter's thread; nothing here is synchronised.
#pragma once

#include "Cimom/ProtocolAdapter/KivoOperation.h"
#include "KivoUtilities/IKivoActualParameter.h"
#include "KivoUtilities/IKivoInstanceName.h"
#include "KivoUtilities/IKivoValue.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"
#include "KivoUtilities/KVOValSlist.h"

class IKivoInvokeMethodOperation : public virtual IKivoOperation {
public:
    // The name of the extrinsic method: the operation's name.
    virtual KVOString getMethodName() const = 0;
    // The instance on which the method is called (shared).
    virtual KVOSmrPtr<IKivoInstanceName> getInstanceName() const = 0;
    // The input parameters (the list is shared, not copied; null when none
    // were set).
    virtual KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoActualParameter> > > getInputParameters() const = 0;
    // Stores the output parameters (kept by reference, replacing any earlier list).
    virtual void setOutputParameters(KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoActualParameter> > > outputParameters) = 0;
    // Stores the method's return value (kept by reference).
    virtual void setReturn(KVOSmrPtr<IKivoValue> returnValue) = 0;
    ~IKivoInvokeMethodOperation() override = default;
};
