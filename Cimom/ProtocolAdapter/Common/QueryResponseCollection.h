// The rows of one query response under their column names: a row collection
// (MultiResponseCollection of QueryRow) that checks every row against the
// column names before queuing it.
//
// KivoExecuteQueryOperationBase owns one and hands QueryResponseWriters on it
// to the handler; the concrete adapter, which reaches it through the
// operation's `response`, calls allowComplete once the handler holds its
// writers and consumes the rows with hasNext and next (nothing in the library
// does either). Queuing, completion, error codes and the consumer side are the
// row collection's, with its rules and messages; this class adds the column
// names and the row check. The row collection receives no consumer-done
// signal in this use.
//
// Threading: all row traffic is synchronised by the row collection.
// `columnNames` is not guarded: set the column names before producers start
// adding rows; each row is checked against the list in force when it is added.
//
// Ownership: the collection lives as long as the owners returned by
// newCollection and their copies (the operation's `response`, the writers the
// operation makes). `_smartThis` is a second pointer to the collection with a
// count of its own; the writers made by getWriter hold copies of it and do not
// keep the collection alive. When the last owner goes, the destructor detaches
// `_smartThis`, so those writers then refer to no collection: release them
// before the last owner.
#pragma once

#include "Cimom/ProtocolAdapter/Common/IQueryResponse.h"
#include "Cimom/ProtocolAdapter/Common/MultiResponseCollection.h"

namespace qora {

class QueryResponseCollection {
public:
    // Creates a collection with an empty column list and returns its first
    // owner. The argument becomes the row collection's capacity (converted to
    // unsigned; the row collection itself gets no idle limit): the query
    // operation passes -1, a capacity of 4294967295, bounded in form and
    // unlimited in practice.
    static KVOSmrPtr<QueryResponseCollection> newCollection(int idleTimeout);

    // Detaches `_smartThis` (its copies now refer to nothing), then releases
    // `_smartThis`, `responses` and `columnNames`, in that order.
    virtual ~QueryResponseCollection();

    // The column list in force (shared).
    virtual KVOSmrPtr<KVOValSlist<KVOString>> getColumnNames() const;
    // Replaces the column list; null is accepted, and every later row is then
    // refused until a list is set again.
    virtual void setColumnNames(KVOSmrPtr<KVOValSlist<KVOString>> names);
    // Checks the row (see IQueryResponse::add). An invalid row is refused with
    // false and one KIVO_ERROR log record (who "qora::QueryResponseCollection::add()"),
    // whatever throwOnAbort says; nothing is queued and no error code is set.
    // A valid row (the same shared list) goes to the row collection's add with
    // throwOnAbort, whose answer or exception is this call's.
    virtual bool add(QueryRow row, bool throwOnAbort);
    // The row collection's setErrorCode.
    virtual void setErrorCode(int ec);

    // The row collection's operations of the same name.
    int getErrorCode() const;
    void registerWriter();
    void unregisterWriter();
    void allowComplete();
    // Blocks while nothing is queued and the collection is not complete.
    bool hasNext();
    // Call only after hasNext answered true: with the row collection bounded,
    // next waits for an entry without limit.
    QueryRow next();

    // A new registered writer on `_smartThis`, which therefore does not keep
    // the collection alive (see the header comment). Raises KivoBaseException
    // (where "qora::MultiResponseCollection::getWriter", message "may only be
    // if collection is incomplete.", code 0) once the row collection is
    // complete or has failed.
    KVOSmrPtr<IQueryResponse> getWriter();

private:
    explicit QueryResponseCollection(int idleTimeout);
    QueryResponseCollection(QueryResponseCollection const&);
    QueryResponseCollection& operator=(QueryResponseCollection const&);

    // The message of the first check that `row` fails, or null for a valid row.
    char const* refusalOf(QueryRow const& row) const;

    KVOSmrPtr<KVOValSlist<KVOString>> columnNames;          // not guarded; see the header comment
    KVOSmrPtr<MultiResponseCollection<QueryRow>> responses;  // the row collection; locks itself
    KVOSmrPtr<QueryResponseCollection> _smartThis;           // own count; detached by the destructor
};

}  // namespace qora
