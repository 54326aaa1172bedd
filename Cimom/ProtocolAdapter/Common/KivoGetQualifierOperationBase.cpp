#include "Cimom/ProtocolAdapter/Common/KivoGetQualifierOperationBase.h"

#include <utility>

KivoGetQualifierOperationBase::KivoGetQualifierOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : KivoOperationBase(opHandlerContext), _qualifierDef(nullptr) {
    setOperationName("GetQualifier");
}

KivoGetQualifierOperationBase::~KivoGetQualifierOperationBase() = default;

KVOString KivoGetQualifierOperationBase::getQualifierName() const { return _qualifierName; }
void KivoGetQualifierOperationBase::setQualifierName(KVOString name) { _qualifierName = std::move(name); }
const qora::IQualifierDef* KivoGetQualifierOperationBase::getQualifierDef() const { return _qualifierDef; }
void KivoGetQualifierOperationBase::setQualifierDef(const qora::IQualifierDef* def) { _qualifierDef = def; }

void KivoGetQualifierOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleGetQualifier);
}
