// A counting semaphore that stays in user space while it need not block.
//
// The count lives in an atomic; a POSIX semaphore is touched only when a
// waiter must sleep (count at or below zero) or a releaser must wake one. A
// waiter first spins briefly, so a hand-over between two busy threads rarely
// costs a system call. Underlies KVOSemaphore and CI_AutoEvent; not meant to be
// used directly.
#pragma once

#include <atomic>
#include <chrono>
#include <semaphore.h>

namespace kvo_detail {

// Tells the processor that the caller spins (a pause on x86).
inline void cpuRelax() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

class LightSemaphore {
public:
    explicit LightSemaphore(long initial);
    ~LightSemaphore();
    LightSemaphore(LightSemaphore const&) = delete;
    LightSemaphore& operator=(LightSemaphore const&) = delete;

    // Takes one count if one is free, without waiting.
    bool tryWait() noexcept {
        long c = _count.load(std::memory_order_relaxed);
        while (c > 0) {
            if (_count.compare_exchange_weak(c, c - 1, std::memory_order_acquire, std::memory_order_relaxed))
                return true;
        }
        return false;
    }
    // Takes every free count without waiting; answers how many (0 when none).
    long tryWaitAll() noexcept {
        long c = _count.load(std::memory_order_relaxed);
        while (c > 0) {
            if (_count.compare_exchange_weak(c, 0, std::memory_order_acquire, std::memory_order_relaxed)) return c;
        }
        return 0;
    }
    // Takes one count, waiting as long as it takes.
    void wait() {
        if (!tryWait() && !spinWait()) waitSlow(nullptr);
    }
    // Takes one count, waiting at most `timeout`; false when the time ran out.
    bool waitFor(std::chrono::nanoseconds timeout);

    // Adds n counts and wakes as many sleeping waiters as they serve.
    void release(long n = 1) noexcept {
        long old = _count.fetch_add(n, std::memory_order_release);
        long toWake = old < 0 ? (-old < n ? -old : n) : 0;
        if (toWake > 0) post(toWake);
    }
    // Adds one count unless `cap` counts are already free (cap 1: an event's
    // set, binary).
    void releaseCapped(long cap = 1) noexcept {
        long old = _count.load(std::memory_order_relaxed);
        do {
            if (old >= cap) return;  // already signalled
        } while (!_count.compare_exchange_weak(old, old + 1, std::memory_order_release, std::memory_order_relaxed));
        if (old < 0) post(1);
    }
    // Drops a pending count of 1 (binary: an event's reset).
    void resetSignal() noexcept {
        long one = 1;
        _count.compare_exchange_strong(one, 0, std::memory_order_acquire, std::memory_order_relaxed);
    }
    long available() const noexcept { return _count.load(std::memory_order_relaxed); }

private:
    bool spinWait() noexcept;
    // deadline null: no limit. Answers whether a count was taken.
    bool waitSlow(struct timespec const* deadline);
    void post(long n) noexcept;

    std::atomic<long> _count;  // > 0: free counts; < 0: minus the number of sleeping waiters
    sem_t _sem;
};

}  // namespace kvo_detail
