#include "Cimom/ProtocolAdapter/Common/OpenAssociatorInstancesOperationBase.h"

#include "KivoUtilities/KVOCIMStrings.h"

OpenAssociatorInstancesOperationBase::OpenAssociatorInstancesOperationBase(
    IKivoOperationHandlerContext* opHandlerContext)
    : PulledEnumOpenOperationBase(KVOString(), KVOString(), OPERATION_TIMEOUT_ABSENT, false),
      KivoAssociatorsOperationBase(opHandlerContext, 0) {
    setOperationName(KVOCIMStrings::OPEN_ASSOCIATOR_INSTANCES);
}

OpenAssociatorInstancesOperationBase::~OpenAssociatorInstancesOperationBase() = default;

void OpenAssociatorInstancesOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleOpenAssociatorInstances);
}
