#include "Cimom/ProtocolAdapter/Common/PulledEnumOpenOperationBase.h"

// The facets are left to their default constructors: this layer never names
// values for them (OpenOperationBase's would not reach them anyway).
PulledEnumOpenOperationBase::PulledEnumOpenOperationBase(KVOString const& filterQueryLanguage,
                                                         KVOString const& filterQuery, KVOuint32 opTimeout,
                                                         KVOboolean continueOnError)
    : PullOperationBase(), OpenOperationBase(filterQueryLanguage, filterQuery, opTimeout, continueOnError) {}

PulledEnumOpenOperationBase::~PulledEnumOpenOperationBase() = default;
