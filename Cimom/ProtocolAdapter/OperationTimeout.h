// The operation timeout facet: the object manager's view of how long an open
// enumeration may stay idle between operations, or that the client gave no
// such time.
//
// A virtual base of IOpenOperation; OperationTimeoutOperationBase stores it
// and offers the setter to the adapter. The handler only reads it. The value
// is kept in the unit of the request parameter; the library neither converts
// nor interprets it. Not locked.
#pragma once

#include "KivoUtilities/KVOTypes.h"

class IOperationTimeout {
public:
    // The stored timeout that stands for "the request carried none".
    static constexpr KVOuint32 OPERATION_TIMEOUT_ABSENT = 0xFFFFFFFFu;

    // True unless the stored timeout is OPERATION_TIMEOUT_ABSENT; 0 counts as
    // present.
    virtual KVOboolean isOperationTimeoutPresent() const = 0;
    // The stored number, OPERATION_TIMEOUT_ABSENT included.
    virtual KVOuint32 getOperationTimeout() const = 0;
    virtual ~IOperationTimeout() = default;
};
