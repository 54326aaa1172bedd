// A capped pool of threads on which producers run: the streamed answers of
// the operation handler and the producers of pulled enumerations each have
// one.
//
// run() hands a job to a free thread, starts a new thread while fewer than
// maxThreads run, and otherwise queues the job until a thread is free (first
// in, first out). A thread that finds no queued job ends, so an idle pool
// holds no thread. waitIdle() waits until no job runs or waits; the
// destructor waits for every job and joins every thread. A job must end by
// itself (a producer ends when its consumer is done). Jobs must not throw;
// what escapes a job is dropped. Thread-safe.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <limits>
#include <list>
#include <mutex>
#include <thread>

namespace kivo::om {

class WorkerThreads {
public:
    explicit WorkerThreads(std::size_t maxThreads = std::numeric_limits<std::size_t>::max())
        : _maxThreads(maxThreads == 0 ? 1 : maxThreads) {}
    WorkerThreads(WorkerThreads const&) = delete;
    WorkerThreads& operator=(WorkerThreads const&) = delete;
    ~WorkerThreads();

    // Runs `job` on a thread of the pool, now or once one is free. Raises
    // what thread creation raises (the job then does not run) when no thread
    // runs that could take it later.
    void run(std::function<void()> job);
    // Blocks until no job is running or queued.
    void waitIdle();
    // Jobs running now (threads busy).
    int running() const;
    // Jobs waiting for a thread.
    std::size_t queued() const;
    std::size_t maxThreads() const { return _maxThreads; }

private:
    struct Worker {
        std::thread thread;
        bool finished = false;  // guarded by _lock
    };
    void loop(Worker& self, std::function<void()> job);
    void reapFinished(std::unique_lock<std::mutex>& held);

    std::size_t const _maxThreads;
    mutable std::mutex _lock;
    std::condition_variable _idle;
    std::list<Worker> _workers;                 // guarded by _lock; list: a worker's address stays valid
    std::deque<std::function<void()>> _queue;   // guarded by _lock
    std::size_t _threads = 0;                   // guarded by _lock: threads not yet finished
};

}  // namespace kivo::om
