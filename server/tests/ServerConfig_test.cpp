#include "ServerConfig.h"

#include "KivoUtilities/QORAConfigManager.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <unistd.h>

namespace {

using refserver::ParsedCommandLine;

class ServerConfigTest : public ::testing::Test {
protected:
    void SetUp() override { QORAConfigManager::getInstance()->clear(); }
    void TearDown() override {
        QORAConfigManager::getInstance()->clear();
        for (std::string const& f : files) std::remove(f.c_str());
    }

    std::string iniFile(std::string const& text) {
        std::string path = "/tmp/kivo_server_config_" + std::to_string(::getpid()) + "_" + std::to_string(files.size()) +
                           ".ini";
        std::ofstream(path) << text;
        files.push_back(path);
        return path;
    }

    ParsedCommandLine parse(std::vector<std::string> args) {
        args.insert(args.begin(), "server");
        std::vector<char const*> argv;
        for (std::string const& a : args) argv.push_back(a.c_str());
        return refserver::parseCommandLine(static_cast<int>(argv.size()), argv.data());
    }

    static std::string qora(char const* key) {
        KVOString v;
        return QORAConfigManager::getInstance()->getString("QORA", key, v) ? v.str() : "<absent>";
    }

    std::vector<std::string> files;
};

TEST_F(ServerConfigTest, DefaultsWithoutFileOrFlags) {
    ParsedCommandLine p = parse({});
    ASSERT_EQ(p.action, ParsedCommandLine::Run);
    EXPECT_EQ(p.settings.address, "127.0.0.1");
    EXPECT_EQ(p.settings.port, 5988);
    EXPECT_EQ(p.settings.threads, 0);
    EXPECT_EQ(p.settings.readTimeoutSeconds, 30);
    EXPECT_EQ(p.settings.idleTimeoutSeconds, 60);
    EXPECT_EQ(p.settings.sendTimeoutSeconds, 30);
    EXPECT_EQ(p.settings.shutdownTimeoutSeconds, 10);
    EXPECT_EQ(p.settings.maxConnections, 1024);
    EXPECT_EQ(p.settings.maxConnectionsPerPeer, 256);
    EXPECT_EQ(p.settings.bodyBudgetMiB, 256);
    EXPECT_EQ(p.settings.streamBound, 1000u);
    EXPECT_EQ(p.settings.authentication, "none");
    EXPECT_TRUE(p.settings.users.empty());
    EXPECT_EQ(p.settings.scaleInstances, 1000);
    EXPECT_EQ(qora("HTTPTransferEncoding"), "<absent>");
}

TEST_F(ServerConfigTest, FlagsOverrideTheFileWhereverTheyStand) {
    std::string ini = iniFile(
        "; comment\n[Server]\nAddress = 127.0.0.2\nPort = 6000\nThreads = 3\nReadTimeout = 9\nScaleInstances = 50\n"
        "MaxConnections = 5\nStreamBound = 0\nAuthentication = basic\nMaxConnectionsPerPeer = 4\nIdleTimeout = 7\n"
        "SendTimeout = 6\nShutdownTimeout = 0\nBodyBudget = 1\n"
        "[Users]\nalice = s3cret=x \nbob = 1\n"
        "[QORA]\nHTTPTransferEncoding = ConditionalChunked\nCimTransactionTimeout = 30\nOtherKey = kept\n");
    ParsedCommandLine p = parse({"--port", "0", "--config", ini, "--transfer-encoding=Chunked", "--max-connections",
                                 "7", "--user", "bob:pa:ss", "--user=carol:c"});
    ASSERT_EQ(p.action, ParsedCommandLine::Run) << p.error;
    EXPECT_EQ(p.settings.address, "127.0.0.2");
    EXPECT_EQ(p.settings.port, 0);
    EXPECT_EQ(p.settings.threads, 3);
    EXPECT_EQ(p.settings.readTimeoutSeconds, 9);
    EXPECT_EQ(p.settings.scaleInstances, 50);
    EXPECT_EQ(p.settings.maxConnections, 7);
    EXPECT_EQ(p.settings.maxConnectionsPerPeer, 4);
    EXPECT_EQ(p.settings.idleTimeoutSeconds, 7);
    EXPECT_EQ(p.settings.sendTimeoutSeconds, 6);
    EXPECT_EQ(p.settings.shutdownTimeoutSeconds, 0);
    EXPECT_EQ(p.settings.bodyBudgetMiB, 1);
    EXPECT_EQ(p.settings.streamBound, 0u);
    EXPECT_EQ(p.settings.authentication, "basic");
    // Passwords are trimmed, keep '=' and ':' after the first delimiter; a flag
    // replaces the file's password of the same user.
    std::map<std::string, std::string> const users = {{"alice", "s3cret=x"}, {"bob", "pa:ss"}, {"carol", "c"}};
    EXPECT_EQ(p.settings.users, users);
    EXPECT_EQ(qora("HTTPTransferEncoding"), "Chunked");
    EXPECT_EQ(qora("CimTransactionTimeout"), "30");
    EXPECT_EQ(qora("OtherKey"), "kept");
    KVOsint32 timeout = 0;
    EXPECT_TRUE(QORAConfigManager::getInstance()->getSint32("QORA", "CimTransactionTimeout", timeout));
    EXPECT_EQ(timeout, 30);
}

TEST_F(ServerConfigTest, RefusesWhatItCannotUse) {
    struct Case {
        char const* name;
        std::vector<std::string> args;
        char const* inError;
    };
    std::vector<Case> const cases = {
        {"unknown flag", {"--bogus", "1"}, "unknown option --bogus"},
        {"missing value", {"--port"}, "needs a value"},
        {"port out of range", {"--port", "70000"}, "not a number from 0 to 65535"},
        {"port not a number", {"--port", "12ab"}, "not a number"},
        {"negative threads", {"--threads", "-1"}, "from 0 to 1024"},
        {"no connections per peer", {"--max-connections-per-peer", "0"}, "from 1"},
        {"no idle timeout", {"--idle-timeout", "0"}, "from 1"},
        {"no send timeout", {"--send-timeout", "0"}, "from 1"},
        {"no body budget", {"--body-budget", "0"}, "from 1"},
        {"bad log level", {"--log-level", "loud"}, "not one of"},
        {"transaction timeout not a number", {"--transaction-timeout", "soon"}, "not a number"},
        {"no connections", {"--max-connections", "0"}, "from 1"},
        {"negative stream bound", {"--stream-bound", "-1"}, "from 0"},
        {"unknown authentication", {"--authentication", "digest"}, "not none or basic"},
        {"basic authentication without users", {"--authentication", "basic"}, "at least one user"},
        {"user without password", {"--user", "alice"}, "not NAME:PASSWORD"},
        {"user with an empty password", {"--user", "alice:"}, "password of 'alice' is empty"},
        {"user with an empty name", {"--user", ":pw"}, "user name is empty"},
        {"missing file", {"--config", "/nonexistent/kivo.ini"}, "cannot open"},
        {"schema without a file", {"--schema", "root/x"}, "not NAMESPACE=FILE"},
        {"schema with an empty file", {"--schema", "root/x="}, "MOF file of root/x is empty"},
        {"schema with an empty namespace", {"--schema", "=a.mof"}, "namespace is empty"},
        {"empty schema path", {"--schema-path", ""}, "directory is empty"},
        {"neither HTTP nor HTTPS", {"--http", "off"}, "both HTTP and HTTPS are off"},
        {"HTTPS without a key", {"--https", "on", "--tls-certificate", "c.pem"}, "needs a certificate"},
        {"HTTP neither on nor off", {"--http", "yes"}, "not on or off"},
        {"no handshake deadline", {"--tls-handshake-timeout", "0"}, "from 1"},
        {"certificate user without a user", {"--certificate-user", "Alice Example="}, "is empty"},
    };
    for (Case const& c : cases) {
        ParsedCommandLine p = parse(c.args);
        EXPECT_EQ(p.action, ParsedCommandLine::Error) << c.name;
        EXPECT_NE(p.error.find(c.inError), std::string::npos) << c.name << ": " << p.error;
    }
    ParsedCommandLine bad = parse({"--config", iniFile("[Server]\nPort = 1\nColour = blue\n")});
    EXPECT_EQ(bad.action, ParsedCommandLine::Error);
    EXPECT_NE(bad.error.find("unknown key [Server] Colour"), std::string::npos) << bad.error;
    ParsedCommandLine noPassword = parse({"--config", iniFile("[Users]\nalice =\n")});
    EXPECT_EQ(noPassword.action, ParsedCommandLine::Error);
    EXPECT_NE(noPassword.error.find("password of 'alice' is empty"), std::string::npos) << noPassword.error;
    ParsedCommandLine badValue = parse({"--config", iniFile("[Server]\nThreads = many\n")});
    EXPECT_EQ(badValue.action, ParsedCommandLine::Error);
    EXPECT_NE(badValue.error.find(":2:"), std::string::npos) << badValue.error;  // names the line
}

// The schema's files keep their order, the file's before the flags'; so do
// the directories of the schema path. Nothing given leaves both empty (the
// defaults).
TEST_F(ServerConfigTest, SchemaFilesAndPathInOrder) {
    EXPECT_TRUE(parse({}).settings.schema.empty());
    EXPECT_TRUE(parse({}).settings.schemaPath.empty());
    std::string ini = iniFile("[Schema]\nroot/interop = interop.mof\nroot/cimv2 = kivo.mof\nroot/cimv2 = extra.mof\n"
                              "[Server]\nSchemaPath = /a\n");
    ParsedCommandLine p = parse({"--schema", "root/dmtf=/s/cim_schema_2.49.0.mof", "--config", ini,
                                 "--schema-path=/b", "--schema=root/x=y=z.mof"});
    ASSERT_EQ(p.action, ParsedCommandLine::Run) << p.error;
    std::vector<std::pair<std::string, std::string>> const schema = {{"root/interop", "interop.mof"},
                                                                     {"root/cimv2", "kivo.mof"},
                                                                     {"root/cimv2", "extra.mof"},
                                                                     {"root/dmtf", "/s/cim_schema_2.49.0.mof"},
                                                                     {"root/x", "y=z.mof"}};
    EXPECT_EQ(p.settings.schema, schema);
    EXPECT_EQ(p.settings.schemaPath, (std::vector<std::string>{"/a", "/b"}));
}

TEST_F(ServerConfigTest, HTTPSSettingsAndCertificateUsers) {
    ParsedCommandLine p = parse({"--config",
                                 iniFile("[Server]\nHTTP = off\nHTTPS = on\nHTTPSPort = 0\nTLSCertificate = c.pem\n"
                                         "TLSKey = k.pem\nTLSClientCA = ca.pem\nTLSHandshakeTimeout = 1\n"
                                         "[CertificateUsers]\nAlice Example = alice\nCN = cn\n"),
                                 "--certificate-user", "a=b=carol"});
    ASSERT_EQ(p.action, ParsedCommandLine::Run) << p.error;
    EXPECT_FALSE(p.settings.http);
    EXPECT_TRUE(p.settings.https);
    EXPECT_EQ(p.settings.httpsPort, 0);
    EXPECT_EQ(p.settings.tlsCertificate + p.settings.tlsPrivateKey + p.settings.tlsClientCA, "c.pemk.pemca.pem");
    EXPECT_EQ(p.settings.tlsHandshakeTimeoutSeconds, 1);
    // A CN with spaces, a CN that is also the flag table's key name, and a
    // flag whose CN holds '=' (split at the last one).
    std::map<std::string, std::string> const users = {{"Alice Example", "alice"}, {"CN", "cn"}, {"a=b", "carol"}};
    EXPECT_EQ(p.settings.certificateUsers, users);
    ParsedCommandLine defaults = parse({});
    EXPECT_TRUE(defaults.settings.http);
    EXPECT_FALSE(defaults.settings.https);
    EXPECT_EQ(defaults.settings.httpsPort, 5989);
    EXPECT_EQ(defaults.settings.tlsHandshakeTimeoutSeconds, 10);
}

// The repository: its file under the user's data directory unless given
// (and none at all without one), its sync mode, and the commands that work
// on it, one at a time and never on :memory:.
TEST_F(ServerConfigTest, RepositoryFileSyncAndCommands) {
    struct Env {
        char const* name;
        std::string saved;
        bool had;
    };
    std::vector<Env> env;
    for (char const* name : {"HOME", "XDG_DATA_HOME"}) {
        char const* v = std::getenv(name);
        env.push_back({name, v ? v : "", v != nullptr});
    }
    struct Case {
        char const* what;
        char const* home;  // null: unset
        char const* xdg;
        std::vector<std::string> args;
        ParsedCommandLine::Action action;
        std::string file;  // Run/commands: the file; Error: a word of the error
    } const cases[] = {
        {"default under HOME", "/h", nullptr, {}, ParsedCommandLine::Run, "/h/.local/share/kivo/repository.db"},
        {"XDG_DATA_HOME first", "/h", "/x", {}, ParsedCommandLine::Run, "/x/kivo/repository.db"},
        {"a relative XDG_DATA_HOME is ignored", "/h", "x", {}, ParsedCommandLine::Run, "/h/.local/share/kivo/repository.db"},
        {"no data directory", nullptr, nullptr, {}, ParsedCommandLine::Error, "set HOME or XDG_DATA_HOME"},
        {"no data directory, a file given", nullptr, nullptr, {"--repository", "/r.db"}, ParsedCommandLine::Run, "/r.db"},
        {"from the file, the flag wins", "/h", nullptr,
         {"--config", iniFile("[Repository]\nFile = /ini.db\nSync = normal\n"), "--repository=/flag.db"},
         ParsedCommandLine::Run, "/flag.db"},
        {"bad sync", "/h", nullptr, {"--repository-sync", "fast"}, ParsedCommandLine::Error, "not full or normal"},
        {"update", "/h", nullptr, {"--update-schema", "--repository", "u.db"}, ParsedCommandLine::UpdateSchema, "u.db"},
        {"export", "/h", nullptr, {"--export", "-", "--export-namespace", "root/x"}, ParsedCommandLine::Export,
         "/h/.local/share/kivo/repository.db"},
        {"import", "/h", nullptr, {"--import", "in.mof", "--repository", "n.db"}, ParsedCommandLine::Import, "n.db"},
        {"two commands", "/h", nullptr, {"--export", "a", "--import", "b"}, ParsedCommandLine::Error, "only one of"},
        {"export without a file", "/h", nullptr, {"--export"}, ParsedCommandLine::Error, "needs a file name"},
        {"namespace without export", "/h", nullptr, {"--export-namespace", "root/x"}, ParsedCommandLine::Error,
         "goes with --export"},
        {"command in memory", "/h", nullptr, {"--repository", ":memory:", "--update-schema"}, ParsedCommandLine::Error,
         "not :memory:"},
        {"memory serves", nullptr, nullptr, {"--repository", ":memory:"}, ParsedCommandLine::Run, ":memory:"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        for (auto [name, value] : {std::pair{"HOME", c.home}, std::pair{"XDG_DATA_HOME", c.xdg}}) {
            if (value) ::setenv(name, value, 1);
            else ::unsetenv(name);
        }
        ParsedCommandLine const p = parse(c.args);
        EXPECT_EQ(p.action, c.action) << p.error;
        if (p.action == ParsedCommandLine::Error) EXPECT_NE(p.error.find(c.file), std::string::npos) << p.error;
        else EXPECT_EQ(p.settings.repositoryFile, c.file);
    }
    for (Env const& e : env) {
        if (e.had) ::setenv(e.name, e.saved.c_str(), 1);
        else ::unsetenv(e.name);
    }
    EXPECT_FALSE(parse({"--repository-sync", "normal"}).settings.repositoryFullSync);
    EXPECT_TRUE(parse({}).settings.repositoryFullSync);
}

TEST_F(ServerConfigTest, HelpListsEveryFlagWithItsKey) {
    EXPECT_EQ(parse({"--port", "1", "--help"}).action, ParsedCommandLine::Help);
    std::string text = refserver::usage("server");
    for (char const* s : {"--config", "--address", "[Server] Address", "--port", "[Server] Port", "--threads",
                          "--read-timeout", "[Server] ReadTimeout", "--scale-instances", "[Server] ScaleInstances",
                          "--transfer-encoding", "[QORA] HTTPTransferEncoding", "--transaction-timeout",
                          "[QORA] CimTransactionTimeout", "--log-level", "--max-connections",
                          "[Server] MaxConnections", "--stream-bound", "[Server] StreamBound", "--authentication",
                          "[Server] Authentication", "--user NAME:PASSWORD", "[Users] NAME", "--help",
                          "[Server] MaxConnectionsPerPeer", "[Server] IdleTimeout", "[Server] SendTimeout",
                          "[Server] ShutdownTimeout", "[Server] BodyBudget", "--schema NAMESPACE=FILE",
                          "[Schema] NAMESPACE", "--schema-path DIR", "[Server] SchemaPath", "--repository FILE",
                          "[Repository] File", "[Repository] Sync", "--update-schema", "--export FILE",
                          "--export-namespace NS", "--import FILE", "4 when the repository file"}) {
        EXPECT_NE(text.find(s), std::string::npos) << s;
    }
}

}  // namespace
