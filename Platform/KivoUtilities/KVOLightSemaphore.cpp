#include "KivoUtilities/KVOLightSemaphore.h"

#include <cerrno>
#include <ctime>
#include <system_error>

namespace kvo_detail {

namespace {

// About as long as a sleep and wake-up of the other side (a few microseconds
// where pause is slow). Longer spins cost more than they save: a producer at a
// full bounded queue then grabs each slot the moment the consumer frees it, and
// both threads fight over the same cache lines for every item instead of the
// producer refilling in a burst after a short sleep; on a small machine the
// spinner also takes the core the other side needs.
constexpr int kSpins = 100;

}  // namespace

LightSemaphore::LightSemaphore(long initial) : _count(initial) {
    if (sem_init(&_sem, 0, 0) != 0) throw std::system_error(errno, std::generic_category(), "sem_init");
}

LightSemaphore::~LightSemaphore() { sem_destroy(&_sem); }

bool LightSemaphore::spinWait() noexcept {
    for (int i = 0; i < kSpins; ++i) {
        if (_count.load(std::memory_order_relaxed) > 0 && tryWait()) return true;
        cpuRelax();
    }
    return false;
}

bool LightSemaphore::waitFor(std::chrono::nanoseconds timeout) {
    if (tryWait()) return true;
    if (timeout.count() <= 0) return false;
    if (spinWait()) return true;
    struct timespec deadline {};
    clock_gettime(CLOCK_REALTIME, &deadline);
    constexpr long long kMaxSeconds = 1LL << 40;  // far beyond any wait; keeps time_t arithmetic in range
    long long secs = timeout.count() / 1000000000LL;
    long long nanos = timeout.count() % 1000000000LL;
    if (secs > kMaxSeconds) secs = kMaxSeconds;
    deadline.tv_sec += static_cast<time_t>(secs);
    deadline.tv_nsec += static_cast<long>(nanos);
    if (deadline.tv_nsec >= 1000000000L) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    }
    return waitSlow(&deadline);
}

bool LightSemaphore::waitSlow(struct timespec const* deadline) {
    long old = _count.fetch_sub(1, std::memory_order_acquire);
    if (old > 0) return true;
    // Counted as a sleeping waiter now; a release will post for us.
    if (!deadline) {
        while (sem_wait(&_sem) != 0) {
            // EINTR: keep waiting
        }
        return true;
    }
    int rc;
    while ((rc = sem_timedwait(&_sem, deadline)) != 0 && errno == EINTR) {
    }
    if (rc == 0) return true;
    // Timed out: leave the waiter count, unless a release already counted us
    // in and is posting (or has posted) our wake-up; then take that post.
    for (;;) {
        old = _count.load(std::memory_order_relaxed);
        if (old >= 0 && sem_trywait(&_sem) == 0) return true;
        if (old < 0 && _count.compare_exchange_strong(old, old + 1, std::memory_order_relaxed)) return false;
    }
}

void LightSemaphore::post(long n) noexcept {
    while (n-- > 0) sem_post(&_sem);
}

}  // namespace kvo_detail
