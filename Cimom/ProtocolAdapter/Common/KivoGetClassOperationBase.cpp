#include "Cimom/ProtocolAdapter/Common/KivoGetClassOperationBase.h"

#include <utility>

KivoGetClassOperationBase::KivoGetClassOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : KivoOperationBase(opHandlerContext) {
    setOperationName("GetClass");
    setLocalOnly(true);
    setIncludeQualifiers(true);
    setClassOrigin(false);
}

KivoGetClassOperationBase::~KivoGetClassOperationBase() = default;

void KivoGetClassOperationBase::setClass(KVOSmrPtr<IKivoClass> value) { cls = std::move(value); }
KVOSmrPtr<IKivoClass> KivoGetClassOperationBase::getClass() const { return cls; }

void KivoGetClassOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleGetClass);
}
