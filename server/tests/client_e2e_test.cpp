// End to end with the project's own client, kivo-cli, against the server:
// a pulled walk of 10,000 instances 100 at a time, an enumeration kept open
// and continued by separate pull and close commands, queries in both
// languages and in the row form, and the CIM errors the client reports with
// exit status 1.
#include "E2EHarness.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>

namespace {

// The lines of `text` that start with `prefix`, each without it.
std::vector<std::string> linesStartingWith(std::string const& text, std::string const& prefix) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        if (line.rfind(prefix, 0) == 0) out.push_back(line.substr(prefix.size()));
    return out;
}

// The value of "NAME=VALUE" on the line of `text` that holds "NAME=", or -1.
long statOf(std::string const& text, std::string const& name) {
    std::size_t const at = text.find(name + "=");
    return at == std::string::npos ? -1 : std::stol(text.substr(at + name.size() + 1));
}

class ClientTest : public e2e::ServerTest {
protected:
    void SetUp() override {
        start({"--threads", "4", "--scale-instances", "10000"});
        url = server.url();
        // Objects with a path are printed as the server's address, '/' and
        // the path, as wbemcli prints them.
        host = "127.0.0.1:" + std::to_string(server.port()) + "/";
    }
    int cli(std::vector<std::string> const& args) { return e2e::kivoCli(args, out); }

    std::string url;
    std::string host;
    std::string out;
};

TEST_F(ClientTest, WalksTenThousandInstancesInPullsOfOneHundredSeeingEachOnce) {
    ASSERT_EQ(cli({"--stats", "open-enum-paths", url, "KIVO_ScaleItem", "--max", "100"}), 0) << out.substr(0, 2000);
    std::vector<std::string> const paths = linesStartingWith(out, host + "root/cimv2:KIVO_ScaleItem.");
    EXPECT_EQ(paths.size(), 10000u);
    EXPECT_EQ(std::set<std::string>(paths.begin(), paths.end()).size(), 10000u) << "a path came twice";
    EXPECT_EQ(statOf(out, "objects"), 10000);
    // The open and 99 pulls carry the instances; the end of the sequence may
    // come with the last of them or with one more, empty, pull.
    EXPECT_GE(statOf(out, "responses"), 100);
    EXPECT_LE(statOf(out, "responses"), 101);
}

TEST_F(ClientTest, AnEnumerationKeptOpenIsPulledAndClosedByLaterCommands) {
    ASSERT_EQ(cli({"open-enum-instances", url, "KIVO_ScaleItem", "--max", "3", "--max-pulls", "1", "--keep-open"}), 0)
        << out;
    EXPECT_EQ(linesStartingWith(out, host + "root/cimv2:KIVO_ScaleItem.").size(), 6u) << out;
    std::vector<std::string> const context = linesStartingWith(out, "EnumerationContext=");
    ASSERT_EQ(context.size(), 1u) << out;
    std::string const id = context[0];

    ASSERT_EQ(cli({"pull", url, id, "--max", "5"}), 0) << out;
    EXPECT_EQ(linesStartingWith(out, host + "root/cimv2:KIVO_ScaleItem.").size(), 5u) << out;
    std::vector<std::string> const next = linesStartingWith(out, "EnumerationContext=");
    ASSERT_EQ(next.size(), 1u) << out;
    std::string const nextId = next[0];

    EXPECT_EQ(cli({"pull", url, id}), 1) << "a spent context";
    EXPECT_NE(out.find("CIM error 21 (CIM_ERR_INVALID_ENUMERATION_CONTEXT)"), std::string::npos) << out;
    EXPECT_EQ(cli({"pull", url, nextId, "--kind", "paths"}), 1) << "a pull of the wrong kind";
    EXPECT_NE(out.find("CIM error 21"), std::string::npos) << out;
    ASSERT_EQ(cli({"close", url, nextId}), 0) << out;
    EXPECT_EQ(cli({"close", url, nextId}), 1) << "closed twice";
    EXPECT_NE(out.find("CIM error 21"), std::string::npos) << out;
}

TEST_F(ClientTest, QueriesAnswerMatchingInstancesOrRowsAndRefusalsAreCimErrors) {
    ASSERT_EQ(cli({"exec-query", url, "WQL", "SELECT * FROM KIVO_DiskDrive WHERE Capacity > 1000000000000"}), 0)
        << out;
    EXPECT_EQ(linesStartingWith(out, host + "root/cimv2:KIVO_DiskDrive.").size(), 1u) << out;
    EXPECT_NE(out.find("DeviceID=\"disk1\""), std::string::npos) << out;

    ASSERT_EQ(cli({"exec-query", url, "WQL", "SELECT DeviceID FROM KIVO_DiskDrive WHERE NOT DeviceID = 'disk1'"}), 0)
        << out;
    EXPECT_EQ(linesStartingWith(out, "KIVO_DiskDrive DeviceID=").size(), 1u) << "a row has no path: " << out;

    ASSERT_EQ(cli({"open-query", url, "DMTF:CQL", "SELECT DeviceID FROM KIVO_DiskDrive", "--max", "1"}), 0) << out;
    EXPECT_EQ(linesStartingWith(out, "KIVO_DiskDrive ").size(), 2u) << "instances without a path: " << out;

    EXPECT_EQ(cli({"exec-query", url, "SQL", "SELECT * FROM KIVO_DiskDrive"}), 1);
    EXPECT_NE(out.find("CIM error 14 (CIM_ERR_QUERY_LANGUAGE_NOT_SUPPORTED)"), std::string::npos) << out;
    EXPECT_EQ(cli({"exec-query", url, "WQL", "SELECT FROM"}), 1);
    EXPECT_NE(out.find("CIM error 15 (CIM_ERR_INVALID_QUERY)"), std::string::npos) << out;
}

}  // namespace
