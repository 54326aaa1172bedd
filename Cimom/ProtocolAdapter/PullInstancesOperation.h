// The PullInstances operation as the object manager's handler sees it: the
// pull values of an open enumeration and the producer handles for the next
// batch of instances.
//
// Implemented by PullInstancesOperationBase; the handler receives it in
// handlePullInstances, delivers up to the maximum object count of instances
// and records the next context and the end-of-sequence flag. One result is
// one instance. Values are not locked; results cross threads through the
// operation's collection.
#pragma once

#include "Cimom/ProtocolAdapter/KivoMultiResponseOperation.h"
#include "Cimom/ProtocolAdapter/PullOperation.h"
#include "KivoUtilities/IKivoObject.h"

class IPullInstancesOperation : public virtual IKivoMultiResponseOperation<KVOSmrPtr<IKivoObject> >,
                                public virtual IPullOperation {
public:
    ~IPullInstancesOperation() override = default;
};
