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
// failure through the writer and always closes it. ExecQuery streams the
// same way. The schema operations (CreateClass, ModifyClass, DeleteClass,
// SetQualifier, DeleteQualifier) answer with the object manager's status
// (ObjectManager.h). Indication subscriptions answer CIM_ERR_NOT_SUPPORTED
// through the operation.
//
// Pulled enumerations live in an EnumerationContexts table (see there for the
// limits, the context ids, their principals, expiry and the codes; the
// principal is the user name of the operation's security token, "" when it
// has none): an Open entry checks the
// open values and the request on the adapter's thread, opens an enumeration
// over the same producer its intrinsic twin streams, and delivers its first
// batch; a Pull entry delivers the next batch of the enumeration its context
// names; CloseEnumeration closes it. Either way the batch goes into the
// operation's (unbounded) collection on the adapter's thread, with the next
// context and the end-of-sequence flag set on the operation before the entry
// returns. Open values the object manager does not offer:
//   - ContinueOnError true: CIM_ERR_CONTINUATION_ON_ERROR_NOT_SUPPORTED;
//   - a FilterQuery or FilterQueryLanguage on the six enumerating Opens:
//     CIM_ERR_FILTERED_ENUMERATION_NOT_SUPPORTED (whatever the language;
//     filtered enumerations of instances are served by OpenQueryInstances).
// OpenQueryInstances runs the object manager's query (FilterQueryLanguage
// and FilterQuery); with ReturnQueryResultClass it also stores the query's
// result class on the operation, through the operation base (the interface
// has no setter).
//
// Streamed producers run on a pool of at most streamThreads threads (default
// 64). A producer ends when it has added its last result or at the first
// result its consumer refuses or drops once done (the driver signals
// completion after writeResponse; the producer learns of it from add's
// answer or, at the latest 16 results later, from a probe marker that the
// collection processes on the producer's own thread). An adapter whose
// writeResponse throws leaves that signal out; releaseProducers() gives it in
// its place for every operation whose producer still runs and closes every
// open enumeration, and the object manager's shutdown calls it once no
// request is in flight.
//
// Threading: any number of adapter threads may call entries at once. The
// object manager must outlive the handler; the handler's destructor releases
// and waits for its worker threads.
#pragma once

#include "Cimom/KivoOperationHandler.h"
#include "objectmanager/EnumerationContexts.h"
#include "objectmanager/ObjectManager.h"
#include "objectmanager/WorkerThreads.h"

#include "Cimom/ProtocolAdapter/Common/IMultiResponse.h"
#include "Cimom/ProtocolAdapter/KivoOperation.h"

#include <atomic>
#include <list>
#include <memory>
#include <mutex>

namespace kivo::om {

class OperationHandler : public IKivoOperationHandler {
public:
    // streamThreads: the pool of streamed answers' producers (a streamed
    // answer past it waits for a free thread).
    explicit OperationHandler(ObjectManager& objectManager, EnumerationLimits limits = EnumerationLimits(),
                              std::size_t streamThreads = 64)
        : _om(objectManager), _enumerations(limits), _workers(streamThreads) {}
    ~OperationHandler() override;

    // Blocks until no producer runs.
    void waitIdle() {
        _workers.waitIdle();
        _enumerations.waitIdle();
    }
    // Marks the consumer of every operation whose producer still runs as
    // done, and closes every open enumeration, so that those producers end.
    // Only once the requests are over (shutdown).
    void releaseProducers();
    // Producers running now (those of open enumerations included).
    int producersRunning() const { return _workers.running() + _enumerations.producersRunning(); }

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
    void handleCreateClass(KVOSmrPtr<IKivoCreateClassOperation> const& op) override;
    void handleModifyClass(KVOSmrPtr<IKivoModifyClassOperation> const& op) override;
    void handleDeleteClass(KVOSmrPtr<IKivoDeleteClassOperation> const& op) override;
    void handleSetQualifier(KVOSmrPtr<IKivoSetQualifierOperation> const& op) override;
    void handleDeleteQualifier(KVOSmrPtr<IKivoDeleteQualifierOperation> const& op) override;

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
    // Opens an enumeration of `kind` over what `make` returns (a Producer<T>,
    // made after the open values are checked) and delivers its first batch
    // as the operation's results.
    template <class T, class Op, class Make>
    void openEnumeration(KVOSmrPtr<Op> const& op, EnumerationContexts::Kind kind, Make make);
    // Delivers the next batch of the enumeration the operation names.
    template <class T, class Op>
    void pullEnumeration(KVOSmrPtr<Op> const& op, EnumerationContexts::Kind kind);

    ObjectManager& _om;
    std::mutex _lock;
    std::list<KVOSmrPtr<IKivoOperation>> _streaming;  // guarded by _lock: operations whose producer runs
    EnumerationContexts _enumerations;
    WorkerThreads _workers;                           // last: joined before the rest goes
};

}  // namespace kivo::om
