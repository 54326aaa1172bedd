#include "Cimom/ProtocolAdapter/Common/OpenQueryInstancesOperationBase.h"

#include "KivoUtilities/KVOCIMStrings.h"

OpenQueryInstancesOperationBase::OpenQueryInstancesOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : KivoMultiResponseOperationBase<KVOSmrPtr<IKivoObject> >(opHandlerContext, 0),
      PulledEnumOpenOperationBase(KVOString(), KVOString(), OPERATION_TIMEOUT_ABSENT, false),
      QueryResultClassOperationBase(),
      ReturnQueryResultClassOperationBase() {
    setOperationName(KVOCIMStrings::OPEN_QUERY_INSTANCES);
}

OpenQueryInstancesOperationBase::~OpenQueryInstancesOperationBase() = default;

void OpenQueryInstancesOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleOpenQueryInstances);
}
