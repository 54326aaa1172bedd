// The OpenAssociatorInstancePaths operation as the object manager's handler
// sees it: the question of AssociatorNames, the open values, and the producer
// handles for the first batch of paths of associated instances.
//
// Implemented by OpenAssociatorInstancePathsOperationBase; the handler
// receives it in handleOpenAssociatorInstancePaths. It is an
// IKivoAssociatorNamesOperation as well, so a handler can serve it with the
// code that serves AssociatorNames, read the open values, and record the
// enumeration context and the end-of-sequence flag before it returns. One
// result is a KVOSmrPtr<IKivoInstanceName>. Values are not locked; results
// cross threads through the operation's collection.
#pragma once

#include "Cimom/ProtocolAdapter/KivoAssociatorNamesOperation.h"
#include "Cimom/ProtocolAdapter/PulledEnumOpenOperation.h"

class IOpenAssociatorInstancePathsOperation : public virtual IPulledEnumOpenOperation,
                                              public virtual IKivoAssociatorNamesOperation {
public:
    ~IOpenAssociatorInstancePathsOperation() override = default;
};
