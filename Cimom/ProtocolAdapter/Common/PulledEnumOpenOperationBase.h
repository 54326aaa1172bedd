// The layer that gives an open operation both the pull and the open values,
// implementing IPulledEnumOpenOperation through PullOperationBase and
// OpenOperationBase.
//
// Every open operation base derives from it. It is complete in itself and
// holds nothing of its own.
//
// PullOperationBase, OpenOperationBase and the facets are virtual bases,
// built by the constructor of the object's most-derived class. As the
// complete object it starts every facet at its default (context "", end of
// sequence false, count 0, language and filter "", timeout absent,
// continue-on-error false) and only its continueOnError argument takes
// effect, through OpenOperationBase's body; as part of a larger operation
// none of its arguments does. The default arguments let a most-derived class
// that names nothing build it. Not locked.
#pragma once

#include "Cimom/ProtocolAdapter/Common/OpenOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/PullOperationBase.h"
#include "Cimom/ProtocolAdapter/PulledEnumOpenOperation.h"

class PulledEnumOpenOperationBase : public virtual IPulledEnumOpenOperation,
                                    public virtual PullOperationBase,
                                    public virtual OpenOperationBase {
public:
    explicit PulledEnumOpenOperationBase(KVOString const& filterQueryLanguage = KVOString(),
                                         KVOString const& filterQuery = KVOString(),
                                         KVOuint32 opTimeout = OPERATION_TIMEOUT_ABSENT,
                                         KVOboolean continueOnError = false);
    ~PulledEnumOpenOperationBase() override;
};
