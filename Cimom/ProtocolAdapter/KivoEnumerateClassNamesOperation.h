// The EnumerateClassNames operation as the object manager's handler sees it:
// the DeepInheritance parameter and the producer handles for the class names
// found.
//
// Implemented by KivoEnumerateClassNamesOperationBase; the handler receives it
// in handleEnumerateClassNames. The class whose subclasses are enumerated is
// the operation's class name (empty for the namespace's top classes), in the
// operation's namespace (IKivoOperation). One result is one class name.
// Parameters are set before processing and only read afterwards; results cross
// threads through the operation's collection (IKivoMultiResponseOperation),
// which is unbounded.
#pragma once

#include "Cimom/ProtocolAdapter/KivoDeeplyInheritedOperation.h"
#include "Cimom/ProtocolAdapter/KivoMultiResponseOperation.h"

class IKivoEnumerateClassNamesOperation : public virtual IKivoMultiResponseOperation<KVOString>,
                                          public virtual IKivoDeeplyInheritedOperation {
public:
    ~IKivoEnumerateClassNamesOperation() override = default;
};
