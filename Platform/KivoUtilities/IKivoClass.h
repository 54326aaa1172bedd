// A CIM class: its name, its superclass, its properties, methods and
// qualifiers.
//
// A class object carries the properties and methods that a response (or the
// repository) gives it. Those the class declares or overrides itself are not
// propagated; a class resolved with its inherited members also carries the
// inherited ones, marked propagated and naming their class origin. The
// superclass link always leads to the superclass's own object, so walking
// getSuperClass() and getPropertyNames(0) finds where each property is
// declared.
//
// Immutable once made, shared through KVOSmrPtr; any thread may read it.
// Name, superclass and property names are pure; the other members default to
// a class that carries no property, method or qualifier objects.
#pragma once

#include "KivoUtilities/IKivoMethod.h"
#include "KivoUtilities/IKivoProperty.h"
#include "KivoUtilities/IKivoQualifier.h"
#include "KivoUtilities/Iterator.h"
#include "KivoUtilities/KVOCIMNamed.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"

#include <vector>

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

    // The superclass's name; empty at the root.
    virtual KVOString getSuperClassName() const {
        KVOSmrPtr<IKivoClass> s = getSuperClass();
        return s ? s->getName() : KVOString();
    }
    // Every property the object carries, in the class's order (a class
    // resolved with its inherited members lists them in the superclass's
    // order, overrides in place, before the ones it adds).
    virtual std::vector<KVOSmrPtr<IKivoProperty>> getProperties() const { return {}; }
    // Every method the object carries, in the same order as the properties.
    virtual std::vector<KVOSmrPtr<IKivoMethod>> getMethods() const { return {}; }
    virtual std::vector<KVOSmrPtr<IKivoQualifier>> getQualifiers() const { return {}; }

    // Lookups among the carried members by name, without regard to ASCII
    // case; null when absent.
    KVOSmrPtr<IKivoProperty> getProperty(KVOString const& name) const {
        return KVOFindNamed(getProperties(), name);
    }
    KVOSmrPtr<IKivoMethod> getMethod(KVOString const& name) const {
        return KVOFindNamed(getMethods(), name);
    }
    KVOSmrPtr<IKivoQualifier> getQualifier(KVOString const& name) const {
        return KVOFindNamed(getQualifiers(), name);
    }
    // Whether the class carries the Association qualifier with a true value.
    bool isAssociation() const { return KVOQualifierFlag(getQualifier("Association")); }
};
