// The OpenEnumerateInstancePaths operation as the object manager's handler
// sees it: the question of EnumerateInstanceNames, the open values, and the
// producer handles for the first batch of instance paths.
//
// Implemented by OpenEnumerateInstancePathsOperationBase; the handler receives
// it in handleOpenEnumerateInstancePaths. It is an
// IKivoEnumerateInstanceNamesOperation as well, so a handler can serve it with
// the code that serves EnumerateInstanceNames, read the open values, and
// record the enumeration context and the end-of-sequence flag before it
// returns. One result is a KVOSmrPtr<IKivoInstanceName>. Values are not
// locked; results cross threads through the operation's collection.
#pragma once

#include "Cimom/ProtocolAdapter/KivoEnumerateInstanceNamesOperation.h"
#include "Cimom/ProtocolAdapter/PulledEnumOpenOperation.h"

class IOpenEnumerateInstancePathsOperation : public virtual IPulledEnumOpenOperation,
                                             public virtual IKivoEnumerateInstanceNamesOperation {
public:
    ~IOpenEnumerateInstancePathsOperation() override = default;
};
