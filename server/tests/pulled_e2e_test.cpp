// End to end with the pulled enumerations of DSP0200 1.3 and ExecQuery, as raw
// CIM-XML requests: a whole enumeration of 10,000 generated instances pulled
// 100 at a time, the other Opens and Pulls, the response shape clients parse
// (IRETURNVALUE, then EndOfSequence and EnumerationContext), the
// OperationTimeout of an Open, the caps on open enumerations (the server's
// and one principal's share), contexts bound to the user that opened them,
// the open values the server refuses, and streamed answers whose clients
// leave early. Every test ends with a clean stop of a server that still has
// enumerations open.
#include "E2EHarness.h"

#include <gtest/gtest.h>

#include <signal.h>

#include <fstream>
#include <set>
#include <sstream>
#include <thread>

namespace {

using e2e::Connection;
using e2e::HttpResponse;
using e2e::between;
using e2e::valueParam;

std::string const kScaleClass = e2e::classParam("KIVO_ScaleItem");
std::string const kHost = "<IPARAMVALUE NAME=\"InstanceName\">" + e2e::kHost1 + "</IPARAMVALUE>";

std::string count(unsigned n) { return valueParam("MaxObjectCount", std::to_string(n)); }

// What a pulled response says.
struct Answer {
    int error = 0;  // the ERROR's CODE, 0 without one
    std::string description;  // the ERROR's DESCRIPTION
    bool endOfSequence = false;
    std::string context;
    std::string body;
};

// The Index keys of the KIVO_ScaleItem results, in order.
std::vector<unsigned> indexes(std::string const& body) {
    std::string const key = "<KEYBINDING NAME=\"Index\"><KEYVALUE VALUETYPE=\"numeric\">";
    std::vector<unsigned> out;
    for (std::size_t at = body.find(key); at != std::string::npos; at = body.find(key, at + 1)) {
        out.push_back(static_cast<unsigned>(std::stoul(body.substr(at + key.size()))));
    }
    return out;
}

class PulledTest : public e2e::ServerTest {
protected:
    virtual std::vector<std::string> arguments() const { return {"--threads", "4", "--scale-instances", "10000"}; }
    void SetUp() override {
        start(arguments());
        if (HasFatalFailure()) return;
        connection = std::make_unique<Connection>(server.port());
        ASSERT_TRUE(connection->ok());
    }
    void TearDown() override {
        connection.reset();
        ServerTest::TearDown();
    }

    Answer call(std::string const& method, std::string const& params) {
        Answer a;
        EXPECT_TRUE(connection->send(e2e::cimRequest(method, "root/cimv2", e2e::intrinsicBody(method, params), auth)));
        HttpResponse r = connection->read();
        EXPECT_TRUE(r.complete);
        EXPECT_EQ(r.status, 200);
        a.body = r.body;
        EXPECT_NE(a.body.find("<IMETHODRESPONSE NAME=\"" + method + "\">"), std::string::npos) << a.body;
        std::string const code = between(a.body, "<ERROR CODE=\"", "\"");
        if (!code.empty()) {
            a.error = std::stoi(code);
            a.description = between(a.body, "DESCRIPTION=\"", "\"");
            return a;
        }
        a.endOfSequence = between(a.body, "<PARAMVALUE NAME=\"EndOfSequence\" PARAMTYPE=\"boolean\"><VALUE>",
                                  "</VALUE>") == "TRUE";
        a.context = between(a.body, "<PARAMVALUE NAME=\"EnumerationContext\" PARAMTYPE=\"string\"><VALUE>", "</VALUE>");
        return a;
    }
    Answer pull(char const* method, std::string const& context, unsigned n) {
        return call(method, valueParam("EnumerationContext", context) + count(n));
    }
    int close(std::string const& context) {
        return call("CloseEnumeration", valueParam("EnumerationContext", context)).error;
    }

