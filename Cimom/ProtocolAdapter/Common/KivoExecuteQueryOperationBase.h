// The base class of ExecuteQuery operations: it stores the query and its
// language, owns the query response collection that carries the rows, their
// column names and the operation's status, and hands out writers on it.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// The handler has no entry for ExecuteQuery: callHandler converts the
// operation to its interface and calls nothing, so an adapter that serves
// ExecuteQuery supplies the rows itself (for example in its own override of
// callHandler, through IKivoExecuteQueryOperation). It also drives the
// collection's consumer side through `response`: allowComplete once the
// producers hold their writers, then hasNext/next in writeResponse.
//
// Status: setErrorCode and getErrorCode are the collection's (first non-zero
// code wins, and it reads 0 once any row was accepted); the error slot of
// KivoOperationBase is left untouched by them. The error context
// (setErrorContext, getErrorContext) stays KivoOperationBase's: a context
// with a non-zero code is stored there and does not reach the collection.
//
// Threading: query and language are written before process, on the adapter's
// thread; rows, column names and status cross threads only through the
// collection.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/QueryResponseCollection.h"
#include "Cimom/ProtocolAdapter/KivoExecuteQueryOperation.h"

class KivoExecuteQueryOperationBase : public IKivoExecuteQueryOperation, public KivoOperationBase {
public:
    // Names the operation KVOCIMStrings::EXECUTEQUERY and creates an empty
    // row collection (newCollection(-1)).
    explicit KivoExecuteQueryOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    ~KivoExecuteQueryOperationBase() override;

    KVOString getQuery() const override;
    KVOString getQueryLanguage() const override;
    void setColumnNames(KVOSmrPtr<KVOValSlist<KVOString> > names) override;
    KVOSmrPtr<qora::IQueryResponse> getResponse() override;
    // The collection's setErrorCode.
    void setErrorCode(int errorCode) override;

    virtual void setQuery(KVOString query);
    virtual void setQueryLanguage(KVOString const& language);
    // The collection's column list (an empty list until set).
    virtual KVOSmrPtr<KVOValSlist<KVOString> > getColumnNames() const;
    // The collection's getErrorCode.
    int getErrorCode() const override;

protected:
    // Converts opBase to IKivoExecuteQueryOperation and calls nothing: the
    // handler has no entry for this operation.
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

    KVOString query;
    KVOString queryLanguage;
    // The rows, their column names and the status. Shared with the writers
    // from getResponse, so it outlives the operation while they exist.
    KVOSmrPtr<qora::QueryResponseCollection> response;

private:
    KivoExecuteQueryOperationBase(KivoExecuteQueryOperationBase const&);
    KivoExecuteQueryOperationBase& operator=(KivoExecuteQueryOperationBase const&);
};
