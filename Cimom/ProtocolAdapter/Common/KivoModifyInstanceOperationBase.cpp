#include "Cimom/ProtocolAdapter/Common/KivoModifyInstanceOperationBase.h"

#include <utility>

KivoModifyInstanceOperationBase::KivoModifyInstanceOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : KivoOperationBase(opHandlerContext) {
    setOperationName("ModifyInstance");
}

KivoModifyInstanceOperationBase::~KivoModifyInstanceOperationBase() = default;

KVOSmrPtr<IKivoInstanceName> KivoModifyInstanceOperationBase::getInstanceName() const { return instanceName; }
KVOSmrPtr<IKivoObject> KivoModifyInstanceOperationBase::getInstance() const { return instance; }
void KivoModifyInstanceOperationBase::setInstance(KVOSmrPtr<IKivoObject> value) { instance = std::move(value); }
void KivoModifyInstanceOperationBase::setInstanceName(KVOSmrPtr<IKivoInstanceName> value) {
    instanceName = std::move(value);
}

void KivoModifyInstanceOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleModifyInstance);
}
