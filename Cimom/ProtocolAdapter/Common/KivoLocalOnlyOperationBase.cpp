#include "Cimom/ProtocolAdapter/Common/KivoLocalOnlyOperationBase.h"

KivoLocalOnlyOperationBase::KivoLocalOnlyOperationBase() : localOnly(false) {}
KivoLocalOnlyOperationBase::~KivoLocalOnlyOperationBase() = default;

bool KivoLocalOnlyOperationBase::getLocalOnly() const { return localOnly; }
void KivoLocalOnlyOperationBase::setLocalOnly(bool value) { localOnly = value; }
