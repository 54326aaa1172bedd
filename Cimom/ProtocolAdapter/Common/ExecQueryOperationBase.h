// The base class of the ExecQuery operation: it carries a query and the name
// of its language, names the operation "ExecQuery" and hands it to the
// handler's handleExecQuery; the instances that answer the query stream
// through the collection of KivoMultiResponseOperationBase.
//
// A concrete adapter derives from it and supplies isValid and writeResponse;
// it stores the query with setFilterQuery, its language with
// setFilterQueryLanguage and, if it has one, a filter map with setFilterMap,
// calls process, and in writeResponse consumes the instances. Unlike the
// pull operations it has no enumeration context, end of sequence or maximum
// object count. It shares its operation name with KivoExecuteQueryOperationBase
// but has a handler entry of its own. Not copyable; the values are not
// locked. With `bounds` above 0 the handler's producers must run on threads
// other than the adapter's.
#pragma once

#include "Cimom/ProtocolAdapter/Common/FilterQueryLanguageOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/FilterQueryOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoMultiResponseOperationBase.h"
#include "Cimom/ProtocolAdapter/ExecQueryOperation.h"

class ExecQueryOperationBase : public IExecQueryOperation,
                               public FilterQueryLanguageOperationBase,
                               public FilterQueryOperationBase,
                               public KivoMultiResponseOperationBase<KVOSmrPtr<IKivoObject> > {
public:
    // Query and language start "", the filter map null. bounds: the capacity
    // of the result collection, 0 for none.
    ExecQueryOperationBase(IKivoOperationHandlerContext* opHandlerContext, KVOuint32 bounds);
    ~ExecQueryOperationBase() override;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    ExecQueryOperationBase(ExecQueryOperationBase const&);
    ExecQueryOperationBase& operator=(ExecQueryOperationBase const&);
};
