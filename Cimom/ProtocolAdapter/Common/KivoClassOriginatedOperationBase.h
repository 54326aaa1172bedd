// The base class of the class-origin facet: it stores the IncludeClassOrigin
// parameter of a request, false until set.
//
// Operation bases whose operations accept the parameter derive from it; the
// adapter sets the parameter through it, and the handler reads it through
// IKivoClassOriginatedOperation, a virtual base shared with the operation's
// interface.
//
// Not copyable. Not locked: set before processing, only read during it.
#pragma once

#include "Cimom/ProtocolAdapter/KivoClassOriginatedOperation.h"

class KivoClassOriginatedOperationBase : public virtual IKivoClassOriginatedOperation {
public:
    KivoClassOriginatedOperationBase();
    bool getClassOrigin() const override;
    ~KivoClassOriginatedOperationBase() override;
    // Replaces the stored value.
    virtual void setClassOrigin(bool classOrigin);

protected:
    bool classOrigin;

private:
    KivoClassOriginatedOperationBase(KivoClassOriginatedOperationBase const&);
    KivoClassOriginatedOperationBase& operator=(KivoClassOriginatedOperationBase const&);
};
