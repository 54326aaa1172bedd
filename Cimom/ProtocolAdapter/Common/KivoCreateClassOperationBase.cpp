#include "Cimom/ProtocolAdapter/Common/KivoCreateClassOperationBase.h"

#include <utility>

KivoCreateClassOperationBase::KivoCreateClassOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : KivoOperationBase(opHandlerContext) {
    setOperationName("CreateClass");
}

KivoCreateClassOperationBase::~KivoCreateClassOperationBase() = default;

KVOSmrPtr<IKivoClass> KivoCreateClassOperationBase::getClass() const { return cls; }
void KivoCreateClassOperationBase::setClass(KVOSmrPtr<IKivoClass> value) { cls = std::move(value); }

void KivoCreateClassOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleCreateClass);
}
