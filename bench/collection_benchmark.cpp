// Throughput of the multi-response collection: 2,000,000 instance results
// moved from 1, 2 and 4 producer threads (each through its own writer) to one
// consumer (hasNext/next), unbounded and bounded at 1000 — beside two
// baselines measured in the same run on the same items: a std::mutex +
// std::condition_variable + std::deque queue bounded the same way, and
// moodycamel::BlockingConcurrentQueue (bounded by a slot semaphore of its own
// library). Every figure is the median of several runs; the queues take turns.
//
//   collection_benchmark [runs [producers bound]]
//
// runs defaults to 5; naming producers and bound (0: none) measures that one
// configuration only.
//
// Build without sanitizers for meaningful figures.
#include "Cimom/ProtocolAdapter/Common/MultiResponseCollection.h"
#include "Cimom/ProtocolAdapter/Common/MultiResponseWriter.h"
#include "KivoUtilities/CKivoData.h"

#include <concurrentqueue/blockingconcurrentqueue.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using Item = KVOSmrPtr<IKivoObject>;
using Clock = std::chrono::steady_clock;

constexpr long kResults = 2000000;
constexpr std::size_t kPoolSize = 1 << 16;  // distinct items, cycled; each send copies one

std::vector<Item> makePool() {
    std::vector<Item> pool;
    pool.reserve(kPoolSize);
    for (std::size_t i = 0; i < kPoolSize; ++i) pool.emplace_back(new CKivoObject("Bench_Item"));
    return pool;
}

// The items producer p of n sends: a contiguous share of the 2,000,000.
struct Share {
    long begin, end;
};
Share shareOf(int p, int n) { return {kResults * p / n, kResults * (p + 1) / n}; }

// Runs `producer(p)` on n threads and `consumer()` on this one, all released
// together; answers results per second.
double timeRun(int n, std::function<void(int)> const& producer, std::function<long()> const& consumer) {
    std::atomic<int> ready{0};
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (int p = 0; p < n; ++p) {
        threads.emplace_back([&, p] {
            ++ready;
            while (!go.load(std::memory_order_acquire)) std::this_thread::yield();
            producer(p);
        });
    }
    while (ready.load() != n) std::this_thread::yield();
    auto start = Clock::now();
    go.store(true, std::memory_order_release);
    long received = consumer();
    auto elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    for (auto& t : threads) t.join();
    if (received != kResults) {
        std::fprintf(stderr, "received %ld of %ld results\n", received, kResults);
        std::exit(1);
    }
    return static_cast<double>(kResults) / elapsed;
}

double runCollection(std::vector<Item> const& pool, int n, unsigned bounds) {
    using Collection = qora::MultiResponseCollection<Item>;
    auto collection = Collection::newCollection(bounds, -1);
    std::vector<KVOSmrPtr<qora::IMultiResponse<Item>>> writers;
    for (int p = 0; p < n; ++p) writers.emplace_back(new qora::MultiResponseWriter<Item>(collection));
    collection->allowComplete();
    return timeRun(
        n,
        [&](int p) {
            Share s = shareOf(p, n);
            qora::IMultiResponse<Item>& w = *writers[p];
            for (long i = s.begin; i < s.end; ++i) w.add(pool[i & (kPoolSize - 1)], true);
            w.Close();
        },
        [&] {
            long received = 0;
            while (collection->hasNext()) {
                Item item = collection->next();
                ++received;
            }
            return received;
        });
}

// The textbook blocking queue: one mutex, two condition variables.
class MutexQueue {
public:
    explicit MutexQueue(std::size_t bound) : _bound(bound) {}
    void push(Item item) {
        std::unique_lock<std::mutex> lock(_lock);
        if (_bound) _notFull.wait(lock, [&] { return _queue.size() < _bound; });
        _queue.push_back(std::move(item));
        lock.unlock();
        _notEmpty.notify_one();
    }
    Item pop() {
        std::unique_lock<std::mutex> lock(_lock);
        _notEmpty.wait(lock, [&] { return !_queue.empty(); });
        Item item = std::move(_queue.front());
        _queue.pop_front();
        lock.unlock();
        if (_bound) _notFull.notify_one();
        return item;
    }

private:
    std::mutex _lock;
    std::condition_variable _notEmpty, _notFull;
    std::deque<Item> _queue;
    std::size_t const _bound;
};

double runMutexQueue(std::vector<Item> const& pool, int n, unsigned bounds) {
    MutexQueue queue(bounds);
    return timeRun(
        n,
        [&](int p) {
            Share s = shareOf(p, n);
            for (long i = s.begin; i < s.end; ++i) queue.push(pool[i & (kPoolSize - 1)]);
        },
        [&] {
            long received = 0;
            for (; received < kResults; ++received) Item item = queue.pop();
            return received;
        });
}

double runMoodycamel(std::vector<Item> const& pool, int n, unsigned bounds) {
    moodycamel::BlockingConcurrentQueue<Item> queue;
    moodycamel::LightweightSemaphore slots(bounds);
    return timeRun(
        n,
        [&](int p) {
            Share s = shareOf(p, n);
            moodycamel::ProducerToken token(queue);
            for (long i = s.begin; i < s.end; ++i) {
                if (bounds) slots.wait();
                queue.enqueue(token, pool[i & (kPoolSize - 1)]);
            }
        },
        [&] {
            long received = 0;
            moodycamel::ConsumerToken token(queue);
            for (; received < kResults; ++received) {
                Item item;
                queue.wait_dequeue(token, item);
                if (bounds) slots.signal();
            }
            return received;
        });
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

double itemCreationRate() {
    auto start = Clock::now();
    for (long i = 0; i < kResults; ++i) Item item(new CKivoObject("Bench_Item"));
    return static_cast<double>(kResults) / std::chrono::duration<double>(Clock::now() - start).count();
}

}  // namespace

int main(int argc, char** argv) {
    int runs = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;
    std::vector<int> producerCounts{1, 2, 4};
    std::vector<unsigned> boundsList{0u, 1000u};
    if (argc > 3) {
        producerCounts = {std::max(1, std::atoi(argv[2]))};
        boundsList = {static_cast<unsigned>(std::atoi(argv[3]))};
    }
    std::vector<Item> pool = makePool();

    std::printf("Moving %ld KVOSmrPtr<IKivoObject> results to one consumer; median of %d runs; M results/s.\n",
                kResults, runs);
    std::printf("(Creating the items alone: %.2f M/s.)\n\n", itemCreationRate() / 1e6);
    std::printf("%-9s %-9s %12s %12s %12s %14s %14s\n", "producers", "bound", "collection", "mutex+cv", "moodycamel",
                "coll/mutex", "coll/moodycamel");

    for (unsigned bounds : boundsList) {
        for (int n : producerCounts) {
            std::vector<double> coll, mutex, moody;
            runCollection(pool, n, bounds);  // warm-up
            for (int r = 0; r < runs; ++r) {
                coll.push_back(runCollection(pool, n, bounds));
                mutex.push_back(runMutexQueue(pool, n, bounds));
                moody.push_back(runMoodycamel(pool, n, bounds));
            }
            double c = median(coll), m = median(mutex), y = median(moody);
            std::printf("%-9d %-9s %12.2f %12.2f %12.2f %13.2fx %13.2fx\n", n,
                        bounds ? std::to_string(bounds).c_str() : "none", c / 1e6, m / 1e6, y / 1e6, c / m, c / y);
            std::fflush(stdout);
        }
    }
    return 0;
}
