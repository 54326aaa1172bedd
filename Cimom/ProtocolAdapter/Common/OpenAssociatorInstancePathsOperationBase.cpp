#include "Cimom/ProtocolAdapter/Common/OpenAssociatorInstancePathsOperationBase.h"

#include "KivoUtilities/KVOCIMStrings.h"

OpenAssociatorInstancePathsOperationBase::OpenAssociatorInstancePathsOperationBase(
    IKivoOperationHandlerContext* opHandlerContext)
    : PulledEnumOpenOperationBase(KVOString(), KVOString(), OPERATION_TIMEOUT_ABSENT, false),
      KivoAssociatorNamesOperationBase(opHandlerContext, 0) {
    setOperationName(KVOCIMStrings::OPEN_ASSOCIATOR_INSTANCE_PATHS);
}

OpenAssociatorInstancePathsOperationBase::~OpenAssociatorInstancePathsOperationBase() = default;

void OpenAssociatorInstancePathsOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleOpenAssociatorInstancePaths);
}
