// The object manager as the library and the server see it: lifecycle state,
// request counting, and the operation handler over the object manager (its
// instance store in memory, or the one Options gives).
//
// Lifecycle: INITIALIZING after construction; start() moves to STARTING,
// loads the model into the object manager and moves to STARTED; shutdown()
// moves to SHUTTING_DOWN, waits until every registered request has been
// deregistered and every producer has finished, and moves to SHUT_DOWN.
// Requests keep being counted in every state (the library's intake refuses
// remote requests outside STARTED by itself).
//
// Threading: every member may be called from any thread at once; the state
// and the request count are guarded by one mutex, and shutdown() waits on a
// condition variable that deregistration signals. The object manager must
// not be changed after start().
#pragma once

#include "Cimom/ProtocolAdapter/KivoOperationHandlerContext.h"
#include "objectmanager/DefaultModel.h"
#include "objectmanager/ObjectManager.h"
#include "objectmanager/OperationHandler.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

namespace kivo::om {

// The object manager's limits a server exposes as settings (the flag each
// one is meant for is named beside it).
struct Options {
    // --max-instances-per-class (100000) and --max-instance-bytes (1 GiB):
    // the instance store's quota, InstanceStore.h.
    StoreLimits store;
    // The instance store; null: the in-memory InstanceStore with `store` as
    // its quota (a store given here keeps its own quota).
    std::shared_ptr<InstanceProvider> instanceStore;
    // --max-enumerations-per-principal (64 of the 256 open enumerations) and
    // --enumeration-threads (16 producer threads): EnumerationContexts.h.
    EnumerationLimits enumerations;
    // --stream-threads (64): producer threads of streamed answers.
    std::size_t streamThreads = 64;
};

class HandlerContext : public IKivoOperationHandlerContext {
public:
    explicit HandlerContext(ModelSettings settings = ModelSettings(), Options options = Options());
    HandlerContext(HandlerContext const&) = delete;
    HandlerContext& operator=(HandlerContext const&) = delete;
    // Releases and waits for running producers (not for registered requests).
    ~HandlerContext() override;

    // Loads the default model (or what `load` puts into the object manager)
    // and enters STARTED. A failing load leaves the state STARTING and
    // raises what the load raised.
    void start();
    void start(std::function<void(ObjectManager&)> const& load);
    // Enters SHUTTING_DOWN, waits for the in-flight requests, releases and
    // waits for the producers still running, enters SHUT_DOWN.
    void shutdown();
    // The same with a time limit: false, leaving the state SHUTTING_DOWN,
    // when requests are still in flight after `limit`.
    bool shutdown(std::chrono::milliseconds limit);

    ObjectManager& objectManager() { return _om; }
    OperationHandler& operationHandler() { return _handler; }
    int requestsInFlight() const;
    void setPortInfo(PortInfo const& ports);

    State getCurrentState() override;
    void registerRequest() override;
    // Takes one request off the count (never below zero).
    void deRegisterRequest() override;
    bool logRequest() override { return false; }
    IKivoOperationHandler& getOperationHandler() override { return _handler; }
    IQORAServer& getQORAServer() const override { return const_cast<IQORAServer&>(_server); }
    KVOString getLogDirectory() override { return KVOString(); }
    bool isMatchForInternalOrSystemDigest(KVOString const*) override { return false; }
    PortInfo const& getPortInfo() const override { return _ports; }
    KVOSmrPtr<IKivoClass> getClass(KVOString const& nameSpace, KVOString const& className) override;
    KVOSmrPtr<IIndicationManager> getIndicationManager() override { return nullptr; }

private:
    void setState(State state);

    ModelSettings const _settings;
    ObjectManager _om;
    OperationHandler _handler;  // uses _om: declared after it
    IQORAServer _server;
    PortInfo _ports;            // set before serving, read-only afterwards

    mutable std::mutex _lock;
    std::condition_variable _drained;
    State _state = INITIALIZING;  // guarded by _lock
    int _inFlight = 0;            // guarded by _lock
};

}  // namespace kivo::om
