#include "Cimom/ProtocolAdapter/Common/OpenReferenceInstancePathsOperationBase.h"

#include "KivoUtilities/KVOCIMStrings.h"

OpenReferenceInstancePathsOperationBase::OpenReferenceInstancePathsOperationBase(
    IKivoOperationHandlerContext* opHandlerContext)
    : PulledEnumOpenOperationBase(KVOString(), KVOString(), OPERATION_TIMEOUT_ABSENT, false),
      KivoReferenceNamesOperationBase(opHandlerContext, 0) {
    setOperationName(KVOCIMStrings::OPEN_REFERENCE_INSTANCE_PATHS);
}

OpenReferenceInstancePathsOperationBase::~OpenReferenceInstancePathsOperationBase() = default;

void OpenReferenceInstancePathsOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleOpenReferenceInstancePaths);
}
