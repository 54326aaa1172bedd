#include "Cimom/ProtocolAdapter/Common/ExecQueryOperationBase.h"

#include "KivoUtilities/KVOCIMStrings.h"

ExecQueryOperationBase::ExecQueryOperationBase(IKivoOperationHandlerContext* opHandlerContext, KVOuint32 bounds)
    : FilterQueryLanguageOperationBase(KVOString()),
      FilterQueryOperationBase(KVOString()),
      KivoMultiResponseOperationBase<KVOSmrPtr<IKivoObject> >(opHandlerContext, bounds) {
    setOperationName(KVOCIMStrings::EXECUTEQUERY);
}

ExecQueryOperationBase::~ExecQueryOperationBase() = default;

void ExecQueryOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    callHandlerEntry(opBase, &IKivoOperationHandler::handleExecQuery);
}
