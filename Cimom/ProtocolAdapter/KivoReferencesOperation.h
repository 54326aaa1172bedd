// The References operation as the object manager's handler sees it: the
// traversal parameters and the producer handles for the association objects
// found.
//
// Implemented by KivoReferencesOperationBase; the handler receives it in
// handleReferences. ObjectName, ResultClass and Role come through
// IKivoReferences; PropertyList and IncludeClassOrigin through their facets;
// the namespace is the operation's (IKivoOperation). One result is one value
// carrying a class or an instance. Parameters are set before processing and
// only read afterwards; results cross threads through the operation's
// collection (IKivoMultiResponseOperation).
#pragma once

#include "Cimom/ProtocolAdapter/KivoClassOriginatedOperation.h"
#include "Cimom/ProtocolAdapter/KivoMultiResponseOperation.h"
#include "Cimom/ProtocolAdapter/KivoPropertyListOperation.h"
#include "Cimom/ProtocolAdapter/KivoReferences.h"
#include "KivoUtilities/IKivoValue.h"

class IKivoReferencesOperation : public virtual IKivoMultiResponseOperation<KVOSmrPtr<IKivoValue> >,
                                 public virtual IKivoPropertyListOperation,
                                 public virtual IKivoReferences,
                                 public virtual IKivoClassOriginatedOperation {
public:
    ~IKivoReferencesOperation() override = default;
};
