// The base class of the IncludeQualifiers facet: it stores the
// IncludeQualifiers parameter of a request, false until set.
//
// Operation bases whose operations accept the parameter derive from it; the
// adapter sets the parameter through it, and the handler reads it through
// IKivoIncludeQualifiersOperation, a virtual base shared with the operation's
// interface.
//
// Not copyable. Not locked: set before processing, only read during it.
#pragma once

#include "Cimom/ProtocolAdapter/KivoIncludeQualifiersOperation.h"

class KivoIncludeQualifiersOperationBase : public virtual IKivoIncludeQualifiersOperation {
public:
    KivoIncludeQualifiersOperationBase();
    bool getIncludeQualifiers() const override;
    ~KivoIncludeQualifiersOperationBase() override;
    // Replaces the stored value.
    virtual void setIncludeQualifiers(bool includeQualifiers);

protected:
    bool includeQualifiers;

private:
    KivoIncludeQualifiersOperationBase(KivoIncludeQualifiersOperationBase const&);
    KivoIncludeQualifiersOperationBase& operator=(KivoIncludeQualifiersOperationBase const&);
};
