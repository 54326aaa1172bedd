// The OpenEnumerateInstances operation as the object manager's handler sees
// it: the question of EnumerateInstances, the open values, and the producer
// handles for the first batch of instances.
//
// Implemented by OpenEnumerateInstancesOperationBase; the handler receives it
// in handleOpenEnumerateInstances. It is an IKivoEnumerateInstancesOperation
// as well, so a handler can serve it with the code that serves
// EnumerateInstances, read the open values, and record the enumeration context
// and the end-of-sequence flag before it returns. One result is a
// KVOSmrPtr<IKivoObject>. Values are not locked; results cross threads through
// the operation's collection.
#pragma once

#include "Cimom/ProtocolAdapter/KivoEnumerateInstancesOperation.h"
#include "Cimom/ProtocolAdapter/PulledEnumOpenOperation.h"

class IOpenEnumerateInstancesOperation : public virtual IPulledEnumOpenOperation,
                                         public virtual IKivoEnumerateInstancesOperation {
public:
    ~IOpenEnumerateInstancesOperation() override = default;
};
