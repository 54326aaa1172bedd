#include "objectmanager/EnumerationContexts.h"

#include "objectmanager/CimStatus.h"

#include "Cimom/ProtocolAdapter/OperationTimeout.h"
#include "KivoUtilities/KivoBaseException.h"

#include <algorithm>
#include <cstdio>
#include <deque>

namespace kivo::om {

namespace {

KVOString const WHERE("EnumerationContexts");

[[noreturn]] void refuse(CimStatus code, KVOString const& message) { raise(code, WHERE, message); }

}  // namespace

// One open enumeration. The request that holds it (the id is then out of the
// table) is its only consumer.
struct EnumerationContexts::Enumeration {
    Enumeration(Kind k, Clock::duration t) : kind(k), timeout(t) {}
    virtual ~Enumeration() = default;

    // Ends the producer's wait and drops what it buffered.
    void close() {
        std::lock_guard guard(mutex);
        closed = true;
        drop();
        changed.notify_all();
    }
    virtual void drop() = 0;  // mutex held

    Kind const kind;
    Clock::duration const timeout;

    std::string id;                // guarded by the table's _lock: "" while a request holds it
    Clock::time_point lastUsed{};  // guarded by the table's _lock
    unsigned zeroCountPulls = 0;   // the holding request's

    std::mutex mutex;
    std::condition_variable changed;  // results added or taken, finished, closed
    bool closed = false;              // guarded by mutex
    bool finished = false;            // guarded by mutex: the producer has returned
    int errorCode = 0;                // guarded by mutex: the producer's failure
    KVOString errorMessage;           // guarded by mutex
};

template <class T>
struct EnumerationContexts::Buffered final : Enumeration {
    using Enumeration::Enumeration;
    void drop() override { results.clear(); }
    std::deque<T> results;  // guarded by mutex
};

EnumerationContexts::EnumerationContexts(Limits limits, std::function<Clock::time_point()> now)
    : _limits(limits), _now(std::move(now)), _random(std::random_device()()) {
    _sweeper = std::thread([this] { sweeper(); });
}

EnumerationContexts::~EnumerationContexts() {
    {
        std::lock_guard guard(_lock);
        _stopping = true;
    }
    _stop.notify_all();
    _sweeper.join();
    closeAll();
    _workers.waitIdle();
}

void EnumerationContexts::sweeper() {
    std::unique_lock held(_lock);
    while (!_stop.wait_for(held, _limits.sweepInterval, [this] { return _stopping; })) {
        held.unlock();
        sweep();
        held.lock();
    }
}

EnumerationContexts::Clock::duration EnumerationContexts::timeoutFor(std::uint32_t operationTimeout) const {
    if (operationTimeout == IOperationTimeout::OPERATION_TIMEOUT_ABSENT) return _limits.defaultTimeout;
    if (operationTimeout == 0 || std::chrono::seconds(operationTimeout) > _limits.maxTimeout) {
        refuse(CIM_ERR_INVALID_OPERATION_TIMEOUT,
               "OperationTimeout must be between 1 and " + KVOString::itoa(_limits.maxTimeout.count()) + " seconds");
    }
    return std::chrono::seconds(operationTimeout);
}

std::string EnumerationContexts::newId() {
    char text[48];
    std::snprintf(text, sizeof text, "%016llx.%llx", static_cast<unsigned long long>(_random()),
                  static_cast<unsigned long long>(++_serial));
    return text;
}

template <class T>
EnumerationContexts::Batch<T> EnumerationContexts::open(Kind kind, Producer<T> produce, Clock::duration timeout,
                                                        std::uint32_t maxObjectCount) {
    auto e = std::make_shared<Buffered<T>>(kind, timeout);
    {
        std::lock_guard guard(_lock);
        if (_all.size() >= _limits.maxOpen) {
            refuse(CIM_ERR_SERVER_LIMITS_EXCEEDED,
                   "too many open enumerations (at most " + KVOString::itoa(static_cast<long long>(_limits.maxOpen)) +
                       ")");
        }
        _all.push_back(e);
        e->lastUsed = _now();
    }
    std::size_t const capacity = bufferCapacity();
    try {
        _workers.run([e, produce = std::move(produce), capacity] {
            int code = 0;
            KVOString message;
            try {
                produce([&e, capacity](T const& result) {
                    std::unique_lock held(e->mutex);
                    e->changed.wait(held, [&] { return e->closed || e->results.size() < capacity; });
                    if (e->closed) return false;
                    // The request waits only on an empty buffer.
                    bool const wasEmpty = e->results.empty();
                    e->results.push_back(result);
                    if (wasEmpty) e->changed.notify_all();
                    return true;
                });
            } catch (KivoBaseException const& x) {
                code = x.getCode() != 0 ? x.getCode() : CIM_ERR_FAILED;
                message = x.getMessage();
            } catch (std::exception const& x) {
                code = CIM_ERR_FAILED;
                message = x.what();
            } catch (...) {
                code = CIM_ERR_FAILED;
            }
            std::lock_guard guard(e->mutex);
            e->finished = true;
            e->errorCode = code;
            e->errorMessage = message;
            e->changed.notify_all();
        });
    } catch (...) {
        retire(e);
        throw;
    }
    return take<T>(e, maxObjectCount);
}

template <class T>
EnumerationContexts::Batch<T> EnumerationContexts::pull(std::string const& context, Kind kind,
                                                        std::uint32_t maxObjectCount) {
    std::shared_ptr<Enumeration> e = checkOut(context, &kind);
    if (maxObjectCount == 0) {
        if (++e->zeroCountPulls > _limits.maxZeroCountPulls) {
            retire(e);
            refuse(CIM_ERR_SERVER_LIMITS_EXCEEDED,
                   "more than " + KVOString::itoa(_limits.maxZeroCountPulls) +
                       " pulls in a row asked for no result; the enumeration is closed");
        }
    } else {
        e->zeroCountPulls = 0;
    }
    return take<T>(e, maxObjectCount);
}

template <class T>
EnumerationContexts::Batch<T> EnumerationContexts::take(std::shared_ptr<Enumeration> const& held,
                                                        std::uint32_t maxObjectCount) {
    auto* typed = dynamic_cast<Buffered<T>*>(held.get());
    if (typed == nullptr) {
        retire(held);
        refuse(CIM_ERR_INVALID_ENUMERATION_CONTEXT, "the enumeration holds results of another kind");
    }
    Buffered<T>& e = *typed;
    std::size_t const count = std::min(maxObjectCount, _limits.maxObjectCount);
    std::size_t const capacity = bufferCapacity();
    Batch<T> batch;
    batch.results.reserve(std::min<std::size_t>(count, 1024));
    auto const deadline = Clock::now() + _limits.pullWait;
    std::unique_lock lock(e.mutex);
    while (batch.results.size() < count) {
        if (!e.results.empty()) {
            // The producer waits only on a full buffer.
            bool const wasFull = e.results.size() >= capacity;
            while (!e.results.empty() && batch.results.size() < count) {
                batch.results.push_back(std::move(e.results.front()));
                e.results.pop_front();
            }
            if (wasFull) e.changed.notify_all();
            continue;
        }
        if (e.closed || e.finished) break;
        if (e.changed.wait_until(lock, deadline) == std::cv_status::timeout && e.results.empty()) break;
    }
    bool const closed = e.closed;
    bool const drained = e.finished && e.results.empty();
    int const code = drained ? e.errorCode : 0;
    KVOString const message = e.errorMessage;
    lock.unlock();

    if (closed) {
        retire(held);
        refuse(CIM_ERR_INVALID_ENUMERATION_CONTEXT, "the enumeration was closed");
    }
    if (code != 0 && batch.results.empty()) {
        retire(held);
        raise(static_cast<CimStatus>(code), WHERE, message);
    }
    batch.endOfSequence = drained && code == 0;
    batch.context = checkIn(held, batch.endOfSequence);
    return batch;
}

std::shared_ptr<EnumerationContexts::Enumeration> EnumerationContexts::checkOut(std::string const& context,
                                                                                Kind const* kind) {
    std::shared_ptr<Enumeration> e;
    bool expired = false;
    {
        std::lock_guard guard(_lock);
        auto it = _idle.find(context);
        if (it == _idle.end()) {
            refuse(CIM_ERR_INVALID_ENUMERATION_CONTEXT,
                   "no open enumeration has the context \"" + KVOString(context) + "\"");
        }
        if (kind != nullptr && it->second->kind != *kind) {
            refuse(CIM_ERR_INVALID_ENUMERATION_CONTEXT,
                   "the enumeration \"" + KVOString(context) + "\" is not continued by this pull operation");
        }
        e = it->second;
        _idle.erase(it);
        e->id.clear();
        expired = _now() - e->lastUsed > e->timeout;
    }
    if (expired) {
        retire(e);
        refuse(CIM_ERR_INVALID_ENUMERATION_CONTEXT,
               "the enumeration \"" + KVOString(context) + "\" expired (idle beyond its OperationTimeout)");
    }
    return e;
}

std::string EnumerationContexts::checkIn(std::shared_ptr<Enumeration> const& e, bool finished) {
    if (finished) {
        retire(e);
        return std::string();
    }
    std::lock_guard guard(_lock);
    std::string id = newId();
    if (std::find(_all.begin(), _all.end(), e) != _all.end()) {
        e->id = id;
        e->lastUsed = _now();
        _idle.emplace(id, e);
    }
    return id;
}

void EnumerationContexts::retire(std::shared_ptr<Enumeration> const& e) {
    {
        std::lock_guard guard(_lock);
        if (!e->id.empty()) _idle.erase(e->id);
        e->id.clear();
        _all.erase(std::remove(_all.begin(), _all.end(), e), _all.end());
    }
    e->close();
}

void EnumerationContexts::close(std::string const& context) { retire(checkOut(context, nullptr)); }

void EnumerationContexts::closeAll() {
    std::vector<std::shared_ptr<Enumeration>> all;
    {
        std::lock_guard guard(_lock);
        all.swap(_all);
        _idle.clear();
        for (auto const& e : all) e->id.clear();
    }
    for (auto const& e : all) e->close();
}

std::size_t EnumerationContexts::sweep() {
    std::vector<std::shared_ptr<Enumeration>> expired;
    {
        std::lock_guard guard(_lock);
        Clock::time_point const now = _now();
        for (auto it = _idle.begin(); it != _idle.end();) {
            std::shared_ptr<Enumeration> const& e = it->second;
            if (now - e->lastUsed > e->timeout) {
                expired.push_back(e);
                e->id.clear();
                _all.erase(std::remove(_all.begin(), _all.end(), e), _all.end());
                it = _idle.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (auto const& e : expired) e->close();
    return expired.size();
}

std::size_t EnumerationContexts::openCount() const {
    std::lock_guard guard(_lock);
    return _all.size();
}

template EnumerationContexts::Batch<KVOSmrPtr<IKivoObject>> EnumerationContexts::open(
    Kind, Producer<KVOSmrPtr<IKivoObject>>, Clock::duration, std::uint32_t);
template EnumerationContexts::Batch<KVOSmrPtr<IKivoInstanceName>> EnumerationContexts::open(
    Kind, Producer<KVOSmrPtr<IKivoInstanceName>>, Clock::duration, std::uint32_t);
template EnumerationContexts::Batch<KVOSmrPtr<IKivoObject>> EnumerationContexts::pull(std::string const&, Kind,
                                                                                      std::uint32_t);
template EnumerationContexts::Batch<KVOSmrPtr<IKivoInstanceName>> EnumerationContexts::pull(std::string const&, Kind,
                                                                                            std::uint32_t);

}  // namespace kivo::om
