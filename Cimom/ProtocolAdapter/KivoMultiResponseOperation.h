// The object manager's handler's view of an operation that returns a stream of
// results: producer handles to write them, and the consumer's iteration.
//
// The handler calls getResponse once for every producer it will run, then
// allowComplete exactly once; producers add through their handles from any
// thread and close them. The adapter's writeResponse iterates with hasNext
// and next on its own thread. Implemented by KivoMultiResponseOperationBase;
// the operation interfaces of the multi-result operations derive from it.
#pragma once

#include "Cimom/ProtocolAdapter/Common/IMultiResponse.h"
#include "Cimom/ProtocolAdapter/KivoOperation.h"

template <class T>
class IKivoMultiResponseOperation : public virtual IKivoOperation {
public:
    // A new producer handle, registered with the operation's collection; every
    // call yields a distinct one. Raises "Writers may be registered only while
    // collection is incomplete." once the collection is complete.
    virtual KVOSmrPtr<qora::IMultiResponse<T>> getResponse() = 0;
    // No more handles will be requested: the results are complete once the
    // handles obtained so far are closed. Only once ("allowComplete() may only
    // be called once.").
    virtual void allowComplete() = 0;
    // The adapter's thread: blocks until a result is ready (true) or no more
    // can come (false).
    virtual bool hasNext() const = 0;
    // The adapter's thread, after hasNext answered true: the next result.
    virtual T next() const = 0;
    ~IKivoMultiResponseOperation() override = default;
};
