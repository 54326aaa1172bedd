// The utility library's recursive critical section and its scoped guard.
//
// The thread that holds it may take it again; it is free once released as
// often as taken. Never hold it across a wait on another thread.
#pragma once

#include <mutex>

class KVOCriticalSection {
public:
    KVOCriticalSection() = default;
    KVOCriticalSection(KVOCriticalSection const&) = delete;
    KVOCriticalSection& operator=(KVOCriticalSection const&) = delete;

    void enter() { _m.lock(); }
    void leave() { _m.unlock(); }
    // For std::lock_guard and friends.
    void lock() { _m.lock(); }
    void unlock() { _m.unlock(); }

private:
    std::recursive_mutex _m;
};

// Holds a critical section for the lifetime of the guard.
class KVOCriticalSectionGuard {
public:
    explicit KVOCriticalSectionGuard(KVOCriticalSection& cs) : _cs(cs) { _cs.enter(); }
    ~KVOCriticalSectionGuard() { _cs.leave(); }
    KVOCriticalSectionGuard(KVOCriticalSectionGuard const&) = delete;
    KVOCriticalSectionGuard& operator=(KVOCriticalSectionGuard const&) = delete;

private:
    KVOCriticalSection& _cs;
};
