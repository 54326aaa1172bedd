// A CIM class: its name, its superclass and the names of its properties.
#pragma once

#include "KivoUtilities/Iterator.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"

class IKivoClass {
public:
    virtual ~IKivoClass() = default;
    virtual KVOString getName() const = 0;
    // Null at the root of the hierarchy.
    virtual KVOSmrPtr<IKivoClass> getSuperClass() const = 0;
    // The names of the properties the class itself declares or overrides, in
    // declaration order. With `includeInherited` non-zero, the inherited ones
    // follow (nearest superclass first, each name once).
    virtual CI_AutoPtr_U<qora::Iterator<KVOString>> getPropertyNames(int includeInherited) const = 0;
};
