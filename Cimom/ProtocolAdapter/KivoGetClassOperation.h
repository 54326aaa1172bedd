// The GetClass operation as the object manager's handler sees it: the request's
// parameters and the slot for the class found.
//
// Implemented by KivoGetClassOperationBase; the handler receives it in
// handleGetClass. The class to get is named by the operation's class name and
// namespace (IKivoOperation); LocalOnly, IncludeQualifiers, IncludeClassOrigin
// and PropertyList come through the facets. The handler stores the result
// before its entry returns, on the adapter's thread; nothing is locked.
#pragma once

#include "Cimom/ProtocolAdapter/KivoClassOriginatedOperation.h"
#include "Cimom/ProtocolAdapter/KivoIncludeQualifiersOperation.h"
#include "Cimom/ProtocolAdapter/KivoLocalOnlyOperation.h"
#include "Cimom/ProtocolAdapter/KivoOperation.h"
#include "Cimom/ProtocolAdapter/KivoPropertyListOperation.h"
#include "KivoUtilities/IKivoClass.h"

class IKivoGetClassOperation : public virtual IKivoOperation,
                               public virtual IKivoLocalOnlyOperation,
                               public virtual IKivoIncludeQualifiersOperation,
                               public virtual IKivoClassOriginatedOperation,
                               public virtual IKivoPropertyListOperation {
public:
    // Stores the class found, sharing it. May be called again: the adapter
    // writes the class stored last, and a null class if none was stored.
    virtual void setClass(KVOSmrPtr<IKivoClass> cls) = 0;
    ~IKivoGetClassOperation() override = default;
};
