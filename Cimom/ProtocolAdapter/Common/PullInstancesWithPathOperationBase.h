// The base class of the PullInstancesWithPath operation: it carries the
// enumeration context and maximum object count of a pull request and the
// instance parameters, names the operation "PullInstancesWithPath" and hands
// it to the handler's handlePullInstancesWithPath; the instances stream
// through the collection of KivoMultiResponseOperationBase.
//
// A concrete adapter derives from it and supplies isValid and writeResponse.
// It stores the request's context and count (setEnumerationContext,
// setMaxObjectCount) and, when present, the property list, deep inheritance
// and class origin, then calls process; writeResponse consumes the instances
// and reads back the next context and the end-of-sequence flag.
//
// PullOperationBase and the pull facets are virtual bases: the adapter class,
// as the most-derived class, builds them, with the defaults (context "", end
// of sequence false, count 0) unless it names others. The collection is
// unbounded, so the handler may fill it on the adapter's thread. The values
// start as a null property list, deep inheritance false and class origin
// false. Not copyable; the values are not locked.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoClassOriginatedOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoDeeplyInheritedOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoMultiResponseOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoPropertyListOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/PullOperationBase.h"
#include "Cimom/ProtocolAdapter/PullInstancesWithPathOperation.h"

class PullInstancesWithPathOperationBase : public virtual IPullInstancesWithPathOperation,
                                           public virtual PullOperationBase,
                                           public KivoMultiResponseOperationBase<KVOSmrPtr<IKivoObject> >,
                                           public KivoPropertyListOperationBase,
                                           public KivoDeeplyInheritedOperationBase,
                                           public KivoClassOriginatedOperationBase {
public:
    explicit PullInstancesWithPathOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    ~PullInstancesWithPathOperationBase() override;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    PullInstancesWithPathOperationBase(PullInstancesWithPathOperationBase const&);
    PullInstancesWithPathOperationBase& operator=(PullInstancesWithPathOperationBase const&);
};
