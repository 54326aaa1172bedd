// End to end: no client can starve another. While 256 idle persistent
// connections, 64 clients sending a request a byte a second and 16 clients
// that never read a large enumeration are all connected, an ordinary client's
// GetInstance is answered within a second every time, the server's memory
// stays bounded, and SIGTERM still stops it within its shutdown deadline.
//
// KIVO_STARVATION_SECONDS sets how long the ordinary client is measured
// (default 10; 60 for a full run). The figures (latencies, RSS, stop time)
// are printed.
#include "E2EHarness.h"

#include <gtest/gtest.h>

#include <signal.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

using e2e::kSanitized;

std::string const kGetInstance =
    e2e::intrinsicRequest("GetInstance", "<IPARAMVALUE NAME=\"InstanceName\">" + e2e::kDisk0 + "</IPARAMVALUE>");
std::string const kEnumerate = e2e::intrinsicRequest("EnumerateInstances", e2e::classParam("KIVO_ScaleItem"));

int durationSeconds() {
    char const* text = std::getenv("KIVO_STARVATION_SECONDS");
    int const seconds = text != nullptr ? std::atoi(text) : 0;
    return seconds > 0 ? seconds : (kSanitized ? 5 : 10);
}

TEST(StarvationTest, AnOrdinaryClientIsServedWithinASecondWhileHostileClientsAreConnected) {
    int const shutdownSeconds = 3;
    e2e::ServerProcess server;
    std::string error;
    ASSERT_TRUE(server.start({"--log-level", "critical", "--scale-instances", "200000", "--max-connections", "1024",
                              "--max-connections-per-peer", "1024", "--read-timeout", "120", "--send-timeout", "120",
                              "--shutdown-timeout", std::to_string(shutdownSeconds)},
                             error))
        << error;
    long const startKiB = server.status("VmRSS");

    // 256 persistent connections, each served once, then idle.
    std::vector<std::unique_ptr<e2e::Connection>> idle;
    for (int i = 0; i < 256; ++i) {
        idle.push_back(std::make_unique<e2e::Connection>(server.port()));
        ASSERT_TRUE(idle.back()->send(kGetInstance));
        ASSERT_EQ(idle.back()->read().status, 200) << i;
    }
    // 16 clients ask for a large enumeration and never read it.
    std::vector<std::unique_ptr<e2e::Connection>> deaf;
    for (int i = 0; i < 16; ++i) {
        deaf.push_back(std::make_unique<e2e::Connection>(server.port()));
        ASSERT_TRUE(deaf.back()->send(kEnumerate));
    }
    // 64 clients send a request a byte a second.
    std::vector<std::unique_ptr<e2e::Connection>> slow;
    for (int i = 0; i < 64; ++i) slow.push_back(std::make_unique<e2e::Connection>(server.port()));
    std::atomic<bool> done{false};
    std::thread trickler([&] {
        for (std::size_t at = 0; !done.load() && at < kGetInstance.size(); ++at) {
            for (auto& c : slow) c->send(kGetInstance.substr(at, 1));
            for (int i = 0; i < 10 && !done.load(); ++i) std::this_thread::sleep_for(100ms);
        }
    });
    std::this_thread::sleep_for(2s);  // the enumerations fill their connections and stall

    // The ordinary client: alternately on a fresh and on a kept-alive connection.
    std::vector<double> latencies;
    e2e::Connection kept(server.port());
    Clock::time_point const end = Clock::now() + std::chrono::seconds(durationSeconds());
    while (Clock::now() < end) {
        Clock::time_point const begin = Clock::now();
        e2e::HttpResponse r;
        if (latencies.size() % 2 == 0) {
            e2e::Connection fresh(server.port());
            fresh.send(kGetInstance);
            r = fresh.read();
        } else {
            kept.send(kGetInstance);
            r = kept.read();
        }
        latencies.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
        ASSERT_EQ(r.status, 200) << "request " << latencies.size();
        std::this_thread::sleep_for(50ms);
    }
    long const peakKiB = server.status("VmHWM");

    std::sort(latencies.begin(), latencies.end());
    double const maxMs = latencies.back();
    double const p99Ms = latencies[latencies.size() * 99 / 100];
    Clock::time_point const stopBegin = Clock::now();
    int const status = server.stop(SIGTERM);
    double const stopMs = std::chrono::duration<double, std::milli>(Clock::now() - stopBegin).count();
    done.store(true);
    trickler.join();
    std::printf("starvation: %zu requests in %d s, max %.1f ms, p99 %.1f ms; RSS at start %ld KiB, peak %ld KiB; "
                "SIGTERM to exit %.0f ms\n",
                latencies.size(), durationSeconds(), maxMs, p99Ms, startKiB, peakKiB, stopMs);

    EXPECT_LT(maxMs, kSanitized ? 3000.0 : 1000.0);
    EXPECT_LT(peakKiB, 1024L * 1024) << "more than 1 GiB resident";
    EXPECT_EQ(status, 0);
    EXPECT_LT(stopMs, (shutdownSeconds + 1) * 1000.0 + 2000);  // the deadline, the grace, slack
}

}  // namespace
