// The base class of InvokeMethod operations: it stores the target instance, the
// input and output parameters and the return value, and routes the operation to
// the handler's handleInvokeMethod.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// The adapter sets the method name with setOperationName (there is no field of
// its own for it), the target with setInstanceName and the input parameters
// with setInputParameters, then calls process; writeResponse reads the results
// with getOutputParameters and getReturn. Lists and values are shared, never
// copied. No locks: parameters are written before process and the results by
// the handler before handleInvokeMethod returns, all on the adapter's thread.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoInvokeMethodOperation.h"

class KivoInvokeMethodOperationBase : public IKivoInvokeMethodOperation, public KivoOperationBase {
public:
    // All four fields start null; the operation name is left empty.
    explicit KivoInvokeMethodOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    ~KivoInvokeMethodOperationBase() override;

    // getOperationName(), called virtually: an override in a derived class is
    // honoured.
    KVOString getMethodName() const override;
    KVOSmrPtr<IKivoInstanceName> getInstanceName() const override;
    KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoActualParameter> > > getInputParameters() const override;
    void setOutputParameters(KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoActualParameter> > > outputParameters) override;
    void setReturn(KVOSmrPtr<IKivoValue> returnValue) override;

    virtual void setInstanceName(KVOSmrPtr<IKivoInstanceName> name);
    virtual void setInputParameters(KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoActualParameter> > > parms);
    virtual KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoActualParameter> > > getOutputParameters() const;
    virtual KVOSmrPtr<IKivoValue> getReturn() const;

protected:
    // handleInvokeMethod, through callHandlerEntry.
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

    KVOSmrPtr<IKivoValue> _returnValue;                                       // written by the handler
    KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoActualParameter> > > _outputParms;   // written by the handler
    KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoActualParameter> > > _inputParms;    // written by the adapter
    KVOSmrPtr<IKivoInstanceName> _instanceName;                               // written by the adapter

private:
    KivoInvokeMethodOperationBase(KivoInvokeMethodOperationBase const&);
    KivoInvokeMethodOperationBase& operator=(KivoInvokeMethodOperationBase const&);
};
