// A CIM property: a name, a type, array-ness, an optional value, qualifiers,
// and the class it comes from. Used for the properties of classes (where the
// value is the default) and of instances, and as one column of a query row.
//
// Immutable once made, shared through KVOSmrPtr. Only the name and the value
// are pure; the rest default to what a plain value-carrying property means:
// the type and array-ness of its value (string scalar when it has none), no
// qualifiers, no class origin, not propagated, no reference class.
#pragma once

#include "KivoUtilities/IKivoQualifier.h"
#include "KivoUtilities/IKivoValue.h"
#include "KivoUtilities/KVOCIMNamed.h"
#include "KivoUtilities/KVOCIMType.h"
#include "KivoUtilities/KVOSmrPtr.h"

#include <vector>

class IKivoProperty {
public:
    virtual ~IKivoProperty() = default;
    virtual KVOString getName() const = 0;
    // Null for a property without a value (CIM NULL).
    virtual KVOSmrPtr<IKivoValue> getValue() const = 0;

    virtual KVOCIMType getCIMType() const {
        KVOSmrPtr<IKivoValue> v = getValue();
        return v ? v->getCIMType() : KVOCIMType::String;
    }
    virtual bool isArray() const {
        KVOSmrPtr<IKivoValue> v = getValue();
        return v ? v->isArray() : false;
    }
    virtual std::vector<KVOSmrPtr<IKivoQualifier>> getQualifiers() const { return {}; }
    // The class that declares the property (empty when unknown).
    virtual KVOString getClassOrigin() const { return KVOString(); }
    // True when the property is inherited unchanged from a superclass rather
    // than declared or overridden by the class (or instance's class) itself.
    virtual bool isPropagated() const { return false; }
    // For a reference property, the class it refers to (empty when any).
    virtual KVOString getReferenceClass() const { return KVOString(); }
    // For a fixed-size array property (`uint8 Data[16]`), its size; 0 for a
    // variable-size array or a scalar.
    virtual unsigned getArraySize() const { return 0; }

    // The qualifier named `name` (without regard to ASCII case), or null.
    KVOSmrPtr<IKivoQualifier> getQualifier(KVOString const& name) const {
        return KVOFindNamed(getQualifiers(), name);
    }
};
