// The continue-on-error facet: the object manager's view of whether an
// enumeration goes on after one of its elements fails.
//
// A virtual base of IOpenOperation; ContinueOnErrorOperationBase stores it
// and offers the setter to the adapter. The handler only reads it. Not
// locked.
#pragma once

class IContinueOnError {
public:
    // False unless the adapter set it.
    virtual bool getContinueOnError() const = 0;
    virtual ~IContinueOnError() = default;
};
