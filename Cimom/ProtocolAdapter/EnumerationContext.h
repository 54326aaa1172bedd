// The enumeration context facet: the object manager's view of the identifier
// of an open pulled enumeration.
//
// A virtual base of IPullOperation and ICloseEnumerationOperation, so an
// operation holds it once; EnumerationContextOperationBase stores it. The
// adapter sets the request's context, the handler reads it and records the
// context of the next call. Opaque to the library; not locked.
#pragma once

#include "KivoUtilities/KVOString.h"

class IEnumerationContext {
public:
    // The enumeration context, "" until one is set.
    virtual KVOString getEnumerationContext() const = 0;
    // Replaces the enumeration context; the handler records here the context
    // that the client passes with its next request.
    virtual void setEnumerationContext(KVOString const& enumerationContext) = 0;
    virtual ~IEnumerationContext() = default;
};
