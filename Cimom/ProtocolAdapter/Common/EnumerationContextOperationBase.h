// The base class of the enumeration context facet: it stores the identifier
// of an open pulled enumeration, "" until set.
//
// PullOperationBase derives from it virtually and CloseEnumerationOperationBase
// directly; the adapter sets the request's context through it, the handler
// records the next one through IEnumerationContext, a virtual base shared
// with the operation's interface. Not copyable. Not locked: the adapter sets
// it before processing and reads it back after the handler has returned.
#pragma once

#include "Cimom/ProtocolAdapter/EnumerationContext.h"

class EnumerationContextOperationBase : public virtual IEnumerationContext {
public:
    EnumerationContextOperationBase();
    KVOString getEnumerationContext() const override;
    void setEnumerationContext(KVOString const& enumerationContext) override;
    ~EnumerationContextOperationBase() override;

protected:
    KVOString enumerationContext;

private:
    EnumerationContextOperationBase(EnumerationContextOperationBase const&);
    EnumerationContextOperationBase& operator=(EnumerationContextOperationBase const&);
};
