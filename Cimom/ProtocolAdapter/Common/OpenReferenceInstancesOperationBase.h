// The base class of the OpenReferenceInstances operation: the References
// operation with the open values, named "OpenReferenceInstances" and handed to
// the handler's handleOpenReferenceInstances instead of handleReferences; the
// referencing instances (as values) stream through the collection of
// KivoReferencesOperationBase.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// It sets the References parameters through the intrinsic bases and the open
// ones through the facet bases (setFilterQueryLanguage, setFilterQuery,
// setFilterMap, setOperationTimeout, setContinueOnError, setMaxObjectCount),
// calls process, and in writeResponse consumes the referencing instances (as
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
// IKivoReferencesOperation is reached twice: as a virtual base through
// IOpenReferenceInstancesOperation and as a direct base of
// KivoReferencesOperationBase. Both copies hold nothing but virtual bases, so
// every operation has one final overrider and the handler converts its
// IOpenReferenceInstancesOperation pointer to IKivoReferencesOperation without
// ambiguity; only the whole object cannot be converted to
// IKivoReferencesOperation directly (go through
// IOpenReferenceInstancesOperation). The compiler's warning about the second
// copy is silenced for this class; an adapter class derived from it may see it
// again.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoReferencesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/PulledEnumOpenOperationBase.h"
#include "Cimom/ProtocolAdapter/OpenReferenceInstancesOperation.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winaccessible-base"
class OpenReferenceInstancesOperationBase : public IOpenReferenceInstancesOperation,
                                            public virtual PulledEnumOpenOperationBase,
                                            public KivoReferencesOperationBase {
public:
    explicit OpenReferenceInstancesOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    ~OpenReferenceInstancesOperationBase() override;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    OpenReferenceInstancesOperationBase(OpenReferenceInstancesOperationBase const&);
    OpenReferenceInstancesOperationBase& operator=(OpenReferenceInstancesOperationBase const&);
};
#pragma GCC diagnostic pop
