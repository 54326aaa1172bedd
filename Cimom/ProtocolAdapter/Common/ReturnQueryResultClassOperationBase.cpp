#include "Cimom/ProtocolAdapter/Common/ReturnQueryResultClassOperationBase.h"

ReturnQueryResultClassOperationBase::ReturnQueryResultClassOperationBase() : returnQueryResultClass(false) {}
ReturnQueryResultClassOperationBase::~ReturnQueryResultClassOperationBase() = default;

bool ReturnQueryResultClassOperationBase::getReturnQueryResultClass() const { return returnQueryResultClass; }
void ReturnQueryResultClassOperationBase::setReturnQueryResultClass(bool value) { returnQueryResultClass = value; }
