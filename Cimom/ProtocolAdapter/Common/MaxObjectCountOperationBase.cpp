#include "Cimom/ProtocolAdapter/Common/MaxObjectCountOperationBase.h"

MaxObjectCountOperationBase::MaxObjectCountOperationBase(KVOuint32 count) : maxObjectCount(count) {}
MaxObjectCountOperationBase::~MaxObjectCountOperationBase() = default;

KVOuint32 MaxObjectCountOperationBase::getMaxObjectCount() const { return maxObjectCount; }
void MaxObjectCountOperationBase::setMaxObjectCount(KVOuint32 value) { maxObjectCount = value; }
