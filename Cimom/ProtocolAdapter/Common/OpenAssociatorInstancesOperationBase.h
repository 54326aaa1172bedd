// The base class of the OpenAssociatorInstances operation: the Associators
// operation with the open values, named "OpenAssociatorInstances" and handed
// to the handler's handleOpenAssociatorInstances instead of handleAssociators;
// the associated instances (as values) stream through the collection of
// KivoAssociatorsOperationBase.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// It sets the Associators parameters through the intrinsic bases and the open
// ones through the facet bases (setFilterQueryLanguage, setFilterQuery,
// setFilterMap, setOperationTimeout, setContinueOnError, setMaxObjectCount),
// calls process, and in writeResponse consumes the associated instances (as
// values) and reads back the enumeration context and the end-of-sequence flag.
//
// The adapter class is the most-derived class, so it builds the facets and the
// pull and open layers (all virtual bases); unless it names other values they
// start at the request defaults: context "", end of sequence false, count 0,
// no filter, no timeout, continue-on-error false. IncludeClassOrigin starts
// false, the property list null. The values this constructor sets in its body
// hold whatever the adapter class names. The collection is unbounded. Not
// copyable; the values are not locked.
//
// IKivoAssociatorsOperation is reached twice: as a virtual base through
// IOpenAssociatorInstancesOperation and as a direct base of
// KivoAssociatorsOperationBase. Both copies hold nothing but virtual bases, so
// every operation has one final overrider and the handler converts its
// IOpenAssociatorInstancesOperation pointer to IKivoAssociatorsOperation
// without ambiguity; only the whole object cannot be converted to
// IKivoAssociatorsOperation directly (go through
// IOpenAssociatorInstancesOperation). The compiler's warning about the second
// copy is silenced for this class; an adapter class derived from it may see it
// again.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoAssociatorsOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/PulledEnumOpenOperationBase.h"
#include "Cimom/ProtocolAdapter/OpenAssociatorInstancesOperation.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winaccessible-base"
class OpenAssociatorInstancesOperationBase : public IOpenAssociatorInstancesOperation,
                                             public PulledEnumOpenOperationBase,
                                             public KivoAssociatorsOperationBase {
public:
    explicit OpenAssociatorInstancesOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    ~OpenAssociatorInstancesOperationBase() override;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    OpenAssociatorInstancesOperationBase(OpenAssociatorInstancesOperationBase const&);
    OpenAssociatorInstancesOperationBase& operator=(OpenAssociatorInstancesOperationBase const&);
};
#pragma GCC diagnostic pop
