// The open pulled enumerations of the object manager's handler: one context
// per enumeration, from its Open operation through its Pull operations to its
// end, its CloseEnumeration or its expiry.
//
// OperationHandler owns one table and serves every Open*, Pull* and
// CloseEnumeration from it; tests drive it directly with fake producers.
//
// An enumeration runs lazily. open() starts the producer on a worker of the
// table's producer pool (Limits::producerThreads threads at most; more
// producers wait their turn); the producer fills a bounded buffer
// (Limits::buffer results, 1000 so that it makes the next batch of a client
// pulling 1000 while the last one is written) and waits while it is full, so
// an enumeration of a million instances that the client pulls 100 at a time
// never holds more than the buffer and the batch being answered. Results
// cross between the threads in batches, each under one lock: a request takes
// everything it can use from the buffer at once, and a producer hands over
// what it has made every 64 results, when the buffer would be full, or at
// once while the buffer is empty (a request may wait for it); so a result
// made while others are buffered may wait in the producer's hands for its
// next result or its end, and a slow producer's results reach the buffer as
// they come once the buffer has run dry. A request wakes its producer only
// when the producer waits for room, and a producer wakes the request only
// when the request waits for results. An open enumeration that nobody pulls
// holds no thread: a producer that has waited on its full buffer for
// Limits::parkAfter without a request, or, while another producer waits for
// a worker, one that waits on its full buffer or has just handed over
// results no request waits for, gives its worker back (it parks) and is kept
// as data: its buffered results and how many it has produced. The next
// request that finds room in the buffer runs it again on the pool, and it
// skips the results it had produced before (so a resumed enumeration
// reflects instances created or deleted while it was parked; results are
// never handed out twice by position). Each Open and Pull takes the results
// the buffer hands over, up to its count, and answers with
//   - at most MaxObjectCount results (counts above Limits::maxObjectCount are
//     served as that maximum, not refused);
//   - EndOfSequence true once the producer has finished without error and
//     every result was handed out; the context is then closed and no context
//     id is returned;
//   - otherwise a new context id: 128 bits from getrandom(2) as 32 lower-case
//     hex digits, nothing else in it; the id the request carried is spent, so
//     every id is good for exactly one Pull or CloseEnumeration, and every
//     result is handed out exactly once.
// A slow producer never leaves a request without an answer: after
// Limits::pullWait (1 s) the batch goes out with what is there, possibly
// nothing, with EndOfSequence false.
//
// Principals: an enumeration belongs to the principal that opened it (the
// user name of the operation's security token; "" for anonymous). A Pull or
// CloseEnumeration by another principal is answered exactly as an unknown id
// (same code, same text) and leaves the enumeration as it was.
//
// Refusals (KivoBaseException with the DSP0200 code, CimStatus.h):
//   - OperationTimeout 0 or above Limits::maxTimeout (600 s):
//     CIM_ERR_INVALID_OPERATION_TIMEOUT. Absent: Limits::defaultTimeout (30 s).
//   - an id that is unknown, spent, closed, expired or another principal's,
//     or a Pull of the wrong kind (PullInstancePaths on an instances
//     enumeration and so on): CIM_ERR_INVALID_ENUMERATION_CONTEXT. A Pull of
//     the wrong kind leaves the enumeration and its id as they were.
//   - an Open while Limits::maxOpen (256) enumerations are open, or while its
//     principal holds Limits::maxOpenPerPrincipal (64, a quarter) of them:
//     CIM_ERR_SERVER_LIMITS_EXCEEDED.
//   - more than Limits::maxZeroCountPulls (1000) Pulls in a row with
//     MaxObjectCount 0: CIM_ERR_SERVER_LIMITS_EXCEEDED, and the enumeration
//     is closed.
//   - a producer that raises: its code (CIM_ERR_FAILED for 0 or a foreign
//     exception) and message are answered by the Open or Pull that meets the
//     failure, once the results produced before it have been handed out; the
//     enumeration is then closed.
//
// Expiry: an enumeration idle (no request on it) for longer than its
// OperationTimeout expires. Every access checks the one it touches, and a
// sweeper thread closes expired ones every Limits::sweepInterval. Closing an
// enumeration drops its buffered results and stops its producer at its next
// result (the sink answers false). closeAll() closes every enumeration
// (server shutdown); the destructor closes every enumeration and joins every
// producer.
//
// Threading: every member may be called from any thread at once. One mutex
// guards the table (ids, counts); each enumeration has its own mutex and
// condition variable for its buffer and its producer's state, shared with
// its producer. Lock order: the table's mutex, then an enumeration's, then
// the producer pool's; nothing waits while holding the table's mutex. A
// request owns its enumeration while it serves it: the id is out of the table
// meanwhile, so a second request with the same id is refused rather than
// served twice.
#pragma once

#include "objectmanager/ObjectManager.h"
#include "objectmanager/WorkerThreads.h"

#include "KivoUtilities/IKivoInstanceName.h"
#include "KivoUtilities/IKivoObject.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace kivo::om {

