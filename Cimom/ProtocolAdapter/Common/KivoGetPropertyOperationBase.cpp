#include "Cimom/ProtocolAdapter/Common/KivoGetPropertyOperationBase.h"

#include <utility>

KivoGetPropertyOperationBase::KivoGetPropertyOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : KivoOperationBase(opHandlerContext) {
    setOperationName("GetProperty");
}

KivoGetPropertyOperationBase::~KivoGetPropertyOperationBase() = default;

KVOSmrPtr<IKivoInstanceName> KivoGetPropertyOperationBase::getInstanceName() const { return instanceName; }
KVOString KivoGetPropertyOperationBase::getPropertyName() const { return propertyName; }
KVOSmrPtr<IKivoValue> KivoGetPropertyOperationBase::getPropertyValue() { return propertyValue; }

void KivoGetPropertyOperationBase::setInstanceName(KVOSmrPtr<IKivoInstanceName> value) {
    instanceName = std::move(value);
}
void KivoGetPropertyOperationBase::setPropertyName(KVOString const& value) { propertyName = value; }
void KivoGetPropertyOperationBase::setPropertyValue(KVOSmrPtr<IKivoValue> value) { propertyValue = std::move(value); }

void KivoGetPropertyOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleGetProperty);
}
