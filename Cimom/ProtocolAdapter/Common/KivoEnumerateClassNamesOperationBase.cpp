#include "Cimom/ProtocolAdapter/Common/KivoEnumerateClassNamesOperationBase.h"

KivoEnumerateClassNamesOperationBase::KivoEnumerateClassNamesOperationBase(
    IKivoOperationHandlerContext* opHandlerContext)
    : KivoMultiResponseOperationBase<KVOString>(opHandlerContext, 0) {
    setOperationName("EnumerateClassNames");
    setDeepInheritance(false);
}

KivoEnumerateClassNamesOperationBase::~KivoEnumerateClassNamesOperationBase() = default;

void KivoEnumerateClassNamesOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleEnumerateClassNames);
}
