// A named argument or result parameter of a CIM method call (its declaration
// in the class is IKivoParameter). Immutable once made, shared through
// KVOSmrPtr.
#pragma once

#include "KivoUtilities/IKivoValue.h"
#include "KivoUtilities/KVOSmrPtr.h"

class IKivoActualParameter {
public:
    virtual ~IKivoActualParameter() = default;
    virtual KVOString getName() const = 0;
    // Null for a parameter without a value.
    virtual KVOSmrPtr<IKivoValue> getValue() const = 0;
};
