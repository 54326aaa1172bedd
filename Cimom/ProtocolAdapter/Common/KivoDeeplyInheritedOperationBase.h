// The base class of the DeepInheritance facet: it stores the DeepInheritance
// parameter of a request, false until set.
//
// Operation bases whose operations accept the parameter derive from it; the
// adapter sets the parameter through it, and the handler reads it through
// IKivoDeeplyInheritedOperation, a virtual base shared with the operation's
// interface.
//
// Not copyable. Not locked: set before processing, only read during it.
#pragma once

#include "Cimom/ProtocolAdapter/KivoDeeplyInheritedOperation.h"

class KivoDeeplyInheritedOperationBase : public virtual IKivoDeeplyInheritedOperation {
public:
    KivoDeeplyInheritedOperationBase();
    bool getDeepInheritance() const override;
    ~KivoDeeplyInheritedOperationBase() override;
    // Replaces the stored value.
    virtual void setDeepInheritance(bool deepInheritance);

protected:
    bool deepInheritance;

private:
    KivoDeeplyInheritedOperationBase(KivoDeeplyInheritedOperationBase const&);
    KivoDeeplyInheritedOperationBase& operator=(KivoDeeplyInheritedOperationBase const&);
};
