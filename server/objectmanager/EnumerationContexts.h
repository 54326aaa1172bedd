// The open pulled enumerations of the object manager's handler: one context
// per enumeration, from its Open operation through its Pull operations to its
// end, its CloseEnumeration or its expiry.
//
// OperationHandler owns one table and serves every Open*, Pull* and
// CloseEnumeration from it; tests drive it directly with fake producers.
//
// An enumeration runs lazily. open() starts the producer on a worker thread
// of the table; the producer fills a small bounded buffer (Limits::buffer
// results) and blocks while it is full, so an enumeration of a million
// instances that the client pulls 100 at a time never holds more than the
// buffer and the batch being answered. Each Open and Pull takes the results
// the buffer hands over, up to its count, and answers with
//   - at most MaxObjectCount results (counts above Limits::maxObjectCount are
//     served as that maximum, not refused);
//   - EndOfSequence true once the producer has finished without error and
//     every result was handed out; the context is then closed and no context
//     id is returned;
//   - otherwise a new context id (16 random hex digits, a dot and a serial
//     number in hex); the id the request carried is spent, so every id is
//     good for exactly one Pull or CloseEnumeration, and every result is
//     handed out exactly once.
// A slow producer never leaves a request without an answer: after
// Limits::pullWait (1 s) the batch goes out with what is there, possibly
// nothing, with EndOfSequence false.
//
// Refusals (KivoBaseException with the DSP0200 code, CimStatus.h):
//   - OperationTimeout 0 or above Limits::maxTimeout (600 s):
//     CIM_ERR_INVALID_OPERATION_TIMEOUT. Absent: Limits::defaultTimeout (30 s).
//   - an id that is unknown, spent, closed or expired, or a Pull of the wrong
//     kind (PullInstancePaths on an instances enumeration and so on):
//     CIM_ERR_INVALID_ENUMERATION_CONTEXT. A Pull of the wrong kind leaves the
//     enumeration and its id as they were.
//   - an Open while Limits::maxOpen (256) enumerations are open:
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
// sweeper thread closes expired ones every Limits::sweepInterval, so their
// producers end even when no client comes back. Closing an enumeration drops
// its buffered results and releases its producer (whose sink then answers
// false). closeAll() closes every enumeration (server shutdown); the
// destructor closes every enumeration and joins every producer.
//
// Threading: every member may be called from any thread at once. One mutex
// guards the table (ids, counts); each enumeration has its own mutex and
// condition variable for its buffer, shared with its producer. The table's
// mutex may be taken before an enumeration's, never the other way round, and
// nothing waits while holding the table's mutex. A request owns its
// enumeration while it serves it: the id is out of the table meanwhile, so a
// second request with the same id is refused rather than served twice.
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
#include <random>
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
    std::size_t buffer = 256;                 // results produced ahead of the client
    std::chrono::milliseconds sweepInterval{1000};
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
    template <class T>
    Batch<T> open(Kind kind, Producer<T> produce, Clock::duration timeout, std::uint32_t maxObjectCount);
    // The next batch of the enumeration `context`, which must be of `kind`.
    template <class T>
    Batch<T> pull(std::string const& context, Kind kind, std::uint32_t maxObjectCount);
    // Closes the enumeration `context`; raises CIM_ERR_INVALID_ENUMERATION_CONTEXT
    // when there is none.
    void close(std::string const& context);

    // Closes every enumeration (open ones and those a request is serving).
    void closeAll();
    // Closes the expired enumerations now; answers how many.
    std::size_t sweep();
    // Enumerations open (whether idle or being served).
    std::size_t openCount() const;
    // Blocks until no producer runs.
    void waitIdle() { _workers.waitIdle(); }
    int producersRunning() const { return _workers.running(); }

private:
    struct Enumeration;
    template <class T>
    struct Buffered;

    // Takes `context` out of the table for a request (checking kind and
    // expiry).
    std::shared_ptr<Enumeration> checkOut(std::string const& context, Kind const* kind);
    // Gives it back under a new id, or closes it (end of sequence, failure,
    // closed meanwhile). Answers the new id, or "" when closed.
    std::string checkIn(std::shared_ptr<Enumeration> const& e, bool finished);
    void retire(std::shared_ptr<Enumeration> const& e);
    std::string newId();
    // Results an enumeration's producer may run ahead of its requests.
    std::size_t bufferCapacity() const { return std::max<std::size_t>(_limits.buffer, 1); }
    template <class T>
    Batch<T> take(std::shared_ptr<Enumeration> const& e, std::uint32_t maxObjectCount);
    void sweeper();

    Limits const _limits;
    std::function<Clock::time_point()> const _now;

    mutable std::mutex _lock;
    std::map<std::string, std::shared_ptr<Enumeration>> _idle;  // guarded by _lock: enumerations awaiting a request
    std::vector<std::shared_ptr<Enumeration>> _all;             // guarded by _lock: every open enumeration
    std::mt19937_64 _random;                                    // guarded by _lock
    std::uint64_t _serial = 0;                                  // guarded by _lock
    bool _stopping = false;                                     // guarded by _lock
    std::condition_variable _stop;

    WorkerThreads _workers;  // the producers
    std::thread _sweeper;    // last: started once the rest exists
};

}  // namespace kivo::om
