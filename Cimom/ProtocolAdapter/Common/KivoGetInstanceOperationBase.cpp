#include "Cimom/ProtocolAdapter/Common/KivoGetInstanceOperationBase.h"

#include <utility>

KivoGetInstanceOperationBase::KivoGetInstanceOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : KivoOperationBase(opHandlerContext) {
    setOperationName("GetInstance");
    setClassOrigin(false);
}

KivoGetInstanceOperationBase::~KivoGetInstanceOperationBase() = default;

KVOSmrPtr<IKivoInstanceName> KivoGetInstanceOperationBase::getName() const { return instanceName; }
void KivoGetInstanceOperationBase::setName(KVOSmrPtr<IKivoInstanceName> name) { instanceName = std::move(name); }
KVOSmrPtr<IKivoObject> KivoGetInstanceOperationBase::getInstance() const { return instance; }
void KivoGetInstanceOperationBase::setInstance(KVOSmrPtr<IKivoObject> value) { instance = std::move(value); }

void KivoGetInstanceOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleGetInstance);
}
