// The base class of the instance name facet: it stores the path of one
// instance, null until set.
//
// Offered to adapters that build operations of their own; no operation class
// of the library derives from it. Both the adapter and the handler (through
// IInstanceName) may set the path. Its field is private. Not copyable; not
// locked.
#pragma once

#include "Cimom/ProtocolAdapter/InstanceName.h"

class InstanceNameBase : public virtual IInstanceName {
public:
    InstanceNameBase();
    KVOSmrPtr<IKivoInstanceName> getInstanceName() const override;
    void setInstanceName(KVOSmrPtr<IKivoInstanceName> instanceName) override;
    ~InstanceNameBase() override;

private:
    KVOSmrPtr<IKivoInstanceName> instanceName;

    InstanceNameBase(InstanceNameBase const&);
    InstanceNameBase& operator=(InstanceNameBase const&);
};
