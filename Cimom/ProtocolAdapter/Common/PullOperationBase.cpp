#include "Cimom/ProtocolAdapter/Common/PullOperationBase.h"

PullOperationBase::PullOperationBase() : PullOperationBase(0) {}

PullOperationBase::PullOperationBase(KVOuint32 maxObjCount)
    : EnumerationContextOperationBase(), EndOfSequenceOperationBase(), MaxObjectCountOperationBase(maxObjCount) {}

PullOperationBase::~PullOperationBase() = default;
