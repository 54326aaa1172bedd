#include "Cimom/ProtocolAdapter/Common/PullInstancePathsOperationBase.h"

#include "KivoUtilities/KVOCIMStrings.h"

PullInstancePathsOperationBase::PullInstancePathsOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : PullOperationBase(), KivoMultiResponseOperationBase<KVOSmrPtr<IKivoInstanceName> >(opHandlerContext, 0) {
    setOperationName(KVOCIMStrings::PULL_INSTANCE_PATHS);
}

PullInstancePathsOperationBase::~PullInstancePathsOperationBase() = default;

void PullInstancePathsOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handlePullInstancePaths);
}
