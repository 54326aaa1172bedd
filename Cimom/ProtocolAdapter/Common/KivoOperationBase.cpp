#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"

#include "Cimom/ProtocolAdapter/Common/AdapterUtils.h"
#include "CoreServices/CI_fmt.h"

#include <sstream>

namespace {

KVOString const kProcessWho("KivoOperationBase::process()");

}  // namespace

KivoOperationBase::KivoOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : _providerTimeout(0), operationHandlerContext(opHandlerContext) {}

KivoOperationBase::~KivoOperationBase() = default;

KVOString KivoOperationBase::getNameSpace() const { return nameSpace; }
KVOString KivoOperationBase::getClassName() const { return className; }
KVOString KivoOperationBase::getOperationName() const { return operationName; }
KVOSmrPtr<qora::security::ISecurityToken> KivoOperationBase::getAuthorization() const { return authorization; }
KVOSmrPtr<IKivoOperationContext> KivoOperationBase::getContext() const { return operationContext; }
KVOSmrPtr<IQORAClientInfo> KivoOperationBase::getClientInfo() const { return _clientInfo; }
KVOSmrPtr<KivoBaseException> KivoOperationBase::getErrorContext() const { return exceptionPtr; }
KVOsint32 KivoOperationBase::getProviderTimeout() const { return static_cast<KVOsint32>(_providerTimeout); }

void KivoOperationBase::setContext(KVOSmrPtr<IKivoOperationContext> context) { operationContext = std::move(context); }
void KivoOperationBase::setNameSpace(KVOString const& ns) { nameSpace = ns; }
void KivoOperationBase::setClassName(KVOString const& name) { className = name; }
void KivoOperationBase::setAuthorization(KVOSmrPtr<qora::security::ISecurityToken> auth) {
    authorization = std::move(auth);
}
void KivoOperationBase::setOperationName(KVOString const& name) { operationName = name; }
void KivoOperationBase::setClientInfo(KVOSmrPtr<IQORAClientInfo> const& info) { _clientInfo = info; }
void KivoOperationBase::setProviderTimeout(KVOsint32 timeout) { _providerTimeout = static_cast<KVOuint32>(timeout); }

int KivoOperationBase::getErrorCode() const { return exceptionPtr ? exceptionPtr->getCode() : 0; }

void KivoOperationBase::setErrorContext(KivoBaseException const& e) {
    exceptionPtr = KVOSmrPtr<KivoBaseException>(new KivoBaseException(e));
    if (exceptionPtr->getCode() == 0) setErrorCode(1);
}

void KivoOperationBase::setErrorCode(int errorCode) {
    if (exceptionPtr && errorCode != 0) {
        // Keep the texts; only the code changes.
        setErrorContext(KivoBaseException(exceptionPtr->getType(), exceptionPtr->getWhere(), exceptionPtr->getWho(),
                                          exceptionPtr->getMessage(), errorCode));
    } else {
        setErrorContext(KivoBaseException("", "", "", "", errorCode));
    }
}

void KivoOperationBase::signalProcessCompletion() {}

bool KivoOperationBase::waitForProcessCompletion(KVOuint32 seconds) {
    return _processingComplete.wait(CI_RelTime(static_cast<KVOsint32>(seconds), 0)) != 0;
}

void KivoOperationBase::process(KVOGenericHTTPOStream& ostr, KVOSmrPtr<KivoOperationBase> const& op) {
    KVOString const opName = getOperationName();
    std::ostringstream errorText;
    int errorCode = 0;

    try {
        AdapterUtils::log(kProcessWho, "Invoking OperationHandler for " + opName, KivoTraceLog::KIVO_TRACE);
        if (getOperationHandlerContext() != nullptr && isValid()) callHandler(op);
        KVOString const status(CI_fmt(getErrorCode(), 0, 314159265, 314159265));
        AdapterUtils::log(kProcessWho, "OperationHandler returned normally for " + opName + " with status " + status,
                          KivoTraceLog::KIVO_TRACE);
    } catch (KivoBaseException const& e) {
        errorCode = e.getCode();
        errorText << "OperationHandler threw " << e.getType() << " for " << opName << ".  Code: " << e.getCode()
                  << "; Msg: " << e.getMessage();
        if (errorCode == 0) errorCode = 1;
    } catch (...) {
        errorText << "OperationHandler threw unknown exception for " << getOperationName();
        errorCode = 1;
    }

    if (errorCode != 0) {
        setErrorCode(errorCode);
        AdapterUtils::log(kProcessWho, KVOString(errorText.str()), KivoTraceLog::KIVO_ERROR);
    }

    writeResponse(ostr);
    signalProcessCompletion();
    AdapterUtils::log(kProcessWho, "writeResponse() returned normally for " + opName, KivoTraceLog::KIVO_TRACE);
}
