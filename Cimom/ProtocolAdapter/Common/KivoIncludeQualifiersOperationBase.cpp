#include "Cimom/ProtocolAdapter/Common/KivoIncludeQualifiersOperationBase.h"

KivoIncludeQualifiersOperationBase::KivoIncludeQualifiersOperationBase() : includeQualifiers(false) {}
KivoIncludeQualifiersOperationBase::~KivoIncludeQualifiersOperationBase() = default;

bool KivoIncludeQualifiersOperationBase::getIncludeQualifiers() const { return includeQualifiers; }
void KivoIncludeQualifiersOperationBase::setIncludeQualifiers(bool value) { includeQualifiers = value; }
