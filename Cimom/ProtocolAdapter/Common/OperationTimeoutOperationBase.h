// The base class of the operation timeout facet: it stores the idle time
// allowed to an open enumeration, or OPERATION_TIMEOUT_ABSENT when the
// request carried none.
//
// OpenOperationBase derives from it virtually, so the constructor of the
// object's most-derived class builds it; the default argument (absent) is
// the timeout an operation starts with when that class names no other. The
// adapter records a request without OperationTimeout by storing
// OPERATION_TIMEOUT_ABSENT; the constructor and the setter store their
// argument unchanged. Not copyable; not locked.
#pragma once

#include "Cimom/ProtocolAdapter/OperationTimeout.h"

class OperationTimeoutOperationBase : public virtual IOperationTimeout {
public:
    explicit OperationTimeoutOperationBase(KVOuint32 opTimeout = OPERATION_TIMEOUT_ABSENT);
    KVOboolean isOperationTimeoutPresent() const override;
    KVOuint32 getOperationTimeout() const override;
    ~OperationTimeoutOperationBase() override;
    virtual void setOperationTimeout(KVOuint32 operationTimeout);

protected:
    KVOuint32 operationTimeout;

private:
    OperationTimeoutOperationBase(OperationTimeoutOperationBase const&);
    OperationTimeoutOperationBase& operator=(OperationTimeoutOperationBase const&);
};
