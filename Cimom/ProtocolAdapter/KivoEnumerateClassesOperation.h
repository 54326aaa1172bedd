// The EnumerateClasses operation as the object manager's handler sees it: the
// request's parameters and the producer handles for the classes found.
//
// Implemented by KivoEnumerateClassesOperationBase; the handler receives it in
// handleEnumerateClasses. The class whose subclasses are enumerated is the
// operation's class name (empty for the namespace's top classes), in the
// operation's namespace (IKivoOperation); LocalOnly, DeepInheritance,
// IncludeClassOrigin and IncludeQualifiers come through the facets. One result
// is one class. Parameters are set before processing and only read afterwards;
// results cross threads through the operation's collection
// (IKivoMultiResponseOperation), which is unbounded.
#pragma once

#include "Cimom/ProtocolAdapter/KivoClassOriginatedOperation.h"
#include "Cimom/ProtocolAdapter/KivoDeeplyInheritedOperation.h"
#include "Cimom/ProtocolAdapter/KivoIncludeQualifiersOperation.h"
#include "Cimom/ProtocolAdapter/KivoLocalOnlyOperation.h"
#include "Cimom/ProtocolAdapter/KivoMultiResponseOperation.h"
#include "KivoUtilities/IKivoClass.h"

class IKivoEnumerateClassesOperation : public virtual IKivoMultiResponseOperation<KVOSmrPtr<IKivoClass> >,
                                       public virtual IKivoLocalOnlyOperation,
                                       public virtual IKivoDeeplyInheritedOperation,
                                       public virtual IKivoClassOriginatedOperation,
                                       public virtual IKivoIncludeQualifiersOperation {
public:
    ~IKivoEnumerateClassesOperation() override = default;
};