    std::unique_ptr<Connection> connection;
    std::string auth;  // header field sent with every call
};

TEST_F(PulledTest, TenThousandInstancesComeExactlyOnceInBatchesOfAtMostOneHundred) {
    std::vector<unsigned> seen;
    std::set<std::string> contexts;
    Answer a = call("OpenEnumerateInstances", kScaleClass + count(100));
    int requests = 1;
    for (;;) {
        ASSERT_EQ(a.error, 0) << a.body.substr(0, 2000);
        std::vector<unsigned> const batch = indexes(a.body);
        ASSERT_LE(batch.size(), 100u);
        EXPECT_EQ(e2e::count(a.body, "<VALUE.INSTANCEWITHPATH><INSTANCEPATH>"), batch.size());
        seen.insert(seen.end(), batch.begin(), batch.end());
        if (a.endOfSequence) break;
        ASSERT_FALSE(a.context.empty());
        EXPECT_TRUE(contexts.insert(a.context).second) << "context handed out twice: " << a.context;
        // The output parameters follow the results, in this order.
        EXPECT_NE(a.body.find("</IRETURNVALUE><PARAMVALUE NAME=\"EndOfSequence\" PARAMTYPE=\"boolean\"><VALUE>FALSE"
                              "</VALUE></PARAMVALUE><PARAMVALUE NAME=\"EnumerationContext\" PARAMTYPE=\"string\"><VALUE>" +
                              a.context + "</VALUE></PARAMVALUE></IMETHODRESPONSE>"),
                  std::string::npos);
        ASSERT_LT(++requests, 200) << "the enumeration does not end";
        a = pull("PullInstancesWithPath", a.context, 100);
    }
    EXPECT_NE(a.body.find("<PARAMVALUE NAME=\"EndOfSequence\" PARAMTYPE=\"boolean\"><VALUE>TRUE</VALUE></PARAMVALUE>"
                          "<PARAMVALUE NAME=\"EnumerationContext\" PARAMTYPE=\"string\"></PARAMVALUE>"
                          "</IMETHODRESPONSE>"),
              std::string::npos)
        << "the last answer carries a NULL context";
    ASSERT_EQ(seen.size(), 10000u);
    std::vector<bool> once(10000, false);
    for (unsigned i : seen) {
        ASSERT_LT(i, 10000u);
        ASSERT_FALSE(once[i]) << "instance " << i << " came twice";
        once[i] = true;
    }
    EXPECT_LE(requests, 102);
}

TEST_F(PulledTest, PathsAssociationsAndQueriesArePulledTheSameWay) {
    Answer a = call("OpenEnumerateInstancePaths", kScaleClass + count(0));
    ASSERT_EQ(a.error, 0);
    EXPECT_NE(a.body.find("<IRETURNVALUE></IRETURNVALUE><PARAMVALUE NAME=\"EndOfSequence\""), std::string::npos)
        << "an empty first batch: " << a.body;
    std::size_t paths = 0;
    while (!a.endOfSequence) {
        a = pull("PullInstancePaths", a.context, 4000);
        ASSERT_EQ(a.error, 0) << a.body.substr(0, 2000);
        EXPECT_EQ(e2e::count(a.body, "<VALUE.INSTANCEWITHPATH>"), 0u);
        paths += e2e::count(a.body, "<INSTANCEPATH><NAMESPACEPATH>");
    }
    EXPECT_EQ(paths, 10000u);

    a = call("OpenAssociatorInstances", kHost + count(50));
    ASSERT_EQ(a.error, 0) << a.body;
    EXPECT_TRUE(a.endOfSequence);
    EXPECT_EQ(e2e::count(a.body, "<VALUE.INSTANCEWITHPATH>"), 3u) << a.body;
    a = call("OpenReferenceInstancePaths", kHost + count(1));
    ASSERT_EQ(a.error, 0) << a.body;
    EXPECT_FALSE(a.endOfSequence);
    EXPECT_EQ(e2e::count(a.body, "<INSTANCEPATH>"), 1u);
    EXPECT_EQ(pull("PullInstancePaths", a.context, 10).endOfSequence, true);

    a = call("OpenQueryInstances", valueParam("FilterQueryLanguage", "DMTF:CQL") +
                                       valueParam("FilterQuery", "SELECT * FROM KIVO_ComputerSystem") +
                                       valueParam("ReturnQueryResultClass", "TRUE") + count(0));
    ASSERT_EQ(a.error, 0) << a.body;
    EXPECT_NE(a.body.find("<PARAMVALUE NAME=\"QueryResultClass\"><CLASS NAME=\"KIVO_ComputerSystem\""),
              std::string::npos)
        << a.body;
    EXPECT_EQ(pull("PullInstancesWithPath", a.context, 10).error, 21) << "a query is continued by PullInstances";
    a = pull("PullInstances", a.context, 10);
    ASSERT_EQ(a.error, 0) << a.body;
    EXPECT_TRUE(a.endOfSequence);
    EXPECT_NE(a.body.find("<IRETURNVALUE><INSTANCE CLASSNAME=\"KIVO_ComputerSystem\">"), std::string::npos) << a.body;

    a = call("ExecQuery", valueParam("QueryLanguage", "WQL") + valueParam("Query", "SELECT * FROM KIVO_ComputerSystem"));
    ASSERT_EQ(a.error, 0) << a.body;
    EXPECT_NE(a.body.find("<IRETURNVALUE><VALUE.OBJECTWITHPATH><INSTANCEPATH>"), std::string::npos) << a.body;
}

// Spent, closed and wrong-kind contexts are answered 21 in
// EnumerationContexts_test and, on the wire, in client_e2e; here the
// OperationTimeout an Open names reaches the table.
TEST_F(PulledTest, AnEnumerationExpiresAfterTheOperationTimeoutItsOpenNamed) {
    Answer idle = call("OpenEnumerateInstances", kScaleClass + count(1) + valueParam("OperationTimeout", "1"));
    ASSERT_EQ(idle.error, 0);
    Answer kept = call("OpenEnumerateInstances", kScaleClass + count(1));
    ASSERT_EQ(kept.error, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));  // beyond the 1 s timeout, and a sweep
    EXPECT_EQ(pull("PullInstancesWithPath", idle.context, 1).error, 21) << "expired";
    EXPECT_EQ(pull("PullInstancesWithPath", kept.context, 1).error, 0) << "the default timeout is longer";
}

