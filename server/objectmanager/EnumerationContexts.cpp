#include "objectmanager/EnumerationContexts.h"

#include "objectmanager/CimStatus.h"

#include "Cimom/ProtocolAdapter/OperationTimeout.h"
#include "KivoUtilities/KivoBaseException.h"

#include <sys/random.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <iterator>

namespace kivo::om {

namespace {

KVOString const WHERE("EnumerationContexts");

// Most results a producer makes before it hands them to the buffer.
constexpr std::size_t kHandOver = 64;

[[noreturn]] void refuse(CimStatus code, KVOString const& message) { raise(code, WHERE, message); }

}  // namespace

// One open enumeration. The request that holds it (the id is then out of the
// table) is its only consumer.
struct EnumerationContexts::Enumeration {
    Enumeration(Kind k, std::string p, Clock::duration t) : kind(k), principal(std::move(p)), timeout(t) {}
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
    std::string const principal;
    Clock::duration const timeout;

    std::string id;                // guarded by the table's _lock: "" while a request holds it
    Clock::time_point lastUsed{};  // guarded by the table's _lock
    unsigned zeroCountPulls = 0;   // the holding request's

    std::mutex mutex;
    std::condition_variable changed;  // results added or taken, finished, closed
    bool closed = false;              // guarded by mutex
    bool finished = false;            // guarded by mutex: the producer has returned for good
    bool running = false;             // guarded by mutex: a run of the producer is on the pool
    bool consumerWaits = false;       // guarded by mutex: the request waits on an empty buffer
    bool producerWaits = false;       // guarded by mutex: the producer waits on a full buffer
    std::uint64_t kept = 0;           // guarded by mutex: results produced and not dropped (handed out or buffered)
    Clock::time_point activity;       // guarded by mutex: the last request's take (steady clock)
    int errorCode = 0;                // guarded by mutex: the producer's failure
    KVOString errorMessage;           // guarded by mutex
    // Results buffered and not yet taken; written under mutex, read without
    // it by the producer to decide when to hand over what it holds.
    std::atomic<std::size_t> available{0};
};

// The buffer is a vector read from `head` on: the request takes a whole batch
// in one step (the vector itself when it wants everything buffered), and the
// producer appends what it holds in one step.
template <class T>
struct EnumerationContexts::Buffered final : Enumeration {
    Buffered(Kind k, std::string p, Clock::duration t, Producer<T> make)
        : Enumeration(k, std::move(p), t), produce(std::move(make)) {}
    void drop() override {
        results.clear();
        head = 0;
        available.store(0, std::memory_order_relaxed);
    }
    // Moves up to `count` results (at least one buffered) to the end of
    // `out`; mutex held.
    void takeInto(std::vector<T>& out, std::size_t count) {
        std::size_t const n = std::min(count, results.size() - head);
        if (out.empty() && head == 0 && n == results.size()) {
            out.swap(results);
            results.clear();
        } else {
            auto const first = results.begin() + static_cast<std::ptrdiff_t>(head);
            out.insert(out.end(), std::make_move_iterator(first),
                       std::make_move_iterator(first + static_cast<std::ptrdiff_t>(n)));
            head += n;
            if (head == results.size()) {
                results.clear();
                head = 0;
            }
        }
        available.store(results.size() - head, std::memory_order_relaxed);
    }
    // Appends the producer's results, emptying `in`; mutex held.
    void append(std::vector<T>& in) {
        if (results.empty()) {
            results.swap(in);
        } else {
            if (head != 0 && head >= results.size() / 2) {  // keep the taken prefix from growing
                results.erase(results.begin(), results.begin() + static_cast<std::ptrdiff_t>(head));
                head = 0;
            }
            results.insert(results.end(), std::make_move_iterator(in.begin()), std::make_move_iterator(in.end()));
        }
        in.clear();
        available.store(results.size() - head, std::memory_order_relaxed);
    }
    std::size_t buffered() const { return results.size() - head; }  // mutex held

