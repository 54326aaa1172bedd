#include "objectmanager/OperationHandler.h"

#include "objectmanager/CimStatus.h"

#include "Cimom/ProtocolAdapter/CloseEnumerationOperation.h"
#include "Cimom/ProtocolAdapter/ExecQueryOperation.h"
#include "Cimom/ProtocolAdapter/KivoAssociatorNamesOperation.h"
#include "Cimom/ProtocolAdapter/KivoAssociatorsOperation.h"
#include "Cimom/ProtocolAdapter/KivoCreateClassOperation.h"
#include "Cimom/ProtocolAdapter/KivoCreateInstanceOperation.h"
#include "Cimom/ProtocolAdapter/KivoDeleteClassOperation.h"
#include "Cimom/ProtocolAdapter/KivoDeleteInstanceOperation.h"
#include "Cimom/ProtocolAdapter/KivoDeleteQualifierOperation.h"
#include "Cimom/ProtocolAdapter/KivoEnumerateClassNamesOperation.h"
#include "Cimom/ProtocolAdapter/KivoEnumerateClassesOperation.h"
#include "Cimom/ProtocolAdapter/KivoEnumerateInstanceNamesOperation.h"
#include "Cimom/ProtocolAdapter/KivoEnumerateInstancesOperation.h"
#include "Cimom/ProtocolAdapter/KivoEnumerateQualifiersOperation.h"
#include "Cimom/ProtocolAdapter/KivoGetClassOperation.h"
#include "Cimom/ProtocolAdapter/KivoGetInstanceOperation.h"
#include "Cimom/ProtocolAdapter/KivoGetPropertyOperation.h"
#include "Cimom/ProtocolAdapter/KivoGetQualifierOperation.h"
#include "Cimom/ProtocolAdapter/KivoIndicationSubOperation.h"
#include "Cimom/ProtocolAdapter/KivoInvokeMethodOperation.h"
#include "Cimom/ProtocolAdapter/KivoModifyClassOperation.h"
#include "Cimom/ProtocolAdapter/KivoModifyInstanceOperation.h"
#include "Cimom/ProtocolAdapter/KivoReferenceNamesOperation.h"
#include "Cimom/ProtocolAdapter/KivoReferencesOperation.h"
#include "Cimom/ProtocolAdapter/KivoSetPropertyOperation.h"
#include "Cimom/ProtocolAdapter/KivoSetQualifierOperation.h"
#include "Cimom/ProtocolAdapter/OpenAssociatorInstancePathsOperation.h"
#include "Cimom/ProtocolAdapter/OpenAssociatorInstancesOperation.h"
#include "Cimom/ProtocolAdapter/OpenEnumerateInstancePathsOperation.h"
#include "Cimom/ProtocolAdapter/OpenEnumerateInstancesOperation.h"
#include "Cimom/ProtocolAdapter/OpenQueryInstancesOperation.h"
#include "Cimom/ProtocolAdapter/OpenReferenceInstancePathsOperation.h"
#include "Cimom/ProtocolAdapter/OpenReferenceInstancesOperation.h"
#include "Cimom/ProtocolAdapter/PullInstancePathsOperation.h"
#include "Cimom/ProtocolAdapter/PullInstancesOperation.h"
#include "Cimom/ProtocolAdapter/PullInstancesWithPathOperation.h"
#include "Cimom/ProtocolAdapter/Common/QueryResultClassOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/MultiResponseWriter.h"
#include "KivoUtilities/CKivoData.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <thread>
#include <type_traits>

