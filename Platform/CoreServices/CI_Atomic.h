// Atomic increment and decrement of the core services, for reference counts.
// Increments need no ordering; decrements order the owner's last writes before
// whoever sees the count reach zero.
#pragma once

#include <atomic>

inline long CI_AtomicIncrement(std::atomic<long>& counter) noexcept {
    return counter.fetch_add(1, std::memory_order_relaxed) + 1;
}

inline long CI_AtomicDecrement(std::atomic<long>& counter) noexcept {
    return counter.fetch_sub(1, std::memory_order_acq_rel) - 1;
}
