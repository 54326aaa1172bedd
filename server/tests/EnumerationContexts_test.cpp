// The table of open pulled enumerations, driven with fake producers: batches
// and exactly-once delivery, laziness, spent and wrong-kind ids, principals,
// the randomness of ids, expiry on access and by the sweeper, the caps,
// parked producers that hold no thread, a slow producer, failures, closing,
// and many threads at once on a small producer pool.
#include "objectmanager/EnumerationContexts.h"

#include "Cimom/ProtocolAdapter/OperationTimeout.h"
#include "KivoUtilities/CKivoData.h"
#include "KivoUtilities/KivoBaseException.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <filesystem>
#include <memory>
#include <set>
#include <thread>

namespace {

using namespace kivo::om;
using namespace std::chrono_literals;
using Kind = EnumerationContexts::Kind;
using Path = KVOSmrPtr<IKivoInstanceName>;
using Instance = KVOSmrPtr<IKivoObject>;
using Batch = EnumerationContexts::Batch<Path>;

Path item(unsigned i) {
    return Path(new CKivoInstanceName("root/test", "Test_Item", {{"Id", KVOString::itoa(i)}}));
}
unsigned idOf(Path const& p) { return static_cast<unsigned>(std::stoul(p->getKeyBindings().at(0).second.str())); }

// Offers `count` paths 0, 1, ... and counts what it offered; stops when the
// sink refuses. `failAfter` raises code 2 after that many.
struct FakeProducer {
    explicit FakeProducer(unsigned count, int failAfter = -1) : count(count), failAfter(failAfter) {}
    Producer<Path> producer() {
        return [this](Sink<Path> const& out) {
            for (unsigned i = 0; i < count; ++i) {
                if (static_cast<int>(i) == failAfter) throw KivoBaseException("CIMException", "", "", "disk on fire", 2);
                ++offered;
                if (!out(item(i))) {
                    refused = true;
                    return;
                }
            }
        };
    }
    unsigned const count;
    int const failAfter;
    std::atomic<unsigned> offered{0};
    std::atomic<bool> refused{false};
};

// The code a call raises, 0 when it raises nothing.
template <class F>
int codeOf(F&& call) {
    try {
        call();
    } catch (KivoBaseException const& e) {
        return e.getCode();
    }
    return 0;
}

class EnumerationContextsTest : public ::testing::Test {
protected:
    static EnumerationLimits limits() {
        EnumerationLimits l;
        l.buffer = 8;
        l.pullWait = 2s;
        l.sweepInterval = 1h;  // the tests sweep themselves
        l.parkAfter = 1h;      // producers park only where a test asks
        return l;
    }
    Batch open(FakeProducer& p, std::uint32_t count, Kind kind = Kind::InstancePaths) {
        return table.open<Path>(kind, "", p.producer(), 30s, count);
    }
    Batch pull(std::string const& id, std::uint32_t count, Kind kind = Kind::InstancePaths) {
        return table.pull<Path>(id, "", kind, count);
    }

    // The expiry clock, moved by hand.
    std::atomic<EnumerationContexts::Clock::rep> ticks{0};
    EnumerationContexts::Clock::time_point now() const {
        return EnumerationContexts::Clock::time_point(EnumerationContexts::Clock::duration(ticks.load()));
    }
    void advance(std::chrono::seconds s) {
        ticks += std::chrono::duration_cast<EnumerationContexts::Clock::duration>(s).count();
    }

    // Producers live in the fixture, declared before the table, so that the
    // table's destructor has joined every producer thread before they end.
    FakeProducer& producer(unsigned count, int failAfter = -1) {
        return *_producers.emplace_back(std::make_unique<FakeProducer>(count, failAfter));
    }
    std::vector<std::unique_ptr<FakeProducer>> _producers;

