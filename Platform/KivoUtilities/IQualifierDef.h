// A CIM qualifier declaration, owned by the object manager and handed out as
// a pointer to const.
#pragma once

#include "KivoUtilities/KVOString.h"

namespace qora {

class IQualifierDef {
public:
    virtual ~IQualifierDef() = default;
    virtual KVOString getName() const = 0;
    // CIM type name of the qualifier's value ("boolean", "string", ...).
    virtual KVOString getType() const = 0;
    // Default value as text; empty when none.
    virtual KVOString getDefaultValue() const = 0;
};

}  // namespace qora
