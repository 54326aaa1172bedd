// The base class of the query result class facet: it stores the class that
// describes a query's result, null until set.
//
// OpenQueryInstancesOperationBase derives from it. setQueryResultClass is
// offered here only: the library itself never calls it, and a handler that
// holds nothing but the operation's interface cannot reach it; whoever holds
// the operation base (the adapter, or a handler that knows it) stores the
// class. Its field is private; copying is not restricted. Not locked.
#pragma once

#include "Cimom/ProtocolAdapter/QueryResultClass.h"

class QueryResultClassOperationBase : public virtual IQueryResultClass {
public:
    QueryResultClassOperationBase();
    KVOSmrPtr<IKivoClass> getQueryResultClass() const override;
    ~QueryResultClassOperationBase() override;
    // Releases the stored class and shares queryResultClass (null accepted).
    virtual void setQueryResultClass(KVOSmrPtr<IKivoClass> const& queryResultClass);

private:
    KVOSmrPtr<IKivoClass> queryResultClass;
};
