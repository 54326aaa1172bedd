// The base class of the end-of-sequence facet: it stores whether a response
// ends its enumeration, false until set.
//
// PullOperationBase derives from it virtually; the handler records the flag
// through IEndOfSequence, and the adapter's writeResponse reads it. Not
// copyable. Not locked: set by the handler before writeResponse reads it.
#pragma once

#include "Cimom/ProtocolAdapter/EndOfSequence.h"

class EndOfSequenceOperationBase : public virtual IEndOfSequence {
public:
    EndOfSequenceOperationBase();
    bool getEndOfSequence() const override;
    void setEndOfSequence(bool endOfSequence) override;
    ~EndOfSequenceOperationBase() override;

protected:
    bool endOfSequence;

private:
    EndOfSequenceOperationBase(EndOfSequenceOperationBase const&);
    EndOfSequenceOperationBase& operator=(EndOfSequenceOperationBase const&);
};
