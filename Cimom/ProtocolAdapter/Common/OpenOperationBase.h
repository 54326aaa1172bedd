// The layer that gives an operation the open values: filter query language,
// filter query with its filter map, operation timeout and continue-on-error,
// implementing IOpenOperation through their facet bases.
//
// PulledEnumOpenOperationBase derives from it. It is complete in itself (no
// pure virtual operation) and holds nothing of its own.
//
// The facet bases are virtual bases, built by the constructor of the
// object's most-derived class, so the language, filter and timeout arguments
// take effect only when OpenOperationBase is itself the complete object.
// continueOnError is applied in the constructor's body and takes effect in
// every case. The default arguments are the values of a request without
// filter, timeout or continue-on-error, so a most-derived class that names
// nothing gets them. Not copyable; not locked.
#pragma once

#include "Cimom/ProtocolAdapter/Common/ContinueOnErrorOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/FilterQueryLanguageOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/FilterQueryOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/OperationTimeoutOperationBase.h"
#include "Cimom/ProtocolAdapter/OpenOperation.h"

class OpenOperationBase : public virtual IOpenOperation,
                          public virtual FilterQueryLanguageOperationBase,
                          public virtual FilterQueryOperationBase,
                          public virtual OperationTimeoutOperationBase,
                          public virtual ContinueOnErrorOperationBase {
public:
    explicit OpenOperationBase(KVOString const& filterQueryLanguage = KVOString(),
                               KVOString const& filterQuery = KVOString(),
                               KVOuint32 operationTimeout = OPERATION_TIMEOUT_ABSENT,
                               KVOboolean continueOnError = false);
    ~OpenOperationBase() override;

private:
    OpenOperationBase(OpenOperationBase const&);
    OpenOperationBase& operator=(OpenOperationBase const&);
};
