// The row-oriented query path of the CIM-XML adapter: ExecQuery requests
// whose select list names properties are served by the library's
// ExecuteQuery operation (KivoExecuteQueryOperationBase), with rows from a
// process-wide row source, instead of by the handler's ExecQuery.
//
// Which requests take it (isRowQuery): an intrinsic ExecQuery whose Query,
// after leading whitespace and the keyword SELECT (any case), does not start
// with '*'. `SELECT * FROM ...` goes through the handler's ExecQuery (whole
// instances with their paths, VALUE.OBJECTWITHPATH). Anything else that
// looks like a query, malformed ones included, takes the row path, and the
// row source answers it (so a malformed query answers CIM_ERR_INVALID_QUERY
// either way).
//
// How a row is answered: inside IRETURNVALUE, each row is one VALUE.OBJECT
// holding an INSTANCE of the FROM class that carries just the selected
// properties, in the select list's order (DSP0201 IRETURNVALUE allows
// VALUE.OBJECT for query results). A row has no path: a projection need not
// hold the keys that would name an instance, so none is invented. Values are
// typed as the class declares them; a property without a value is written
// without VALUE.
//
// The row source (setQueryRowSource) is a std::function registered once by
// the server before it serves requests; the adapter does not link the object
// manager. It is called on the adapter's thread, from the operation's
// callHandler, with the namespace, the query language and the query; it
// checks them and raises KivoBaseException (CIM_ERR_QUERY_LANGUAGE_NOT_SUPPORTED,
// CIM_ERR_INVALID_QUERY, CIM_ERR_INVALID_NAMESPACE, ...), which becomes the
// operation's status and the ERROR of the response, or returns the class
// name, the column names and a lazy producer of rows. No source registered:
// CIM_ERR_NOT_SUPPORTED.
//
// Flow: callHandler sets the column names, takes one writer, allows the
// collection to complete and starts the producer on a thread of its own; the
// producer adds rows through the writer and drops it after the last one.
// writeResponse takes the rows out with hasNext/next and streams them. The
// library's row collection is unbounded, so the producer waits for a free
// slot before each add: at most OperationSettings::streamBound rows (at
// least one) are queued at a time. If writing fails (the client went away),
// the producer is told to stop at its next row and is joined before
// writeResponse returns or throws; a failure inside the producer before its
// first row is the operation's status (after that, the rows already sent
// stand, as for every streamed response).
#pragma once

#include "CIMXMLOperations.h"
#include "CIMXMLRequest.h"
#include "CIMXMLResponse.h"

#include "Cimom/ProtocolAdapter/Common/IQueryResponse.h"
#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "KivoUtilities/KVOString.h"

#include <functional>
#include <vector>

namespace cimxmlpa {

// What a row source answers for one query.
struct QueryRowSet {
    // The FROM class, as the rows' INSTANCE elements name it.
    KVOString className;
    // The column names, in order; each row holds one property per column,
    // named exactly so (QueryResponseCollection checks it).
    std::vector<KVOString> columns;
    // Hands the rows to the sink, in order, until it answers false. Runs on a
    // thread of the operation's own, after the source has returned.
    std::function<void(std::function<bool(qora::QueryRow const&)> const&)> rows;
};

// Checks a query and answers its rows; raises KivoBaseException with the
// CIM status code for a query it refuses.
using QueryRowSource =
    std::function<QueryRowSet(KVOString const& nameSpace, KVOString const& queryLanguage, KVOString const& query)>;

// Registers the process-wide row source (an empty function removes it). Call
// before serving requests: the source is read without a lock.
void setQueryRowSource(QueryRowSource source);

// Whether `request` is an ExecQuery served as rows (see above).
bool isRowQuery(CIMXMLRequest const& request);

// The ExecuteQuery operation for a row query, its namespace, query and
// language set from the request's QueryLanguage and Query parameters (a
// missing, repeated or unknown parameter is stored as the operation's error,
// CIM_ERR_INVALID_PARAMETER).
KVOSmrPtr<KivoOperationBase> buildExecuteQuery(CIMXMLRequest const& request, ResponseChannel& channel,
                                               IKivoOperationHandlerContext* context, OperationSettings const& settings);

}  // namespace cimxmlpa
