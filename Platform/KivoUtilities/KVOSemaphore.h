// The utility library's counting semaphore.
//
// wait(timeoutMs) takes one count, waiting at most timeoutMs milliseconds (-1:
// without limit, 0: not at all) and answers whether it got one; release() adds
// counts and wakes waiters. Thread-safe; uncontended calls stay in user space.
#pragma once

#include "KivoUtilities/KVOLightSemaphore.h"

class KVOSemaphore {
public:
    explicit KVOSemaphore(long initialCount = 0) : _sem(initialCount) {}
    KVOSemaphore(KVOSemaphore const&) = delete;
    KVOSemaphore& operator=(KVOSemaphore const&) = delete;

    bool wait(int timeoutMs = -1) {
        if (timeoutMs < 0) {
            _sem.wait();
            return true;
        }
        return _sem.waitFor(std::chrono::milliseconds(timeoutMs));
    }
    bool tryWait() noexcept { return _sem.tryWait(); }
    // Takes every free count at once, without waiting; answers how many.
    long tryWaitAll() noexcept { return _sem.tryWaitAll(); }
    void release(long count = 1) noexcept { _sem.release(count); }
    // Adds one count unless `cap` counts are already free: for waking one of
    // at most `cap` registered waiters without piling up counts.
    void releaseCapped(long cap) noexcept { _sem.releaseCapped(cap); }
    // Free counts (negative: minus the number of sleeping waiters); a snapshot.
    long available() const noexcept { return _sem.available(); }

private:
    kvo_detail::LightSemaphore _sem;
};
