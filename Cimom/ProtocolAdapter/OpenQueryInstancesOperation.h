// The OpenQueryInstances operation as the object manager's handler sees it:
// a query (the filter query and its language) with the open values, the flag
// that asks for the class of the result, and the producer handles for the
// first batch of instances.
//
// Implemented by OpenQueryInstancesOperationBase; the handler receives it in
// handleOpenQueryInstances, streams the first instances that answer the
// query and records the enumeration context and the end-of-sequence flag
// before it returns. The query result class can only be read here; its
// setter is on QueryResultClassOperationBase. One result is one instance.
// Values are not locked; results cross threads through the operation's
// collection.
#pragma once

#include "Cimom/ProtocolAdapter/KivoMultiResponseOperation.h"
#include "Cimom/ProtocolAdapter/PulledEnumOpenOperation.h"
#include "Cimom/ProtocolAdapter/QueryResultClass.h"
#include "Cimom/ProtocolAdapter/ReturnQueryResultClass.h"
#include "KivoUtilities/IKivoObject.h"

class IOpenQueryInstancesOperation : public virtual IPulledEnumOpenOperation,
                                     public virtual IQueryResultClass,
                                     public virtual IReturnQueryResultClass,
                                     public virtual IKivoMultiResponseOperation<KVOSmrPtr<IKivoObject> > {
public:
    ~IOpenQueryInstancesOperation() override = default;
};
