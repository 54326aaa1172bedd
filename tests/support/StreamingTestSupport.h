// Helpers for the tests of result streaming: a bounded wait on work run on
// another thread, results that count their own lives, markers that record
// their runs, and the check of a collection's exception texts.
#pragma once

#include "Cimom/ProtocolAdapter/Common/IMarker.h"
#include "KivoUtilities/CKivoData.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KivoBaseException.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <typeinfo>
#include <utility>
#include <vector>

namespace kivo_test {

// Runs fn on a new thread. The test waits for it with a deadline, so a thread
// that never returns fails the test instead of hanging it: such a thread is
// detached when the Async goes (it shares only the state below, and whatever
// fn holds by value). fn's captures are released before the result is
// published, so everything fn held is gone once waitFor answers true.
template <class R>
class Async {
    struct State {
        std::mutex lock;
        std::condition_variable cv;
        bool done = false;  // guarded by lock
        std::optional<R> value;
        std::exception_ptr error;
    };

public:
    template <class F>
    explicit Async(F fn) : _state(std::make_shared<State>()) {
        _thread = std::thread([s = _state, f = std::optional<F>(std::move(fn))]() mutable {
            try {
                s->value.emplace((*f)());
            } catch (...) {
                s->error = std::current_exception();
            }
            f.reset();
            {
                std::lock_guard<std::mutex> g(s->lock);
                s->done = true;
            }
            s->cv.notify_all();
        });
    }
    Async(Async const&) = delete;
    Async& operator=(Async const&) = delete;
    ~Async() {
        if (!_thread.joinable()) return;
        if (finished())
            _thread.join();
        else
            _thread.detach();
    }

    bool waitUntil(std::chrono::steady_clock::time_point deadline) {
        std::unique_lock<std::mutex> g(_state->lock);
        return _state->cv.wait_until(g, deadline, [&] { return _state->done; });
    }
    template <class Rep, class Period>
    bool waitFor(std::chrono::duration<Rep, Period> d) {
        return waitUntil(std::chrono::steady_clock::now() + d);
    }
    // The result, or fn's exception raised again. Only after a wait answered true.
    R get() {
        if (_thread.joinable()) _thread.join();
        if (_state->error) std::rethrow_exception(_state->error);
        return *_state->value;
    }

private:
    bool finished() {
        std::lock_guard<std::mutex> g(_state->lock);
        return _state->done;
    }

    std::shared_ptr<State> _state;
    std::thread _thread;
};

// Counts the lives of Tracked results: alive now, delivered to a consumer, and
// destroyed without having been delivered.
class Census {
public:
    int alive() const { return _alive.load(); }
    int delivered() const { return _delivered.load(); }
    int dropped() const { return _dropped.load(); }

private:
    friend class Tracked;
    std::atomic<int> _alive{0};
    std::atomic<int> _delivered{0};
    std::atomic<int> _dropped{0};
};

// An instance that reports its life to a Census and knows which producer made
// it and in what order.
class Tracked : public CKivoObject {
public:
    Tracked(Census& census, int producerIndex, int sequenceNumber)
        : CKivoObject("Tracked"), producer(producerIndex), sequence(sequenceNumber), _census(census) {
        ++_census._alive;
    }
    ~Tracked() override {
        if (!_delivered.load()) ++_census._dropped;
        --_census._alive;
    }
    static KVOSmrPtr<IKivoObject> make(Census& census, int producerIndex = 0, int sequenceNumber = 0) {
        return KVOSmrPtr<IKivoObject>(new Tracked(census, producerIndex, sequenceNumber));
    }
    void markDelivered() {
        _delivered.store(true);
        ++_census._delivered;
    }

    int const producer;
    int const sequence;

private:
    Census& _census;
    std::atomic<bool> _delivered{false};
};

// A marker that counts its runs, appends its name to a shared event list (when
// given one; single-threaded tests only) and then runs an optional action.
template <class T>
struct RecordingMarker {
    class Impl : public qora::IMarker<T> {
    public:
        bool isMarker() const override { return true; }
        void process() const override {
            ++*runs;
            if (events) events->push_back(name);
            if (action) action();
        }
        std::shared_ptr<std::atomic<int>> runs;
        std::shared_ptr<std::vector<std::string>> events;
        std::string name;
        std::function<void()> action;
    };

    static RecordingMarker make(std::shared_ptr<std::vector<std::string>> events = nullptr, std::string name = "",
                                std::function<void()> action = {}) {
        auto* impl = new Impl;
        impl->runs = std::make_shared<std::atomic<int>>(0);
        impl->events = std::move(events);
        impl->name = std::move(name);
        impl->action = std::move(action);
        return RecordingMarker{KVOSmrPtr<qora::IMarker<T>>(impl), impl->runs};
    }
    int processed() const { return runs->load(); }

    KVOSmrPtr<qora::IMarker<T>> ptr;
    std::shared_ptr<std::atomic<int>> runs;
};

// Expects fn to raise exactly a KivoBaseException with an empty type and who
// and the given place, message and code.
template <class F>
void expectKivoError(F&& fn, std::string const& where, std::string const& message, int code) {
    try {
        fn();
        ADD_FAILURE() << "no exception; expected \"" << message << "\"";
    } catch (KivoBaseException const& e) {
        EXPECT_EQ(typeid(e), typeid(KivoBaseException));
        EXPECT_EQ(e.getType().str(), "");
        EXPECT_EQ(e.getWho().str(), "");
        EXPECT_EQ(e.getWhere().str(), where);
        EXPECT_EQ(e.getMessage().str(), message);
        EXPECT_EQ(e.getCode(), code);
    }
}

}  // namespace kivo_test
