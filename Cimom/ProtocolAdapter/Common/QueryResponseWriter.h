// One registered producer handle on a query response collection: the object
// behind every IQueryResponse that the query operation (getResponse) or the
// collection (getWriter) hands out.
//
// Construction registers the writer with the collection; only destruction
// unregisters it (Close does nothing), so a closed writer still adds rows and
// the collection completes once every writer is destroyed after completion
// was allowed. A writer made on an owning pointer (the operation's) keeps the
// collection alive; one made by getWriter does not, and once the collection
// is gone its operations raise the smart pointer's null-pointer error.
//
// Threading: a writer belongs to one producer thread at a time; all shared
// state is in the collection.
#pragma once

#include "Cimom/ProtocolAdapter/Common/IQueryResponse.h"
#include "Cimom/ProtocolAdapter/Common/QueryResponseCollection.h"

namespace qora {

class QueryResponseWriter : public IQueryResponse {
public:
    // Registers with `coll`. On a complete collection registration raises the
    // row collection's "Writers may be registered only while collection is
    // incomplete." and no writer exists.
    explicit QueryResponseWriter(KVOSmrPtr<QueryResponseCollection> const& coll);

    // Does nothing: the writer unregisters when it is destroyed.
    void Close() override;
    // Unregisters (skipped when the collection is already gone; an error of
    // the collection is swallowed, a destructor does not throw), then releases
    // the collection.
    ~QueryResponseWriter() override;
    // See IQueryResponse; forward to the collection.
    bool add(QueryRow row, bool throwOnAbort) override;
    void setErrorCode(int errorCode) override;
    KVOSmrPtr<KVOValSlist<KVOString>> getColumnNames() const override;

private:
    QueryResponseWriter(QueryResponseWriter const&);
    QueryResponseWriter& operator=(QueryResponseWriter const&);

    KVOSmrPtr<QueryResponseCollection> collection;
};

}  // namespace qora
