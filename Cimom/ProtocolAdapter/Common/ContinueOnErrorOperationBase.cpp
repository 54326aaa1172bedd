#include "Cimom/ProtocolAdapter/Common/ContinueOnErrorOperationBase.h"

ContinueOnErrorOperationBase::ContinueOnErrorOperationBase() : continueOnError(false) {}
ContinueOnErrorOperationBase::~ContinueOnErrorOperationBase() = default;

bool ContinueOnErrorOperationBase::getContinueOnError() const { return continueOnError; }
void ContinueOnErrorOperationBase::setContinueOnError(bool value) { continueOnError = value; }
