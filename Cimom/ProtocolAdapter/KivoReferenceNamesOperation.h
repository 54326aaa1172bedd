// The ReferenceNames operation as the object manager's handler sees it: the
// traversal parameters and the producer handles for the paths of the
// association objects found.
//
// Implemented by KivoReferenceNamesOperationBase; the handler receives it in
// handleReferenceNames. ObjectName, ResultClass and Role come through
// IKivoReferences; the namespace is the operation's (IKivoOperation). One
// result is one object path. Parameters are set before processing and only read
// afterwards; results cross threads through the operation's collection
// (IKivoMultiResponseOperation).
#pragma once

#include "Cimom/ProtocolAdapter/KivoMultiResponseOperation.h"
#include "Cimom/ProtocolAdapter/KivoReferences.h"

class IKivoReferenceNamesOperation : public virtual IKivoMultiResponseOperation<KVOSmrPtr<IKivoInstanceName> >,
                                     public virtual IKivoReferences {
public:
    ~IKivoReferenceNamesOperation() override = default;
};