TEST_F(PulledTest, OnePrincipalHoldsAtMostSixtyFourOpenEnumerations) {
    std::vector<std::string> open;
    for (int i = 0; i < 64; ++i) {
        Answer a = call("OpenEnumerateInstancePaths", kScaleClass + count(0));
        ASSERT_EQ(a.error, 0) << "open number " << i + 1;
        open.push_back(a.context);
    }
    EXPECT_EQ(call("OpenEnumerateInstances", kScaleClass + count(0)).error, 27);
    EXPECT_EQ(close(open.back()), 0);
    open.pop_back();
    Answer a = call("OpenEnumerateInstances", kScaleClass + count(5));
    EXPECT_EQ(a.error, 0);
    EXPECT_EQ(indexes(a.body).size(), 5u);
    // The server stops cleanly with all of them open (TearDown).
}

// With Basic authentication: bob cannot pull or close alice's enumeration;
// he is told exactly what an unknown context tells him.
class PulledAuthTest : public PulledTest {
protected:
    std::vector<std::string> arguments() const override {
        std::vector<std::string> args = PulledTest::arguments();
        args.insert(args.end(), {"--authentication", "basic", "--user", "alice:secret", "--user", "bob:secret"});
        return args;
    }
    static std::string basic(char const* base64) { return std::string("Authorization: Basic ") + base64 + "\r\n"; }
    std::string const alice = basic("YWxpY2U6c2VjcmV0");
    std::string const bob = basic("Ym9iOnNlY3JldA==");
};

TEST_F(PulledAuthTest, AnotherUsersContextIsAnsweredAsAnUnknownOne) {
    auth = alice;
    Answer a = call("OpenEnumerateInstances", kScaleClass + count(2));
    ASSERT_EQ(a.error, 0) << a.body;

    auth = bob;
    std::string const unknown(32, 'a');
    Answer const stranger = pull("PullInstancesWithPath", unknown, 10);
    ASSERT_EQ(stranger.error, 21);
    std::string expected = stranger.description;
    ASSERT_NE(expected.find(unknown), std::string::npos) << expected;
    expected.replace(expected.find(unknown), unknown.size(), a.context);
    Answer const stolen = pull("PullInstancesWithPath", a.context, 10);
    EXPECT_EQ(stolen.error, 21);
    EXPECT_EQ(stolen.description, expected);
    EXPECT_TRUE(indexes(stolen.body).empty()) << "bob got alice's instances";
    Answer const closed = call("CloseEnumeration", valueParam("EnumerationContext", a.context));
    EXPECT_EQ(closed.error, 21);
    EXPECT_EQ(closed.description, expected);

    auth = alice;
    Answer const mine = pull("PullInstancesWithPath", a.context, 3);
    ASSERT_EQ(mine.error, 0) << "alice's enumeration went on";
    EXPECT_EQ(indexes(mine.body), (std::vector<unsigned>{2, 3, 4}));
}

