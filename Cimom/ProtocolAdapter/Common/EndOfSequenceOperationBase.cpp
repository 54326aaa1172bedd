#include "Cimom/ProtocolAdapter/Common/EndOfSequenceOperationBase.h"

EndOfSequenceOperationBase::EndOfSequenceOperationBase() : endOfSequence(false) {}
EndOfSequenceOperationBase::~EndOfSequenceOperationBase() = default;

bool EndOfSequenceOperationBase::getEndOfSequence() const { return endOfSequence; }
void EndOfSequenceOperationBase::setEndOfSequence(bool value) { endOfSequence = value; }
