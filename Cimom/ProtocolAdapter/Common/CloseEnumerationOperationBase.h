// The base class of the CloseEnumeration operation, which ends an open
// pulled enumeration early and needs nothing but its enumeration context.
//
// The concrete adapter derives from it and supplies isValid and
// writeResponse; the handler receives it through ICloseEnumerationOperation
// in handleCloseEnumeration. It returns no elements: the outcome is the
// operation's status. Not copyable; not locked (built and processed on the
// adapter's thread).
#pragma once

#include "Cimom/ProtocolAdapter/CloseEnumerationOperation.h"
#include "Cimom/ProtocolAdapter/Common/EnumerationContextOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"

class CloseEnumerationOperationBase : public ICloseEnumerationOperation,
                                      public KivoOperationBase,
                                      public EnumerationContextOperationBase {
public:
    // Named "CloseEnumeration"; sessionContext is the enumeration to close.
    CloseEnumerationOperationBase(IKivoOperationHandlerContext* opHandlerContext, KVOString const& sessionContext);
    ~CloseEnumerationOperationBase() override;

protected:
    // Calls handleCloseEnumeration.
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    CloseEnumerationOperationBase(CloseEnumerationOperationBase const&);
    CloseEnumerationOperationBase& operator=(CloseEnumerationOperationBase const&);
};
