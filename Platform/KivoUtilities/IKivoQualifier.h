// A CIM qualifier as it is attached to a class, property, method or
// parameter: its name, its value and its flavors.
//
// The declaration of a qualifier (its scopes and default) is qora::IQualifierDef.
// Like every CIM data object it is immutable once made and shared through
// KVOSmrPtr, so any thread may read it.
#pragma once

#include "KivoUtilities/IKivoValue.h"
#include "KivoUtilities/KVOCIMType.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"

// The flavors of a qualifier, with the CIM defaults (overridable, passed on to
// subclasses, not to instances, not translatable).
struct KVOQualifierFlavors {
    bool overridable = true;
    bool toSubclass = true;
    bool toInstance = false;
    bool translatable = false;

    bool operator==(KVOQualifierFlavors const&) const = default;
};

class IKivoQualifier {
public:
    virtual ~IKivoQualifier() = default;
    virtual KVOString getName() const = 0;
    virtual KVOCIMType getCIMType() const = 0;
    // Null for a qualifier without a value.
    virtual KVOSmrPtr<IKivoValue> getValue() const = 0;
    virtual KVOQualifierFlavors getFlavors() const = 0;
    // True when the qualifier was not given on this element but passed on
    // from the same element of a superclass.
    virtual bool isPropagated() const = 0;
};

// The truth of a boolean qualifier; `absent` when there is no qualifier or it
// has no value.
inline bool KVOQualifierFlag(KVOSmrPtr<IKivoQualifier> const& qualifier, bool absent = false) {
    KVOSmrPtr<IKivoValue> v = qualifier ? qualifier->getValue() : nullptr;
    return v ? v->getBoolean() : absent;
}
