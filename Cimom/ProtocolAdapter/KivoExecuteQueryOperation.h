// An ExecuteQuery request as a producer of its rows sees it: a query in a
// query language, answered by rows of properties under a list of column names.
//
// Implemented by KivoExecuteQueryOperationBase. The object manager's handler
// has no entry for this operation, so whatever produces the rows (the
// adapter's own query engine) reaches the operation through this interface:
// it declares the column names first, then takes one writer per producer with
// getResponse and adds rows through it, from any thread. The status travels
// through the row collection.
#pragma once

#include "Cimom/ProtocolAdapter/Common/IQueryResponse.h"
#include "Cimom/ProtocolAdapter/KivoOperation.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"
#include "KivoUtilities/KVOValSlist.h"

class IKivoExecuteQueryOperation : public virtual IKivoOperation {
public:
    virtual KVOString getQuery() const = 0;
    virtual KVOString getQueryLanguage() const = 0;
    // Declares the result columns, in order; rows added afterwards are checked
    // against them. Call before adding rows.
    virtual void setColumnNames(KVOSmrPtr<KVOValSlist<KVOString> > names) = 0;
    // A new registered writer on the operation's rows; every call gives a
    // distinct one. The writer keeps the rows alive and unregisters when it
    // is destroyed, so each producer holds its own and drops it after its
    // last row.
    virtual KVOSmrPtr<qora::IQueryResponse> getResponse() = 0;
    ~IKivoExecuteQueryOperation() override = default;
};
