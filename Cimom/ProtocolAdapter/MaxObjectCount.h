// The maximum object count facet: the object manager's view of the largest
// number of elements that one open or pull response may carry.
//
// A virtual base of IPullOperation; MaxObjectCountOperationBase stores it and
// offers the setter to the adapter. The handler only reads it, and the
// library does not interpret it (0 included). Not locked.
#pragma once

#include "KivoUtilities/KVOTypes.h"

class IMaxObjectCount {
public:
    virtual KVOuint32 getMaxObjectCount() const = 0;
    virtual ~IMaxObjectCount() = default;
};
