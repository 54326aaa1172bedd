// The return-query-result-class facet: the object manager's view of whether
// the client asks for the class that describes a query's result.
//
// A virtual base of IOpenQueryInstancesOperation;
// ReturnQueryResultClassOperationBase stores it and offers the setter to the
// adapter. The handler only reads it. Not locked.
#pragma once

class IReturnQueryResultClass {
public:
    // False unless the adapter set it.
    virtual bool getReturnQueryResultClass() const = 0;
    virtual ~IReturnQueryResultClass() = default;
};
