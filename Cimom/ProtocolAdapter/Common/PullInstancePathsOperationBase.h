// The base class of the PullInstancePaths operation: it carries the
// enumeration context and maximum object count of a pull request, names the
// operation "PullInstancePaths" and hands it to the handler's
// handlePullInstancePaths; the instance paths stream through the collection
// of KivoMultiResponseOperationBase.
//
// A concrete adapter derives from it and supplies isValid and writeResponse;
// it stores the request's context and count, calls process, and in
// writeResponse consumes the paths and reads back the next context and the
// end-of-sequence flag. PullOperationBase is a direct base here, but the
// pull facets inside it are virtual bases, built by the most-derived class
// with their defaults (context "", end of sequence false, count 0) unless it
// names others. The collection is unbounded. Not copyable; the values are
// not locked.
#pragma once

#include "Cimom/ProtocolAdapter/Common/KivoMultiResponseOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/PullOperationBase.h"
#include "Cimom/ProtocolAdapter/PullInstancePathsOperation.h"

class PullInstancePathsOperationBase : public virtual IPullInstancePathsOperation,
                                       public PullOperationBase,
                                       public KivoMultiResponseOperationBase<KVOSmrPtr<IKivoInstanceName> > {
public:
    explicit PullInstancePathsOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    ~PullInstancePathsOperationBase() override;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;

private:
    PullInstancePathsOperationBase(PullInstancePathsOperationBase const&);
    PullInstancePathsOperationBase& operator=(PullInstancePathsOperationBase const&);
};
