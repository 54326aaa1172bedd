#include "Cimom/ProtocolAdapter/Common/MultiResponseCollection.h"

#include "KivoUtilities/CKivoData.h"
#include "KivoUtilities/QORAConfigManager.h"
#include "support/StreamingTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using kivo_test::Async;
using kivo_test::Census;
using kivo_test::expectKivoError;
using kivo_test::RecordingMarker;
using kivo_test::Tracked;

using Strings = qora::MultiResponseCollection<KVOString>;
using Objects = qora::MultiResponseCollection<KVOSmrPtr<IKivoObject>>;
using StringMarker = KVOSmrPtr<qora::IMarker<KVOString>>;

constexpr char const* kNoWriters = "Addition of elements not permitted if no writers are registered.";
constexpr char const* kFailed = "An error has occurred with this collection; no further input can be accepted.";
constexpr char const* kWritersClosed = "Writers may be registered only while collection is incomplete.";
constexpr auto kBound = 10s;  // how long a thread may take to react before a test calls it stuck

KVOSmrPtr<Strings> open(unsigned bounds = 0) { return Strings::newCollection(bounds, -1); }

// A collection with one registered writer and completion allowed: the usual
// state while a handler's producers run.
KVOSmrPtr<Strings> streaming(unsigned bounds = 0) {
    auto c = open(bounds);
    c->registerWriter();
    c->allowComplete();
    return c;
}

std::vector<std::string> drainAll(Strings& c) {
    std::vector<std::string> out;
    while (c.hasNext()) out.push_back(c.next().str());
    return out;
}

// ---- Configuration ----

class TransactionTimeout : public ::testing::Test {
protected:
    ~TransactionTimeout() override { QORAConfigManager::getInstance()->removeValue("QORA", "CimTransactionTimeout"); }
    void set(char const* v) { QORAConfigManager::getInstance()->setValue("QORA", "CimTransactionTimeout", v); }
};

TEST_F(TransactionTimeout, ReadFromConfigurationWithDefaultAndNoLimitForZeroOrLess) {
    struct Case {
        char const* value;  // null: key absent
        KVOsint32 seconds;
    };
    for (Case c : {Case{nullptr, 600}, Case{"30", 30}, Case{"1", 1}, Case{"0", 2147483647}, Case{"-5", 2147483647},
                   Case{"seven", 600}, Case{"2147483647", 2147483647}}) {
        SCOPED_TRACE(c.value ? c.value : "(absent)");
        if (c.value)
            set(c.value);
        else
            QORAConfigManager::getInstance()->removeValue("QORA", "CimTransactionTimeout");
        EXPECT_EQ(open()->getTransactionTimeout(), c.seconds);
    }
    // Read once, at creation.
    set("30");
    auto c = open();
    set("45");
    EXPECT_EQ(c->getTransactionTimeout(), 30);
}

TEST_F(TransactionTimeout, LimitsOneWaitOfTheConsumerWithoutEndingItsWaitForResults) {
    set("1");
    auto c = streaming();
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(c->waitForEvent(), 1);  // ran out
    EXPECT_GE(std::chrono::steady_clock::now() - start, 900ms);
    // A wait that runs out ends nothing: hasNext looks again and goes on waiting.
    Async<bool> consumer([c] { return c->hasNext(); });
    EXPECT_FALSE(consumer.waitFor(1600ms));
    c->add("x", true);
    ASSERT_TRUE(consumer.waitFor(kBound));
    EXPECT_TRUE(consumer.get());
}

