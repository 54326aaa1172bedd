#include "Cimom/ProtocolAdapter/Common/CloseEnumerationOperationBase.h"

#include "KivoUtilities/KVOCIMStrings.h"

CloseEnumerationOperationBase::CloseEnumerationOperationBase(IKivoOperationHandlerContext* opHandlerContext,
                                                             KVOString const& sessionContext)
    : KivoOperationBase(opHandlerContext), EnumerationContextOperationBase() {
    setOperationName(KVOCIMStrings::CLOSEENUMERATION);
    setEnumerationContext(sessionContext);
}

CloseEnumerationOperationBase::~CloseEnumerationOperationBase() = default;

void CloseEnumerationOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleCloseEnumeration);
}
