#include "Cimom/ProtocolAdapter/Common/OpenEnumerateInstancePathsOperationBase.h"

#include "KivoUtilities/KVOCIMStrings.h"

OpenEnumerateInstancePathsOperationBase::OpenEnumerateInstancePathsOperationBase(
    IKivoOperationHandlerContext* opHandlerContext)
    : PulledEnumOpenOperationBase(KVOString(), KVOString(), OPERATION_TIMEOUT_ABSENT, false),
      KivoEnumerateInstanceNamesOperationBase(opHandlerContext, 0) {
    setOperationName(KVOCIMStrings::OPEN_ENUMERATE_INSTANCE_PATHS);
    setEnumerationContext(KVOString());
    setFilterQueryLanguage(KVOString());
    setFilterQuery(KVOString());
}

OpenEnumerateInstancePathsOperationBase::~OpenEnumerateInstancePathsOperationBase() = default;

void OpenEnumerateInstancePathsOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleOpenEnumerateInstancePaths);
}
