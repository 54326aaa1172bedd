// The PullInstancesWithPath operation as the object manager's handler sees
// it: the pull values of an open enumeration, the instance parameters, and
// the producer handles for the next batch of instances with their paths.
//
// Implemented by PullInstancesWithPathOperationBase; the handler receives it
// in handlePullInstancesWithPath. The handler reads the enumeration context
// and the maximum object count, delivers up to that many instances, and
// records the next context and the end-of-sequence flag. One result is one
// instance. Values are not locked; results cross threads through the
// operation's collection.
#pragma once

#include "Cimom/ProtocolAdapter/KivoClassOriginatedOperation.h"
#include "Cimom/ProtocolAdapter/KivoDeeplyInheritedOperation.h"
#include "Cimom/ProtocolAdapter/KivoMultiResponseOperation.h"
#include "Cimom/ProtocolAdapter/KivoPropertyListOperation.h"
#include "Cimom/ProtocolAdapter/PullOperation.h"
#include "KivoUtilities/IKivoObject.h"

class IPullInstancesWithPathOperation : public virtual IKivoMultiResponseOperation<KVOSmrPtr<IKivoObject> >,
                                        public virtual IKivoPropertyListOperation,
                                        public virtual IKivoDeeplyInheritedOperation,
                                        public virtual IKivoClassOriginatedOperation,
                                        public virtual IPullOperation {
public:
    ~IPullInstancesWithPathOperation() override = default;
};
