// The object manager's view of the values shared by every operation that
// opens a pulled enumeration: those of IPullOperation and of IOpenOperation.
//
// The first virtual base of every open operation's interface;
// PulledEnumOpenOperationBase implements it. No data; not locked.
#pragma once

#include "Cimom/ProtocolAdapter/OpenOperation.h"
#include "Cimom/ProtocolAdapter/PullOperation.h"

class IPulledEnumOpenOperation : public virtual IPullOperation, public virtual IOpenOperation {
public:
    ~IPulledEnumOpenOperation() override = default;
};
