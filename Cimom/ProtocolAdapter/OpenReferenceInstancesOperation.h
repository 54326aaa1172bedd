// The OpenReferenceInstances operation as the object manager's handler sees
// it: the question of References, the open values, and the producer handles
// for the first batch of referencing instances (as values).
//
// Implemented by OpenReferenceInstancesOperationBase; the handler receives it
// in handleOpenReferenceInstances. It is an IKivoReferencesOperation as well,
// so a handler can serve it with the code that serves References, read the
// open values, and record the enumeration context and the end-of-sequence flag
// before it returns. One result is a KVOSmrPtr<IKivoValue>. Values are not
// locked; results cross threads through the operation's collection.
#pragma once

#include "Cimom/ProtocolAdapter/KivoReferencesOperation.h"
#include "Cimom/ProtocolAdapter/PulledEnumOpenOperation.h"

class IOpenReferenceInstancesOperation : public virtual IPulledEnumOpenOperation,
                                         public virtual IKivoReferencesOperation {
public:
    ~IOpenReferenceInstancesOperation() override = default;
};
