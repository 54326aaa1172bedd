#include "Cimom/ProtocolAdapter/Common/KivoClassOriginatedOperationBase.h"

KivoClassOriginatedOperationBase::KivoClassOriginatedOperationBase() : classOrigin(false) {}
KivoClassOriginatedOperationBase::~KivoClassOriginatedOperationBase() = default;

bool KivoClassOriginatedOperationBase::getClassOrigin() const { return classOrigin; }
void KivoClassOriginatedOperationBase::setClassOrigin(bool value) { classOrigin = value; }
