#include "Cimom/ProtocolAdapter/Common/InstanceNameBase.h"

#include <utility>

InstanceNameBase::InstanceNameBase() : instanceName() {}
InstanceNameBase::~InstanceNameBase() = default;

KVOSmrPtr<IKivoInstanceName> InstanceNameBase::getInstanceName() const { return instanceName; }
void InstanceNameBase::setInstanceName(KVOSmrPtr<IKivoInstanceName> value) { instanceName = std::move(value); }
