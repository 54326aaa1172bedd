#include "Cimom/ProtocolAdapter/Common/KivoAssociatorsBase.h"

#include <utility>

KivoAssociatorsBase::KivoAssociatorsBase() = default;
KivoAssociatorsBase::~KivoAssociatorsBase() = default;

KVOSmrPtr<IKivoInstanceName> KivoAssociatorsBase::getSourceInstance() const { return sourceInstance; }
KVOString KivoAssociatorsBase::getResultClass() const { return resultClass; }
KVOString KivoAssociatorsBase::getAssociationClass() const { return associationClass; }
KVOString KivoAssociatorsBase::getRole() const { return role; }
KVOString KivoAssociatorsBase::getResultRole() const { return resultRole; }

void KivoAssociatorsBase::setSourceInstance(KVOSmrPtr<IKivoInstanceName> source) { sourceInstance = std::move(source); }
void KivoAssociatorsBase::setResultClass(KVOString const& value) { resultClass = value; }
void KivoAssociatorsBase::setAssociationClass(KVOString const& association) { associationClass = association; }
void KivoAssociatorsBase::setRole(KVOString const& value) { role = value; }
void KivoAssociatorsBase::setResultRole(KVOString const& value) { resultRole = value; }
