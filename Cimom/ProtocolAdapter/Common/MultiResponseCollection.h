// A thread-safe, optionally bounded first-in-first-out channel through which
// the object manager's handler returns the many results of one operation.
//
// Any number of producers (each through its own MultiResponseWriter) add
// results and markers; exactly one consumer (the adapter's thread inside
// writeResponse, through KivoMultiResponseOperationBase) takes them out in
// order with hasNext/next. The collection also carries the operation's error
// code from producers to the consumer, tells the consumer when no more results
// can come, and tells producers when the consumer has gone away.
//
// States (several may hold at once):
//   open                  allowComplete not yet called; writers register, add
//                         and close.
//   completion allowed    allowComplete called, writers still registered.
//   complete              the writer count reached 0: registration,
//                         unregistration and additions are refused; hasNext
//                         answers false once no result is left.
//   failed                a non-zero error code was set before any entry was
//                         accepted: additions are refused with that code,
//                         hasNext answers false at once, getErrorCode reports
//                         it. Once anything was accepted, an error changes
//                         nothing the collection reports.
//   consumer done         signalConsumerDone was called: additions are
//                         accepted and dropped, markers are processed at once.
//
// Locking: one recursive critical section, `cs`, guards the shared state. It is
// held only for queue and counter updates and never across a wait: a producer
// that finds no free slot, and the consumer that finds nothing to take, release
// it before they wait and take it again to look anew. Markers run with `cs`
// held when the consumer side runs them, so a marker may call this collection
// again on the same thread but must not wait for another thread that uses it.
//
// Bounded collections (bounds > 0): a result takes a slot when it is queued
// and gives it back when next removes it; a marker takes no slot but gives one
// back when hasNext removes it, so every marker that passes raises the
// effective capacity by one. Producers must then run on threads other than the
// consumer's. The slots are two counters rather than a semaphore, so a
// producer that finds room and a consumer that nobody waits for share no
// written cache line per result:
//   - `_slotsTaken` (under `cs`) counts the results ever queued, and
//     `_slotsReturned` (an atomic written by the consumer alone) the slots
//     given back. The free slots are `_bounds` minus their difference.
//     Producers keep the last `_slotsReturned` they read in `_returnedSeen`
//     and read it again only when that view shows the collection full, so
//     while the consumer keeps up they read it once per `_bounds` results.
//   - A producer that still finds no room registers in `_slotWaiters`, leaves
//     `cs`, reads `_slotsReturned` once more and, if nothing came back since
//     its look under `cs`, sleeps on the semaphore `_slots` (spinning briefly
//     first); then it looks again under `cs`. The consumer, after publishing
//     a returned slot, releases `_slots` only when a producer is registered,
//     and never beyond one count per registered producer. Both sides order
//     their write before their read (sequentially consistent), so either the
//     producer sees the returned slot or the consumer sees the producer: a
//     producer blocked at the bound proceeds once next has taken one result.
//   - The producer checks for refusal and for a finished consumer under `cs`
//     before it looks for a slot, so a refused or dropped addition never
//     waits and takes nothing.
//   - When the collection can never queue another result (the consumer is
//     done, the last writer has closed, or an error made it fail) the slots
//     are opened: `_slots` is released by kOpenSlots at once, so every
//     producer waiting, however many, wakes, looks again and ends as the state
//     says: true (dropped) when the consumer is done, false or the exception
//     when refused.
//   - next in a bounded collection waits, through the event, for a result
//     while none is queued and more can come; once the collection is complete
//     (or the consumer done) with no result queued it raises "no more items.",
//     as an unbounded collection does at once.
// Unbounded collections touch none of this.
//
// A producer offering an entry checks under `cs` whether the consumer is done,
// so nothing is queued after signalConsumerDone has drained the queue: every
// accepted result is either delivered by next or released by the collection,
// and every accepted marker is processed exactly once.
//
// Storage: a result is kept in the queue itself, as a value, so an addition
// allocates nothing of its own (the queue grows in blocks); markers are kept
// as the shared pointers producers passed. An entry that is not a marker but
// was passed through the marker form (a wrapper<T> made by the producer) is
// delivered by next like any result, as a copy of its item. Each result is
// copied once, into the by-value parameter of add, and moved from there on.
//
// Consumer side details:
//   - The consumer keeps a private segment of the queue (`_taken`): when it
//     runs dry, hasNext/next move everything queued so far into it under one
//     lock, and then serve from it without locking. The order of entries is
//     that of acceptance throughout.
//   - The consumer's event counts as set after every accepted addition and
//     when the writer count reaches 0: `_eventCount` (under `cs`) counts
//     those, and waitForEvent returns at once when it moved since the
//     consumer last looked (`_eventSeen`), whether or not the consumer waited
//     in hasNext. Only when it did not move does the consumer flag
//     `_consumerWaiting` (under `cs`) and sleep on `_event`, which a producer
//     then sets. So a producer pays nothing beyond its bookkeeping under `cs`
//     for a busy consumer, and the kernel object is touched only when the
//     consumer sleeps. A signal left from a wait that ran out only makes a
//     later wait return at once, after which hasNext looks again.
//     setErrorCode does not set the event: a waiting consumer notices a
//     failure at the next addition or close, or when its wait runs out after
//     the transaction timeout.
//   - Fields that producers write on every addition, the event, the waiting
//     producers' fields, the consumer's own state and the fields fixed at
//     creation sit on separate cache lines.
//   - next() steps over markers at the front the way hasNext does (running
//     them) before it takes a result; called after hasNext answered true it
//     finds a result at the front at once.
//
// Lifetime: created only by newCollection and owned through KVOSmrPtr, shared
// by the operation and every writer; it dies with the last of them. Entries
// still queued then are released without running any marker.
#pragma once

