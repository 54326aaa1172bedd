// The base class of the PullInstances operation: it carries the enumeration
// context and maximum object count of a pull request, names the operation
// "PullInstances" and hands it to the handler's handlePullInstances; the
// instances stream through the collection of KivoMultiResponseOperationBase.
//
// A concrete adapter derives from it and supplies isValid and writeResponse;
// it stores the request's context and count, calls process, and in
// writeResponse consumes the instances and reads back the next context and
// the end-of-sequence flag. PullOperationBase and the pull facets are
// virtual bases, built by the most-derived class with their defaults
// (context "", end of sequence false, count 0) unless it names others. The
// collection is unbounded. Not copyable; the values are not locked.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoMultiResponseOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/PullOperationBase.h"
#include "Cimom/ProtocolAdapter/PullInstancesOperation.h"

class PullInstancesOperationBase : public virtual IPullInstancesOperation,
                                   public virtual PullOperationBase,
                                   public KivoMultiResponseOperationBase<KVOSmrPtr<IKivoObject> > {
public:
    explicit PullInstancesOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    ~PullInstancesOperationBase() override;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    PullInstancesOperationBase(PullInstancesOperationBase const&);
    PullInstancesOperationBase& operator=(PullInstancesOperationBase const&);
};
