#include "Cimom/ProtocolAdapter/Common/KivoReferenceNamesOperationBase.h"

KivoReferenceNamesOperationBase::KivoReferenceNamesOperationBase(IKivoOperationHandlerContext* opHandlerContext,
                                                                 unsigned int bounds)
    : KivoMultiResponseOperationBase<KVOSmrPtr<IKivoInstanceName> >(opHandlerContext, bounds) {
    setOperationName("ReferenceNames");
}

KivoReferenceNamesOperationBase::~KivoReferenceNamesOperationBase() = default;

void KivoReferenceNamesOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleReferenceNames);
}
