// A CIM value as the object manager hands it around (a property value, a
// method parameter or return value, or a class or instance carried as a value
// in association results). Shared through KVOSmrPtr; immutable once made.
#pragma once

#include "KivoUtilities/KVOString.h"

class IKivoValue {
public:
    virtual ~IKivoValue() = default;
    // The value's string form.
    virtual KVOString toString() const = 0;
};
