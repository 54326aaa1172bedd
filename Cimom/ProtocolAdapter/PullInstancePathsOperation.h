// The PullInstancePaths operation as the object manager's handler sees it:
// the pull values of an open enumeration and the producer handles for the
// next batch of instance paths.
//
// Implemented by PullInstancePathsOperationBase; the handler receives it in
// handlePullInstancePaths, delivers up to the maximum object count of paths
// and records the next context and the end-of-sequence flag. One result is
// one instance path. Values are not locked; results cross threads through
// the operation's collection.
#pragma once

#include "Cimom/ProtocolAdapter/KivoMultiResponseOperation.h"
#include "Cimom/ProtocolAdapter/PullOperation.h"
#include "KivoUtilities/IKivoInstanceName.h"

class IPullInstancePathsOperation : public virtual IKivoMultiResponseOperation<KVOSmrPtr<IKivoInstanceName> >,
                                    public virtual IPullOperation {
public:
    ~IPullInstancePathsOperation() override = default;
};
