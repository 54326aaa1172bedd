#include "Cimom/ProtocolAdapter/Common/KivoDeeplyInheritedOperationBase.h"

KivoDeeplyInheritedOperationBase::KivoDeeplyInheritedOperationBase() : deepInheritance(false) {}
KivoDeeplyInheritedOperationBase::~KivoDeeplyInheritedOperationBase() = default;

bool KivoDeeplyInheritedOperationBase::getDeepInheritance() const { return deepInheritance; }
void KivoDeeplyInheritedOperationBase::setDeepInheritance(bool value) { deepInheritance = value; }