#include "Cimom/ProtocolAdapter/Common/IMarker.h"
#include "Cimom/ProtocolAdapter/Common/MultiResponseResultTypes.h"
#include "CoreServices/CI_Event.h"
#include "CoreServices/CI_Time.h"
#include "KivoUtilities/KVOCriticalSection.h"
#include "KivoUtilities/KVOSemaphore.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOTypes.h"
#include "KivoUtilities/KivoBaseException.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <exception>
#include <initializer_list>
#include <limits>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <variant>

namespace qora {

namespace detail {

// Raises the collection's refusal: a KivoBaseException with an empty type and
// who, `where` as its place, `message` and `code`.
[[noreturn]] void raiseCollectionError(char const* where, char const* message, int code);

// Reads the consumer's longest single wait, in seconds, from the configuration
// (section "QORA", key "CimTransactionTimeout"): 600 when there is no
// configuration or no usable value, 2147483647 (no practical limit) for 0 or
// less, the value itself otherwise.
KVOsint32 readTransactionTimeout();

inline constexpr char kWritersClosedMessage[] = "Writers may be registered only while collection is incomplete.";

}  // namespace detail

template <class T>
class MultiResponseCollection {
    using Entry = KVOSmrPtr<IMarker<T>>;
    // A queued result (index 0) or a queued marker entry (index 1).
    using Queued = std::variant<T, Entry>;
    using Queue = std::deque<Queued>;

public:
    // An entry that holds one result: it answers isMarker() false and its
    // process() does nothing. Queued through the marker form of add it is
    // delivered by next as a copy of its item. Used as wrapper<T> (or
    // wrapper<>); the parameter is always T.
    template <class Item = T>
    class wrapper final : public IMarker<T> {
        static_assert(std::is_same_v<Item, T>, "a collection wraps its own result type");

    public:
        explicit wrapper(T item) : _item(std::move(item)) {}
        wrapper(wrapper const&) = delete;
        wrapper& operator=(wrapper const&) = delete;

        T getItem() const { return _item; }
        bool isMarker() const override { return false; }
        void process() const override {}

    private:
        T _item;
    };

    // Count by which `_slots` is released when the slots are opened (see the
    // header comment): beyond reach of anything that follows.
    static constexpr long kOpenSlots = std::numeric_limits<long>::max() / 2;
    // Looks at `_slotsReturned` before a producer registers to sleep.
    static constexpr int kSlotSpins = 64;
    // The code _getErrorCode reports for a collection whose idle limit ran out.
    static constexpr int kIdleTimeoutCode = 4096;

    // Creates a collection of capacity `bounds` (0: unbounded) and idle limit
    // `idleTimeout` (-1: none; kept but never expires anything) and returns its
    // first owner. Reads the transaction timeout from the configuration.
    static KVOSmrPtr<MultiResponseCollection> newCollection(unsigned int bounds, int idleTimeout) {
        return KVOSmrPtr<MultiResponseCollection>(new MultiResponseCollection(bounds, idleTimeout));
    }

