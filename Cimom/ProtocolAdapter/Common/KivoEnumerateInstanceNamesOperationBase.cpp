#include "Cimom/ProtocolAdapter/Common/KivoEnumerateInstanceNamesOperationBase.h"

KivoEnumerateInstanceNamesOperationBase::KivoEnumerateInstanceNamesOperationBase(
    IKivoOperationHandlerContext* opHandlerContext, unsigned int bounds)
    : KivoMultiResponseOperationBase<KVOSmrPtr<IKivoInstanceName> >(opHandlerContext, bounds) {
    setOperationName("EnumerateInstanceNames");
}

KivoEnumerateInstanceNamesOperationBase::~KivoEnumerateInstanceNamesOperationBase() = default;

void KivoEnumerateInstanceNamesOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleEnumerateInstanceNames);
}
