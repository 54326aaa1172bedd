// Load: 16 clients at once, each sending 500 requests of mixed kinds on one
// keep-alive connection (class and instance reads, a streamed enumeration,
// associations, a query, a pulled enumeration walked to its end, a method
// call and a request the server must refuse), and every answer checked. The
// server must then stop cleanly: under the sanitizer builds a leak or a data
// race makes its exit status non-zero, which fails the test.
#include "E2EHarness.h"

#include <gtest/gtest.h>

#include <signal.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using e2e::Connection;
using e2e::HttpResponse;
using e2e::between;
using e2e::valueParam;

constexpr int kClients = 16;
constexpr int kRequestsPerClient = 500;
constexpr unsigned kScale = 150;

using e2e::classParam;
using e2e::kDisk0;
std::string const& kHost = e2e::kHost1;

// One client: its connection, and what went wrong (the first few faults).
class Client {
public:
    explicit Client(int port) : _c(port) {}

    // Sends request number `i` of the mix; answers how many requests it took
    // (a pulled walk takes several).
    int one(int i) {
        switch (i % 8) {
            case 0:
                expect(intrinsic("GetClass", classParam("KIVO_DiskDrive")), "<CLASS NAME=\"KIVO_DiskDrive\"");
                return 1;
            case 1:
                expect(intrinsic("GetInstance", "<IPARAMVALUE NAME=\"InstanceName\">" + kDisk0 + "</IPARAMVALUE>"),
                       "<INSTANCE CLASSNAME=\"KIVO_DiskDrive\">");
                return 1;
            case 2:
                expectCount(intrinsic("EnumerateInstances", classParam("KIVO_ScaleItem")), "<VALUE.NAMEDINSTANCE>",
                            kScale);
                return 1;
            case 3:
                expectCount(intrinsic("AssociatorNames", "<IPARAMVALUE NAME=\"ObjectName\">" + kHost + "</IPARAMVALUE>"),
                            "<INSTANCEPATH>", 3);
                return 1;
            case 4:
                expectCount(intrinsic("ExecQuery", valueParam("QueryLanguage", "WQL") +
                                                       valueParam("Query", "SELECT * FROM KIVO_DiskDrive "
                                                                           "WHERE Capacity > 1000000000000")),
                            "<VALUE.OBJECTWITHPATH>", 1);
                return 1;
            case 5:
                return walk();
            case 6: {
                HttpResponse r = send("root/cimv2:KIVO_ComputerSystem.Name=\"host1\"", "CountDevices", methodBody());
                expect(r, "<METHODRESPONSE NAME=\"CountDevices\"><RETURNVALUE");
                return 1;
            }
            default:
                // Refused: an unknown class answers CIM_ERR_INVALID_CLASS.
                expect(intrinsic("GetClass", classParam("KIVO_NoSuchClass")), "<ERROR CODE=\"5\"", true);
                return 1;
        }
    }

    std::vector<std::string> faults;

private:
    // Opens an enumeration of the scale class and pulls it to its end, 40 at
    // a time; every instance must come exactly once.
    int walk() {
        HttpResponse r = intrinsic("OpenEnumerateInstancePaths",
                                   classParam("KIVO_ScaleItem") + valueParam("MaxObjectCount", "40"));
        int requests = 1;
        std::size_t seen = 0;
        for (;;) {
            if (!ok(r, "<PARAMVALUE NAME=\"EndOfSequence\"", false)) return requests;
            seen += e2e::count(r.body, "<INSTANCEPATH>");
            if (between(r.body, "<PARAMVALUE NAME=\"EndOfSequence\" PARAMTYPE=\"boolean\"><VALUE>", "</VALUE>") ==
                "TRUE") {
                break;
            }
            std::string const context =
                between(r.body, "<PARAMVALUE NAME=\"EnumerationContext\" PARAMTYPE=\"string\"><VALUE>", "</VALUE>");
            if (context.empty() || requests > 100) {
                fault("a pulled walk without a context or without an end", r);
                return requests;
            }
            r = intrinsic("PullInstancePaths",
                          valueParam("EnumerationContext", context) + valueParam("MaxObjectCount", "40"));
            ++requests;
        }
        if (seen != kScale) fault("a pulled walk saw " + std::to_string(seen) + " paths", r);
        return requests;
    }

    static std::string methodBody() {
        return "<?xml version=\"1.0\" encoding=\"utf-8\"?><CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">"
               "<MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ><METHODCALL NAME=\"CountDevices\">"
               "<LOCALINSTANCEPATH><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/>"
               "</LOCALNAMESPACEPATH>" +
               kHost + "</LOCALINSTANCEPATH></METHODCALL></SIMPLEREQ></MESSAGE></CIM>";
    }

    HttpResponse intrinsic(std::string const& method, std::string const& params) {
        return send("root/cimv2", method, e2e::intrinsicBody(method, params));
    }
    HttpResponse send(std::string const& object, std::string const& method, std::string const& body) {
        if (!_c.send(e2e::cimRequest(method, object, body))) return HttpResponse();
        return _c.read();
    }

    bool ok(HttpResponse const& r, std::string const& needle, bool errorExpected) {
        if (!r.complete || r.status != 200) {
            fault("no complete 200 answer (status " + std::to_string(r.status) + ")", r);
            return false;
        }
        if (!errorExpected && r.body.find("<ERROR") != std::string::npos) {
            fault("an unexpected ERROR", r);
            return false;
        }
        if (r.body.find(needle) == std::string::npos) {
            fault("no " + needle, r);
            return false;
        }
        return true;
    }
    void expect(HttpResponse const& r, std::string const& needle, bool errorExpected = false) {
        ok(r, needle, errorExpected);
    }
    void expectCount(HttpResponse const& r, std::string const& needle, std::size_t n) {
        if (ok(r, needle, false) && e2e::count(r.body, needle) != n) {
            fault(std::to_string(e2e::count(r.body, needle)) + " times " + needle + ", expected " + std::to_string(n),
                  r);
        }
    }
    void fault(std::string const& what, HttpResponse const& r) {
        if (faults.size() < 5) faults.push_back(what + ": " + r.body.substr(0, 400));
        else faults.emplace_back();
    }

    Connection _c;
};

class LoadTest : public e2e::ServerTest {};

TEST_F(LoadTest, SixteenClientsOfFiveHundredMixedRequestsAreAllAnsweredRight) {
    start({"--threads", std::to_string(kClients), "--max-connections", "64", "--scale-instances",
           std::to_string(kScale)});

    std::atomic<int> requests{0};
    std::mutex lock;
    std::vector<std::string> faults;
    std::size_t faultCount = 0;
    std::vector<std::thread> clients;
    for (int c = 0; c < kClients; ++c) {
        clients.emplace_back([&, c] {
            Client client(server.port());
            for (int i = 0; i < kRequestsPerClient; ++i) requests += client.one(i + c);
            std::lock_guard guard(lock);
            faultCount += client.faults.size();
            for (std::string const& f : client.faults)
                if (!f.empty() && faults.size() < 3) faults.push_back(f);
        });
    }
    for (std::thread& t : clients) t.join();

    EXPECT_EQ(faultCount, 0u) << "first faults:\n" << ::testing::PrintToString(faults);
    EXPECT_GE(requests.load(), kClients * kRequestsPerClient);
    EXPECT_EQ(server.stop(SIGTERM), 0) << "the server did not stop cleanly (under a sanitizer: a leak or a race)";
}

}  // namespace
