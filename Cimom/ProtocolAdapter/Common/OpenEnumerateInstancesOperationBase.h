// The base class of the OpenEnumerateInstances operation: the
// EnumerateInstances operation with the open values, named
// "OpenEnumerateInstances" and handed to the handler's
// handleOpenEnumerateInstances instead of handleEnumerateInstances; the
// instances stream through the collection of
// KivoEnumerateInstancesOperationBase.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// It sets the EnumerateInstances parameters through the intrinsic bases and
// the open ones through the facet bases (setFilterQueryLanguage,
// setFilterQuery, setFilterMap, setOperationTimeout, setContinueOnError,
// setMaxObjectCount), calls process, and in writeResponse consumes the
// instances and reads back the enumeration context and the end-of-sequence
// flag.
//
// The adapter class is the most-derived class, so it builds the facets and the
// pull and open layers (all virtual bases); unless it names other values they
// start at the request defaults: context "", end of sequence false, count 0,
// no filter, no timeout, continue-on-error false. DeepInheritance starts true
// and IncludeClassOrigin false, the property list null. The values this
// constructor sets in its body hold whatever the adapter class names. The
// collection is unbounded. Not copyable; the values are not locked.
//
// IKivoEnumerateInstancesOperation is reached twice: as a virtual base through
// IOpenEnumerateInstancesOperation and as a direct base of
// KivoEnumerateInstancesOperationBase. Both copies hold nothing but virtual
// bases, so every operation has one final overrider and the handler converts
// its IOpenEnumerateInstancesOperation pointer to
// IKivoEnumerateInstancesOperation without ambiguity; only the whole object
// cannot be converted to IKivoEnumerateInstancesOperation directly (go through
// IOpenEnumerateInstancesOperation). The compiler's warning about the second
// copy is silenced for this class; an adapter class derived from it may see it
// again.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoEnumerateInstancesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/PulledEnumOpenOperationBase.h"
#include "Cimom/ProtocolAdapter/OpenEnumerateInstancesOperation.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winaccessible-base"
class OpenEnumerateInstancesOperationBase : public virtual IOpenEnumerateInstancesOperation,
                                            public virtual PulledEnumOpenOperationBase,
                                            public KivoEnumerateInstancesOperationBase {
public:
    explicit OpenEnumerateInstancesOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    ~OpenEnumerateInstancesOperationBase() override;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    OpenEnumerateInstancesOperationBase(OpenEnumerateInstancesOperationBase const&);
    OpenEnumerateInstancesOperationBase& operator=(OpenEnumerateInstancesOperationBase const&);
};
#pragma GCC diagnostic pop
