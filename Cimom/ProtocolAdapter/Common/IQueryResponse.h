// A producer's handle on the rows of one query response: what the object
// manager's handler sees of a query writer.
//
// Obtained from IKivoExecuteQueryOperation::getResponse (or
// QueryResponseCollection::getWriter); implemented by QueryResponseWriter. A
// row is a list of properties, one per result column, named like the columns
// that the handler declared beforehand. One handle belongs to one producer
// thread at a time; handles on one response may be used from several threads
// at once.
#pragma once

#include "Cimom/ProtocolAdapter/Common/IMultiResponse.h"
#include "KivoUtilities/IKivoProperty.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"
#include "KivoUtilities/KVOValSlist.h"

namespace qora {

// One row of a query result: the properties of the row, in column order.
using QueryRow = KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoProperty>>>;

class IQueryResponse : public IMultiResponse<QueryRow> {
public:
    ~IQueryResponse() override = default;

    // add (from IMultiResponse) also checks the row against the column names:
    // a row that is null, or whose property count or names (case-sensitive,
    // in order) differ from the columns, is refused with false and logged,
    // whatever throwOnAbort says.

    // The column names in force (the list is shared; null when the producer
    // set null).
    virtual KVOSmrPtr<KVOValSlist<KVOString>> getColumnNames() const = 0;
};

}  // namespace qora
