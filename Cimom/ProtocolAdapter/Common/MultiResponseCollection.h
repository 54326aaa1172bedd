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
// held only for queue and counter updates and never across a wait: the slot
// wait of add and the item wait of next come before it is taken, the
// consumer's event wait after it is released. Markers run with `cs` held when
// the consumer side runs them, so a marker may call this collection again on
// the same thread but must not wait for another thread that uses it.
//
// Bounded collections (bounds > 0): `_slots` counts free places, `_items`
// counts entries available to next. A result takes a slot before it is
// offered and gives it back when next removes it; a marker takes no slot but
// gives one back when hasNext removes it, and adds to `_items` without hasNext
// taking that count back, so every marker that passes raises the effective
// capacity by one. Producers must then run on threads other than the
// consumer's. Unbounded collections never touch the two semaphores.
//
// How blocked producers are released (the collection's own answer where the
// bookkeeping above would otherwise strand them):
//   - An addition that is not queued (refused, or dropped because the
//     consumer is done) gives back the slot it took.
//   - When the collection can never queue another result (the consumer is
//     done, the last writer has closed, or an error made it fail) the slots
//     are opened: `_slots` is released by kOpenSlots at once. Every producer
//     waiting for a slot, however many, wakes, and every later one passes
//     without waiting; each then ends as its state says: true (dropped) when
//     the consumer is done, false or the exception when refused. The count is
//     far beyond what the remaining gives-back can reach, and nothing taken
//     after opening is ever queued, so memory stays bounded.
//   - A producer offering a result re-checks under `cs` whether the consumer
//     is done, so nothing is queued after signalConsumerDone has drained the
//     queue: every accepted result is either delivered by next or released by
//     the collection, and every accepted marker is processed exactly once.
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
//   - The event `_event` is set after every accepted addition (whether or not
//     the consumer waits in hasNext: a consumer may call waitForEvent itself)
//     and when the writer count reaches 0. Setting it costs a producer one
//     atomic load while the event is still signalled from an earlier addition,
//     which is the case while the consumer is busy, and never a system call
//     unless the consumer sleeps on it. A signal left over from an addition
//     the consumer has already taken only makes its next wait return at once,
//     after which hasNext looks again. setErrorCode does not set it: a waiting
//     consumer notices a failure at the next addition or close, or when its
//     wait runs out after the transaction timeout.
//   - next() takes the counts of `_items` that are free all at once and keeps
//     them as a private credit, spending one per result, so it touches the
//     semaphore once per batch rather than once per result. The semaphore's
//     count plus the credit is always the count described above, and next
//     waits exactly when that sum is 0.
//   - Fields that producers write on every addition, the slot count that both
//     sides write, the consumer's private state and the fields fixed at
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
    // changes nothing. Bounded: waits first, without limit, for a free slot.
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
    // first waits, without limit, for an available entry.
    T next();
    // The first non-zero code set, or 0 once any entry has been accepted.
    int getErrorCode() const;
    // True when the writer count reached 0 or getErrorCode() is not 0.
    bool isComplete() const;
    // Waits for the consumer's event at most the transaction timeout; 1 when
    // the wait ran out, 0 when the event was set.
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
    // Returns the slot an addition took unless the addition was queued.
    class SlotLease {
    public:
        explicit SlotLease(KVOSemaphore* slots) : _slots(slots) {}
        SlotLease(SlotLease const&) = delete;
        SlotLease& operator=(SlotLease const&) = delete;
        ~SlotLease() {
            if (_slots) _slots->release();
        }
        void keep() noexcept { _slots = nullptr; }

    private:
        KVOSemaphore* _slots;
    };

    enum class Admission { queued, dropped, refused };

    MultiResponseCollection(unsigned int bounds, int idleTimeout);

    // The one way into the queue. Under `cs`: drops the entry when the
    // consumer is done, refuses it when complete or failed (raising with
    // throwOnAbort), else queues it, keeps its slot and sets the consumer's
    // event.
    template <class V>
    Admission admit(V& value, bool throwOnAbort, SlotLease& slot);
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
    KVOuint32 responseCount;          // guarded by cs; entries accepted (stops at its maximum)
    bool _slotsOpened;                // guarded by cs
    KVOSemaphore _items;              // bounded only: entries available to next (see _itemCredit)

    alignas(64) CI_AutoEvent _event;  // wakes the consumer
    alignas(64) KVOSemaphore _slots;  // bounded only: free places for results; both sides, every result

    // The consumer's thread only.
    alignas(64) Queue _taken;         // the front of the queue
    long _itemCredit;                 // counts of _items taken, not yet spent
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
      responseCount(0),
      _slotsOpened(false),
      _items(0),
      _slots(static_cast<long>(bounds)),
      _itemCredit(0) {}