    MultiResponseCollection(MultiResponseCollection const&) = delete;
    MultiResponseCollection& operator=(MultiResponseCollection const&) = delete;
    virtual ~MultiResponseCollection() = default;

    // ---- Producer side (any thread) ----

    // Queues a copy of value. True when accepted, or dropped because the
    // consumer is done. When the collection is complete ("Addition of elements
    // not permitted if no writers are registered.", code 0) or failed ("An
    // error has occurred with this collection; no further input can be
    // accepted.", the error code) it answers false, or with throwOnAbort raises
    // KivoBaseException (where "MultiResponseCollection::add"); a refusal
    // changes nothing. Bounded: an addition that would be queued waits,
    // without limit, for a free slot.
    virtual bool add(T value, bool throwOnAbort);
    // Queues a marker (never waits for a slot). Answers and refuses as the
    // result form. When the consumer is done the marker's process() runs at
    // once on the caller's thread, without `cs`, and the answer is true. A
    // null marker raises the null-pointer error of KVOSmrPtr.
    virtual bool add(KVOSmrPtr<IMarker<T>> value, bool throwOnAbort);
    // Records a CIM status code: 0 is ignored, the first non-zero code wins.
    // It shows (and fails the collection) only while nothing was accepted.
    virtual void setErrorCode(int ec);

    // One more writer. Raises "Writers may be registered only while collection
    // is incomplete." (where "MultiResponseCollection::registerWriter") when
    // the collection is complete.
    void registerWriter();
    // One writer less; the collection completes when the count reaches 0.
    // Raises the same error (where "MultiResponseCollection::unregisterWriter")
    // when the collection is already complete.
    void unregisterWriter();

    // ---- Handler side ----

    // No more writers will be registered: removes the completion guard, so the
    // collection completes once the registered writers close (at once if none
    // is). A second call raises "allowComplete() may only be called once."
    // (where "MultiResponseCollection::allowComplete") and changes nothing.
    void allowComplete();

    // ---- Consumer side (one thread) ----

    // Blocks until a result is at the front (true; it stays there) or the
    // collection is complete with no result left (false). Markers reaching the
    // front on the way are removed and processed, in order.
    bool hasNext();
    // Removes and returns the result at the front. Call it after hasNext
    // answered true. Raises "no more items." (where
    // "MultiResponseCollection::next") when no result is queued; bounded, it
    // first waits for a result while more can come.
    T next();
    // The first non-zero code set, or 0 once any entry has been accepted.
    int getErrorCode() const;
    // True when the writer count reached 0 or getErrorCode() is not 0.
    bool isComplete() const;
    // Waits for the consumer's event at most the transaction timeout; 1 when
    // the wait ran out, 0 when the event was set. Returns 0 at once when an
    // entry was accepted (or the last writer closed) since the consumer last
    // looked, here or in hasNext.
    int waitForEvent();
    // The consumer has finished (normally or not): from now on additions are
    // dropped. Removes every queued entry, processing markers in order and
    // dropping results, and releases producers waiting for a slot. If markers
    // throw, every marker is still processed and the first exception is
    // raised afterwards.
    void signalConsumerDone();

    // The consumer's longest single wait in seconds, read at creation.
    KVOsint32 getTransactionTimeout() const { return trnTimeoutValue; }

private:
    enum class Admission { open, dropped, refused };

    MultiResponseCollection(unsigned int bounds, int idleTimeout);

    // Caller holds `cs`: dropped when the consumer is done, refused (raising
    // with throwOnAbort) when complete or failed, else open.
    Admission admission(bool throwOnAbort) const;
    // Caller holds `cs`: queues the entry and counts it. Answers whether the
    // consumer sleeps on `_event` and must be woken after `cs` is released.
    template <class V>
    bool enqueue(V& value);
    // Caller holds `cs`: the event counts as set; answers whether to set
    // `_event` once `cs` is released.
    bool signalEvent() noexcept;
    // Caller holds `cs`, consumer's thread: whether the event was set since
    // the consumer last looked; when not, flags the consumer as sleeping.
    bool eventSetElseSleep() noexcept;
    // Consumer's thread, `cs` not held: sleeps on `_event` at most the
    // transaction timeout; 1 when the wait ran out.
    int sleepOnEvent();
    // Caller holds `cs`, bounded: takes a free slot if there is one.
    bool takeSlot();
    // A registered producer (see the header comment) waits until a slot may
    // have come back since it read `seen`, and leaves the register.
    void waitForSlot(std::int64_t seen);
    // Consumer's thread, bounded: gives one slot back and wakes a producer
    // waiting for it.
    void returnSlot() noexcept;
    // Caller holds `cs`, consumer's thread: brings a result to the front of
    // `_taken`, refilling it from `responses` and removing and processing
    // markers on the way. False when no result is queued.
    bool frontIsResult();
    // Whether a queued entry is delivered by next (a result, or an entry that
    // says it is no marker) rather than run by hasNext.
    static bool isResult(Queued const& q) { return q.index() == 0 || !std::get<1>(q).get()->isMarker(); }
    // Caller holds `cs`: opens the slots (once), see the header comment.
    void openSlots() noexcept;
    // Removes every queued entry, processing markers; caller holds `cs`.
    void drain();

