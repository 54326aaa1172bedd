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

void WorkerThreads::loop(Worker& self, std::function<void()> job) {
    for (;;) {
        try {
            job();
        } catch (...) {
        }
        job = nullptr;
        std::lock_guard guard(_lock);
        if (_queue.empty()) {
            self.finished = true;
            if (--_threads == 0) _idle.notify_all();
            return;
        }
        job = std::move(_queue.front());
        _queue.pop_front();
    }
}

void WorkerThreads::run(std::function<void()> job) {
    std::unique_lock held(_lock);
    reapFinished(held);
    if (_threads >= _maxThreads) {
        _queue.push_back(std::move(job));
        return;
    }
    Worker& worker = _workers.emplace_back();
    ++_threads;
    try {
        worker.thread = std::thread([this, &worker, job = std::move(job)]() mutable { loop(worker, std::move(job)); });
    } catch (...) {
        _workers.pop_back();
        --_threads;
        throw;
    }
}

void WorkerThreads::waitIdle() {
    std::unique_lock held(_lock);
    _idle.wait(held, [this] { return _threads == 0 && _queue.empty(); });
}

int WorkerThreads::running() const {
    std::lock_guard guard(_lock);
    return static_cast<int>(_threads);
}

std::size_t WorkerThreads::queued() const {
    std::lock_guard guard(_lock);
    return _queue.size();
}

}  // namespace kivo::om
