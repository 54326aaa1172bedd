// A CIM qualifier declaration: the name, type, default value, scopes and
// default flavors of a qualifier, owned by the object manager and handed out
// as a pointer to const (or shared through KVOSmrPtr). Immutable once made;
// any thread may read it.
//
// The textual members are pure; the typed ones default from them: the type
// read from getType(), a scalar, the default value as a string value (null
// when the text is empty), every scope, the CIM default flavors.
#pragma once

#include "KivoUtilities/IKivoQualifier.h"
#include "KivoUtilities/IKivoValue.h"
#include "KivoUtilities/KVOCIMType.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"

// The elements a qualifier may be attached to, as bits of a scope mask.
struct KVOQualifierScope {
    static constexpr unsigned CLASS = 1u << 0;
    static constexpr unsigned ASSOCIATION = 1u << 1;
    static constexpr unsigned INDICATION = 1u << 2;
    static constexpr unsigned PROPERTY = 1u << 3;
    static constexpr unsigned REFERENCE = 1u << 4;
    static constexpr unsigned METHOD = 1u << 5;
    static constexpr unsigned PARAMETER = 1u << 6;
    static constexpr unsigned ANY = (1u << 7) - 1;
};

namespace qora {

class IQualifierDef {
public:
    virtual ~IQualifierDef() = default;
    virtual KVOString getName() const = 0;
    // CIM type name of the qualifier's value ("boolean", "string", ...).
    virtual KVOString getType() const = 0;
    // Default value as text; empty when none.
    virtual KVOString getDefaultValue() const = 0;

    virtual KVOCIMType getCIMType() const;
    virtual bool isArray() const { return false; }
    // The typed default value; null when there is none.
    virtual KVOSmrPtr<IKivoValue> getDefault() const;
    // A mask of KVOQualifierScope bits.
    virtual unsigned getScopes() const { return KVOQualifierScope::ANY; }
    virtual KVOQualifierFlavors getFlavors() const { return KVOQualifierFlavors(); }
};

}  // namespace qora
