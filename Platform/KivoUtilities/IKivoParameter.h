// The declaration of one parameter of a CIM method: name, type, array-ness,
// reference class and qualifiers (IN and OUT among them). The value passed in
// a call is an IKivoActualParameter. Immutable once made, shared through
// KVOSmrPtr.
#pragma once

#include "KivoUtilities/IKivoQualifier.h"
#include "KivoUtilities/KVOCIMNamed.h"
#include "KivoUtilities/KVOCIMType.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"

#include <vector>

class IKivoParameter {
public:
    virtual ~IKivoParameter() = default;
    virtual KVOString getName() const = 0;
    virtual KVOCIMType getCIMType() const = 0;
    virtual bool isArray() const = 0;
    // For a reference parameter, the class it refers to (empty when any).
    virtual KVOString getReferenceClass() const = 0;
    virtual std::vector<KVOSmrPtr<IKivoQualifier>> getQualifiers() const = 0;
    // For a fixed-size array parameter, its size; 0 for a variable-size
    // array or a scalar.
    virtual unsigned getArraySize() const { return 0; }

    // The qualifier named `name` (without regard to ASCII case), or null.
    KVOSmrPtr<IKivoQualifier> getQualifier(KVOString const& name) const {
        return KVOFindNamed(getQualifiers(), name);
    }
    // Whether values pass into the method (the IN qualifier, true when
    // absent) and out of it (the OUT qualifier, false when absent).
    bool isIn() const { return KVOQualifierFlag(getQualifier("IN"), true); }
    bool isOut() const { return KVOQualifierFlag(getQualifier("OUT"), false); }
};
