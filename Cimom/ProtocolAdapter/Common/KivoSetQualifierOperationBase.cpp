#include "Cimom/ProtocolAdapter/Common/KivoSetQualifierOperationBase.h"

#include <utility>

KivoSetQualifierOperationBase::KivoSetQualifierOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : KivoOperationBase(opHandlerContext) {
    setOperationName("SetQualifier");
}

KivoSetQualifierOperationBase::~KivoSetQualifierOperationBase() = default;

KVOSmrPtr<qora::IQualifierDef> KivoSetQualifierOperationBase::getQualifierDef() const { return _qualifierDef; }
void KivoSetQualifierOperationBase::setQualifierDef(KVOSmrPtr<qora::IQualifierDef> def) {
    _qualifierDef = std::move(def);
}

void KivoSetQualifierOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleSetQualifier);
}
