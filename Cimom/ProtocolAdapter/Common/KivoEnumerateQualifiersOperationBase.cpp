#include "Cimom/ProtocolAdapter/Common/KivoEnumerateQualifiersOperationBase.h"

#include <utility>

KivoEnumerateQualifiersOperationBase::KivoEnumerateQualifiersOperationBase(
    IKivoOperationHandlerContext* opHandlerContext)
    : KivoOperationBase(opHandlerContext) {
    setOperationName("EnumerateQualifiers");
}

KivoEnumerateQualifiersOperationBase::~KivoEnumerateQualifiersOperationBase() = default;

void KivoEnumerateQualifiersOperationBase::setQualifierList(KVOSmrPtr<QualifierList> qualList) {
    _qualifierList = std::move(qualList);
}

KVOSmrPtr<IKivoEnumerateQualifiersOperation::QualifierList> const
KivoEnumerateQualifiersOperationBase::getQualifierList() {
    return _qualifierList;
}

void KivoEnumerateQualifiersOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleEnumerateQualifiers);
}
