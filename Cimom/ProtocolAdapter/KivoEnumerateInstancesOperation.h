// The EnumerateInstances operation as the object manager's handler sees it: the
// request's parameters and the producer handles for the instances found.
//
// Implemented by KivoEnumerateInstancesOperationBase; the handler receives it
// in handleEnumerateInstances. The class to enumerate is the operation's class
// name, in the operation's namespace (IKivoOperation); PropertyList,
// DeepInheritance and IncludeClassOrigin come through the facets. One result is
// one instance. Parameters are set before processing and only read afterwards;
// results cross threads through the operation's collection
// (IKivoMultiResponseOperation).
#pragma once

#include "Cimom/ProtocolAdapter/KivoClassOriginatedOperation.h"
#include "Cimom/ProtocolAdapter/KivoDeeplyInheritedOperation.h"
#include "Cimom/ProtocolAdapter/KivoMultiResponseOperation.h"
#include "Cimom/ProtocolAdapter/KivoPropertyListOperation.h"
#include "KivoUtilities/IKivoObject.h"

class IKivoEnumerateInstancesOperation : public virtual IKivoMultiResponseOperation<KVOSmrPtr<IKivoObject> >,
                                         public virtual IKivoPropertyListOperation,
                                         public virtual IKivoDeeplyInheritedOperation,
                                         public virtual IKivoClassOriginatedOperation {
public:
    ~IKivoEnumerateInstancesOperation() override = default;
};
