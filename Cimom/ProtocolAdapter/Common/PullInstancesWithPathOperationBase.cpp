#include "Cimom/ProtocolAdapter/Common/PullInstancesWithPathOperationBase.h"

#include "KivoUtilities/KVOCIMStrings.h"

PullInstancesWithPathOperationBase::PullInstancesWithPathOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : PullOperationBase(),
      KivoMultiResponseOperationBase<KVOSmrPtr<IKivoObject> >(opHandlerContext, 0),
      KivoPropertyListOperationBase(),
      KivoDeeplyInheritedOperationBase(),
      KivoClassOriginatedOperationBase() {
    setOperationName(KVOCIMStrings::PULL_INSTANCES_WITH_PATH);
}

PullInstancesWithPathOperationBase::~PullInstancesWithPathOperationBase() = default;

void PullInstancesWithPathOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handlePullInstancesWithPath);
}