// Ten clients leave a million-instance EnumerateInstances after 4 KiB: the
// server's CPU time barely moves once they are gone.
class StreamedLeaveTest : public PulledTest {
protected:
    std::vector<std::string> arguments() const override {
        return {"--threads", "4", "--scale-instances", "1000000"};
    }
    // utime + stime of the server, in clock ticks.
    long cpuTicks() const {
        std::ifstream in("/proc/" + std::to_string(server.pid()) + "/stat");
        std::string stat((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::istringstream fields(stat.substr(stat.rfind(')') + 2));
        std::string skip;
        for (int i = 0; i < 11; ++i) fields >> skip;  // state .. cmajflt
        long utime = 0, stime = 0;
        fields >> utime >> stime;
        return utime + stime;
    }
};

TEST_F(StreamedLeaveTest, ProducersOfDepartedClientsStopAndTheServerGoesQuiet) {
    std::string const request = e2e::intrinsicRequest("EnumerateInstances", kScaleClass);
    for (int c = 0; c < 10; ++c) {
        Connection leaver(server.port());
        ASSERT_TRUE(leaver.send(request));
        EXPECT_GE(leaver.readSome(4096).size(), 1u);
        leaver.close();  // unread bytes: a reset
    }
    std::this_thread::sleep_for(std::chrono::seconds(1));
    long const settled = cpuTicks();
    std::this_thread::sleep_for(std::chrono::seconds(2));
    long const later = cpuTicks();
    // A producer left running makes the million instances at several
    // hundred ticks a second; an idle server takes a few.
    EXPECT_LE(later - settled, 20) << "the server kept working for clients that left";
    EXPECT_EQ(call("OpenEnumerateInstances", kScaleClass + count(1)).error, 0) << "and still serves";
}

TEST_F(PulledTest, OpenValuesTheServerDoesNotOfferAreRefusedWithTheirCodes) {
    struct Case {
        char const* name;
        std::string params;
        int code;
    };
    std::vector<Case> const cases = {
        {"OperationTimeout 0", valueParam("OperationTimeout", "0"), 22},
        {"OperationTimeout above 600 s", valueParam("OperationTimeout", "601"), 22},
        {"FilterQuery", valueParam("FilterQueryLanguage", "DMTF:FQL") + valueParam("FilterQuery", "Index = 3"), 25},
        {"FilterQuery in WQL", valueParam("FilterQueryLanguage", "WQL") + valueParam("FilterQuery", "Index = 3"), 25},
        {"ContinueOnError", valueParam("ContinueOnError", "TRUE"), 26},
        {"MaxObjectCount not a number", valueParam("MaxObjectCount", "many"), 4},
        {"MaxObjectCount beyond uint32", valueParam("MaxObjectCount", "4294967296"), 4},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(call("OpenEnumerateInstances", kScaleClass + c.params).error, c.code);
    }
    EXPECT_EQ(call("OpenEnumerateInstances", kScaleClass + valueParam("OperationTimeout", "600") + count(1)).error, 0);
    EXPECT_EQ(call("OpenQueryInstances", valueParam("FilterQueryLanguage", "XQuery") +
                                             valueParam("FilterQuery", "SELECT * FROM KIVO_ComputerSystem"))
                  .error,
              14);
    EXPECT_EQ(pull("PullInstancesWithPath", "x", 1).error, 21);
    EXPECT_EQ(call("PullInstancesWithPath", valueParam("EnumerationContext", "x")).error, 4)
        << "MaxObjectCount is required on a pull";
}

}  // namespace