    Producer<T> const produce;
    std::vector<T> results;  // guarded by mutex: results[head..] are buffered
    std::size_t head = 0;    // guarded by mutex
};

EnumerationContexts::EnumerationContexts(Limits limits, std::function<Clock::time_point()> now)
    : _limits(limits), _now(std::move(now)), _producers(limits.producerThreads) {
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
    _producers.waitIdle();
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

std::string EnumerationContexts::randomId() {
    unsigned char bytes[16];
    std::size_t got = 0;
    while (got < sizeof bytes) {
        ssize_t const n = getrandom(bytes + got, sizeof bytes - got, 0);
        if (n > 0) {
            got += static_cast<std::size_t>(n);
        } else if (n < 0 && errno != EINTR) {
            refuse(CIM_ERR_FAILED, "no random bytes for an enumeration context");
        }
    }
    static char const digits[] = "0123456789abcdef";
    std::string id(2 * sizeof bytes, '0');
    for (std::size_t i = 0; i < sizeof bytes; ++i) {
        id[2 * i] = digits[bytes[i] >> 4];
        id[2 * i + 1] = digits[bytes[i] & 0xF];
    }
    return id;
}

std::string EnumerationContexts::newId() {
    std::string id;
    do id = randomId();
    while (_idle.count(id) != 0);
    return id;
}

template <class T>
void EnumerationContexts::startProducer(std::shared_ptr<Buffered<T>> const& e) {
    e->running = true;
    std::size_t const capacity = bufferCapacity();
    auto job = [this, e, capacity] {
        std::uint64_t skip;
        {
            std::lock_guard guard(e->mutex);
            skip = e->kept;
        }
        std::uint64_t seen = 0;
        bool parked = false;
        int code = 0;
        KVOString message;
        auto const slice = std::min<Clock::duration>(_limits.parkAfter, std::chrono::milliseconds(100));
        // Results made and not yet handed to the buffer: they go over in one
        // step when there are kHandOver of them, when they would fill the
        // buffer, or at once while the buffer is empty (a request may be
        // waiting for them).
        std::vector<T> held;
        held.reserve(std::min(capacity, kHandOver));
        // Hands `held` to the buffer, waiting while it has no room for them;
        // false when the run must stop (closed, or parked).
        auto handOver = [&](bool last) {
            std::unique_lock lock(e->mutex);
            while (!last && !e->closed && e->buffered() != 0 && e->buffered() + held.size() > capacity) {
                // Nobody wants results now: give the worker back. What is
                // held is made again when the enumeration resumes.
                if (Clock::now() - e->activity >= _limits.parkAfter || _producers.queued() != 0) {
                    parked = true;
                    return false;
                }
                e->producerWaits = true;
                e->changed.wait_for(lock, slice);
                e->producerWaits = false;
            }
            if (e->closed) return false;
            e->kept += held.size();
            e->append(held);
            if (e->consumerWaits) {
                e->changed.notify_all();
            } else if (!last && _producers.queued() != 0) {
                // Ahead of its client while another producer waits for a
                // worker: make way (nothing made is lost).
                parked = true;
                return false;
            }
            return true;
        };
        try {
            e->produce([&](T const& result) {
                if (seen < skip) {  // delivered or buffered by an earlier run
                    ++seen;
                    return true;
                }
                held.push_back(result);
                ++seen;
                std::size_t const buffered = e->available.load(std::memory_order_relaxed);
                if (buffered != 0 && held.size() < kHandOver && buffered + held.size() < capacity) return true;
                return handOver(false);
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
        // The results made before the end (or the failure) go out before it.
        if (!parked && !held.empty()) handOver(true);
        std::lock_guard guard(e->mutex);
        e->running = false;
        if (!parked || code != 0) {
            e->finished = true;
            e->errorCode = code;
            e->errorMessage = message;
        }
        e->changed.notify_all();
    };
    try {
        _producers.run(std::move(job));
    } catch (...) {
        e->running = false;
        e->finished = true;
        e->errorCode = CIM_ERR_FAILED;
        e->errorMessage = "no thread for the enumeration's producer";
    }
}

template <class T>
EnumerationContexts::Batch<T> EnumerationContexts::open(Kind kind, std::string const& principal, Producer<T> produce,
                                                        Clock::duration timeout, std::uint32_t maxObjectCount) {
    auto e = std::make_shared<Buffered<T>>(kind, principal, timeout, std::move(produce));
    {
        std::lock_guard guard(_lock);
        if (_all.size() >= _limits.maxOpen) {
            refuse(CIM_ERR_SERVER_LIMITS_EXCEEDED,
                   "too many open enumerations (at most " + KVOString::itoa(static_cast<long long>(_limits.maxOpen)) +
                       ")");
        }
        auto const mine = std::count_if(_all.begin(), _all.end(),
                                        [&](std::shared_ptr<Enumeration> const& o) { return o->principal == principal; });
        if (static_cast<std::size_t>(mine) >= _limits.maxOpenPerPrincipal) {
            refuse(CIM_ERR_SERVER_LIMITS_EXCEEDED,
                   "too many open enumerations of one principal (at most " +
                       KVOString::itoa(static_cast<long long>(_limits.maxOpenPerPrincipal)) + ")");
        }
        _all.push_back(e);
        e->lastUsed = _now();
    }
    {
        std::lock_guard guard(e->mutex);
        e->activity = Clock::now();
        startProducer(e);
    }
    return take<T>(e, maxObjectCount);
}

template <class T>
EnumerationContexts::Batch<T> EnumerationContexts::pull(std::string const& context, std::string const& principal,
                                                        Kind kind, std::uint32_t maxObjectCount) {
    std::shared_ptr<Enumeration> e = checkOut(context, principal, &kind);
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
    std::shared_ptr<Buffered<T>> const shared(held, typed);
    std::size_t const count = std::min(maxObjectCount, _limits.maxObjectCount);
    std::size_t const capacity = bufferCapacity();
    Batch<T> batch;
    auto const deadline = Clock::now() + _limits.pullWait;
    std::unique_lock lock(e.mutex);
    e.activity = Clock::now();
    while (batch.results.size() < count) {
        // A parked producer runs again once there is room for what it makes.
        if (!e.running && !e.finished && !e.closed && e.buffered() < capacity) startProducer(shared);
        if (e.buffered() != 0) {
            e.takeInto(batch.results, count - batch.results.size());
            if (e.producerWaits) e.changed.notify_all();
            continue;
        }
        if (e.closed || e.finished) break;
        e.consumerWaits = true;
        bool const timedOut = e.changed.wait_until(lock, deadline) == std::cv_status::timeout;
        e.consumerWaits = false;
        if (timedOut && e.buffered() == 0) break;
    }
    bool const closed = e.closed;
    bool const drained = e.finished && e.buffered() == 0;
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
                                                                                std::string const& principal,
                                                                                Kind const* kind) {
    std::shared_ptr<Enumeration> e;
    bool expired = false;
    {
        std::lock_guard guard(_lock);
        auto it = _idle.find(context);
        // Another principal's enumeration is answered as an unknown one.
        if (it == _idle.end() || it->second->principal != principal) {
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

void EnumerationContexts::close(std::string const& context, std::string const& principal) {
    retire(checkOut(context, principal, nullptr));
}

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
    Kind, std::string const&, Producer<KVOSmrPtr<IKivoObject>>, Clock::duration, std::uint32_t);
template EnumerationContexts::Batch<KVOSmrPtr<IKivoInstanceName>> EnumerationContexts::open(
    Kind, std::string const&, Producer<KVOSmrPtr<IKivoInstanceName>>, Clock::duration, std::uint32_t);
template EnumerationContexts::Batch<KVOSmrPtr<IKivoObject>> EnumerationContexts::pull(std::string const&,
                                                                                      std::string const&, Kind,
                                                                                      std::uint32_t);
template EnumerationContexts::Batch<KVOSmrPtr<IKivoInstanceName>> EnumerationContexts::pull(std::string const&,
                                                                                            std::string const&, Kind,
                                                                                            std::uint32_t);

}  // namespace kivo::om