// Every accepted addition sets the consumer's event, whether or not the
// consumer was waiting in hasNext: a consumer that waits on its own returns at
// once (0) instead of running out the transaction timeout (1).
TEST_F(TransactionTimeout, EveryAcceptedAdditionWakesAConsumerWaitingForTheEvent) {
    set("2");
    struct Case {
        char const* name;
        unsigned bounds;
        bool marker;
        bool beforeTheWait;  // added before the consumer waits, or while it waits
    };
    for (Case k : {Case{"result before", 0, false, true}, Case{"result during", 0, false, false},
                   Case{"bounded result before", 3, false, true}, Case{"bounded result during", 3, false, false},
                   Case{"marker before", 0, true, true}, Case{"marker during", 3, true, false}}) {
        SCOPED_TRACE(k.name);
        auto c = streaming(k.bounds);
        auto marker = RecordingMarker<KVOString>::make();
        auto addOne = [c, k, marker] { return k.marker ? c->add(marker.ptr, true) : c->add("x", true); };
        if (k.beforeTheWait) {
            Async<bool> producer(addOne);
            ASSERT_TRUE(producer.waitFor(kBound));
            EXPECT_EQ(c->waitForEvent(), 0);
        } else {
            Async<int> consumer([c] { return c->waitForEvent(); });
            EXPECT_FALSE(consumer.waitFor(50ms));
            EXPECT_TRUE(addOne());
            ASSERT_TRUE(consumer.waitFor(kBound));
            EXPECT_EQ(consumer.get(), 0);
        }
    }
}

// ---- States, completion and errors ----

TEST(MultiResponseCollection, CompletesOnlyWhenAllowedAndEveryWriterClosed) {
    auto c = open();
    c->registerWriter();
    c->registerWriter();
    EXPECT_FALSE(c->isComplete());
    c->unregisterWriter();
    EXPECT_FALSE(c->isComplete());  // the completion guard still counts
    c->allowComplete();
    EXPECT_FALSE(c->isComplete());  // one writer left
    c->registerWriter();            // registration still works after allowComplete
    c->unregisterWriter();
    EXPECT_FALSE(c->isComplete());
    c->unregisterWriter();
    EXPECT_TRUE(c->isComplete());
    EXPECT_FALSE(c->hasNext());
}

TEST(MultiResponseCollection, AllowCompleteWithoutWritersCompletesAtOnceAndRefusesEverything) {
    auto c = open();
    c->allowComplete();
    EXPECT_TRUE(c->isComplete());
    EXPECT_FALSE(c->hasNext());  // without waiting
    expectKivoError([&] { c->registerWriter(); }, "MultiResponseCollection::registerWriter", kWritersClosed, 0);
    expectKivoError([&] { c->unregisterWriter(); }, "MultiResponseCollection::unregisterWriter", kWritersClosed, 0);
    expectKivoError([&] { c->add("x", true); }, "MultiResponseCollection::add", kNoWriters, 0);
    EXPECT_FALSE(c->add("x", false));
    auto marker = RecordingMarker<KVOString>::make();
    expectKivoError([&] { c->add(marker.ptr, true); }, "MultiResponseCollection::add", kNoWriters, 0);
    EXPECT_FALSE(c->add(marker.ptr, false));
    EXPECT_EQ(marker.processed(), 0);  // a refused marker is not processed
    EXPECT_EQ(c->getErrorCode(), 0);
    EXPECT_FALSE(c->hasNext());
}

TEST(MultiResponseCollection, FirstNonZeroCodeBeforeAnyEntryFailsTheCollection) {
    auto c = streaming();  // a writer is still registered
    c->setErrorCode(0);    // no failure
    EXPECT_EQ(c->getErrorCode(), 0);
    EXPECT_FALSE(c->isComplete());
    for (int code : {6, 7, 0}) c->setErrorCode(code);  // the first non-zero code wins
    EXPECT_TRUE(c->isComplete());
    expectKivoError([&] { c->add("x", true); }, "MultiResponseCollection::add", kFailed, 6);
    EXPECT_FALSE(c->add("x", false));
    auto marker = RecordingMarker<KVOString>::make();
    expectKivoError([&] { c->add(marker.ptr, true); }, "MultiResponseCollection::add", kFailed, 6);
    EXPECT_FALSE(c->hasNext());  // at once: nothing was queued
    // The refusals counted nothing: the code still shows.
    EXPECT_EQ(c->getErrorCode(), 6);
    // Registration and closing still work on a failed collection.
    c->registerWriter();
    c->unregisterWriter();
    c->unregisterWriter();
    EXPECT_EQ(c->getErrorCode(), 6);
}