    EnumerationLimits const _limits = limits();
    EnumerationContexts table{_limits, [this] { return now(); }};
};

TEST_F(EnumerationContextsTest, BatchesDeliverEveryResultOnceInOrderWithAFreshIdEachTime) {
    FakeProducer& p = producer(1000);
    std::vector<unsigned> seen;
    std::set<std::string> ids;
    Batch b = open(p, 7);
    std::uint32_t counts[] = {1, 100, 0, 33, 256};
    for (unsigned round = 0;; ++round) {
        for (Path const& r : b.results) seen.push_back(idOf(r));
        if (b.endOfSequence) break;
        ASSERT_FALSE(b.context.empty());
        EXPECT_TRUE(ids.insert(b.context).second) << "an id was handed out twice: " << b.context;
        std::uint32_t const n = counts[round % 5];
        std::string const spent = b.context;
        b = pull(spent, n);
        ASSERT_LE(b.results.size(), n);
        EXPECT_EQ(codeOf([&] { pull(spent, 1); }), CIM_ERR_INVALID_ENUMERATION_CONTEXT) << "a spent id";
    }
    EXPECT_TRUE(b.context.empty()) << "no id at the end of the sequence";
    ASSERT_EQ(seen.size(), 1000u);
    for (unsigned i = 0; i < seen.size(); ++i) ASSERT_EQ(seen[i], i);
    EXPECT_EQ(table.openCount(), 0u) << "closed at the end of the sequence";
}

TEST_F(EnumerationContextsTest, AnEnumerationIsProducedLazilyAndClosingStopsItsProducer) {
    FakeProducer& p = producer(1000000);
    Batch b = open(p, 100);
    b = pull(b.context, 100);
    ASSERT_EQ(b.results.size(), 100u);
    EXPECT_EQ(idOf(b.results.back()), 199u);
    // Between requests the producer fills the buffer, and goes no further.
    for (int i = 0; i < 2000 && p.offered.load() < 200u + _limits.buffer; ++i) std::this_thread::sleep_for(1ms);
    EXPECT_GE(p.offered.load(), 200u + _limits.buffer) << "the producer did not fill the buffer ahead of the client";
    std::this_thread::sleep_for(20ms);
    EXPECT_LE(p.offered.load(), 200u + _limits.buffer + 1) << "more produced than the buffer allows";

    table.close(b.context, "");
    table.waitIdle();
    EXPECT_TRUE(p.refused.load()) << "the producer was not told to stop";
    EXPECT_LE(p.offered.load(), 200u + _limits.buffer + 1);
    EXPECT_EQ(table.openCount(), 0u);
    EXPECT_EQ(codeOf([&] { pull(b.context, 1); }), CIM_ERR_INVALID_ENUMERATION_CONTEXT);
    EXPECT_EQ(codeOf([&] { table.close(b.context, ""); }), CIM_ERR_INVALID_ENUMERATION_CONTEXT);
}

TEST_F(EnumerationContextsTest, APullOfTheWrongKindIsRefusedAndLeavesTheEnumerationUsable) {
    FakeProducer& p = producer(10);
    Batch b = open(p, 2);
    EXPECT_EQ(codeOf([&] { table.pull<Instance>(b.context, "", Kind::InstancesWithPath, 1); }),
              CIM_ERR_INVALID_ENUMERATION_CONTEXT);
    EXPECT_EQ(codeOf([&] { table.pull<Instance>(b.context, "", Kind::Instances, 1); }),
              CIM_ERR_INVALID_ENUMERATION_CONTEXT);
    b = pull(b.context, 100);
    EXPECT_EQ(b.results.size(), 8u);
    EXPECT_TRUE(b.endOfSequence);
    EXPECT_EQ(codeOf([&] { pull("no-such-context", 1); }), CIM_ERR_INVALID_ENUMERATION_CONTEXT);
}

// Another principal's id is answered exactly as an unknown one, and the
// enumeration stays its owner's.
TEST_F(EnumerationContextsTest, AnotherPrincipalsIdIsAnsweredAsAnUnknownOne) {
    auto messageOf = [](auto&& call) {
        try {
            call();
        } catch (KivoBaseException const& e) {
            return std::to_string(e.getCode()) + " " + e.getMessage().str();
        }
        return std::string("no error");
    };
    FakeProducer& p = producer(10);
    Batch b = table.open<Path>(Kind::InstancePaths, "alice", p.producer(), 30s, 1);
    std::string const unknown = EnumerationContexts::randomId();
    auto const expected = [&](std::string const& id) {
        return "21 no open enumeration has the context \"" + id + "\"";
    };
    EXPECT_EQ(messageOf([&] { table.pull<Path>(unknown, "alice", Kind::InstancePaths, 1); }), expected(unknown));
    for (char const* other : {"bob", "", "Alice"}) {
        EXPECT_EQ(messageOf([&] { table.pull<Path>(b.context, other, Kind::InstancePaths, 1); }), expected(b.context))
            << other;
        EXPECT_EQ(messageOf([&] { table.pull<Instance>(b.context, other, Kind::Instances, 1); }),
                  expected(b.context)) << "the kind is not revealed to " << other;
        EXPECT_EQ(messageOf([&] { table.close(b.context, other); }), expected(b.context)) << other;
    }
    b = table.pull<Path>(b.context, "alice", Kind::InstancePaths, 100);
    EXPECT_EQ(b.results.size(), 9u) << "the owner's enumeration went on untouched";
    EXPECT_TRUE(b.endOfSequence);
}

// Ids: 128 random bits in hex, nothing shared or counted.
TEST_F(EnumerationContextsTest, ContextIdsAreRandomHexWithNoPredictablePart) {
    constexpr int kIds = 100000;
    std::vector<std::string> ids;
    ids.reserve(kIds);
    for (int i = 0; i < kIds; ++i) ids.push_back(EnumerationContexts::randomId());
    std::vector<std::set<char>> digitsAt(32);
    for (std::string const& id : ids) {
        ASSERT_EQ(id.size(), 32u) << id;
        for (std::size_t i = 0; i < id.size(); ++i) {
            ASSERT_TRUE(std::isxdigit(static_cast<unsigned char>(id[i])) && !std::isupper(id[i])) << id;
            digitsAt[i].insert(id[i]);
        }
    }
    for (std::size_t i = 0; i < 32; ++i) EXPECT_EQ(digitsAt[i].size(), 16u) << "hex position " << i;
    // Sorted, neighbours share the longest prefixes: 12 shared digits (48
    // bits) would be a one-in-50,000 chance for random ids, and certain for
    // ids with a counter or a common prefix in them.
    std::sort(ids.begin(), ids.end());
    for (std::size_t i = 1; i < ids.size(); ++i) {
        ASSERT_NE(ids[i - 1], ids[i]) << "an id repeated";
        ASSERT_NE(ids[i - 1].substr(0, 12), ids[i].substr(0, 12)) << ids[i - 1] << " and " << ids[i];
    }
    // The table hands out such ids.
    FakeProducer& p = producer(100);
    Batch b = open(p, 1);
    std::string const first = b.context;
    b = pull(b.context, 1);
    for (std::string const& id : {first, b.context}) {
        EXPECT_EQ(id.size(), 32u);
        EXPECT_EQ(id.find_first_not_of("0123456789abcdef"), std::string::npos) << id;
    }
}

TEST_F(EnumerationContextsTest, OnePrincipalHoldsAtMostItsShareOfTheOpenEnumerations) {
    EnumerationLimits l = limits();
    l.maxOpen = 6;
    l.maxOpenPerPrincipal = 2;
    EnumerationContexts small(l);
    FakeProducer& p = producer(100);
    auto openAs = [&](char const* who) { return small.open<Path>(Kind::InstancePaths, who, p.producer(), 30s, 0); };
    std::string const first = openAs("alice").context;
    openAs("alice");
    EXPECT_EQ(codeOf([&] { openAs("alice"); }), CIM_ERR_SERVER_LIMITS_EXCEEDED) << "alice's third";
    openAs("bob");
    openAs("");
    openAs("");
    EXPECT_EQ(codeOf([&] { openAs(""); }), CIM_ERR_SERVER_LIMITS_EXCEEDED) << "anonymous is one principal";
    openAs("carol");
    FakeProducer& refused = producer(100);
    EXPECT_EQ(codeOf([&] { small.open<Path>(Kind::InstancePaths, "dave", refused.producer(), 30s, 0); }),
              CIM_ERR_SERVER_LIMITS_EXCEEDED) << "the table's own cap";
    EXPECT_EQ(refused.offered.load(), 0u) << "a refused enumeration ran its producer";
    small.close(first, "alice");
    EXPECT_EQ(codeOf([&] { openAs("alice"); }), 0) << "a closed one frees alice's place";
}

// 256 open enumerations that nobody pulls hold no thread; pulled again, each
// goes on where it stopped.
TEST_F(EnumerationContextsTest, IdleEnumerationsHoldNoThreadAndResumeWhereTheyStopped) {
    EnumerationLimits l = limits();
    l.maxOpenPerPrincipal = l.maxOpen;
    l.parkAfter = 20ms;
    EnumerationContexts idle(l);
    auto threads = [] {
        std::size_t n = 0;
        for ([[maybe_unused]] auto const& entry : std::filesystem::directory_iterator("/proc/self/task")) ++n;
        return n;
    };
    std::size_t const before = threads();
    FakeProducer& p = producer(100000);
    std::vector<std::string> ids;
    for (std::size_t i = 0; i < l.maxOpen; ++i) ids.push_back(idle.open<Path>(Kind::InstancePaths, "", p.producer(), 30s, 1).context);
    for (int i = 0; i < 1000 && idle.producersRunning() != 0; ++i) std::this_thread::sleep_for(10ms);
    EXPECT_EQ(idle.producersRunning(), 0);
    for (int i = 0; i < 100 && threads() > before; ++i) std::this_thread::sleep_for(10ms);  // exiting threads
    EXPECT_LE(threads(), before) << "idle enumerations hold threads";
    EXPECT_LE(idle.openCount(), l.maxOpen);

    for (std::size_t e : {std::size_t{0}, std::size_t{255}}) {
        Batch b = idle.pull<Path>(ids[e], "", Kind::InstancePaths, 100);
        ASSERT_EQ(b.results.size(), 100u);
        for (unsigned i = 0; i < 100; ++i) ASSERT_EQ(idOf(b.results[i]), i + 1) << "enumeration " << e;
    }
}

TEST_F(EnumerationContextsTest, OperationTimeoutsOutsideTheDocumentedRangeAreRefused) {
    EXPECT_EQ(table.timeoutFor(IOperationTimeout::OPERATION_TIMEOUT_ABSENT), EnumerationContexts::Clock::duration(30s));
    EXPECT_EQ(table.timeoutFor(1), EnumerationContexts::Clock::duration(1s));
    EXPECT_EQ(table.timeoutFor(600), EnumerationContexts::Clock::duration(600s));
    EXPECT_EQ(codeOf([&] { table.timeoutFor(0); }), CIM_ERR_INVALID_OPERATION_TIMEOUT);
    EXPECT_EQ(codeOf([&] { table.timeoutFor(601); }), CIM_ERR_INVALID_OPERATION_TIMEOUT);
}

TEST_F(EnumerationContextsTest, AnIdleEnumerationExpiresOnAccessAndInTheSweep) {
    FakeProducer& first = producer(1000);
    FakeProducer& second = producer(1000);
    Batch a = table.open<Path>(Kind::InstancePaths, "", first.producer(), 5s, 1);
    Batch b = table.open<Path>(Kind::InstancePaths, "", second.producer(), 20s, 1);
    advance(5s);
    a = pull(a.context, 1);  // exactly the timeout is not beyond it
    advance(6s);
    EXPECT_EQ(codeOf([&] { pull(a.context, 1); }), CIM_ERR_INVALID_ENUMERATION_CONTEXT) << "expired";
    EXPECT_EQ(table.openCount(), 1u);

    EXPECT_EQ(table.sweep(), 0u) << "the second has 20 s";
    advance(10s);
    EXPECT_EQ(table.sweep(), 1u);
    EXPECT_EQ(table.openCount(), 0u);
    table.waitIdle();
    EXPECT_TRUE(first.refused.load());
    EXPECT_TRUE(second.refused.load()) << "the sweep did not release the producer";
    EXPECT_EQ(codeOf([&] { table.close(b.context, ""); }), CIM_ERR_INVALID_ENUMERATION_CONTEXT);
}

TEST_F(EnumerationContextsTest, TheSweeperClosesExpiredEnumerationsWithoutAnyRequest) {
    EnumerationLimits l = limits();
    l.sweepInterval = 10ms;
    EnumerationContexts swept(l, [this] { return now(); });
    FakeProducer& p = producer(1000);
    swept.open<Path>(Kind::InstancePaths, "", p.producer(), 1s, 1);
    advance(2s);
    for (int i = 0; i < 1000 && swept.openCount() != 0; ++i) std::this_thread::sleep_for(5ms);
    EXPECT_EQ(swept.openCount(), 0u);
    swept.waitIdle();
    EXPECT_TRUE(p.refused.load());
}

TEST_F(EnumerationContextsTest, TooManyZeroCountPullsInARowCloseTheEnumeration) {
    EnumerationLimits l = limits();
    l.maxZeroCountPulls = 3;
    EnumerationContexts small(l);
    FakeProducer& p = producer(100);
    Batch b = small.open<Path>(Kind::InstancePaths, "", p.producer(), 30s, 0);
    for (int i = 0; i < 3; ++i) b = small.pull<Path>(b.context, "", Kind::InstancePaths, 0);
    b = small.pull<Path>(b.context, "", Kind::InstancePaths, 1);  // a count resets the run
    for (int i = 0; i < 3; ++i) {
        b = small.pull<Path>(b.context, "", Kind::InstancePaths, 0);
        EXPECT_TRUE(b.results.empty());
        EXPECT_FALSE(b.endOfSequence);
    }
    EXPECT_EQ(codeOf([&] { small.pull<Path>(b.context, "", Kind::InstancePaths, 0); }),
              CIM_ERR_SERVER_LIMITS_EXCEEDED);
    EXPECT_EQ(small.openCount(), 0u);
}

TEST_F(EnumerationContextsTest, CountsAboveTheMaximumAreServedAsTheMaximum) {
    EnumerationLimits l = limits();
    l.maxObjectCount = 10;
    EnumerationContexts small(l);
    FakeProducer& p = producer(100);
    Batch b = small.open<Path>(Kind::InstancePaths, "", p.producer(), 30s, 0xFFFFFFFFu);
    EXPECT_EQ(b.results.size(), 10u);
    EXPECT_EQ(small.pull<Path>(b.context, "", Kind::InstancePaths, 1000).results.size(), 10u);
}

TEST_F(EnumerationContextsTest, ASlowProducerGetsAnAnswerAfterTheWaitWithWhatIsThere) {
    EnumerationLimits l = limits();
    l.pullWait = 100ms;
    EnumerationContexts small(l);
    std::atomic<bool> goOn{false};
    Producer<Path> slow = [&goOn](Sink<Path> const& out) {
        if (!out(item(0))) return;
        while (!goOn.load()) std::this_thread::sleep_for(1ms);
        for (unsigned i = 1; i < 5; ++i)
            if (!out(item(i))) return;
    };
    auto const started = std::chrono::steady_clock::now();
    Batch b = small.open<Path>(Kind::InstancePaths, "", slow, 30s, 10);
    EXPECT_GE(std::chrono::steady_clock::now() - started, 100ms);
    ASSERT_EQ(b.results.size(), 1u);
    EXPECT_FALSE(b.endOfSequence);
    b = small.pull<Path>(b.context, "", Kind::InstancePaths, 10);
    EXPECT_TRUE(b.results.empty()) << "nothing came, and the pull still answered";
    EXPECT_FALSE(b.endOfSequence);
    goOn = true;
    std::vector<unsigned> rest;
    while (!b.endOfSequence) {
        b = small.pull<Path>(b.context, "", Kind::InstancePaths, 10);
        for (Path const& r : b.results) rest.push_back(idOf(r));
    }
    EXPECT_EQ(rest, (std::vector<unsigned>{1, 2, 3, 4}));
}

TEST_F(EnumerationContextsTest, AProducerFailureComesAfterTheResultsBeforeItAndClosesTheEnumeration) {
    FakeProducer& p = producer(100, 3);
    Batch b = open(p, 10);
    EXPECT_EQ(b.results.size(), 3u) << "the results before the failure";
    EXPECT_FALSE(b.endOfSequence);
    std::string const last = b.context;
    try {
        pull(last, 10);
        ADD_FAILURE() << "the failure was not reported";
    } catch (KivoBaseException const& e) {
        EXPECT_EQ(e.getCode(), 2);
        EXPECT_EQ(e.getMessage(), "disk on fire");
    }
    EXPECT_EQ(table.openCount(), 0u);

    FakeProducer& atOnce = producer(100, 0);
    EXPECT_EQ(codeOf([&] { open(atOnce, 10); }), 2) << "a failure before any result is the Open's";
    EXPECT_EQ(table.openCount(), 0u);
}

TEST_F(EnumerationContextsTest, CloseAllReleasesBlockedProducersAndTheTableStaysUsable) {
    FakeProducer& a = producer(100000);
    FakeProducer& b = producer(100000);
    open(a, 1);
    open(b, 0);
    table.closeAll();
    table.waitIdle();
    EXPECT_EQ(table.producersRunning(), 0);
    EXPECT_EQ(table.openCount(), 0u);
    FakeProducer& c = producer(3);
    EXPECT_TRUE(open(c, 10).endOfSequence);
}

TEST_F(EnumerationContextsTest, DestructionJoinsProducersBlockedOnAFullBuffer) {
    FakeProducer& p = producer(100000);
    {
        EnumerationContexts scoped(limits());
        scoped.open<Path>(Kind::InstancePaths, "", p.producer(), 30s, 1);
    }
    EXPECT_TRUE(p.refused.load());
}

// Six clients on a pool of two producer threads: producers take turns
// (parking when others wait) and every result still comes exactly once.
TEST_F(EnumerationContextsTest, ManyClientsAtOnceEachGetTheirOwnResultsExactlyOnce) {
    EnumerationLimits l = limits();
    l.producerThreads = 2;
    EnumerationContexts table(l);
    auto open = [&](FakeProducer& p, std::uint32_t count) {
        return table.open<Path>(Kind::InstancePaths, "", p.producer(), 30s, count);
    };
    auto pull = [&](std::string const& id, std::uint32_t count) {
        return table.pull<Path>(id, "", Kind::InstancePaths, count);
    };
    std::atomic<bool> overCap{false};
    constexpr int kClients = 6;
    constexpr unsigned kEach = 3000;
    std::vector<FakeProducer*> producers;
    for (int i = 0; i < kClients; ++i) producers.push_back(&producer(kEach));
    std::atomic<int> failures{0};
    std::atomic<bool> done{false};
    std::vector<std::thread> clients;
    for (int c = 0; c < kClients; ++c) {
        clients.emplace_back([&, c] {
            std::vector<unsigned> seen;
            Batch b = open(*producers[c], static_cast<std::uint32_t>(c));
            for (std::uint32_t n = 1; !b.endOfSequence; n = n % 97 + 1) {
                for (Path const& r : b.results) seen.push_back(idOf(r));
                b = pull(b.context, n);
            }
            for (Path const& r : b.results) seen.push_back(idOf(r));
            if (seen.size() != kEach) ++failures;
            for (unsigned i = 0; i < seen.size(); ++i)
                if (seen[i] != i) ++failures;
        });
    }
    // Meanwhile: sweeps, and guesses at ids that must all be refused.
    std::thread meddler([&] {
        while (!done.load()) {
            if (table.producersRunning() > 2) overCap = true;
            table.sweep();
            if (codeOf([&] { table.close("0000000000000000.1", ""); }) != CIM_ERR_INVALID_ENUMERATION_CONTEXT)
                ++failures;
            std::this_thread::yield();
        }
    });
    for (std::thread& t : clients) t.join();
    done = true;
    meddler.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_FALSE(overCap.load()) << "more producer threads than the pool has";
    EXPECT_EQ(table.openCount(), 0u);
}

TEST_F(EnumerationContextsTest, TwoPullsRacingForOneIdAreServedOnce) {
    for (int round = 0; round < 50; ++round) {
        FakeProducer& p = producer(1000);
        std::string const id = open(p, 0).context;
        std::atomic<int> served{0}, refused{0};
        auto racer = [&] {
            int const code = codeOf([&] { pull(id, 5); });
            (code == 0 ? served : refused)++;
            if (code != 0 && code != CIM_ERR_INVALID_ENUMERATION_CONTEXT) ADD_FAILURE() << code;
        };
        std::thread a(racer), b(racer);
        a.join();
        b.join();
        ASSERT_EQ(served.load(), 1);
        ASSERT_EQ(refused.load(), 1);
        table.closeAll();
    }
}

}  // namespace
