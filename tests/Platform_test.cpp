// The platform layer's contract beyond the smart pointer: strings, lists,
// configuration, log sink, semaphores and events.
#include "KivoUtilities/KVOString.h"

#include "CoreServices/CI_Event.h"
#include "CoreServices/CI_fmt.h"
#include "KivoUtilities/KVOLog.h"
#include "KivoUtilities/KVOSemaphore.h"
#include "KivoUtilities/KVOValMap.h"
#include "KivoUtilities/KVOValSlist.h"
#include "KivoUtilities/QORAConfigManager.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono;

TEST(KVOStringTest, LowerCasesInPlaceAndFormatsIntegers) {
    KVOString s("MiXeD-Case_09");
    KVOString& r = s.toLower();
    EXPECT_EQ(&r, &s);
    EXPECT_EQ(s, "mixed-case_09");
    EXPECT_EQ(KVOString::itoa(-2147483648LL), "-2147483648");
    EXPECT_EQ(KVOString("a", 1) + KVOString("b") + "c", "abc");
    EXPECT_EQ(KVOString("ab\0cd", 5).length(), 5u) << "a length keeps zero bytes";
    EXPECT_TRUE(KVOString("Chunked").equalsIgnoreCase("cHUNKED"));
    EXPECT_FALSE(KVOString("Chunked").equalsIgnoreCase("Chunke"));
    EXPECT_EQ(CI_fmt(-17, 0, 314159265, 314159265), "-17");
}

TEST(KVOValSlistTest, CursorRemovesAnyItemAndKeepsHeadLastAndCount) {
    KVOValSlist<int> list{1, 2, 3, 4};
    KVOValSlist<int>::Iterator it(list);
    while (it.next()) {
        if (it.value() % 2 == 0) it.remove();
    }
    EXPECT_EQ(list.entries(), 2u);
    list.append(5);  // last must still be right after removing the old last
    std::vector<int> seen(list.begin(), list.end());
    EXPECT_EQ(seen, (std::vector<int>{1, 3, 5}));

    KVOValSlist<int>::Iterator head(list);
    ASSERT_TRUE(head.next());
    head.remove();
    EXPECT_EQ(list.first(), 3);
    EXPECT_TRUE(list.contains(5));
    EXPECT_FALSE(list.contains(1));
}

TEST(KVOValSlistTest, RemoveWithoutCurrentItemIsOutOfBounds) {
    KVOValSlist<int> list{7};
    KVOValSlist<int>::Iterator it(list);
    auto expectOutOfBounds = [&] {
        try {
            it.remove();
            FAIL() << "remove() without a current item did not throw";
        } catch (KVOBoundsException const& e) {
            EXPECT_EQ(e.getMessage(), "Out of Bounds");
        }
    };
    expectOutOfBounds();  // before the first next()
    ASSERT_TRUE(it.next());
    it.remove();
    expectOutOfBounds();  // the item is gone
    EXPECT_FALSE(it.next());
    expectOutOfBounds();  // past the end
    EXPECT_EQ(list.entries(), 0u);
}

TEST(KVOValMapTest, InsertReplacesAndRemoveUnlinks) {
    KVOValMap<KVOString, KVOString> map;
    map.insert("a", "1");
    map.insert("b", "2");
    map.insert("a", "3");
    EXPECT_EQ(map.entries(), 2u);
    EXPECT_EQ(map.get("a"), "3");
    EXPECT_TRUE(map.remove("a"));
    EXPECT_FALSE(map.contains("a"));
    EXPECT_EQ(map.get("missing", "none"), "none");
}

class ConfigTest : public ::testing::Test {
protected:
    void TearDown() override { QORAConfigManager::getInstance()->clear(); }
    QORAConfigManager& config = *QORAConfigManager::getInstance();
};

TEST_F(ConfigTest, Sint32ParsesOnlyWholeIntegersThatFit) {
    struct Case {
        char const* text;
        bool ok;
        KVOsint32 value;
    } const cases[] = {
        {"30", true, 30},         {" -5 ", true, -5},   {"2147483647", true, 2147483647},
        {"2147483648", false, 7}, {"12abc", false, 7},  {"", false, 7},
        {"0x10", false, 7},
    };
    for (auto const& c : cases) {
        config.setValue("QORA", "K", c.text);
        KVOsint32 v = 7;
        EXPECT_EQ(config.getSint32("QORA", "K", v), c.ok) << c.text;
        EXPECT_EQ(v, c.value) << c.text;
    }
    config.removeValue("QORA", "K");
    KVOsint32 v = 7;
    EXPECT_FALSE(config.getSint32("QORA", "K", v));
    KVOString s = "untouched";
    EXPECT_FALSE(config.getString("QORA", "K", s));
    EXPECT_EQ(s, "untouched");
}

TEST_F(ConfigTest, LoadsIniSectionsAndComments) {
    std::string path = ::testing::TempDir() + "kivo_config_test.ini";
    {
        std::ofstream out(path);
        out << "; comment\n[QORA]\nHTTPTransferEncoding = ConditionalChunked\n# another\n"
               "CimTransactionTimeout=30\n[server]\nport = 5988\n";
    }
    ASSERT_TRUE(config.loadFile(path.c_str()));
    KVOString enc;
    EXPECT_TRUE(config.getString("QORA", "HTTPTransferEncoding", enc));
    EXPECT_EQ(enc, "ConditionalChunked");
    KVOsint32 port = 0;
    EXPECT_TRUE(config.getSint32("server", "port", port));
    EXPECT_EQ(port, 5988);
    EXPECT_FALSE(config.loadFile("/nonexistent/kivo.ini"));
    std::remove(path.c_str());
}

