// The object manager's view of what every open and pull operation carries:
// the enumeration context, the end-of-sequence flag and the maximum object
// count.
//
// A virtual base of IPulledEnumOpenOperation and of the pull operations'
// interfaces; PullOperationBase implements it through the facet bases. The
// handler reads the context and the count, and records the next context and
// the end-of-sequence flag before it returns. No data; not locked.
#pragma once

#include "Cimom/ProtocolAdapter/EndOfSequence.h"
#include "Cimom/ProtocolAdapter/EnumerationContext.h"
#include "Cimom/ProtocolAdapter/MaxObjectCount.h"

class IPullOperation : public virtual IEnumerationContext,
                       public virtual IEndOfSequence,
                       public virtual IMaxObjectCount {
public:
    ~IPullOperation() override = default;
};
