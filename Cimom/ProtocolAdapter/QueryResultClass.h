// The query result class facet: the object manager's view of the class that
// describes the result of a query, once it is known.
//
// A virtual base of IOpenQueryInstancesOperation; QueryResultClassOperationBase
// stores it. Only the base can set it: a handler holding the interface alone
// reads it and cannot store it. Not locked.
#pragma once

#include "KivoUtilities/IKivoClass.h"
#include "KivoUtilities/KVOSmrPtr.h"

class IQueryResultClass {
public:
    // Shares the stored class; null until one is set.
    virtual KVOSmrPtr<IKivoClass> getQueryResultClass() const = 0;
    virtual ~IQueryResultClass() = default;
};
