#include "objectmanager/WorkerThreads.h"

#include <vector>

namespace kivo::om {

WorkerThreads::~WorkerThreads() {
    waitIdle();
    std::unique_lock held(_lock);
    reapFinished(held);
}

void WorkerThreads::reapFinished(std::unique_lock<std::mutex>& held) {
    std::vector<std::thread> done;
    for (auto it = _workers.begin(); it != _workers.end();) {
        if (it->finished) {
            done.push_back(std::move(it->thread));
            it = _workers.erase(it);
        } else {
            ++it;
        }
    }
    held.unlock();
    for (std::thread& t : done) t.join();
    held.lock();
}

void WorkerThreads::run(std::function<void()> job) {
    std::unique_lock held(_lock);
    reapFinished(held);
    Worker& worker = _workers.emplace_back();
    ++_running;
    try {
        worker.thread = std::thread([this, &worker, job = std::move(job)] {
            try {
                job();
            } catch (...) {
            }
            std::lock_guard guard(_lock);
            worker.finished = true;
            if (--_running == 0) _idle.notify_all();
        });
    } catch (...) {
        _workers.pop_back();
        --_running;
        throw;
    }
}

void WorkerThreads::waitIdle() {
    std::unique_lock held(_lock);
    _idle.wait(held, [this] { return _running == 0; });
}

int WorkerThreads::running() const {
    std::lock_guard guard(_lock);
    return _running;
}

}  // namespace kivo::om
