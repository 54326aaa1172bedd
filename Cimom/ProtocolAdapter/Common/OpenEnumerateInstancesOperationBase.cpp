#include "Cimom/ProtocolAdapter/Common/OpenEnumerateInstancesOperationBase.h"

#include "KivoUtilities/KVOCIMStrings.h"

OpenEnumerateInstancesOperationBase::OpenEnumerateInstancesOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : PulledEnumOpenOperationBase(KVOString(), KVOString(), OPERATION_TIMEOUT_ABSENT, false),
      KivoEnumerateInstancesOperationBase(opHandlerContext, 0) {
    setOperationName(KVOCIMStrings::OPENENUMERATEINSTANCES);
    setDeepInheritance(true);
    setClassOrigin(false);
    setEnumerationContext(KVOString());
    setFilterQueryLanguage(KVOString());
    setFilterQuery(KVOString());
}

OpenEnumerateInstancesOperationBase::~OpenEnumerateInstancesOperationBase() = default;

void OpenEnumerateInstancesOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleOpenEnumerateInstances);
}
