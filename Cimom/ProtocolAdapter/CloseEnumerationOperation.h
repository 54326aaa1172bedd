// The object manager's view of a CloseEnumeration request: an operation that
// carries nothing but the enumeration context of the enumeration to end.
//
// The handler's handleCloseEnumeration receives it; CloseEnumerationOperationBase
// implements it. The outcome is the operation's status, which the handler
// sets (or throws) and the adapter's writeResponse reports. No elements are
// returned. No data; not locked.
#pragma once

#include "Cimom/ProtocolAdapter/EnumerationContext.h"
#include "Cimom/ProtocolAdapter/KivoOperation.h"

class ICloseEnumerationOperation : public virtual IKivoOperation, public virtual IEnumerationContext {
public:
    ~ICloseEnumerationOperation() override = default;
};
