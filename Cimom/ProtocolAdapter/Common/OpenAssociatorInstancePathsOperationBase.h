// The base class of the OpenAssociatorInstancePaths operation: the
// AssociatorNames operation with the open values, named
// "OpenAssociatorInstancePaths" and handed to the handler's
// handleOpenAssociatorInstancePaths instead of handleAssociatorNames; the
// paths of associated instances stream through the collection of
// KivoAssociatorNamesOperationBase.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// It sets the AssociatorNames parameters through the intrinsic bases and the
// open ones through the facet bases (setFilterQueryLanguage, setFilterQuery,
// setFilterMap, setOperationTimeout, setContinueOnError, setMaxObjectCount),
// calls process, and in writeResponse consumes the paths of associated
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
// IKivoAssociatorNamesOperation is reached twice: as a virtual base through
// IOpenAssociatorInstancePathsOperation and as a direct base of
// KivoAssociatorNamesOperationBase. Both copies hold nothing but virtual
// bases, so every operation has one final overrider and the handler converts
// its IOpenAssociatorInstancePathsOperation pointer to
// IKivoAssociatorNamesOperation without ambiguity; only the whole object
// cannot be converted to IKivoAssociatorNamesOperation directly (go through
// IOpenAssociatorInstancePathsOperation). The compiler's warning about the
// second copy is silenced for this class; an adapter class derived from it may
// see it again.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoAssociatorNamesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/PulledEnumOpenOperationBase.h"
#include "Cimom/ProtocolAdapter/OpenAssociatorInstancePathsOperation.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winaccessible-base"
class OpenAssociatorInstancePathsOperationBase : public IOpenAssociatorInstancePathsOperation,
                                                 public PulledEnumOpenOperationBase,
                                                 public KivoAssociatorNamesOperationBase {
public:
    explicit OpenAssociatorInstancePathsOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    ~OpenAssociatorInstancePathsOperationBase() override;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    OpenAssociatorInstancePathsOperationBase(OpenAssociatorInstancePathsOperationBase const&);
    OpenAssociatorInstancePathsOperationBase& operator=(OpenAssociatorInstancePathsOperationBase const&);
};
#pragma GCC diagnostic pop
