#include "Cimom/ProtocolAdapter/Common/PullInstancesOperationBase.h"

#include "KivoUtilities/KVOCIMStrings.h"

PullInstancesOperationBase::PullInstancesOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : PullOperationBase(), KivoMultiResponseOperationBase<KVOSmrPtr<IKivoObject> >(opHandlerContext, 0) {
    setOperationName(KVOCIMStrings::PULL_INSTANCES);
}

PullInstancesOperationBase::~PullInstancesOperationBase() = default;

void PullInstancesOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handlePullInstances);
}
