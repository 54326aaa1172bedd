// The object manager's operation handler: every entry of IKivoOperationHandler
// answered from an ObjectManager.
//
// Every entry that fails stores the whole error (code and message) on the
// operation before it lets the exception reach the library's driver, so that
// the adapter can report the message as well as the code.
//
// Single-result entries answer on the adapter's thread before they return.
// Multi-result entries check the request on the adapter's thread (a bad
// request raises there, before any writer exists, and the library turns the
// exception into the status), then take one writer, allow completion, and
// run the producer on a worker thread, which adds the results, reports a
// failure through the writer and always closes it. Entries the object
// manager does not implement (indication subscriptions, the pulled
// enumerations and ExecQuery) answer CIM_ERR_NOT_SUPPORTED through the
// operation, so that clients can fall back to the intrinsic operations.
//
// A producer ends when it has added its last result or when its consumer is
// done (the driver signals completion after writeResponse). An adapter whose
// writeResponse throws leaves that signal out; releaseProducers() gives it in
// its place for every operation whose producer still runs, and the object
// manager's shutdown calls it once no request is in flight.
//
// Threading: any number of adapter threads may call entries at once. The
// object manager must outlive the handler; the handler's destructor releases
// and waits for its worker threads.
#pragma once

#include "Cimom/KivoOperationHandler.h"
#include "objectmanager/ObjectManager.h"
#include "objectmanager/WorkerThreads.h"

#include "Cimom/ProtocolAdapter/KivoOperation.h"

#include <list>
#include <mutex>

namespace kivo::om {

class OperationHandler : public IKivoOperationHandler {
public:
    explicit OperationHandler(ObjectManager& objectManager) : _om(objectManager) {}
    ~OperationHandler() override;

    // Blocks until no producer runs.
    void waitIdle() { _workers.waitIdle(); }
    // Marks the consumer of every operation whose producer still runs as
    // done, so that those producers end. Only for operations whose requests
    // are over.
    void releaseProducers();
    // Producers running now.
    int producersRunning() const { return _workers.running(); }

    void handleGetClass(KVOSmrPtr<IKivoGetClassOperation> const& op) override;
    void handleEnumerateClasses(KVOSmrPtr<IKivoEnumerateClassesOperation> const& op) override;
    void handleEnumerateClassNames(KVOSmrPtr<IKivoEnumerateClassNamesOperation> const& op) override;
    void handleGetInstance(KVOSmrPtr<IKivoGetInstanceOperation> const& op) override;
    void handleEnumerateInstances(KVOSmrPtr<IKivoEnumerateInstancesOperation> const& op) override;
    void handleEnumerateInstanceNames(KVOSmrPtr<IKivoEnumerateInstanceNamesOperation> const& op) override;
    void handleGetProperty(KVOSmrPtr<IKivoGetPropertyOperation> const& op) override;
    void handleSetProperty(KVOSmrPtr<IKivoSetPropertyOperation> const& op) override;
    void handleCreateInstance(KVOSmrPtr<IKivoCreateInstanceOperation> const& op) override;
    void handleModifyInstance(KVOSmrPtr<IKivoModifyInstanceOperation> const& op) override;
    void handleDeleteInstance(KVOSmrPtr<IKivoDeleteInstanceOperation> const& op) override;
    void handleAssociators(KVOSmrPtr<IKivoAssociatorsOperation> const& op) override;
    void handleAssociatorNames(KVOSmrPtr<IKivoAssociatorNamesOperation> const& op) override;
    void handleReferences(KVOSmrPtr<IKivoReferencesOperation> const& op) override;
    void handleReferenceNames(KVOSmrPtr<IKivoReferenceNamesOperation> const& op) override;
    void handleEnumerateQualifiers(KVOSmrPtr<IKivoEnumerateQualifiersOperation> const& op) override;
    void handleGetQualifier(KVOSmrPtr<IKivoGetQualifierOperation> const& op) override;
    void handleInvokeMethod(KVOSmrPtr<IKivoInvokeMethodOperation> const& op) override;
    void handleIndicationSubscription(KVOSmrPtr<IKivoIndicationSubOperation> const& op) override;
    void handleOpenEnumerateInstances(KVOSmrPtr<IOpenEnumerateInstancesOperation> const& op) override;
    void handlePullInstancesWithPath(KVOSmrPtr<IPullInstancesWithPathOperation> const& op) override;
    void handleCloseEnumeration(KVOSmrPtr<ICloseEnumerationOperation> const& op) override;
    void handleOpenEnumerateInstancePaths(KVOSmrPtr<IOpenEnumerateInstancePathsOperation> const& op) override;
    void handleOpenReferenceInstances(KVOSmrPtr<IOpenReferenceInstancesOperation> const& op) override;
    void handleOpenReferenceInstancePaths(KVOSmrPtr<IOpenReferenceInstancePathsOperation> const& op) override;
    void handleOpenAssociatorInstancePaths(KVOSmrPtr<IOpenAssociatorInstancePathsOperation> const& op) override;
    void handleOpenAssociatorInstances(KVOSmrPtr<IOpenAssociatorInstancesOperation> const& op) override;
    void handlePullInstancePaths(KVOSmrPtr<IPullInstancePathsOperation> const& op) override;
    void handlePullInstances(KVOSmrPtr<IPullInstancesOperation> const& op) override;
    void handleExecQuery(KVOSmrPtr<IExecQueryOperation> const& op) override;
    void handleOpenQueryInstances(KVOSmrPtr<IOpenQueryInstancesOperation> const& op) override;

private:
    // Streams what `produce` yields through one writer of `op`, on a worker
    // thread.
    template <class T, class Op>
    void stream(KVOSmrPtr<Op> const& op, Producer<T> produce);
    // Answers CIM_ERR_NOT_SUPPORTED through the operation.
    template <class Op>
    static void notSupported(KVOSmrPtr<Op> const& op);
    // Runs `body`; a KivoBaseException it raises is stored on the operation
    // (setErrorContext) and raised again.
    template <class Op, class Body>
    static void answer(KVOSmrPtr<Op> const& op, Body body);

    ObjectManager& _om;
    std::mutex _lock;
    std::list<KVOSmrPtr<IKivoOperation>> _streaming;  // guarded by _lock: operations whose producer runs
    WorkerThreads _workers;                           // last: joined before the rest goes
};

}  // namespace kivo::om
