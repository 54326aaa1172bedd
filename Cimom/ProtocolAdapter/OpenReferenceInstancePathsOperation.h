// The OpenReferenceInstancePaths operation as the object manager's handler
// sees it: the question of ReferenceNames, the open values, and the producer
// handles for the first batch of paths of referencing instances.
//
// Implemented by OpenReferenceInstancePathsOperationBase; the handler receives
// it in handleOpenReferenceInstancePaths. It is an
// IKivoReferenceNamesOperation as well, so a handler can serve it with the
// code that serves ReferenceNames, read the open values, and record the
// enumeration context and the end-of-sequence flag before it returns. One
// result is a KVOSmrPtr<IKivoInstanceName>. Values are not locked; results
// cross threads through the operation's collection.
#pragma once

#include "Cimom/ProtocolAdapter/KivoReferenceNamesOperation.h"
#include "Cimom/ProtocolAdapter/PulledEnumOpenOperation.h"

class IOpenReferenceInstancePathsOperation : public virtual IPulledEnumOpenOperation,
                                             public virtual IKivoReferenceNamesOperation {
public:
    ~IOpenReferenceInstancePathsOperation() override = default;
};
