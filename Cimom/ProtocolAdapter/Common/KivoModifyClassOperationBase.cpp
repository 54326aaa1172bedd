#include "Cimom/ProtocolAdapter/Common/KivoModifyClassOperationBase.h"

#include <utility>

KivoModifyClassOperationBase::KivoModifyClassOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : KivoOperationBase(opHandlerContext) {
    setOperationName("ModifyClass");
}

KivoModifyClassOperationBase::~KivoModifyClassOperationBase() = default;

KVOSmrPtr<IKivoClass> KivoModifyClassOperationBase::getClass() const { return cls; }
void KivoModifyClassOperationBase::setClass(KVOSmrPtr<IKivoClass> value) { cls = std::move(value); }

void KivoModifyClassOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleModifyClass);
}
