// The base class of the LocalOnly facet: it stores the LocalOnly parameter of a
// request, false until set.
//
// Operation bases whose operations accept the parameter derive from it; the
// adapter sets the parameter through it, and the handler reads it through
// IKivoLocalOnlyOperation, a virtual base shared with the operation's
// interface.
//
// Not copyable. Not locked: set before processing, only read during it.
#pragma once

#include "Cimom/ProtocolAdapter/KivoLocalOnlyOperation.h"

class KivoLocalOnlyOperationBase : public virtual IKivoLocalOnlyOperation {
public:
    KivoLocalOnlyOperationBase();
    bool getLocalOnly() const override;
    ~KivoLocalOnlyOperationBase() override;
    // Replaces the stored value.
    virtual void setLocalOnly(bool localOnly);

protected:
    bool localOnly;

private:
    KivoLocalOnlyOperationBase(KivoLocalOnlyOperationBase const&);
    KivoLocalOnlyOperationBase& operator=(KivoLocalOnlyOperationBase const&);
};
