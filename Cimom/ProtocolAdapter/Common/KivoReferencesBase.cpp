#include "Cimom/ProtocolAdapter/Common/KivoReferencesBase.h"

#include <utility>

KivoReferencesBase::KivoReferencesBase() = default;
KivoReferencesBase::~KivoReferencesBase() = default;

KVOSmrPtr<IKivoInstanceName> KivoReferencesBase::getSourceInstance() const { return sourceInstance; }
KVOString KivoReferencesBase::getResultClass() const { return resultClass; }
KVOString KivoReferencesBase::getRole() { return role; }

void KivoReferencesBase::setSourceInstance(KVOSmrPtr<IKivoInstanceName> value) { sourceInstance = std::move(value); }
void KivoReferencesBase::setResultClass(KVOString const& value) { resultClass = value; }
void KivoReferencesBase::setRole(KVOString const& value) { role = value; }