TEST(MultiResponseCollection, AnyAcceptedEntryHidesTheError) {
    struct Case {
        char const* name;
        bool markerFirst;
    };
    for (Case k : {Case{"result", false}, Case{"marker", true}}) {
        SCOPED_TRACE(k.name);
        auto c = streaming();
        auto marker = RecordingMarker<KVOString>::make();
        if (k.markerFirst)
            EXPECT_TRUE(c->add(marker.ptr, true));
        else
            EXPECT_TRUE(c->add("first", true));
        c->setErrorCode(6);
        EXPECT_EQ(c->getErrorCode(), 0);
        EXPECT_FALSE(c->isComplete());
        EXPECT_TRUE(c->add("second", true));
        c->unregisterWriter();
        auto expected = k.markerFirst ? std::vector<std::string>{"second"} : std::vector<std::string>{"first", "second"};
        EXPECT_EQ(drainAll(*c), expected);
        EXPECT_EQ(c->getErrorCode(), 0);
    }
}

TEST(MultiResponseCollection, SecondAllowCompleteRaisesAndKeepsTheCount) {
    auto c = open();
    c->registerWriter();
    c->allowComplete();
    expectKivoError([&] { c->allowComplete(); }, "MultiResponseCollection::allowComplete",
                    "allowComplete() may only be called once.", 0);
    EXPECT_FALSE(c->isComplete());  // the writer is still counted
    EXPECT_TRUE(c->add("x", true));
    c->unregisterWriter();
    EXPECT_TRUE(c->isComplete());
}

TEST(MultiResponseCollection, NextOnEmptyRaisesAndChangesNothing) {
    auto c = streaming();
    expectKivoError([&] { c->next(); }, "MultiResponseCollection::next", "no more items.", 0);
    c->setErrorCode(3);  // still nothing accepted: the code shows
    EXPECT_EQ(c->getErrorCode(), 3);

    auto d = streaming();
    d->add("a", true);
    d->next();
    expectKivoError([&] { d->next(); }, "MultiResponseCollection::next", "no more items.", 0);
    d->unregisterWriter();
    EXPECT_FALSE(d->hasNext());

    // Bounded, next waits for a result while one can still come, and raises
    // once none can.
    auto b = streaming(2);
    Async<std::string> taker([b] { return b->next().str(); });
    EXPECT_FALSE(taker.waitFor(50ms));
    b->add("late", true);
    ASSERT_TRUE(taker.waitFor(kBound));
    EXPECT_EQ(taker.get(), "late");
    b->unregisterWriter();
    expectKivoError([&] { b->next(); }, "MultiResponseCollection::next", "no more items.", 0);
}

TEST(MultiResponseCollection, NullMarkerIsRejected) {
    auto c = streaming();
    EXPECT_THROW(c->add(StringMarker(), true), KVONullPointerException);
    c->signalConsumerDone();
    EXPECT_THROW(c->add(StringMarker(), true), KVONullPointerException);
}

// ---- Markers ----

// Entries named "#..." are markers, the others results; the consumer takes
// everything (first through next alone when `nextFirst`), and markers record
// themselves among the results taken.
TEST(MultiResponseCollection, MarkersRunOnceInOrderWhereTheConsumerMeetsThemAndAreNeverReturned) {
    struct Case {
        std::vector<std::string> entries;
        bool nextFirst;
        std::vector<std::string> events;
    };
    Case const cases[] = {
        {{"a", "#m", "b"}, false, {"next a", "#m", "next b"}},
        {{"#m0", "#m1", "#m2", "a"}, true, {"#m0", "#m1", "#m2", "next a"}},  // next steps over them itself
        {{"a", "#m"}, false, {"next a", "#m"}},                                // queued when the last writer closes
        {{"#m"}, false, {"#m"}},
    };
    for (Case const& k : cases) {
        SCOPED_TRACE(k.entries.front() + "...");
        auto c = streaming();
        auto events = std::make_shared<std::vector<std::string>>();
        std::vector<RecordingMarker<KVOString>> markers;
        for (std::string const& e : k.entries) {
            if (e[0] != '#') {
                c->add(e.c_str(), true);
                continue;
            }
            markers.push_back(RecordingMarker<KVOString>::make(events, e));
            c->add(markers.back().ptr, true);
        }
        c->unregisterWriter();
        if (k.nextFirst) events->push_back("next " + c->next().str());
        while (c->hasNext()) events->push_back("next " + c->next().str());
        EXPECT_EQ(*events, k.events);
        for (auto& m : markers) EXPECT_EQ(m.processed(), 1);
    }
}

