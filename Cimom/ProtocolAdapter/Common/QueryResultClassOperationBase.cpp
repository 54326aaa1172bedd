#include "Cimom/ProtocolAdapter/Common/QueryResultClassOperationBase.h"

QueryResultClassOperationBase::QueryResultClassOperationBase() : queryResultClass() {}
QueryResultClassOperationBase::~QueryResultClassOperationBase() = default;

KVOSmrPtr<IKivoClass> QueryResultClassOperationBase::getQueryResultClass() const { return queryResultClass; }
void QueryResultClassOperationBase::setQueryResultClass(KVOSmrPtr<IKivoClass> const& value) {
    queryResultClass = value;
}