namespace kivo::om {

OperationHandler::~OperationHandler() {
    releaseProducers();
    waitIdle();
}

void OperationHandler::releaseProducers() {
    std::list<KVOSmrPtr<IKivoOperation>> running;
    {
        std::lock_guard guard(_lock);
        running = _streaming;
    }
    for (KVOSmrPtr<IKivoOperation> const& op : running) op->signalProcessCompletion();
    _enumerations.closeAll();
}

namespace {

// Tells a producer that its consumer has gone. A collection drops the results
// added after its consumer is done; whether add() then says so or not, a
// marker added then is processed at once on the adding thread, which no
// consumer ever is.
template <class T>
class DepartureProbe final : public qora::IMarker<T> {
public:
    DepartureProbe(std::thread::id producer, std::shared_ptr<std::atomic<bool>> departed)
        : _producer(producer), _departed(std::move(departed)) {}
    bool isMarker() const override { return true; }
    void process() const override {
        if (std::this_thread::get_id() == _producer) _departed->store(true, std::memory_order_relaxed);
    }

private:
    std::thread::id const _producer;
    std::shared_ptr<std::atomic<bool>> const _departed;
};

// Adds one producer's streamed results and probes, now and then, whether the
// consumer is still there. Each probe that reaches the consumer gives a slot
// back to a bounded collection, so probes are spaced in proportion to what was
// added so far: a stream of N results sends about 8 ln N probes, its queue
// stays within its bound plus those, and a producer whose consumer left goes
// on for at most an eighth of what it had added before it stops.
template <class T>
class ProbingAdder {
public:
    explicit ProbingAdder(qora::IMultiResponse<T>& writer)
        : _writer(writer), _probing(dynamic_cast<qora::MultiResponseWriter<T>*>(&writer)) {}

    // False once the consumer has refused a result or is known to be gone.
    bool operator()(T const& result) {
        if (!_writer.add(result, false)) return false;
        if (++_added < _nextProbe || !_probing) return true;
        _nextProbe = _added + std::max<std::uint64_t>(kMinSpacing, _added / 8);
        _probing->add(KVOSmrPtr<qora::IMarker<T>>(new DepartureProbe<T>(std::this_thread::get_id(), _departed)), false);
        return !_departed->load(std::memory_order_relaxed);
    }

private:
    static constexpr std::uint64_t kMinSpacing = 16;

