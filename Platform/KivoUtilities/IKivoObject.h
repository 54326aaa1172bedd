// A CIM instance: its class name, its path (when known) and its properties.
// Immutable once made, shared through KVOSmrPtr; any thread may read it.
#pragma once

#include "KivoUtilities/IKivoInstanceName.h"
#include "KivoUtilities/IKivoProperty.h"
#include "KivoUtilities/KVOCIMNamed.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOValSlist.h"

class IKivoObject {
public:
    virtual ~IKivoObject() = default;
    virtual KVOString getClassName() const = 0;
    // Null when the instance carries no path.
    virtual KVOSmrPtr<IKivoInstanceName> getInstanceName() const = 0;
    virtual KVOValSlist<KVOSmrPtr<IKivoProperty>> getProperties() const = 0;

    // The property named `name` (without regard to ASCII case), or null.
    KVOSmrPtr<IKivoProperty> getProperty(KVOString const& name) const {
        return KVOFindNamed(getProperties(), name);
    }
};
