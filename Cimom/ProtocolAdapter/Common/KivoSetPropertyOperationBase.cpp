#include "Cimom/ProtocolAdapter/Common/KivoSetPropertyOperationBase.h"

#include <utility>

KivoSetPropertyOperationBase::KivoSetPropertyOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : KivoOperationBase(opHandlerContext) {
    setOperationName("SetProperty");
}

KivoSetPropertyOperationBase::~KivoSetPropertyOperationBase() = default;

KVOSmrPtr<IKivoInstanceName> KivoSetPropertyOperationBase::getInstanceName() const { return instanceName; }
KVOString KivoSetPropertyOperationBase::getPropertyName() const { return propertyName; }
KVOSmrPtr<IKivoValue> KivoSetPropertyOperationBase::getPropertyValue() { return propertyValue; }

void KivoSetPropertyOperationBase::setInstanceName(KVOSmrPtr<IKivoInstanceName> value) {
    instanceName = std::move(value);
}
void KivoSetPropertyOperationBase::setPropertyName(KVOString const& value) { propertyName = value; }
void KivoSetPropertyOperationBase::setPropertyValue(KVOSmrPtr<IKivoValue> value) { propertyValue = std::move(value); }

void KivoSetPropertyOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleSetProperty);
}
