#include "Cimom/ProtocolAdapter/Common/OpenReferenceInstancesOperationBase.h"

#include "KivoUtilities/KVOCIMStrings.h"

OpenReferenceInstancesOperationBase::OpenReferenceInstancesOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : PulledEnumOpenOperationBase(KVOString(), KVOString(), OPERATION_TIMEOUT_ABSENT, false),
      KivoReferencesOperationBase(opHandlerContext, 0) {
    setOperationName(KVOCIMStrings::OPEN_REFERENCE_INSTANCES);
    setClassOrigin(false);
    setEndOfSequence(false);
    setEnumerationContext(KVOString());
    setFilterQueryLanguage(KVOString());
    setFilterQuery(KVOString());
}

OpenReferenceInstancesOperationBase::~OpenReferenceInstancesOperationBase() = default;

void OpenReferenceInstancesOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleOpenReferenceInstances);
}
