#include "Cimom/ProtocolAdapter/Common/KivoDeleteClassOperationBase.h"

KivoDeleteClassOperationBase::KivoDeleteClassOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : KivoOperationBase(opHandlerContext) {
    setOperationName("DeleteClass");
}

KivoDeleteClassOperationBase::~KivoDeleteClassOperationBase() = default;

void KivoDeleteClassOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleDeleteClass);
}
