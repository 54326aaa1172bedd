#include "Cimom/ProtocolAdapter/Common/KivoEnumerateClassesOperationBase.h"

KivoEnumerateClassesOperationBase::KivoEnumerateClassesOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : KivoMultiResponseOperationBase<KVOSmrPtr<IKivoClass> >(opHandlerContext, 0) {
    setOperationName("EnumerateClasses");
    setDeepInheritance(false);
    setLocalOnly(true);
    setIncludeQualifiers(true);
    setClassOrigin(false);
}

KivoEnumerateClassesOperationBase::~KivoEnumerateClassesOperationBase() = default;

void KivoEnumerateClassesOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleEnumerateClasses);
}
