#include "Cimom/ProtocolAdapter/Common/KivoDeleteInstanceOperationBase.h"

#include <utility>

KivoDeleteInstanceOperationBase::KivoDeleteInstanceOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : KivoOperationBase(opHandlerContext) {
    setOperationName("DeleteInstance");
}

KivoDeleteInstanceOperationBase::~KivoDeleteInstanceOperationBase() = default;

KVOSmrPtr<IKivoInstanceName> KivoDeleteInstanceOperationBase::getInstanceName() const { return instanceName; }
void KivoDeleteInstanceOperationBase::setInstanceName(KVOSmrPtr<IKivoInstanceName> value) {
    instanceName = std::move(value);
}

void KivoDeleteInstanceOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleDeleteInstance);
}
