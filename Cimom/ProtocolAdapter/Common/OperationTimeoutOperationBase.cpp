#include "Cimom/ProtocolAdapter/Common/OperationTimeoutOperationBase.h"

OperationTimeoutOperationBase::OperationTimeoutOperationBase(KVOuint32 opTimeout) : operationTimeout(opTimeout) {}
OperationTimeoutOperationBase::~OperationTimeoutOperationBase() = default;

KVOboolean OperationTimeoutOperationBase::isOperationTimeoutPresent() const {
    return operationTimeout != OPERATION_TIMEOUT_ABSENT;
}
KVOuint32 OperationTimeoutOperationBase::getOperationTimeout() const { return operationTimeout; }
void OperationTimeoutOperationBase::setOperationTimeout(KVOuint32 value) { operationTimeout = value; }
