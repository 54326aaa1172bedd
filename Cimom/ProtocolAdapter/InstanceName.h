// The instance name facet: the path of one instance, as an operation's
// handler reads and records it.
//
// Offered to adapters for operations of their own; InstanceNameBase stores
// it. No operation class of the library combines it. Not locked.
#pragma once

#include "KivoUtilities/IKivoInstanceName.h"
#include "KivoUtilities/KVOSmrPtr.h"

class IInstanceName {
public:
    // Shares the stored path; null until one is set.
    virtual KVOSmrPtr<IKivoInstanceName> getInstanceName() const = 0;
    // Releases the stored path and shares instanceName (null accepted).
    virtual void setInstanceName(KVOSmrPtr<IKivoInstanceName> instanceName) = 0;
    virtual ~IInstanceName() = default;
};