    qora::IMultiResponse<T>& _writer;
    qora::MultiResponseWriter<T>* const _probing;
    std::shared_ptr<std::atomic<bool>> const _departed = std::make_shared<std::atomic<bool>>(false);
    std::uint64_t _added = 0;
    std::uint64_t _nextProbe = kMinSpacing;
};

}  // namespace

template <class T, class Op>
void OperationHandler::stream(KVOSmrPtr<Op> const& op, Producer<T> produce) {
    KVOSmrPtr<qora::IMultiResponse<T>> writer = op->getResponse();
    op->allowComplete();
    std::list<KVOSmrPtr<IKivoOperation>>::iterator tracked;
    {
        std::lock_guard guard(_lock);
        tracked = _streaming.insert(_streaming.end(), op);
    }
    auto untrack = [this, tracked] {
        std::lock_guard guard(_lock);
        _streaming.erase(tracked);
    };
    try {
        _workers.run([writer, produce = std::move(produce), untrack] {
            try {
                // Stops at the first result the collection refuses, or once its
                // consumer is known to be gone.
                ProbingAdder<T> add(*writer);
                produce([&](T const& result) { return add(result); });
            } catch (KivoBaseException const& e) {
                writer->setErrorCode(e.getCode() != 0 ? e.getCode() : CIM_ERR_FAILED);
            } catch (...) {
                writer->setErrorCode(CIM_ERR_FAILED);
            }
            writer->Close();
            untrack();
        });
    } catch (...) {
        // No thread: the stream still ends, failed.
        writer->setErrorCode(CIM_ERR_FAILED);
        writer->Close();
        untrack();
        throw;
    }
}

template <class Op, class Body>
void OperationHandler::answer(KVOSmrPtr<Op> const& op, Body body) {
    try {
        body();
    } catch (KivoBaseException const& e) {
        op->setErrorContext(e);
        throw;
    }
}

template <class Op>
void OperationHandler::notSupported(KVOSmrPtr<Op> const& op) {
    op->setErrorCode(CIM_ERR_NOT_SUPPORTED);
}

namespace {

// The principal an operation runs for: its security token's user name, ""
// for anonymous (no token).
std::string principalOf(IKivoOperation const& op) {
    KVOSmrPtr<qora::security::ISecurityToken> token = op.getAuthorization();
    return token ? token->getUserName().str() : std::string();
}

template <class Op>
InstanceView instanceView(KVOSmrPtr<Op> const& op) {
    InstanceView view;
    view.includeClassOrigin = op->getClassOrigin();
    view.propertyList = op->getPropertyList();
    return view;
}

}  // namespace

void OperationHandler::handleGetClass(KVOSmrPtr<IKivoGetClassOperation> const& op) {
    answer(op, [&] {
        ClassView view{op->getLocalOnly(), op->getIncludeQualifiers(), op->getClassOrigin(), op->getPropertyList()};
        op->setClass(_om.getClass(op->getNameSpace(), op->getClassName(), view));
    });
}

void OperationHandler::handleEnumerateClasses(KVOSmrPtr<IKivoEnumerateClassesOperation> const& op) {
    answer(op, [&] {
        ClassView view{op->getLocalOnly(), op->getIncludeQualifiers(), op->getClassOrigin(), nullptr};
        stream(op, _om.enumerateClasses(op->getNameSpace(), op->getClassName(), op->getDeepInheritance(), view));
    });
}

void OperationHandler::handleEnumerateClassNames(KVOSmrPtr<IKivoEnumerateClassNamesOperation> const& op) {
    answer(op, [&] {
        stream(op, _om.enumerateClassNames(op->getNameSpace(), op->getClassName(), op->getDeepInheritance()));
    });
}

void OperationHandler::handleGetInstance(KVOSmrPtr<IKivoGetInstanceOperation> const& op) {
    answer(op, [&] {
        op->setInstance(_om.getInstance(op->getNameSpace(), op->getName(), instanceView(op)));
    });
}

void OperationHandler::handleEnumerateInstances(KVOSmrPtr<IKivoEnumerateInstancesOperation> const& op) {
    answer(op, [&] {
        stream(op, _om.enumerateInstances(op->getNameSpace(), op->getClassName(), op->getDeepInheritance(),
                                          instanceView(op)));
    });
}

void OperationHandler::handleEnumerateInstanceNames(KVOSmrPtr<IKivoEnumerateInstanceNamesOperation> const& op) {
    answer(op, [&] {
        stream(op, _om.enumerateInstanceNames(op->getNameSpace(), op->getClassName()));
    });
}

void OperationHandler::handleGetProperty(KVOSmrPtr<IKivoGetPropertyOperation> const& op) {
    answer(op, [&] {
        op->setPropertyValue(_om.getProperty(op->getNameSpace(), op->getInstanceName(), op->getPropertyName()));
    });
}

void OperationHandler::handleSetProperty(KVOSmrPtr<IKivoSetPropertyOperation> const& op) {
    answer(op, [&] {
        _om.setProperty(op->getNameSpace(), op->getInstanceName(), op->getPropertyName(), op->getPropertyValue());
    });
}

void OperationHandler::handleCreateInstance(KVOSmrPtr<IKivoCreateInstanceOperation> const& op) {
    answer(op, [&] {
        op->setInstanceName(_om.createInstance(op->getNameSpace(), op->getInstance()));
    });
}

void OperationHandler::handleModifyInstance(KVOSmrPtr<IKivoModifyInstanceOperation> const& op) {
    answer(op, [&] {
        _om.modifyInstance(op->getNameSpace(), op->getInstanceName(), op->getInstance(), op->getPropertyList());
    });
}

void OperationHandler::handleDeleteInstance(KVOSmrPtr<IKivoDeleteInstanceOperation> const& op) {
    answer(op, [&] {
        _om.deleteInstance(op->getNameSpace(), op->getInstanceName());
    });
}

namespace {

Traversal associatorTraversal(IKivoAssociators const& op) {
    return Traversal{op.getSourceInstance(), op.getAssociationClass(), op.getResultClass(), op.getRole(),
                     op.getResultRole()};
}

Traversal referenceTraversal(IKivoReferences& op) {
    return Traversal{op.getSourceInstance(), KVOString(), op.getResultClass(), op.getRole(), KVOString()};
}

}  // namespace

void OperationHandler::handleAssociators(KVOSmrPtr<IKivoAssociatorsOperation> const& op) {
    answer(op, [&] {
        stream(op, _om.associators(op->getNameSpace(), associatorTraversal(*op), instanceView(op)));
    });
}

void OperationHandler::handleAssociatorNames(KVOSmrPtr<IKivoAssociatorNamesOperation> const& op) {
    answer(op, [&] {
        stream(op, _om.associatorNames(op->getNameSpace(), associatorTraversal(*op)));
    });
}

void OperationHandler::handleReferences(KVOSmrPtr<IKivoReferencesOperation> const& op) {
    answer(op, [&] {
        stream(op, _om.references(op->getNameSpace(), referenceTraversal(*op), instanceView(op)));
    });
}

void OperationHandler::handleReferenceNames(KVOSmrPtr<IKivoReferenceNamesOperation> const& op) {
    answer(op, [&] {
        stream(op, _om.referenceNames(op->getNameSpace(), referenceTraversal(*op)));
    });
}

void OperationHandler::handleEnumerateQualifiers(KVOSmrPtr<IKivoEnumerateQualifiersOperation> const& op) {
    answer(op, [&] {
        std::vector<qora::IQualifierDef const*> const decls = _om.enumerateQualifiers(op->getNameSpace());
        KVOSmrPtr<IKivoEnumerateQualifiersOperation::QualifierList> list(
            new IKivoEnumerateQualifiersOperation::QualifierList(decls.begin(), decls.end()));
        op->setQualifierList(list);
    });
}

void OperationHandler::handleGetQualifier(KVOSmrPtr<IKivoGetQualifierOperation> const& op) {
    answer(op, [&] {
        op->setQualifierDef(_om.getQualifier(op->getNameSpace(), op->getQualifierName()));
    });
}

void OperationHandler::handleInvokeMethod(KVOSmrPtr<IKivoInvokeMethodOperation> const& op) {
    answer(op, [&] {
        std::vector<KVOSmrPtr<IKivoActualParameter>> in;
        if (auto given = op->getInputParameters())
            for (KVOSmrPtr<IKivoActualParameter> const& p : *given) in.push_back(p);
        MethodResult result =
            _om.invokeMethod(op->getNameSpace(), op->getClassName(), op->getInstanceName(), op->getMethodName(), in);
        KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoActualParameter>>> out(new KVOValSlist<KVOSmrPtr<IKivoActualParameter>>);
        for (auto const& [name, value] : result.out)
            out->append(KVOSmrPtr<IKivoActualParameter>(new CKivoActualParameter(name, value)));
        op->setOutputParameters(out);
        op->setReturn(result.returnValue);
    });
}

void OperationHandler::handleIndicationSubscription(KVOSmrPtr<IKivoIndicationSubOperation> const& op) {
    notSupported(op);
}

void OperationHandler::handleCreateClass(KVOSmrPtr<IKivoCreateClassOperation> const& op) {
    answer(op, [&] { _om.createClass(op->getNameSpace(), op->getClass()); });
}

void OperationHandler::handleModifyClass(KVOSmrPtr<IKivoModifyClassOperation> const& op) {
    answer(op, [&] { _om.modifyClass(op->getNameSpace(), op->getClass()); });
}

void OperationHandler::handleDeleteClass(KVOSmrPtr<IKivoDeleteClassOperation> const& op) {
    answer(op, [&] { _om.deleteClass(op->getNameSpace(), op->getClassName()); });
}

void OperationHandler::handleSetQualifier(KVOSmrPtr<IKivoSetQualifierOperation> const& op) {
    answer(op, [&] { _om.setQualifier(op->getNameSpace(), op->getQualifierDef()); });
}

void OperationHandler::handleDeleteQualifier(KVOSmrPtr<IKivoDeleteQualifierOperation> const& op) {
    answer(op, [&] { _om.deleteQualifier(op->getNameSpace(), op->getQualifierName()); });
}

// --- Pulled enumerations and ExecQuery ------------------------------------

namespace {

using Kind = EnumerationContexts::Kind;
using Instance = KVOSmrPtr<IKivoObject>;
using Path = KVOSmrPtr<IKivoInstanceName>;

// The open values this object manager does not offer.
void checkOpenValues(IOpenOperation const& op, bool filterIsTheQuery) {
    if (op.getContinueOnError()) {
        raise(CIM_ERR_CONTINUATION_ON_ERROR_NOT_SUPPORTED, "OperationHandler",
              "ContinueOnError is not supported");
    }
    if (!filterIsTheQuery && (!op.getFilterQueryLanguage().isEmpty() || !op.getFilterQuery().isEmpty())) {
        raise(CIM_ERR_FILTERED_ENUMERATION_NOT_SUPPORTED, "OperationHandler",
              "filtered enumerations are not supported; use OpenQueryInstances");
    }
}

// The instances among the objects of an association traversal (a traversal
// from an instance yields nothing else).
Producer<Instance> instancesOf(Producer<KVOSmrPtr<IKivoValue>> values) {
    return [values = std::move(values)](Sink<Instance> const& out) {
        values([&out](KVOSmrPtr<IKivoValue> const& v) {
            Instance instance = v ? v->getInstance() : Instance();
            return !instance || out(instance);
        });
    };
}

// A result of an enumeration as the operation's own result type: the
// reference and associator operations carry instances as values.
template <class Out, class T>
Out asResult(T const& result) {
    if constexpr (std::is_same_v<Out, T>) {
        return result;
    } else {
        return CKivoValue::makeInstance(result);
    }
}

template <class T>
struct ResultType;
template <class T>
struct ResultType<KVOSmrPtr<qora::IMultiResponse<T>>> {
    using type = T;
};

// Puts a batch into the operation's collection and records where the
// enumeration goes on.
template <class T, class Op>
void deliver(Op& op, EnumerationContexts::Batch<T> const& batch) {
    auto writer = op.getResponse();
    using Out = typename ResultType<decltype(writer)>::type;
    op.allowComplete();
    for (T const& result : batch.results) writer->add(asResult<Out>(result), false);
    writer->Close();
    op.setEndOfSequence(batch.endOfSequence);
    op.setEnumerationContext(KVOString(batch.context));
}

}  // namespace

template <class T, class Op, class Make>
void OperationHandler::openEnumeration(KVOSmrPtr<Op> const& op, Kind kind, Make make) {
    answer(op, [&] {
        checkOpenValues(*op, kind == Kind::Instances);
        EnumerationContexts::Clock::duration const timeout = _enumerations.timeoutFor(op->getOperationTimeout());
        Producer<T> produce = make();
        deliver(*op, _enumerations.open<T>(kind, principalOf(*op), std::move(produce), timeout,
                                           op->getMaxObjectCount()));
    });
}

template <class T, class Op>
void OperationHandler::pullEnumeration(KVOSmrPtr<Op> const& op, Kind kind) {
    answer(op, [&] {
        deliver(*op, _enumerations.pull<T>(op->getEnumerationContext().str(), principalOf(*op), kind,
                                           op->getMaxObjectCount()));
    });
}

void OperationHandler::handleOpenEnumerateInstances(KVOSmrPtr<IOpenEnumerateInstancesOperation> const& op) {
    openEnumeration<Instance>(op, Kind::InstancesWithPath, [&] {
        return _om.enumerateInstances(op->getNameSpace(), op->getClassName(), op->getDeepInheritance(),
                                      instanceView(op));
    });
}

void OperationHandler::handleOpenEnumerateInstancePaths(KVOSmrPtr<IOpenEnumerateInstancePathsOperation> const& op) {
    openEnumeration<Path>(op, Kind::InstancePaths,
                          [&] { return _om.enumerateInstanceNames(op->getNameSpace(), op->getClassName()); });
}

void OperationHandler::handleOpenReferenceInstances(KVOSmrPtr<IOpenReferenceInstancesOperation> const& op) {
    openEnumeration<Instance>(op, Kind::InstancesWithPath, [&] {
        return instancesOf(_om.references(op->getNameSpace(), referenceTraversal(*op), instanceView(op)));
    });
}

void OperationHandler::handleOpenReferenceInstancePaths(KVOSmrPtr<IOpenReferenceInstancePathsOperation> const& op) {
    openEnumeration<Path>(op, Kind::InstancePaths,
                          [&] { return _om.referenceNames(op->getNameSpace(), referenceTraversal(*op)); });
}

void OperationHandler::handleOpenAssociatorInstances(KVOSmrPtr<IOpenAssociatorInstancesOperation> const& op) {
    openEnumeration<Instance>(op, Kind::InstancesWithPath, [&] {
        return instancesOf(_om.associators(op->getNameSpace(), associatorTraversal(*op), instanceView(op)));
    });
}

void OperationHandler::handleOpenAssociatorInstancePaths(KVOSmrPtr<IOpenAssociatorInstancePathsOperation> const& op) {
    openEnumeration<Path>(op, Kind::InstancePaths,
                          [&] { return _om.associatorNames(op->getNameSpace(), associatorTraversal(*op)); });
}

void OperationHandler::handleOpenQueryInstances(KVOSmrPtr<IOpenQueryInstancesOperation> const& op) {
    openEnumeration<Instance>(op, Kind::Instances, [&] {
        KVOString const ns = op->getNameSpace();
        Producer<Instance> produce = _om.execQuery(ns, op->getFilterQueryLanguage(), op->getFilterQuery());
        if (op->getReturnQueryResultClass()) {
            if (auto* base = dynamic_cast<QueryResultClassOperationBase*>(op.get())) {
                base->setQueryResultClass(
                    _om.queryResultClass(ns, op->getFilterQueryLanguage(), op->getFilterQuery()));
            }
        }
        return produce;
    });
}

void OperationHandler::handlePullInstancesWithPath(KVOSmrPtr<IPullInstancesWithPathOperation> const& op) {
    pullEnumeration<Instance>(op, Kind::InstancesWithPath);
}

void OperationHandler::handlePullInstancePaths(KVOSmrPtr<IPullInstancePathsOperation> const& op) {
    pullEnumeration<Path>(op, Kind::InstancePaths);
}

void OperationHandler::handlePullInstances(KVOSmrPtr<IPullInstancesOperation> const& op) {
    pullEnumeration<Instance>(op, Kind::Instances);
}

void OperationHandler::handleCloseEnumeration(KVOSmrPtr<ICloseEnumerationOperation> const& op) {
    answer(op, [&] { _enumerations.close(op->getEnumerationContext().str(), principalOf(*op)); });
}

void OperationHandler::handleExecQuery(KVOSmrPtr<IExecQueryOperation> const& op) {
    answer(op, [&] {
        stream(op, _om.execQuery(op->getNameSpace(), op->getFilterQueryLanguage(), op->getFilterQuery()));
    });
}

}  // namespace kivo::om
