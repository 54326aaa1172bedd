// Events of the core services.
//
// CI_AutoEvent (automatic reset): set() releases one waiter, or, when nobody
// waits, leaves the event signalled for the next wait, which resets it. Setting
// a signalled event does nothing more. set() on an event nobody waits on is a
// couple of atomic operations and never a system call, so a producer may set it
// after every item.
//
// CI_ManualEvent (manual reset): set() releases every waiter and stays
// signalled until reset().
//
// wait(t) answers non-zero when the event was signalled and 0 when the time ran
// out. All operations are thread-safe. An event must outlive its waiters.
#pragma once

#include "CoreServices/CI_Time.h"
#include "KivoUtilities/KVOLightSemaphore.h"

#include <atomic>
#include <condition_variable>
#include <mutex>

class CI_AutoEvent {
public:
    CI_AutoEvent() = default;
    CI_AutoEvent(CI_AutoEvent const&) = delete;
    CI_AutoEvent& operator=(CI_AutoEvent const&) = delete;

    void set() noexcept { _sem.releaseCapped(); }
    void reset() noexcept { _sem.resetSignal(); }
    int wait(CI_RelTime const& timeout) { return _sem.waitFor(timeout.toDuration()) ? 1 : 0; }
    // Waits without a time limit.
    void wait() { _sem.wait(); }

private:
    kvo_detail::LightSemaphore _sem{0};
};

class CI_ManualEvent {
public:
    CI_ManualEvent() = default;
    CI_ManualEvent(CI_ManualEvent const&) = delete;
    CI_ManualEvent& operator=(CI_ManualEvent const&) = delete;

    void set();
    void reset();
    bool isSet() const;
    int wait(CI_RelTime const& timeout);

private:
    mutable std::mutex _lock;
    std::condition_variable _cv;
    bool _signalled = false;  // guarded by _lock
};
