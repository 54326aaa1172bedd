// A named CIM property: one value of an instance, or one column of a query row.
#pragma once

#include "KivoUtilities/IKivoValue.h"
#include "KivoUtilities/KVOSmrPtr.h"

class IKivoProperty {
public:
    virtual ~IKivoProperty() = default;
    virtual KVOString getName() const = 0;
    // Null for a property without a value (CIM NULL).
    virtual KVOSmrPtr<IKivoValue> getValue() const = 0;
};
