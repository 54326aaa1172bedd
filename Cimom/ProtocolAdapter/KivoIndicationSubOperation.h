// An indication subscription request. The object manager's handler has an
// entry for it; the adapters' common layer defines no base class for it.
#pragma once

#include "Cimom/ProtocolAdapter/KivoOperation.h"

class IKivoIndicationSubOperation : public virtual IKivoOperation {
public:
    ~IKivoIndicationSubOperation() override = default;
};
