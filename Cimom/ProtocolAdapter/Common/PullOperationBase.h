// The layer that gives an operation the pull values: enumeration context,
// end of sequence and maximum object count, implementing IPullOperation
// through their facet bases.
//
// PulledEnumOpenOperationBase and the pull operation bases derive from it. It
// is complete in itself (no pure virtual operation) and holds nothing of its
// own.
//
// The facet bases are virtual bases, built by the constructor of the
// object's most-derived class: the count given to PullOperationBase(maxObjCount)
// takes effect only when PullOperationBase is itself the complete object. A
// most-derived class that names no facet starts with "" for the context,
// false for end of sequence and 0 for the count (the facets' default
// arguments). Not copyable; not locked.
#pragma once

#include "Cimom/ProtocolAdapter/Common/EndOfSequenceOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/EnumerationContextOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/MaxObjectCountOperationBase.h"
#include "Cimom/ProtocolAdapter/PullOperation.h"

class PullOperationBase : public virtual IPullOperation,
                          public virtual EnumerationContextOperationBase,
                          public virtual EndOfSequenceOperationBase,
                          public virtual MaxObjectCountOperationBase {
public:
    PullOperationBase();
    explicit PullOperationBase(KVOuint32 maxObjCount);
    ~PullOperationBase() override;

private:
    PullOperationBase(PullOperationBase const&);
    PullOperationBase& operator=(PullOperationBase const&);
};
