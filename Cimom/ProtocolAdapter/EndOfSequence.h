// The end-of-sequence facet: the object manager's view of whether a response
// delivers the last elements of a pulled enumeration.
//
// A virtual base of IPullOperation; EndOfSequenceOperationBase stores it. The
// handler records it, the adapter's writeResponse reads it. Not locked.
#pragma once

class IEndOfSequence {
public:
    // True when the response carries the last elements; false until set.
    virtual bool getEndOfSequence() const = 0;
    virtual void setEndOfSequence(bool endOfSequence) = 0;
    virtual ~IEndOfSequence() = default;
};
