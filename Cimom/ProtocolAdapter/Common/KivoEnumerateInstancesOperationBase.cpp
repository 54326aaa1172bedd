#include "Cimom/ProtocolAdapter/Common/KivoEnumerateInstancesOperationBase.h"

KivoEnumerateInstancesOperationBase::KivoEnumerateInstancesOperationBase(IKivoOperationHandlerContext* opHandlerContext,
                                                                         unsigned int bounds)
    : KivoMultiResponseOperationBase<KVOSmrPtr<IKivoObject> >(opHandlerContext, bounds) {
    setOperationName("EnumerateInstances");
    setDeepInheritance(true);
    setClassOrigin(false);
}

KivoEnumerateInstancesOperationBase::~KivoEnumerateInstancesOperationBase() = default;

void KivoEnumerateInstancesOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleEnumerateInstances);
}