    // The item of a queued entry that says it is no marker: a copy of its
    // wrapper's item. Any other class cannot be taken apart (null-pointer
    // error, the entry stays at the front).
    static T itemOf(Entry const& entry) {
        IMarker<T>* e = entry.get();
        // wrapper is final: matching the dynamic type is the whole downcast.
        if (typeid(*e) != typeid(wrapper<T>)) throw KVONullPointerException("operator->()");
        return static_cast<wrapper<T>*>(e)->getItem();
    }

    // Unlocked forms; the caller holds `cs`.
    bool _isComplete() const { return registeredWriterCount == 0 || _getErrorCode() != 0; }
    int _getErrorCode() const {
        if (isTimedOut()) return kIdleTimeoutCode;
        return responseCount != 0 ? 0 : errorCode;
    }
    // No idle timer runs: a collection never expires, whatever `timeoutLimit`.
    bool isTimedOut() const { return false; }

    // Fields are grouped by the threads that write them, each group on cache
    // lines of its own.

    // Set at creation and read by every thread.
    int const timeoutLimit;           // idle limit given at creation (-1: none); unused
    KVOsint32 const trnTimeoutValue;  // seconds; read once at creation
    unsigned int const _bounds;       // 0: unbounded
    std::atomic<KVOboolean> _consumerDone;  // written once, under cs; read without it first in add

    // Written by producers on every addition.
    alignas(64) mutable KVOCriticalSection cs;
    int errorCode;                    // guarded by cs; 0 until the first non-zero code
    Queue responses;                  // guarded by cs; accepted entries not yet moved to _taken
    KVOsint32 registeredWriterCount;  // guarded by cs; writers + the completion guard
    bool allowCompleteCalled;         // guarded by cs
    bool _slotsOpened;                // guarded by cs
    bool _consumerWaiting;            // guarded by cs; the consumer sleeps, or is about to, on _event
    std::uint64_t _eventCount;        // guarded by cs; additions and completions so far
    std::uint64_t _eventSeen;         // guarded by cs; _eventCount when the consumer last looked
    KVOuint32 responseCount;          // guarded by cs; entries accepted (stops at its maximum)
    std::int64_t _slotsTaken;         // guarded by cs; bounded only: results ever queued
    std::int64_t _returnedSeen;       // guarded by cs; bounded only: _slotsReturned as last read

    alignas(64) CI_AutoEvent _event;  // wakes the consumer

    // Written by producers that wait for a slot (the consumer reads
    // _slotWaiters after every result it takes, and releases _slots for them).
    alignas(64) std::atomic<long> _slotWaiters;  // bounded only: producers about to sleep or asleep on _slots
    KVOSemaphore _slots;                         // bounded only: where those producers sleep

