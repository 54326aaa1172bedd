// The Associators operation as the object manager's handler sees it: the
// traversal parameters and the producer handles for the associated objects
// found.
//
// Implemented by KivoAssociatorsOperationBase; the handler receives it in
// handleAssociators. ObjectName, AssocClass, ResultClass, Role and ResultRole
// come through IKivoAssociators; PropertyList and IncludeClassOrigin through
// their facets; the namespace is the operation's (IKivoOperation). One result
// is one value carrying a class or an instance. Parameters are set before
// processing and only read afterwards; results cross threads through the
// operation's collection (IKivoMultiResponseOperation).
#pragma once

#include "Cimom/ProtocolAdapter/KivoAssociators.h"
#include "Cimom/ProtocolAdapter/KivoClassOriginatedOperation.h"
#include "Cimom/ProtocolAdapter/KivoMultiResponseOperation.h"
#include "Cimom/ProtocolAdapter/KivoPropertyListOperation.h"
#include "KivoUtilities/IKivoValue.h"

class IKivoAssociatorsOperation : public virtual IKivoMultiResponseOperation<KVOSmrPtr<IKivoValue> >,
                                  public virtual IKivoPropertyListOperation,
                                  public virtual IKivoAssociators,
                                  public virtual IKivoClassOriginatedOperation {
public:
    ~IKivoAssociatorsOperation() override = default;
};
