// End to end: the interop namespace loaded at start-up from interop.mof over
// the DMTF schema, discovered as clients do it: wbemcli (ei, ein, ai) and
// kivo-cli (discover, and the pulled associator walk).
#include "E2EHarness.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

std::vector<std::string> lines(std::string const& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        if (!line.empty()) out.push_back(line);
    return out;
}

class InteropE2E : public e2e::ServerTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(e2e::haveWbemcli()) << "wbemcli is missing: scripts/bootstrap installs sblim-wbemcli";
        start({"--threads", "2"});  // the default configuration loads interop.mof into root/interop
    }

    // wbemcli `op` on `target` in root/interop; its output lines.
    std::vector<std::string> wbemcli(std::string const& op, std::string const& target,
                                     std::vector<std::string> const& extra = {}) {
        std::vector<std::string> args = {op, server.url("root/interop") + target};
        args.insert(args.end(), extra.begin(), extra.end());
        EXPECT_EQ(e2e::wbemcli(args, out), 0) << op << " " << target << "\n" << out;
        return lines(out);
    }
    // The paths of the instances of `cls`, as ":CLASS.KEYS" relative to the namespace URL.
    std::vector<std::string> paths(char const* cls) {
        std::vector<std::string> out;
        for (std::string const& line : wbemcli("ein", std::string(":") + cls)) {
            std::size_t const at = line.find("/root/interop:");
            if (at != std::string::npos) out.push_back(line.substr(at + 13));
        }
        return out;
    }

    std::string out;
};

TEST_F(InteropE2E, WbemcliEnumeratesAndWalksTheInteropClasses) {
    std::string const all = [&] {
        std::string s;
        for (auto const& l : wbemcli("ei", ":CIM_Namespace")) s += l + "\n";
        return s;
    }();
    for (char const* ns : {"Name=\"root/cimv2\"", "Name=\"root/interop\""})
        EXPECT_NE(all.find(ns), std::string::npos) << ns << "\n" << all;
    ASSERT_EQ(paths("CIM_RegisteredProfile").size(), 2u) << out;

    // Every association is walked both ways in Interop_test; wbemcli walks one.
    std::vector<std::string> const manager = paths("CIM_ObjectManager");
    ASSERT_EQ(manager.size(), 1u) << out;
    std::string joined;
    for (auto const& l : wbemcli("ai", manager[0], {"-ac", "CIM_NamespaceInManager"})) joined += l + "\n";
    for (char const* ns : {"Name=\"root/cimv2\"", "Name=\"root/interop\""})
        EXPECT_NE(joined.find(ns), std::string::npos) << ns << "\n" << joined;
}

TEST_F(InteropE2E, KivoCliDiscoversTheServer) {
    ASSERT_EQ(e2e::kivoCli({"discover", server.url("")}, out), 0) << out;
    std::vector<std::string> const got = lines(out);
    ASSERT_EQ(got.size(), 6u) << out;
    EXPECT_EQ(got[0].rfind("object-manager ", 0), 0u) << out;
    std::vector<std::string> const rest(got.begin() + 1, got.end());
    EXPECT_EQ(rest, (std::vector<std::string>{"namespace root/cimv2", "namespace root/interop",
                                              "profile DMTF \"Profile Registration\" 1.0.0",
                                              "profile DMTF \"WBEM Server\" 1.0.0", "mechanism CIM-XML 1.2 auth=None"}))
        << out;

    // The pulled walk from the object manager reaches the same namespaces.
    std::vector<std::string> const manager = paths("CIM_ObjectManager");
    ASSERT_EQ(manager.size(), 1u);
    ASSERT_EQ(e2e::kivoCli({"open-associator-paths", server.url("root/interop"), manager[0].substr(1), "--assoc-class",
                            "CIM_NamespaceInManager", "--max", "1"},
                           out),
              0)
        << out;
    std::vector<std::string> const names = lines(out);
    EXPECT_EQ(names.size(), 2u) << out;
    for (char const* ns : {"Name=\"root/cimv2\"", "Name=\"root/interop\""})
        EXPECT_NE(out.find(ns), std::string::npos) << ns << "\n" << out;
}

}  // namespace
