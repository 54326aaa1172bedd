// End to end with an unmodified client: the server on a free loopback port,
// driven by wbemcli through every operation wbemcli has, once with plain
// responses and once with chunked ones (-cte).
#include "E2EHarness.h"

#include <gtest/gtest.h>

namespace {

class WbemcliTest : public e2e::ServerTest, public ::testing::WithParamInterface<bool> {
protected:
    void SetUp() override {
        ASSERT_TRUE(e2e::haveWbemcli()) << "wbemcli is missing: scripts/bootstrap installs sblim-wbemcli";
        // Chunked answers exactly when the client asks with TE (wbemcli -cte),
        // so that the plain runs really get length-delimited responses.
        start({"--threads", "4", "--read-timeout", "10", "--transfer-encoding", "ConditionalChunked"});
    }

    // wbemcli `op` [-cte] on `path` (relative to the namespace URL), then `extra`.
    int run(std::string const& op, std::string const& path, std::vector<std::string> const& extra = {}) {
        std::vector<std::string> args = {op};
        if (GetParam()) args.push_back("-cte");
        args.push_back(server.url() + path);
        args.insert(args.end(), extra.begin(), extra.end());
        return e2e::wbemcli(args, out);
    }

    std::string disk(std::string const& id) const {
        return ":KIVO_DiskDrive.SystemName=\"host1\",DeviceID=\"" + id + "\"";
    }