// The limits of the pulled enumerations (see EnumerationContexts).
struct EnumerationLimits {
    std::chrono::seconds defaultTimeout{30};  // OperationTimeout absent
    std::chrono::seconds maxTimeout{600};     // larger OperationTimeouts are refused
    std::uint32_t maxObjectCount = 10000;     // larger MaxObjectCounts are served as this
    std::size_t maxOpen = 256;                // open enumerations
    unsigned maxZeroCountPulls = 1000;        // Pulls in a row with MaxObjectCount 0
    std::chrono::milliseconds pullWait{1000};  // longest wait for a slow producer
    std::size_t buffer = 1000;                // results produced ahead of the client
    std::chrono::milliseconds sweepInterval{1000};
    std::size_t maxOpenPerPrincipal = 64;     // open enumerations of one principal
    std::size_t producerThreads = 16;         // the producer pool's threads
    std::chrono::milliseconds parkAfter{1000};  // a full buffer's wait before its producer parks
};

class EnumerationContexts {
public:
    using Clock = std::chrono::steady_clock;

    // Which Pull operation continues an enumeration.
    enum class Kind {
        InstancesWithPath,  // OpenEnumerateInstances, OpenReferenceInstances, OpenAssociatorInstances
        InstancePaths,      // the three Open*InstancePaths
        Instances,          // OpenQueryInstances
    };

    using Limits = EnumerationLimits;

    // One answer of an Open or Pull.
    template <class T>
    struct Batch {
        std::vector<T> results;
        bool endOfSequence = false;
        std::string context;  // empty with endOfSequence
    };

    // `now` is the clock of expiry (tests pass their own); waits use the
    // steady clock.
    explicit EnumerationContexts(Limits limits = Limits(), std::function<Clock::time_point()> now = &Clock::now);
    EnumerationContexts(EnumerationContexts const&) = delete;
    EnumerationContexts& operator=(EnumerationContexts const&) = delete;
    ~EnumerationContexts();

    Limits const& limits() const { return _limits; }

    // The idle time an Open's OperationTimeout allows (seconds;
    // IOperationTimeout::OPERATION_TIMEOUT_ABSENT for none). Raises
    // CIM_ERR_INVALID_OPERATION_TIMEOUT for 0 or above the maximum.
    Clock::duration timeoutFor(std::uint32_t operationTimeout) const;

    // Opens an enumeration of `kind` over `produce` and answers its first
    // batch. Raises CIM_ERR_SERVER_LIMITS_EXCEEDED when too many are open (the
    // producer then never runs), or the producer's failure when it meets it.
    // T is KVOSmrPtr<IKivoObject> or KVOSmrPtr<IKivoInstanceName>.
    // `produce` may be run more than once (see parking above): each run
    // yields the enumeration from its start.
    template <class T>
    Batch<T> open(Kind kind, std::string const& principal, Producer<T> produce, Clock::duration timeout,
                  std::uint32_t maxObjectCount);
    // The next batch of the enumeration `context` of `principal`, which must
    // be of `kind`.
    template <class T>
    Batch<T> pull(std::string const& context, std::string const& principal, Kind kind, std::uint32_t maxObjectCount);
    // Closes the enumeration `context` of `principal`; raises
    // CIM_ERR_INVALID_ENUMERATION_CONTEXT when there is none.
    void close(std::string const& context, std::string const& principal);

    // Closes every enumeration (open ones and those a request is serving).
    void closeAll();
    // Closes the expired enumerations now; answers how many.
    std::size_t sweep();
    // Enumerations open (whether idle or being served).
    std::size_t openCount() const;
    // Blocks until no producer runs.
    void waitIdle() { _producers.waitIdle(); }
    // Producers holding a thread now.
    int producersRunning() const { return _producers.running(); }
    // A fresh context id (see above).
    static std::string randomId();

private:
    struct Enumeration;
    template <class T>
    struct Buffered;

    // Takes `context` out of the table for a request (checking kind and
    // expiry).
    std::shared_ptr<Enumeration> checkOut(std::string const& context, std::string const& principal, Kind const* kind);
    // Gives it back under a new id, or closes it (end of sequence, failure,
    // closed meanwhile). Answers the new id, or "" when closed.
    std::string checkIn(std::shared_ptr<Enumeration> const& e, bool finished);
    void retire(std::shared_ptr<Enumeration> const& e);
    std::string newId();
    // Results an enumeration's producer may run ahead of its requests.
    std::size_t bufferCapacity() const { return std::max<std::size_t>(_limits.buffer, 1); }
    template <class T>
    Batch<T> take(std::shared_ptr<Enumeration> const& e, std::uint32_t maxObjectCount);
    // Runs the producer of `e` on the pool; e's mutex held, e not running.
    template <class T>
    void startProducer(std::shared_ptr<Buffered<T>> const& e);
    void sweeper();

    Limits const _limits;
    std::function<Clock::time_point()> const _now;

    mutable std::mutex _lock;
    std::map<std::string, std::shared_ptr<Enumeration>> _idle;  // guarded by _lock: enumerations awaiting a request
    std::vector<std::shared_ptr<Enumeration>> _all;             // guarded by _lock: every open enumeration
    bool _stopping = false;                                     // guarded by _lock
    std::condition_variable _stop;

    WorkerThreads _producers;  // the producers
    std::thread _sweeper;    // last: started once the rest exists
};

}  // namespace kivo::om
