// The declaration of a CIM method in a class: name, return type, parameters,
// qualifiers and the class it comes from. Immutable once made, shared
// through KVOSmrPtr.
#pragma once

#include "KivoUtilities/IKivoParameter.h"
#include "KivoUtilities/IKivoQualifier.h"
#include "KivoUtilities/KVOCIMNamed.h"
#include "KivoUtilities/KVOCIMType.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"

#include <vector>

class IKivoMethod {
public:
    virtual ~IKivoMethod() = default;
    virtual KVOString getName() const = 0;
    virtual KVOCIMType getReturnType() const = 0;
    // In declaration order.
    virtual std::vector<KVOSmrPtr<IKivoParameter>> getParameters() const = 0;
    virtual std::vector<KVOSmrPtr<IKivoQualifier>> getQualifiers() const = 0;
    // The class that declares the method (empty when unknown).
    virtual KVOString getClassOrigin() const = 0;
    // True when inherited unchanged from a superclass.
    virtual bool isPropagated() const = 0;

    // The parameter named `name` (without regard to ASCII case), or null.
    KVOSmrPtr<IKivoParameter> getParameter(KVOString const& name) const {
        return KVOFindNamed(getParameters(), name);
    }
    // The qualifier named `name` (without regard to ASCII case), or null.
    KVOSmrPtr<IKivoQualifier> getQualifier(KVOString const& name) const {
        return KVOFindNamed(getQualifiers(), name);
    }
};
