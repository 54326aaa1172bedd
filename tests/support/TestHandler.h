// Test doubles of the object manager: a handler that records every entry
// called (and can be scripted to fail), a handler context with a settable
// state that records the calls the library makes on it, and a concrete
// operation template that supplies isValid and writeResponse for any
// operation base.
#pragma once

#include "Cimom/KivoOperationHandler.h"
#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "Cimom/ProtocolAdapter/KivoOperationHandlerContext.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace kivo_test {

// Every handler entry, in the handler's order: X(entry, interface).
#define KIVO_TEST_HANDLER_ENTRIES(X)                                       \
    X(handleGetClass, IKivoGetClassOperation)                              \
    X(handleEnumerateClasses, IKivoEnumerateClassesOperation)              \
    X(handleEnumerateClassNames, IKivoEnumerateClassNamesOperation)        \
    X(handleGetInstance, IKivoGetInstanceOperation)                        \
    X(handleEnumerateInstances, IKivoEnumerateInstancesOperation)          \
    X(handleEnumerateInstanceNames, IKivoEnumerateInstanceNamesOperation)  \
    X(handleGetProperty, IKivoGetPropertyOperation)                        \
    X(handleSetProperty, IKivoSetPropertyOperation)                        \
    X(handleCreateInstance, IKivoCreateInstanceOperation)                  \
    X(handleModifyInstance, IKivoModifyInstanceOperation)                  \
    X(handleDeleteInstance, IKivoDeleteInstanceOperation)                  \
    X(handleAssociators, IKivoAssociatorsOperation)                        \
    X(handleAssociatorNames, IKivoAssociatorNamesOperation)                \
    X(handleReferences, IKivoReferencesOperation)                          \
    X(handleReferenceNames, IKivoReferenceNamesOperation)                  \
    X(handleEnumerateQualifiers, IKivoEnumerateQualifiersOperation)        \
    X(handleGetQualifier, IKivoGetQualifierOperation)                      \
    X(handleInvokeMethod, IKivoInvokeMethodOperation)                      \
    X(handleIndicationSubscription, IKivoIndicationSubOperation)           \
    X(handleOpenEnumerateInstances, IOpenEnumerateInstancesOperation)      \
    X(handlePullInstancesWithPath, IPullInstancesWithPathOperation)        \
    X(handleCloseEnumeration, ICloseEnumerationOperation)                  \
    X(handleOpenEnumerateInstancePaths, IOpenEnumerateInstancePathsOperation) \
    X(handleOpenReferenceInstances, IOpenReferenceInstancesOperation)      \
    X(handleOpenReferenceInstancePaths, IOpenReferenceInstancePathsOperation) \
    X(handleOpenAssociatorInstancePaths, IOpenAssociatorInstancePathsOperation) \
    X(handleOpenAssociatorInstances, IOpenAssociatorInstancesOperation)    \
    X(handlePullInstancePaths, IPullInstancePathsOperation)                \
    X(handlePullInstances, IPullInstancesOperation)                        \
    X(handleExecQuery, IExecQueryOperation)                                \
    X(handleOpenQueryInstances, IOpenQueryInstancesOperation)              \
    X(handleCreateClass, IKivoCreateClassOperation)                        \
    X(handleModifyClass, IKivoModifyClassOperation)                        \
    X(handleDeleteClass, IKivoDeleteClassOperation)                        \
    X(handleSetQualifier, IKivoSetQualifierOperation)                      \
    X(handleDeleteQualifier, IKivoDeleteQualifierOperation)

// A handler that records each call: the entry's name and the address of the
// operation as the entry received it (the address of its interface
// subobject; compare with static_cast<IKivoXxxOperation*>(op.get())). After
// recording, `action` (when set) runs with the entry's name: a test makes it
// throw, or set a code on the operation it holds. Thread-safe.
class RecordingHandler : public IKivoOperationHandler {
public:
    struct Call {
        std::string entry;
        void const* op;
    };

    std::vector<Call> calls() const;
    std::vector<std::string> entries() const;
    void clear();

    std::function<void(std::string const& entry)> action;

#define KIVO_TEST_DECLARE_ENTRY(entry, iface) void entry(KVOSmrPtr<iface> const& op) override;
    KIVO_TEST_HANDLER_ENTRIES(KIVO_TEST_DECLARE_ENTRY)
#undef KIVO_TEST_DECLARE_ENTRY

    // Records a call and runs the action; public so that other doubles can
    // funnel their calls here.
    void record(char const* entry, void const* op);

private:
    mutable std::mutex _lock;
    std::vector<Call> _calls;  // guarded by _lock
};

// A handler context with a settable state. Records, in order, the calls the
// library makes on it ("getCurrentState", "registerRequest",
// "deRegisterRequest", "getOperationHandler"). Its handler is `handler`
// unless setHandler names another one. Thread-safe.
class TestHandlerContext : public IKivoOperationHandlerContext {
public:
    explicit TestHandlerContext(State state = STARTED) : _state(state) {}

    void setState(State s) { _state.store(s); }
    void setHandler(IKivoOperationHandler* h) { _handler = h; }
    std::vector<std::string> events() const;
    int registered() const { return _registered.load(); }
    int deregistered() const { return _deregistered.load(); }

    State getCurrentState() override;
    void registerRequest() override;
    void deRegisterRequest() override;
    bool logRequest() override { return false; }
    IKivoOperationHandler& getOperationHandler() override;
    IQORAServer& getQORAServer() const override { return const_cast<IQORAServer&>(_server); }
    KVOString getLogDirectory() override { return KVOString(); }
    bool isMatchForInternalOrSystemDigest(KVOString const*) override { return false; }
    PortInfo const& getPortInfo() const override { return _ports; }
    KVOSmrPtr<IKivoClass> getClass(KVOString const&, KVOString const&) override { return nullptr; }
    KVOSmrPtr<IIndicationManager> getIndicationManager() override { return nullptr; }

    RecordingHandler handler;

private:
    void note(char const* event);

    std::atomic<State> _state;
    std::atomic<int> _registered{0};
    std::atomic<int> _deregistered{0};
    IKivoOperationHandler* _handler = nullptr;
    IQORAServer _server;
    PortInfo _ports;
    mutable std::mutex _lock;
    std::vector<std::string> _events;  // guarded by _lock
};

// Makes any operation base concrete: isValid answers `valid`, writeResponse
// counts its calls and runs `onWrite` (which may throw), and
// signalProcessCompletion is counted before the base's runs.
template <class Base>
class Concrete : public Base {
public:
    template <class... Args>
    explicit Concrete(Args&&... args) : Base(std::forward<Args>(args)...) {}

    bool isValid() const override {
        ++isValidCalls;
        return valid;
    }
    void writeResponse(KVOGenericHTTPOStream&) override {
        ++writeCalls;
        if (onWrite) onWrite();
    }
    void signalProcessCompletion() override {
        ++signalCalls;
        Base::signalProcessCompletion();
    }

    bool valid = true;
    mutable int isValidCalls = 0;
    int writeCalls = 0;
    int signalCalls = 0;
    std::function<void()> onWrite;
};

// The root base made concrete: its callHandler fetches the handler and
// records "callHandler" on it (running the handler's action), which is all a
// driver test needs.
class TestOperationBase : public KivoOperationBase {
public:
    explicit TestOperationBase(IKivoOperationHandlerContext* ctx, KVOString const& name = "GetClass")
        : KivoOperationBase(ctx) {
        setOperationName(name);
    }

    using KivoOperationBase::_processingComplete;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) override;
};

using TestOperation = Concrete<TestOperationBase>;

}  // namespace kivo_test
