#include "Cimom/ProtocolAdapter/Common/KivoAssociatorsOperationBase.h"

KivoAssociatorsOperationBase::KivoAssociatorsOperationBase(IKivoOperationHandlerContext* opHandlerContext,
                                                           unsigned int bounds)
    : KivoMultiResponseOperationBase<KVOSmrPtr<IKivoValue> >(opHandlerContext, bounds) {
    setOperationName("Associators");
    setClassOrigin(false);
}

KivoAssociatorsOperationBase::~KivoAssociatorsOperationBase() = default;

void KivoAssociatorsOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleAssociators);
}