template <class T>
bool MultiResponseCollection<T>::add(T value, bool throwOnAbort) {
    if (_consumerDone.load(std::memory_order_acquire)) return true;
    if (_bounds != 0) _slots.wait(-1);
    SlotLease slot(_bounds != 0 ? &_slots : nullptr);
    return admit(value, throwOnAbort, slot) != Admission::refused;
}

template <class T>
bool MultiResponseCollection<T>::add(KVOSmrPtr<IMarker<T>> value, bool throwOnAbort) {
    if (value.isNull()) throw KVONullPointerException("operator->()");
    if (!_consumerDone.load(std::memory_order_acquire)) {
        SlotLease noSlot(nullptr);
        Admission admission = admit(value, throwOnAbort, noSlot);
        if (admission != Admission::dropped) return admission == Admission::queued;
    }
    value->process();
    return true;
}

template <class T>
template <class V>
typename MultiResponseCollection<T>::Admission MultiResponseCollection<T>::admit(V& value, bool throwOnAbort,
                                                                                   SlotLease& slot) {
    {
        KVOCriticalSectionGuard guard(cs);
        if (_consumerDone.load(std::memory_order_relaxed)) return Admission::dropped;
        char const* refusal = nullptr;
        int code = 0;
        if (registeredWriterCount == 0) {
            refusal = "Addition of elements not permitted if no writers are registered.";
        } else if ((code = _getErrorCode()) != 0) {
            refusal = "An error has occurred with this collection; no further input can be accepted.";
        }
        if (refusal) {
            if (throwOnAbort) detail::raiseCollectionError("MultiResponseCollection::add", refusal, code);
            return Admission::refused;
        }
        responses.emplace_back(std::in_place_index<std::is_same_v<V, T> ? 0 : 1>, std::move(value));
        if (responseCount != std::numeric_limits<KVOuint32>::max()) ++responseCount;
        slot.keep();
        if (_bounds != 0) _items.release();
    }
    _event.set();
    return Admission::queued;
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
        _event.set();
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
        if (_bounds != 0) _slots.release();
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
        }
        waitForEvent();
    }
}

template <class T>
T MultiResponseCollection<T>::next() {
    if (_bounds != 0) {
        if (_itemCredit == 0 && (_itemCredit = _items.tryWaitAll()) == 0) {
            _items.wait(-1);
            _itemCredit = 1;
        }
        --_itemCredit;
    }
    if (_taken.empty() || !isResult(_taken.front())) {
        KVOCriticalSectionGuard guard(cs);
        if (!frontIsResult()) detail::raiseCollectionError("MultiResponseCollection::next", "no more items.", 0);
    }
    Queued& front = _taken.front();
    T item = front.index() == 0 ? std::get<0>(std::move(front)) : itemOf(std::get<1>(front));
    _taken.pop_front();
    if (_bounds != 0) _slots.release();
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
    return _event.wait(CI_RelTime(trnTimeoutValue, 0)) == 0 ? 1 : 0;
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