TEST(MultiResponseCollection, MarkerMayCallTheCollectionAgainOnTheConsumersThread) {
    auto c = streaming();
    Strings* raw = c.get();
    auto marker = RecordingMarker<KVOString>::make(nullptr, "m", [raw] { raw->add("from marker", true); });
    c->add(marker.ptr, true);
    ASSERT_TRUE(c->hasNext());
    EXPECT_EQ(c->next(), KVOString("from marker"));
    c->unregisterWriter();
    EXPECT_FALSE(c->hasNext());
    EXPECT_EQ(marker.processed(), 1);
}

TEST(MultiResponseCollection, MarkerExceptionLeavesHasNextWithTheLockReleased) {
    auto c = streaming();
    auto marker = RecordingMarker<KVOString>::make(nullptr, "m", [] { throw std::runtime_error("marker failed"); });
    c->add(marker.ptr, true);
    c->add("a", true);
    EXPECT_THROW(c->hasNext(), std::runtime_error);
    // Another thread can still take the lock.
    Async<bool> producer([c] { return c->add("b", true); });
    ASSERT_TRUE(producer.waitFor(kBound)) << "the collection's lock was left held";
    EXPECT_TRUE(producer.get());
    c->unregisterWriter();
    EXPECT_EQ(drainAll(*c), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(marker.processed(), 1);
}

// ---- Consumer done ----

TEST(MultiResponseCollection, ConsumerDoneDrainsProcessesMarkersAndDropsLaterAdditions) {
    Census census;
    auto c = Objects::newCollection(0, -1);
    c->registerWriter();
    c->allowComplete();
    auto events = std::make_shared<std::vector<std::string>>();
    auto m1 = RecordingMarker<KVOSmrPtr<IKivoObject>>::make(events, "m1");
    auto m2 = RecordingMarker<KVOSmrPtr<IKivoObject>>::make(events, "m2");
    c->add(Tracked::make(census), true);
    c->add(m1.ptr, true);
    c->add(Tracked::make(census), true);
    c->add(m2.ptr, true);
    EXPECT_EQ(census.alive(), 2);
    c->signalConsumerDone();
    EXPECT_EQ(*events, (std::vector<std::string>{"m1", "m2"}));
    EXPECT_EQ(census.alive(), 0);  // queued results released

    // Later additions answer true and queue nothing; markers run before add returns.
    EXPECT_TRUE(c->add(Tracked::make(census), true));
    EXPECT_EQ(census.alive(), 0);
    auto m3 = RecordingMarker<KVOSmrPtr<IKivoObject>>::make(events, "m3");
    EXPECT_TRUE(c->add(m3.ptr, true));
    EXPECT_EQ(m3.processed(), 1);
    // Even once complete or failed: the consumer being done comes first.
    c->setErrorCode(9);
    c->unregisterWriter();
    EXPECT_TRUE(c->add(Tracked::make(census), true));
    EXPECT_EQ(m1.processed() + m2.processed(), 2);
}

TEST(MultiResponseCollection, ConsumerDoneRunsEveryMarkerAndRaisesTheFirstFailure) {
    auto c = streaming();
    auto events = std::make_shared<std::vector<std::string>>();
    auto bad1 = RecordingMarker<KVOString>::make(events, "bad1", [] { throw std::runtime_error("first"); });
    auto good = RecordingMarker<KVOString>::make(events, "good");
    auto bad2 = RecordingMarker<KVOString>::make(events, "bad2", [] { throw std::logic_error("second"); });
    for (auto* m : {&bad1, &good, &bad2}) c->add(m->ptr, true);
    try {
        c->signalConsumerDone();
        ADD_FAILURE() << "no exception";
    } catch (std::runtime_error const& e) {
        EXPECT_STREQ(e.what(), "first");
    }
    EXPECT_EQ(*events, (std::vector<std::string>{"bad1", "good", "bad2"}));
    EXPECT_TRUE(c->add("x", true));
}

TEST(MultiResponseCollection, DestroyingTheCollectionReleasesEntriesWithoutRunningMarkers) {
    Census census;
    auto marker = RecordingMarker<KVOSmrPtr<IKivoObject>>::make();
    {
        auto c = Objects::newCollection(0, -1);
        c->registerWriter();
        c->add(Tracked::make(census), true);
        c->add(marker.ptr, true);
    }
    EXPECT_EQ(census.alive(), 0);
    EXPECT_EQ(marker.processed(), 0);
}

TEST(MultiResponseCollection, WrapperHoldsACopyAndAnOutsideWrapperIsDeliveredWithoutBeingEmptied) {
    using Wrapper = Strings::wrapper<KVOString>;
    auto* w = new Wrapper("kept");
    StringMarker entry(w);
    EXPECT_FALSE(w->isMarker());
    EXPECT_EQ(w->getItem(), KVOString("kept"));

    auto c = streaming();
    c->add(entry, true);  // queued as an entry that is no marker: a result
    ASSERT_TRUE(c->hasNext());
    EXPECT_EQ(c->next(), KVOString("kept"));
    EXPECT_EQ(w->getItem(), KVOString("kept"));  // copied out, since others hold it
}

// ---- Bounded collections ----

TEST(MultiResponseCollectionBounded, ProducerBlocksAtTheBoundUntilNextTakesOne) {
    auto c = streaming(2);
    EXPECT_TRUE(c->add("a", true));
    EXPECT_TRUE(c->add("b", true));
    Async<bool> third([c] { return c->add("c", true); });
    EXPECT_FALSE(third.waitFor(100ms));  // blocked for at least this long
    EXPECT_EQ(c->next(), KVOString("a"));
    ASSERT_TRUE(third.waitFor(kBound));
    EXPECT_TRUE(third.get());
    // A slot freed before the producer arrives is taken without waiting.
    EXPECT_EQ(c->next(), KVOString("b"));
    Async<bool> fourth([c] { return c->add("d", true); });
    ASSERT_TRUE(fourth.waitFor(kBound));
    c->unregisterWriter();
    EXPECT_EQ(drainAll(*c), (std::vector<std::string>{"c", "d"}));
}

TEST(MultiResponseCollection, AWaitingConsumerWakesForAResultAndForCompletion) {
    for (unsigned bounds : {0u, 3u}) {
        SCOPED_TRACE(bounds);
        // Result after the consumer started waiting.
        auto c = streaming(bounds);
        Async<bool> consumer([c] { return c->hasNext(); });
        EXPECT_FALSE(consumer.waitFor(50ms));
        c->add("late", true);
        ASSERT_TRUE(consumer.waitFor(kBound));
        EXPECT_TRUE(consumer.get());
        EXPECT_EQ(c->next(), KVOString("late"));

        // Completion after the consumer started waiting.
        Async<bool> last([c] { return c->hasNext(); });
        EXPECT_FALSE(last.waitFor(50ms));
        c->unregisterWriter();
        ASSERT_TRUE(last.waitFor(kBound));
        EXPECT_FALSE(last.get());
    }
}

TEST(MultiResponseCollectionBounded, ConsumerDoneReleasesEveryBlockedProducerAndLaterOnes) {
    Census census;
    auto c = Objects::newCollection(1, -1);
    c->registerWriter();
    c->allowComplete();
    ASSERT_TRUE(c->add(Tracked::make(census), true));  // fills the only slot
    std::vector<std::unique_ptr<Async<bool>>> blocked;
    for (int i = 0; i < 8; ++i)
        blocked.push_back(std::make_unique<Async<bool>>([c, &census] { return c->add(Tracked::make(census), true); }));
    EXPECT_FALSE(blocked.front()->waitFor(100ms));
    c->signalConsumerDone();
    for (auto& p : blocked) {
        ASSERT_TRUE(p->waitFor(kBound)) << "a producer stayed blocked after the consumer finished";
        EXPECT_TRUE(p->get());  // dropped, not refused
    }
    for (int i = 0; i < 8; ++i) EXPECT_TRUE(c->add(Tracked::make(census), true));
    EXPECT_EQ(census.alive(), 0);
}

TEST(MultiResponseCollectionBounded, CompletionReleasesBlockedProducersAsRefused) {
    for (bool throwOnAbort : {false, true}) {
        SCOPED_TRACE(throwOnAbort);
        auto c = open(1);
        c->registerWriter();  // the writer that fills the slot
        c->registerWriter();  // the writer of the blocked producer
        c->allowComplete();
        c->add("a", true);
        Async<bool> producer([c, throwOnAbort] { return c->add("b", throwOnAbort); });
        EXPECT_FALSE(producer.waitFor(50ms));
        c->unregisterWriter();
        c->unregisterWriter();  // complete
        ASSERT_TRUE(producer.waitFor(kBound)) << "a producer stayed blocked on a complete collection";
        if (throwOnAbort)
            expectKivoError([&] { producer.get(); }, "MultiResponseCollection::add", kNoWriters, 0);
        else
            EXPECT_FALSE(producer.get());
        // The queued result is still delivered, and nothing else.
        EXPECT_EQ(drainAll(*c), (std::vector<std::string>{"a"}));
    }
}

TEST(MultiResponseCollectionBounded, RefusedAdditionsNeverExhaustTheSlots) {
    auto c = streaming(1);
    c->setErrorCode(4);
    for (int i = 0; i < 5; ++i) EXPECT_FALSE(c->add("x", false));
    for (int i = 0; i < 5; ++i) EXPECT_THROW(c->add("x", true), KivoBaseException);
    EXPECT_EQ(c->getErrorCode(), 4);
}

TEST(MultiResponseCollectionBounded, MarkersTakeNoSlotButReturnOneWhenRemoved) {
    auto c = streaming(1);
    auto marker = RecordingMarker<KVOString>::make();
    c->add(marker.ptr, true);
    EXPECT_TRUE(c->add("a", true));  // the marker did not take the slot
    Async<bool> blocked([c] { return c->add("b", true); });
    EXPECT_FALSE(blocked.waitFor(50ms));
    ASSERT_TRUE(c->hasNext());  // removes the marker and returns a slot
    ASSERT_TRUE(blocked.waitFor(kBound));
    EXPECT_EQ(marker.processed(), 1);
    c->unregisterWriter();
    EXPECT_EQ(drainAll(*c), (std::vector<std::string>{"a", "b"}));
}

// ---- Many producers ----

struct StressCase {
    unsigned bounds;
    bool consumerStopsHalfWay;
    // A marker after every this many results. Each marker that hasNext removes
    // returns a slot, so bounded runs queue theirs only after their last
    // result: the bound must still hold producers back when the consumer stops.
    int markerEvery;
};

void PrintTo(StressCase const& c, std::ostream* os) {
    *os << "bounds " << c.bounds << (c.consumerStopsHalfWay ? ", consumer stops half way" : ", consumer takes all")
        << ", marker every " << c.markerEvery;
}

class MultiResponseCollectionStress : public ::testing::TestWithParam<StressCase> {};

// 32 producers, each with its own registration, add numbered results and
// markers; one consumer takes results (all of them, or half
// and then signals that it is done). Every producer must return, every
// accepted result must be delivered or released, and every marker processed
// exactly once.
TEST_P(MultiResponseCollectionStress, EveryProducerReturnsAndEveryResultIsAccountedFor) {
    constexpr int kProducers = 32;
    constexpr int kPerProducer = 400;
    constexpr int kTotal = kProducers * kPerProducer;
    StressCase const param = GetParam();
    int const markerEvery = param.markerEvery;
    int const markersEach = kPerProducer / markerEvery;

    Census census;
    std::atomic<int> accepted{0};
    std::atomic<int> refused{0};
    std::atomic<int> markersAccepted{0};
    auto markerRuns = std::make_shared<std::vector<std::atomic<int>>>(kProducers * markersEach);

    auto c = Objects::newCollection(param.bounds, -1);
    for (int p = 0; p < kProducers; ++p) c->registerWriter();
    c->allowComplete();

    std::vector<std::unique_ptr<Async<int>>> producers;
    for (int p = 0; p < kProducers; ++p) {
        producers.push_back(std::make_unique<Async<int>>([=, &census, &accepted, &refused, &markersAccepted] {
            for (int i = 0; i < kPerProducer; ++i) {
                if (c->add(Tracked::make(census, p, i), false))
                    ++accepted;
                else
                    ++refused;
                if ((i + 1) % markerEvery == 0) {
                    auto& runs = (*markerRuns)[p * markersEach + i / markerEvery];
                    auto marker = RecordingMarker<KVOSmrPtr<IKivoObject>>::make(nullptr, "", [&runs] { ++runs; });
                    if (c->add(marker.ptr, false)) ++markersAccepted;
                }
            }
            c->unregisterWriter();
            return 0;
        }));
    }

    int const stopAfter = param.consumerStopsHalfWay ? kTotal / 2 : kTotal;
    Async<int> consumer([c, stopAfter] {
        std::vector<int> lastSeen(kProducers, -1);
        int delivered = 0;
        while (delivered < stopAfter && c->hasNext()) {
            KVOSmrPtr<IKivoObject> item = c->next();
            auto& t = dynamic_cast<Tracked&>(*item);
            if (t.sequence <= lastSeen[t.producer]) throw std::logic_error("a producer's results out of order");
            lastSeen[t.producer] = t.sequence;
            t.markDelivered();
            ++delivered;
        }
        c->signalConsumerDone();
        return delivered;
    });

    auto const deadline = std::chrono::steady_clock::now() + 120s;
    for (auto& p : producers) ASSERT_TRUE(p->waitUntil(deadline)) << "a producer never returned";
    ASSERT_TRUE(consumer.waitUntil(deadline)) << "the consumer never returned";
    int const delivered = consumer.get();
    c = nullptr;

    EXPECT_EQ(refused.load(), 0);
    EXPECT_EQ(accepted.load(), kTotal);
    EXPECT_EQ(delivered, stopAfter);
    EXPECT_EQ(census.delivered(), delivered);
    EXPECT_EQ(census.delivered() + census.dropped(), accepted.load());
    EXPECT_EQ(census.alive(), 0);
    int runs = 0;
    for (auto& r : *markerRuns) {
        EXPECT_LE(r.load(), 1);
        runs += r.load();
    }
    EXPECT_EQ(runs, markersAccepted.load());
    EXPECT_EQ(markersAccepted.load(), kProducers * markersEach);
}

INSTANTIATE_TEST_SUITE_P(, MultiResponseCollectionStress,
                         ::testing::Values(StressCase{4, true, 400}, StressCase{4, false, 400},
                                           StressCase{0, true, 50}, StressCase{0, false, 50}),
                         [](auto const& info) {
                             return std::string(info.param.bounds ? "Bound4" : "Unbounded") +
                                    (info.param.consumerStopsHalfWay ? "ConsumerStopsHalfWay" : "ConsumerTakesAll");
                         });

}  // namespace
