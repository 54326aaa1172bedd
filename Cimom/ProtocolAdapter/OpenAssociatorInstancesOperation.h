// The OpenAssociatorInstances operation as the object manager's handler sees
// it: the question of Associators, the open values, and the producer handles
// for the first batch of associated instances (as values).
//
// Implemented by OpenAssociatorInstancesOperationBase; the handler receives it
// in handleOpenAssociatorInstances. It is an IKivoAssociatorsOperation as
// well, so a handler can serve it with the code that serves Associators, read
// the open values, and record the enumeration context and the end-of-sequence
// flag before it returns. One result is a KVOSmrPtr<IKivoValue>. Values are
// not locked; results cross threads through the operation's collection.
#pragma once

#include "Cimom/ProtocolAdapter/KivoAssociatorsOperation.h"
#include "Cimom/ProtocolAdapter/PulledEnumOpenOperation.h"

class IOpenAssociatorInstancesOperation : public virtual IPulledEnumOpenOperation,
                                          public virtual IKivoAssociatorsOperation {
public:
    ~IOpenAssociatorInstancesOperation() override = default;
};
