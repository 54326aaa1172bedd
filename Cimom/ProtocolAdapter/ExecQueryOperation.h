// The ExecQuery operation as the object manager's handler sees it: a query
// and the name of its language, and the producer handles for the instances
// that answer it.
//
// Implemented by ExecQueryOperationBase; the handler receives it in
// handleExecQuery. The query and its language are the filter query facets
// (with the filter map beside them); there is no enumeration context. One
// result is one instance. Values are not locked; results cross threads
// through the operation's collection.
#pragma once

#include "Cimom/ProtocolAdapter/FilterQuery.h"
#include "Cimom/ProtocolAdapter/FilterQueryLanguage.h"
#include "Cimom/ProtocolAdapter/KivoMultiResponseOperation.h"
#include "KivoUtilities/IKivoObject.h"

class IExecQueryOperation : public virtual IKivoMultiResponseOperation<KVOSmrPtr<IKivoObject> >,
                            public virtual IFilterQueryLanguage,
                            public virtual IFilterQuery {
public:
    ~IExecQueryOperation() override = default;
};
