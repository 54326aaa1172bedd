// The base class of the continue-on-error facet: it stores whether an
// enumeration goes on after an element fails, false until set.
//
// OpenOperationBase derives from it virtually; the adapter sets the flag
// with setContinueOnError, the handler reads it through IContinueOnError.
// Not copyable; not locked.
#pragma once

#include "Cimom/ProtocolAdapter/ContinueOnError.h"

class ContinueOnErrorOperationBase : public virtual IContinueOnError {
public:
    ContinueOnErrorOperationBase();
    bool getContinueOnError() const override;
    ~ContinueOnErrorOperationBase() override;
    virtual void setContinueOnError(bool continueOnError);

protected:
    bool continueOnError;

private:
    ContinueOnErrorOperationBase(ContinueOnErrorOperationBase const&);
    ContinueOnErrorOperationBase& operator=(ContinueOnErrorOperationBase const&);
};
