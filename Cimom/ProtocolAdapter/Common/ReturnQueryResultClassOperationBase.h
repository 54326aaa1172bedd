// The base class of the return-query-result-class facet: it stores whether
// the client asks for the class of a query's result, false until set.
//
// OpenQueryInstancesOperationBase derives from it; the adapter sets the flag
// with setReturnQueryResultClass, the handler reads it through
// IReturnQueryResultClass. Its field is private; copying is not restricted.
// Not locked.
#pragma once

#include "Cimom/ProtocolAdapter/ReturnQueryResultClass.h"

class ReturnQueryResultClassOperationBase : public virtual IReturnQueryResultClass {
public:
    ReturnQueryResultClassOperationBase();
    bool getReturnQueryResultClass() const override;
    ~ReturnQueryResultClassOperationBase() override;
    virtual void setReturnQueryResultClass(bool returnQueryResultClass);

private:
    bool returnQueryResultClass;
};
