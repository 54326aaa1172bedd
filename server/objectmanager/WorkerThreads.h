// The threads on which providers produce multi-result answers: one thread
// per job, so that a producer waiting for a slow consumer never holds up
// another request.
//
// run() starts a job on a new thread and first joins the threads of jobs
// that have finished; waitIdle() waits until no job runs; the destructor
// waits for every job and joins every thread. A job must end by itself (a
// producer ends when its consumer is done: its writer's add then returns at
// once). Jobs must not throw; what escapes a job is dropped. Thread-safe.
#pragma once

#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

namespace kivo::om {

class WorkerThreads {
public:
    WorkerThreads() = default;
    WorkerThreads(WorkerThreads const&) = delete;
    WorkerThreads& operator=(WorkerThreads const&) = delete;
    ~WorkerThreads();

    // Starts `job` on a thread of its own. Raises what thread creation raises.
    void run(std::function<void()> job);
    // Blocks until no job is running.
    void waitIdle();
    // Jobs started and not yet finished.
    int running() const;

private:
    struct Worker {
        std::thread thread;
        bool finished = false;  // guarded by _lock
    };
    void reapFinished(std::unique_lock<std::mutex>& held);

    mutable std::mutex _lock;
    std::condition_variable _idle;
    std::list<Worker> _workers;  // guarded by _lock; list: a worker's address stays valid
    int _running = 0;            // guarded by _lock
};

}  // namespace kivo::om
