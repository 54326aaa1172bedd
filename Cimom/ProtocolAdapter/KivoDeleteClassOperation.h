// The DeleteClass operation as the object manager's handler sees it.
//
// Implemented by KivoDeleteClassOperationBase; the handler receives it in
// handleDeleteClass. The class to delete (the ClassName parameter) is the
// operation's class name in the operation's namespace (IKivoOperation), as
// for GetClass; the request has no other parameter, and the operation no
// result besides its status. Nothing is locked.
#pragma once

#include "Cimom/ProtocolAdapter/KivoOperation.h"

class IKivoDeleteClassOperation : public virtual IKivoOperation {
public:
    ~IKivoDeleteClassOperation() override = default;
};
