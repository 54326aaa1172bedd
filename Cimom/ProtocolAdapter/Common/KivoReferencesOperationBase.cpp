#include "Cimom/ProtocolAdapter/Common/KivoReferencesOperationBase.h"

KivoReferencesOperationBase::KivoReferencesOperationBase(IKivoOperationHandlerContext* opHandlerContext,
                                                         unsigned int bounds)
    : KivoMultiResponseOperationBase<KVOSmrPtr<IKivoValue> >(opHandlerContext, bounds) {
    setOperationName("References");
    setClassOrigin(false);
}

KivoReferencesOperationBase::~KivoReferencesOperationBase() = default;

void KivoReferencesOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleReferences);
}
