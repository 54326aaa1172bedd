// The base class of the OpenReferenceInstancePaths operation: the
// ReferenceNames operation with the open values, named
// "OpenReferenceInstancePaths" and handed to the handler's
// handleOpenReferenceInstancePaths instead of handleReferenceNames; the paths
// of referencing instances stream through the collection of
// KivoReferenceNamesOperationBase.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// It sets the ReferenceNames parameters through the intrinsic bases and the
// open ones through the facet bases (setFilterQueryLanguage, setFilterQuery,
// setFilterMap, setOperationTimeout, setContinueOnError, setMaxObjectCount),
// calls process, and in writeResponse consumes the paths of referencing
// instances and reads back the enumeration context and the end-of-sequence
// flag.
//
// The adapter class is the most-derived class, so it builds the facets and the
// pull and open layers (all virtual bases); unless it names other values they
// start at the request defaults: context "", end of sequence false, count 0,
// no filter, no timeout, continue-on-error false. The values this constructor
// sets in its body hold whatever the adapter class names. The collection is
// unbounded. Not copyable; the values are not locked.
//
// IKivoReferenceNamesOperation is reached twice: as a virtual base through
// IOpenReferenceInstancePathsOperation and as a direct base of
// KivoReferenceNamesOperationBase. Both copies hold nothing but virtual bases,
// so every operation has one final overrider and the handler converts its
// IOpenReferenceInstancePathsOperation pointer to IKivoReferenceNamesOperation
// without ambiguity; only the whole object cannot be converted to
// IKivoReferenceNamesOperation directly (go through
// IOpenReferenceInstancePathsOperation). The compiler's warning about the
// second copy is silenced for this class; an adapter class derived from it may
// see it again.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoReferenceNamesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/PulledEnumOpenOperationBase.h"
#include "Cimom/ProtocolAdapter/OpenReferenceInstancePathsOperation.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winaccessible-base"
class OpenReferenceInstancePathsOperationBase : public IOpenReferenceInstancePathsOperation,
                                                public PulledEnumOpenOperationBase,
                                                public KivoReferenceNamesOperationBase {
public:
    explicit OpenReferenceInstancePathsOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    ~OpenReferenceInstancePathsOperationBase() override;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    OpenReferenceInstancePathsOperationBase(OpenReferenceInstancePathsOperationBase const&);
    OpenReferenceInstancePathsOperationBase& operator=(OpenReferenceInstancePathsOperationBase const&);
};
#pragma GCC diagnostic pop
