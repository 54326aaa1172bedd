// The base class of the OpenEnumerateInstancePaths operation: the
// EnumerateInstanceNames operation with the open values, named
// "OpenEnumerateInstancePaths" and handed to the handler's
// handleOpenEnumerateInstancePaths instead of handleEnumerateInstanceNames;
// the instance paths stream through the collection of
// KivoEnumerateInstanceNamesOperationBase.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// It sets the EnumerateInstanceNames parameters through the intrinsic bases
// and the open ones through the facet bases (setFilterQueryLanguage,
// setFilterQuery, setFilterMap, setOperationTimeout, setContinueOnError,
// setMaxObjectCount), calls process, and in writeResponse consumes the
// instance paths and reads back the enumeration context and the
// end-of-sequence flag.
//
// The adapter class is the most-derived class, so it builds the facets and the
// pull and open layers (all virtual bases); unless it names other values they
// start at the request defaults: context "", end of sequence false, count 0,
// no filter, no timeout, continue-on-error false. The values this constructor
// sets in its body hold whatever the adapter class names. The collection is
// unbounded. Not copyable; the values are not locked.
//
// IKivoEnumerateInstanceNamesOperation is reached twice: as a virtual base
// through IOpenEnumerateInstancePathsOperation and as a direct base of
// KivoEnumerateInstanceNamesOperationBase. Both copies hold nothing but
// virtual bases, so every operation has one final overrider and the handler
// converts its IOpenEnumerateInstancePathsOperation pointer to
// IKivoEnumerateInstanceNamesOperation without ambiguity; only the whole
// object cannot be converted to IKivoEnumerateInstanceNamesOperation directly
// (go through IOpenEnumerateInstancePathsOperation). The compiler's warning
// about the second copy is silenced for this class; an adapter class derived
// from it may see it again.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoEnumerateInstanceNamesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/PulledEnumOpenOperationBase.h"
#include "Cimom/ProtocolAdapter/OpenEnumerateInstancePathsOperation.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winaccessible-base"
class OpenEnumerateInstancePathsOperationBase : public IOpenEnumerateInstancePathsOperation,
                                                public virtual PulledEnumOpenOperationBase,
                                                public KivoEnumerateInstanceNamesOperationBase {
public:
    explicit OpenEnumerateInstancePathsOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    ~OpenEnumerateInstancePathsOperationBase() override;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    OpenEnumerateInstancePathsOperationBase(OpenEnumerateInstancePathsOperationBase const&);
    OpenEnumerateInstancePathsOperationBase& operator=(OpenEnumerateInstancePathsOperationBase const&);
};
#pragma GCC diagnostic pop