TEST(KVOLogTest, SinkReceivesEveryFieldAndIsRestored) {
    std::vector<KVOLogRecord> outer;
    auto previous = KVOLog::setSink([&](KVOLogRecord const& r) { outer.push_back(r); });
    {
        kivo_test::LogCapture capture;
        KVOLog::log("who", "what", KivoTraceLog::KIVO_WARNING, 2, 0, KVOLog::CIMOMLOG);
        auto records = capture.records();
        ASSERT_EQ(records.size(), 1u);
        EXPECT_EQ(records[0].who, "who");
        EXPECT_EQ(records[0].message, "what");
        EXPECT_EQ(records[0].severity, KivoTraceLog::KIVO_WARNING);
        EXPECT_EQ(records[0].verbosity, 2);
        EXPECT_EQ(records[0].category, KVOLog::CIMOMLOG);
    }
    KVOLog::log("after", "x", KivoTraceLog::KIVO_TRACE, 2, 0, KVOLog::CIMOMLOG);
    KVOLog::setSink(previous);
    ASSERT_EQ(outer.size(), 1u);
    EXPECT_EQ(outer[0].who, "after");
}

TEST(KVOSemaphoreTest, TimedWaitRunsOutAndCountsAreKept) {
    KVOSemaphore sem(2);
    EXPECT_TRUE(sem.wait(0));
    EXPECT_TRUE(sem.wait(-1));
    EXPECT_FALSE(sem.wait(0));
    auto start = steady_clock::now();
    EXPECT_FALSE(sem.wait(50));
    EXPECT_GE(steady_clock::now() - start, milliseconds(50));
    EXPECT_EQ(sem.available(), 0) << "a timed-out waiter must leave the count as it was";
    sem.release(3);
    EXPECT_EQ(sem.available(), 3);
}

// Release before and after the waiter sleeps; every waiter must wake, and
// counts must never be lost when timed waits race with releases.
TEST(KVOSemaphoreTest, ReleasesWakeEverySleeperInBothOrders) {
    for (bool releaseFirst : {true, false}) {
        KVOSemaphore sem(0);
        constexpr int kWaiters = 6;
        std::atomic<int> woken{0};
        if (releaseFirst) sem.release(kWaiters);
        std::vector<std::thread> waiters;
        for (int i = 0; i < kWaiters; ++i)
            waiters.emplace_back([&] {
                sem.wait(-1);
                ++woken;
            });
        if (!releaseFirst) {
            std::this_thread::sleep_for(milliseconds(20));
            sem.release(kWaiters);
        }
        for (auto& t : waiters) t.join();
        EXPECT_EQ(woken.load(), kWaiters);
        EXPECT_EQ(sem.available(), 0);
    }

    KVOSemaphore sem(0);
    std::atomic<int> taken{0};
    std::vector<std::thread> racers;
    for (int i = 0; i < 4; ++i)
        racers.emplace_back([&] {
            for (int k = 0; k < 200; ++k)
                if (sem.wait(1)) ++taken;
        });
    for (int k = 0; k < 300; ++k) sem.release();
    for (auto& t : racers) t.join();
    EXPECT_EQ(taken.load() + sem.available(), 300) << "a count was lost or made up";
}

TEST(CIEventTest, AutoEventWakesOneWaiterAndResetsItself) {
    CI_AutoEvent ev;
    EXPECT_EQ(ev.wait(CI_RelTime(0, 0)), 0);
    ev.set();
    ev.set();  // setting a signalled event does not count twice
    EXPECT_NE(ev.wait(CI_RelTime(0, 0)), 0);
    EXPECT_EQ(ev.wait(CI_RelTime(0, 1000000)), 0);

    std::atomic<bool> woke{false};
    std::thread waiter([&] {
        if (ev.wait(CI_RelTime(60, 0)) != 0) woke = true;
    });
    std::this_thread::sleep_for(milliseconds(20));
    ev.set();
    waiter.join();
    EXPECT_TRUE(woke.load());

    ev.set();
    ev.reset();
    EXPECT_EQ(ev.wait(CI_RelTime(0, 0)), 0);
}

TEST(CIEventTest, ManualEventReleasesAllAndStaysSet) {
    CI_ManualEvent ev;
    auto start = steady_clock::now();
    EXPECT_EQ(ev.wait(CI_RelTime(0, 30000000)), 0);
    EXPECT_GE(steady_clock::now() - start, milliseconds(30));
    std::vector<std::thread> waiters;
    std::atomic<int> woken{0};
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back([&] {
            if (ev.wait(CI_RelTime(60, 0))) ++woken;
        });
    ev.set();
    for (auto& t : waiters) t.join();
    EXPECT_EQ(woken.load(), 3);
    EXPECT_NE(ev.wait(CI_RelTime(0, 0)), 0);
    ev.reset();
    EXPECT_EQ(ev.wait(CI_RelTime(0, 0)), 0);
}

}  // namespace
