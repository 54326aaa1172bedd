// The ModifyInstance operation as the object manager's handler sees it: the
// modified instance, its path, and the PropertyList naming the properties to
// modify.
//
// Implemented by KivoModifyInstanceOperationBase; the handler receives it in
// handleModifyInstance. PropertyList comes through its facet. The operation has
// no result besides its status. The adapter sets the parameters before
// processing and the handler only reads them; nothing is locked.
#pragma once

#include "Cimom/ProtocolAdapter/KivoOperation.h"
#include "Cimom/ProtocolAdapter/KivoPropertyListOperation.h"
#include "KivoUtilities/IKivoInstanceName.h"
#include "KivoUtilities/IKivoObject.h"

class IKivoModifyInstanceOperation : public virtual IKivoOperation, public virtual IKivoPropertyListOperation {
public:
    // The path of the ModifiedInstance parameter; null until the adapter sets
    // it.
    virtual KVOSmrPtr<IKivoInstanceName> getInstanceName() const = 0;
    // The ModifiedInstance parameter, shared with the operation; null until the
    // adapter sets it.
    virtual KVOSmrPtr<IKivoObject> getInstance() const = 0;
    ~IKivoModifyInstanceOperation() override = default;
};
