#include "Cimom/ProtocolAdapter/Common/KivoExecuteQueryOperationBase.h"

#include "Cimom/ProtocolAdapter/Common/QueryResponseWriter.h"
#include "KivoUtilities/KVOCIMStrings.h"
#include "KivoUtilities/KVOCIMUtils.h"

#include <utility>

KivoExecuteQueryOperationBase::KivoExecuteQueryOperationBase(IKivoOperationHandlerContext* opHandlerContext)
    : KivoOperationBase(opHandlerContext), response(qora::QueryResponseCollection::newCollection(-1)) {
    setOperationName(KVOCIMStrings::EXECUTEQUERY);
}

KivoExecuteQueryOperationBase::~KivoExecuteQueryOperationBase() = default;

KVOString KivoExecuteQueryOperationBase::getQuery() const { return query; }
KVOString KivoExecuteQueryOperationBase::getQueryLanguage() const { return queryLanguage; }
void KivoExecuteQueryOperationBase::setQuery(KVOString query) { this->query = std::move(query); }
void KivoExecuteQueryOperationBase::setQueryLanguage(KVOString const& language) { queryLanguage = language; }

void KivoExecuteQueryOperationBase::setColumnNames(KVOSmrPtr<KVOValSlist<KVOString> > names) {
    response->setColumnNames(std::move(names));
}
KVOSmrPtr<KVOValSlist<KVOString> > KivoExecuteQueryOperationBase::getColumnNames() const {
    return response->getColumnNames();
}
void KivoExecuteQueryOperationBase::setErrorCode(int errorCode) { response->setErrorCode(errorCode); }
int KivoExecuteQueryOperationBase::getErrorCode() const { return response->getErrorCode(); }

KVOSmrPtr<qora::IQueryResponse> KivoExecuteQueryOperationBase::getResponse() {
    return KVOSmrPtr<qora::IQueryResponse>(new qora::QueryResponseWriter(response));
}

void KivoExecuteQueryOperationBase::callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) {
    // The conversion every operation makes, released at once: there is no
    // handler entry to pass it to.
    static_cast<void>(asInterface<IKivoExecuteQueryOperation>(opBase));
}
