// The base class of the maximum object count facet: it stores the largest
// number of elements that one response may carry.
//
// PullOperationBase derives from it virtually, so the constructor of the
// object's most-derived class builds it; the default argument 0 is the count
// an operation starts with when that class names no other. The adapter sets
// the request's count with setMaxObjectCount; the handler reads it through
// IMaxObjectCount. Every count is stored unchanged, 0 included. Not copyable;
// not locked.
#pragma once

#include "Cimom/ProtocolAdapter/MaxObjectCount.h"

class MaxObjectCountOperationBase : public virtual IMaxObjectCount {
public:
    explicit MaxObjectCountOperationBase(KVOuint32 count = 0);
    KVOuint32 getMaxObjectCount() const override;
    ~MaxObjectCountOperationBase() override;
    virtual void setMaxObjectCount(KVOuint32 maxObjectCount);

protected:
    KVOuint32 maxObjectCount;

private:
    MaxObjectCountOperationBase(MaxObjectCountOperationBase const&);
    MaxObjectCountOperationBase& operator=(MaxObjectCountOperationBase const&);
};
