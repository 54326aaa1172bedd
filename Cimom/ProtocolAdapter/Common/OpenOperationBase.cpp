#include "Cimom/ProtocolAdapter/Common/OpenOperationBase.h"

OpenOperationBase::OpenOperationBase(KVOString const& filterQueryLanguage, KVOString const& filterQuery,
                                     KVOuint32 operationTimeout, KVOboolean continueOnError)
    : FilterQueryLanguageOperationBase(filterQueryLanguage),
      FilterQueryOperationBase(filterQuery),
      OperationTimeoutOperationBase(operationTimeout),
      ContinueOnErrorOperationBase() {
    // In the body, so that the most-derived class's choice holds even though
    // it, not this layer, built the facet.
    setContinueOnError(continueOnError);
}

OpenOperationBase::~OpenOperationBase() = default;
