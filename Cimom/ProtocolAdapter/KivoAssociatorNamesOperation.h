// The AssociatorNames operation as the object manager's handler sees it: the
// traversal parameters and the producer handles for the paths of the associated
// objects found.
//
// Implemented by KivoAssociatorNamesOperationBase; the handler receives it in
// handleAssociatorNames. ObjectName, AssocClass, ResultClass, Role and
// ResultRole come through IKivoAssociators; the namespace is the operation's
// (IKivoOperation). One result is one object path. Parameters are set before
// processing and only read afterwards; results cross threads through the
// operation's collection (IKivoMultiResponseOperation).
#pragma once

#include "Cimom/ProtocolAdapter/KivoAssociators.h"
#include "Cimom/ProtocolAdapter/KivoMultiResponseOperation.h"

class IKivoAssociatorNamesOperation : public virtual IKivoMultiResponseOperation<KVOSmrPtr<IKivoInstanceName> >,
                                      public virtual IKivoAssociators {
public:
    ~IKivoAssociatorNamesOperation() override = default;
};
