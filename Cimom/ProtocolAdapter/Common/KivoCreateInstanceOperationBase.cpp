#include "Cimom/ProtocolAdapter/Common/KivoCreateInstanceOperationBase.h"

#include <utility>

KivoCreateInstanceOperationBase::KivoCreateInstanceOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : KivoOperationBase(opHandlerContext) {
    setOperationName("CreateInstance");
}

KivoCreateInstanceOperationBase::~KivoCreateInstanceOperationBase() = default;

KVOSmrPtr<IKivoObject> KivoCreateInstanceOperationBase::getInstance() const { return instance; }
void KivoCreateInstanceOperationBase::setInstance(KVOSmrPtr<IKivoObject> value) { instance = std::move(value); }
KVOSmrPtr<IKivoInstanceName> KivoCreateInstanceOperationBase::getInstanceName() const { return instanceName; }
void KivoCreateInstanceOperationBase::setInstanceName(KVOSmrPtr<IKivoInstanceName> value) {
    instanceName = std::move(value);
}

void KivoCreateInstanceOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleCreateInstance);
}