    // The consumer's thread only (producers read _slotsReturned).
    alignas(64) std::atomic<std::int64_t> _slotsReturned;  // bounded only: slots given back
    Queue _taken;                                          // the front of the queue
};

template <class T>
MultiResponseCollection<T>::MultiResponseCollection(unsigned int bounds, int idleTimeout)
    : timeoutLimit(idleTimeout),
      trnTimeoutValue(detail::readTransactionTimeout()),
      _bounds(bounds),
      _consumerDone(false),
      errorCode(0),
      registeredWriterCount(1),
      allowCompleteCalled(false),
      _slotsOpened(false),
      _consumerWaiting(false),
      _eventCount(0),
      _eventSeen(0),
      responseCount(0),
      _slotsTaken(0),
      _returnedSeen(0),
      _slotWaiters(0),
      _slots(0),
      _slotsReturned(0) {}

template <class T>
bool MultiResponseCollection<T>::add(T value, bool throwOnAbort) {
    if (_consumerDone.load(std::memory_order_acquire)) return true;
    bool wake;
    for (;;) {
        std::int64_t seen;
        {
            KVOCriticalSectionGuard guard(cs);
            Admission a = admission(throwOnAbort);
            if (a != Admission::open) return a == Admission::dropped;
            if (_bounds == 0 || takeSlot()) {
                wake = enqueue(value);
                break;
            }
            seen = _returnedSeen;
            _slotWaiters.fetch_add(1, std::memory_order_seq_cst);
        }
        waitForSlot(seen);
    }
    if (wake) _event.set();
    return true;
}

template <class T>
bool MultiResponseCollection<T>::add(KVOSmrPtr<IMarker<T>> value, bool throwOnAbort) {
    if (value.isNull()) throw KVONullPointerException("operator->()");
    if (!_consumerDone.load(std::memory_order_acquire)) {
        Admission a;
        bool wake = false;
        {
            KVOCriticalSectionGuard guard(cs);
            a = admission(throwOnAbort);
            if (a == Admission::open) wake = enqueue(value);
        }
        if (a == Admission::refused) return false;
        if (a == Admission::open) {
            if (wake) _event.set();
            return true;
        }
    }
    value->process();
    return true;
}

template <class T>
typename MultiResponseCollection<T>::Admission MultiResponseCollection<T>::admission(bool throwOnAbort) const {
    if (_consumerDone.load(std::memory_order_relaxed)) return Admission::dropped;
    char const* refusal = nullptr;
    int code = 0;
    if (registeredWriterCount == 0) {
        refusal = "Addition of elements not permitted if no writers are registered.";
    } else if ((code = _getErrorCode()) != 0) {
        refusal = "An error has occurred with this collection; no further input can be accepted.";
    }
    if (!refusal) return Admission::open;
    if (throwOnAbort) detail::raiseCollectionError("MultiResponseCollection::add", refusal, code);
    return Admission::refused;
}

template <class T>
template <class V>
bool MultiResponseCollection<T>::enqueue(V& value) {
    responses.emplace_back(std::in_place_index<std::is_same_v<V, T> ? 0 : 1>, std::move(value));
    if (responseCount != std::numeric_limits<KVOuint32>::max()) ++responseCount;
    return signalEvent();
}

template <class T>
bool MultiResponseCollection<T>::signalEvent() noexcept {
    ++_eventCount;
    bool wake = _consumerWaiting;
    _consumerWaiting = false;
    return wake;
}

template <class T>
bool MultiResponseCollection<T>::eventSetElseSleep() noexcept {
    if (_eventSeen != _eventCount) {
        _eventSeen = _eventCount;
        return true;
    }
    _consumerWaiting = true;
    return false;
}

template <class T>
int MultiResponseCollection<T>::sleepOnEvent() {
    return _event.wait(CI_RelTime(trnTimeoutValue, 0)) == 0 ? 1 : 0;
}

template <class T>
bool MultiResponseCollection<T>::takeSlot() {
    auto const bound = static_cast<std::int64_t>(_bounds);
    if (_slotsTaken - _returnedSeen >= bound) {
        _returnedSeen = _slotsReturned.load(std::memory_order_acquire);
        if (_slotsTaken - _returnedSeen >= bound) return false;
    }
    ++_slotsTaken;
    return true;
}

template <class T>
void MultiResponseCollection<T>::waitForSlot(std::int64_t seen) {
    bool returned = false;
    for (int i = 0; i < kSlotSpins && !returned; ++i) {
        returned = _slotsReturned.load(std::memory_order_relaxed) != seen;
        if (!returned) kvo_detail::cpuRelax();
    }
    if (!returned && _slotsReturned.load(std::memory_order_seq_cst) == seen) _slots.wait(-1);
    _slotWaiters.fetch_sub(1, std::memory_order_relaxed);
}

template <class T>
void MultiResponseCollection<T>::returnSlot() noexcept {
    _slotsReturned.store(_slotsReturned.load(std::memory_order_relaxed) + 1, std::memory_order_seq_cst);
    long waiters = _slotWaiters.load(std::memory_order_seq_cst);
    if (waiters > 0) _slots.releaseCapped(waiters);
}

template <class T>
void MultiResponseCollection<T>::setErrorCode(int ec) {
    if (ec == 0) return;
    KVOCriticalSectionGuard guard(cs);
    if (errorCode != 0) return;
    errorCode = ec;
    if (_getErrorCode() != 0) openSlots();
}

template <class T>
void MultiResponseCollection<T>::registerWriter() {
    KVOCriticalSectionGuard guard(cs);
    if (registeredWriterCount == 0)
        detail::raiseCollectionError("MultiResponseCollection::registerWriter", detail::kWritersClosedMessage, 0);
    ++registeredWriterCount;
}

template <class T>
void MultiResponseCollection<T>::unregisterWriter() {
    KVOCriticalSectionGuard guard(cs);
    if (registeredWriterCount == 0)
        detail::raiseCollectionError("MultiResponseCollection::unregisterWriter", detail::kWritersClosedMessage, 0);
    if (--registeredWriterCount == 0) {
        openSlots();
        if (signalEvent()) _event.set();
    }
}

template <class T>
void MultiResponseCollection<T>::allowComplete() {
    KVOCriticalSectionGuard guard(cs);
    if (allowCompleteCalled)
        detail::raiseCollectionError("MultiResponseCollection::allowComplete",
                                     "allowComplete() may only be called once.", 0);
    allowCompleteCalled = true;
    unregisterWriter();
}

template <class T>
bool MultiResponseCollection<T>::frontIsResult() {
    for (;;) {
        if (_taken.empty()) {
            if (responses.empty()) return false;
            _taken.swap(responses);
        }
        if (isResult(_taken.front())) return true;
        Entry marker = std::get<1>(std::move(_taken.front()));
        _taken.pop_front();
        if (_bounds != 0) returnSlot();
        marker->process();
    }
}

template <class T>
bool MultiResponseCollection<T>::hasNext() {
    if (!_taken.empty() && isResult(_taken.front())) return true;
    for (;;) {
        {
            KVOCriticalSectionGuard guard(cs);
            if (frontIsResult()) return true;
            if (_isComplete()) return false;
            // The queue was found empty just now: only what comes after counts.
            _eventSeen = _eventCount;
            _consumerWaiting = true;
        }
        sleepOnEvent();
    }
}

template <class T>
T MultiResponseCollection<T>::next() {
    while (_taken.empty() || !isResult(_taken.front())) {
        {
            KVOCriticalSectionGuard guard(cs);
            if (frontIsResult()) break;
            if (_bounds == 0 || _isComplete() || _consumerDone.load(std::memory_order_relaxed))
                detail::raiseCollectionError("MultiResponseCollection::next", "no more items.", 0);
        }
        waitForEvent();
    }
    Queued& front = _taken.front();
    T item = front.index() == 0 ? std::get<0>(std::move(front)) : itemOf(std::get<1>(front));
    _taken.pop_front();
    if (_bounds != 0) returnSlot();
    return item;
}

template <class T>
int MultiResponseCollection<T>::getErrorCode() const {
    KVOCriticalSectionGuard guard(cs);
    return _getErrorCode();
}

template <class T>
bool MultiResponseCollection<T>::isComplete() const {
    KVOCriticalSectionGuard guard(cs);
    return _isComplete();
}

template <class T>
int MultiResponseCollection<T>::waitForEvent() {
    {
        KVOCriticalSectionGuard guard(cs);
        if (eventSetElseSleep()) return 0;
    }
    return sleepOnEvent();
}

template <class T>
void MultiResponseCollection<T>::signalConsumerDone() {
    KVOCriticalSectionGuard guard(cs);
    _consumerDone.store(true, std::memory_order_release);
    openSlots();
    drain();
}

template <class T>
void MultiResponseCollection<T>::drain() {
    std::exception_ptr first;
    for (Queue* queue : {&_taken, &responses}) {
        while (!queue->empty()) {
            Queued q = std::move(queue->front());
            queue->pop_front();
            if (isResult(q)) continue;
            Entry const& entry = std::get<1>(q);
            try {
                entry->process();
            } catch (...) {
                if (!first) first = std::current_exception();
            }
        }
    }
    if (first) std::rethrow_exception(first);
}

template <class T>
void MultiResponseCollection<T>::openSlots() noexcept {
    if (_bounds == 0 || _slotsOpened) return;
    _slotsOpened = true;
    _slots.release(kOpenSlots);
}

#define QORA_DECLARE_COLLECTION(T) extern template class MultiResponseCollection<T>;
QORA_MULTI_RESPONSE_RESULT_TYPES(QORA_DECLARE_COLLECTION)
#undef QORA_DECLARE_COLLECTION

}  // namespace qora