    std::string out;
};

TEST_P(WbemcliTest, EnumeratesClassNamesAndClasses) {
    ASSERT_EQ(run("ecn", ""), 0) << out;
    for (char const* c : {"KIVO_ManagedElement", "KIVO_DiskDrive", "KIVO_ComputerSystem", "KIVO_SystemDevice",
                          "KIVO_ScaleItem"}) {
        EXPECT_NE(out.find(std::string("/root/cimv2:") + c + "\n"), std::string::npos) << c << "\n" << out;
    }
    ASSERT_EQ(run("ecn", ":KIVO_LogicalDevice"), 0) << out;
    EXPECT_NE(out.find(":KIVO_DiskDrive"), std::string::npos) << out;
    EXPECT_EQ(out.find(":KIVO_ComputerSystem"), std::string::npos) << out;
    ASSERT_EQ(run("ecn", ":KIVO_DiskDrive"), 0) << out;  // no subclasses: an empty answer
    EXPECT_EQ(out, "");

    ASSERT_EQ(run("ec", ""), 0) << out;
    EXPECT_NE(out.find(":KIVO_DiskDrive InstanceID=,Caption="), std::string::npos) << out;
}

TEST_P(WbemcliTest, GetsAClass) {
    ASSERT_EQ(run("gc", ":KIVO_DiskDrive"), 0) << out;
    EXPECT_NE(out.find("KIVO_DiskDrive"), std::string::npos) << out;
    EXPECT_NE(out.find("Capacity="), std::string::npos) << out;
    EXPECT_NE(out.find("DeviceID="), std::string::npos) << out;  // inherited properties too
}

TEST_P(WbemcliTest, EnumeratesAndGetsInstances) {
    ASSERT_EQ(run("ein", ":KIVO_DiskDrive"), 0) << out;
    EXPECT_NE(out.find(":KIVO_DiskDrive.SystemName=\"host1\",DeviceID=\"disk0\""), std::string::npos) << out;
    EXPECT_NE(out.find(":KIVO_DiskDrive.SystemName=\"host1\",DeviceID=\"disk1\""), std::string::npos) << out;

    ASSERT_EQ(run("ei", ":KIVO_DiskDrive"), 0) << out;
    EXPECT_EQ(e2e::count(out, "\n"), 2u) << out;
    EXPECT_NE(out.find("MediaType=\"SSD\""), std::string::npos) << out;

    ASSERT_EQ(run("gi", disk("disk0")), 0) << out;
    EXPECT_NE(out.find("Capacity=500107862016"), std::string::npos) << out;
    EXPECT_NE(out.find("Removable=FALSE"), std::string::npos) << out;

    ASSERT_EQ(run("ein", ":KIVO_ScaleItem"), 0);
    EXPECT_EQ(e2e::count(out, ":KIVO_ScaleItem.Index="), 1000u);
}

TEST_P(WbemcliTest, FollowsAssociations) {
    ASSERT_EQ(run("ai", disk("disk0")), 0) << out;
    EXPECT_NE(out.find(":KIVO_ComputerSystem.Name=\"host1\" "), std::string::npos) << out;
    EXPECT_NE(out.find("Caption=\"Reference host\""), std::string::npos) << out;
    ASSERT_EQ(run("ain", disk("disk0")), 0) << out;
    EXPECT_NE(out.find(":KIVO_ComputerSystem.Name=\"host1\""), std::string::npos) << out;

    std::string const ref = ":KIVO_SystemDevice.GroupComponent=root/cimv2:KIVO_ComputerSystem.Name=\"host1\","
                            "PartComponent=root/cimv2:KIVO_DiskDrive.SystemName=\"host1\",DeviceID=\"disk0\"";
    ASSERT_EQ(run("ri", disk("disk0")), 0) << out;
    EXPECT_NE(out.find(ref + " GroupComponent="), std::string::npos) << out;
    ASSERT_EQ(run("rin", disk("disk0")), 0) << out;
    EXPECT_NE(out.find(ref), std::string::npos) << out;

    ASSERT_EQ(run("ain", ":KIVO_ComputerSystem.Name=\"host1\"", {}), 0) << out;
    EXPECT_EQ(e2e::count(out, "\n"), 3u) << out;  // two disks and a network port
}

TEST_P(WbemcliTest, CreatesModifiesAndDeletesAnInstance) {
    std::string const id = GetParam() ? "disk-chunked" : "disk-plain";
    ASSERT_EQ(run("ci", disk(id), {"SystemName=\"host1\",DeviceID=\"" + id + "\",Capacity=7,MediaType=\"NVMe\""}), 0)
        << out;
    EXPECT_NE(out.find(disk(id)), std::string::npos) << out;
    ASSERT_EQ(run("gi", disk(id)), 0) << out;
    EXPECT_NE(out.find("Capacity=7,"), std::string::npos) << out;
    EXPECT_NE(out.find("MediaType=\"NVMe\""), std::string::npos) << out;

    ASSERT_EQ(run("sp", disk(id), {"Capacity=9"}), 0) << out;
    ASSERT_EQ(run("gp", disk(id), {"Capacity"}), 0) << out;
    EXPECT_EQ(out, "9\n");

    ASSERT_EQ(run("mi", disk(id), {"Capacity=11"}), 0) << out;
    ASSERT_EQ(run("gi", disk(id)), 0) << out;
    EXPECT_NE(out.find("Capacity=11,"), std::string::npos) << out;
    EXPECT_NE(out.find("MediaType=\"NVMe\""), std::string::npos) << out;  // untouched by mi

    ASSERT_EQ(run("cm", disk(id), {"Resize.NewCapacity=100"}), 0) << out;
    EXPECT_NE(out.find("Resize: 0"), std::string::npos) << out;
    EXPECT_NE(out.find("OldCapacity (uint64): 11"), std::string::npos) << out;
    ASSERT_EQ(run("gp", disk(id), {"Capacity"}), 0) << out;
    EXPECT_EQ(out, "100\n");

    ASSERT_EQ(run("di", disk(id)), 0) << out;
    EXPECT_NE(run("gi", disk(id)), 0);
    EXPECT_NE(out.find("(6)"), std::string::npos) << out;  // CIM_ERR_NOT_FOUND
}

TEST_P(WbemcliTest, ReportsErrorsWithTheirCodes) {
    EXPECT_NE(run("ei", ":KIVO_NoSuchClass"), 0);
    EXPECT_NE(out.find("(5)"), std::string::npos) << out;  // CIM_ERR_INVALID_CLASS
    EXPECT_NE(run("gi", disk("nope")), 0);
    EXPECT_NE(out.find("(6)"), std::string::npos) << out;  // CIM_ERR_NOT_FOUND
    std::vector<std::string> args = {"ecn"};
    if (GetParam()) args.push_back("-cte");
    args.push_back(server.url("root/nowhere"));
    EXPECT_NE(e2e::wbemcli(args, out), 0);
    EXPECT_NE(out.find("(3)"), std::string::npos) << out;  // CIM_ERR_INVALID_NAMESPACE
    EXPECT_NE(run("gp", disk("disk0"), {"NoSuchProperty"}), 0);
    EXPECT_NE(out.find("(12)"), std::string::npos) << out;  // CIM_ERR_NO_SUCH_PROPERTY
    EXPECT_NE(run("cm", disk("disk0"), {"NoSuchMethod"}), 0);
    EXPECT_NE(out.find("(17)"), std::string::npos) << out;  // CIM_ERR_METHOD_NOT_FOUND
}

INSTANTIATE_TEST_SUITE_P(Framing, WbemcliTest, ::testing::Values(false, true),
                         [](::testing::TestParamInfo<bool> const& info) { return info.param ? "Chunked" : "Plain"; });

}  // namespace
