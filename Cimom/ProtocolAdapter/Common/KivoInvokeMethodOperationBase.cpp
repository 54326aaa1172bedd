#include "Cimom/ProtocolAdapter/Common/KivoInvokeMethodOperationBase.h"

#include "KivoUtilities/KVOCIMUtils.h"

#include <utility>

KivoInvokeMethodOperationBase::KivoInvokeMethodOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : KivoOperationBase(opHandlerContext) {}

KivoInvokeMethodOperationBase::~KivoInvokeMethodOperationBase() = default;

KVOString KivoInvokeMethodOperationBase::getMethodName() const { return getOperationName(); }
KVOSmrPtr<IKivoInstanceName> KivoInvokeMethodOperationBase::getInstanceName() const { return _instanceName; }
KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoActualParameter> > > KivoInvokeMethodOperationBase::getInputParameters() const {
    return _inputParms;
}
KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoActualParameter> > > KivoInvokeMethodOperationBase::getOutputParameters() const {
    return _outputParms;
}
KVOSmrPtr<IKivoValue> KivoInvokeMethodOperationBase::getReturn() const { return _returnValue; }

void KivoInvokeMethodOperationBase::setOutputParameters(
    KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoActualParameter> > > outputParameters) {
    _outputParms = std::move(outputParameters);
}
void KivoInvokeMethodOperationBase::setReturn(KVOSmrPtr<IKivoValue> returnValue) { _returnValue = std::move(returnValue); }
void KivoInvokeMethodOperationBase::setInstanceName(KVOSmrPtr<IKivoInstanceName> name) { _instanceName = std::move(name); }
void KivoInvokeMethodOperationBase::setInputParameters(KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoActualParameter> > > parms) {
    _inputParms = std::move(parms);
}

void KivoInvokeMethodOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleInvokeMethod);
}
