// The EnumerateInstanceNames operation as the object manager's handler sees it:
// the producer handles for the paths of the instances found.
//
// Implemented by KivoEnumerateInstanceNamesOperationBase; the handler receives
// it in handleEnumerateInstanceNames. The class to enumerate is the operation's
// class name, in the operation's namespace (IKivoOperation). One result is one
// instance path. Results cross threads through the operation's collection
// (IKivoMultiResponseOperation).
#pragma once

#include "Cimom/ProtocolAdapter/KivoMultiResponseOperation.h"
#include "KivoUtilities/IKivoInstanceName.h"

class IKivoEnumerateInstanceNamesOperation : public virtual IKivoMultiResponseOperation<KVOSmrPtr<IKivoInstanceName> > {
public:
    ~IKivoEnumerateInstanceNamesOperation() override = default;
};
