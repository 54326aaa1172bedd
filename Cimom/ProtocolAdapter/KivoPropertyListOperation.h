// The PropertyList facet: the object manager's view of the PropertyList
// parameter of a request.
//
// A virtual base of the interfaces of the operations that accept the parameter,
// so an operation holds it once; KivoPropertyListOperationBase stores it. The
// adapter sets it before processing and the handler only reads it; not locked.
#pragma once

#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"
#include "KivoUtilities/KVOValSlist.h"

class IKivoPropertyListOperation {
public:
    // The property names of the request's PropertyList, one per element, shared
    // with the operation (not a copy). Null when the request carried no
    // PropertyList; a non-null empty list when it named no property.
    virtual KVOSmrPtr<KVOValSlist<KVOString> > getPropertyList() const = 0;
    virtual ~IKivoPropertyListOperation() = default;
};
