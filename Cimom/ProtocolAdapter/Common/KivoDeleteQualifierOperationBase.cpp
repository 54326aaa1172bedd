#include "Cimom/ProtocolAdapter/Common/KivoDeleteQualifierOperationBase.h"

#include <utility>

KivoDeleteQualifierOperationBase::KivoDeleteQualifierOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : KivoOperationBase(opHandlerContext) {
    setOperationName("DeleteQualifier");
}

KivoDeleteQualifierOperationBase::~KivoDeleteQualifierOperationBase() = default;

KVOString KivoDeleteQualifierOperationBase::getQualifierName() const { return _qualifierName; }
void KivoDeleteQualifierOperationBase::setQualifierName(KVOString name) { _qualifierName = std::move(name); }

void KivoDeleteQualifierOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleDeleteQualifier);
}
