#include "Cimom/ProtocolAdapter/Common/KivoAssociatorNamesOperationBase.h"

KivoAssociatorNamesOperationBase::KivoAssociatorNamesOperationBase(IKivoOperationHandlerContext* opHandlerContext,
                                                                   unsigned int bounds)
    : KivoMultiResponseOperationBase<KVOSmrPtr<IKivoInstanceName> >(opHandlerContext, bounds) {
    setOperationName("AssociatorNames");
}

KivoAssociatorNamesOperationBase::~KivoAssociatorNamesOperationBase() = default;

void KivoAssociatorNamesOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleAssociatorNames);
}
