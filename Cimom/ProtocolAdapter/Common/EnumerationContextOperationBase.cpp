#include "Cimom/ProtocolAdapter/Common/EnumerationContextOperationBase.h"

EnumerationContextOperationBase::EnumerationContextOperationBase() : enumerationContext() {}
EnumerationContextOperationBase::~EnumerationContextOperationBase() = default;

KVOString EnumerationContextOperationBase::getEnumerationContext() const { return enumerationContext; }
void EnumerationContextOperationBase::setEnumerationContext(KVOString const& value) { enumerationContext = value; }
