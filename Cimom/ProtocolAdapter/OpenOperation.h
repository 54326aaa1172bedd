// The object manager's view of what only open operations carry: the filter
// query and its language (with the filter map), the operation timeout and the
// continue-on-error flag.
//
// A virtual base of IPulledEnumOpenOperation; OpenOperationBase implements it
// through the facet bases. The handler only reads these values. No data; not
// locked.
#pragma once

#include "Cimom/ProtocolAdapter/ContinueOnError.h"
#include "Cimom/ProtocolAdapter/FilterQuery.h"
#include "Cimom/ProtocolAdapter/FilterQueryLanguage.h"
#include "Cimom/ProtocolAdapter/OperationTimeout.h"

class IOpenOperation : public virtual IFilterQueryLanguage,
                       public virtual IFilterQuery,
                       public virtual IOperationTimeout,
                       public virtual IContinueOnError {
public:
    ~IOpenOperation() override = default;
};
