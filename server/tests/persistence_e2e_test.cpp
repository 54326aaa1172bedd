// End to end with a repository file: what clients change over the wire
// (classes, qualifier declarations, instances) survives a clean restart; a
// damaged file stops the server with exit status 4 and words that name the
// file and the way back; --update-schema adds what a changed MOF adds and
// refuses, changing nothing, to change a class that has instances; an
// export imported into a fresh file holds the same classes and instances,
// the whole DMTF schema and instances with arrays, references and odd
// strings included.
#include "E2EHarness.h"
#include "RepositoryCompare.h"
#include "repository/PersistentModel.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

namespace fs = std::filesystem;
namespace om = kivo::om;
namespace repo = kivo::repo;
using e2e::cimRequest;
using e2e::intrinsicRequest;

std::string slurp(fs::path const& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// The server run as a command (--export, --import, --update-schema, or a
// start that must fail): exit status and everything it printed.
int command(std::vector<std::string> const& args, std::string& output) {
    return e2e::run(e2e::serverBinary(), args, output);
}

class Persistence : public e2e::ServerTest {
protected:
    void SetUp() override {
        dir = fs::temp_directory_path() / ("kivo-persist-" + std::to_string(::getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir);
        file = (dir / "repository.db").string();
    }
    void TearDown() override {
        ServerTest::TearDown();
        fs::remove_all(dir);
    }
    // Sends one intrinsic request in root/cimv2; the body.
    std::string call(std::string const& method, std::string const& params) {
        e2e::HttpResponse r = exchange(intrinsicRequest(method, params));
        EXPECT_EQ(r.status, 200) << method;
        return r.body;
    }
    void restart(std::vector<std::string> const& args) {
        ASSERT_EQ(server.stop(SIGTERM), 0);
        start(args);
    }

    fs::path dir;
    std::string file;
};

std::string param(char const* name, std::string const& xml) {
    return std::string("<IPARAMVALUE NAME=\"") + name + "\">" + xml + "</IPARAMVALUE>";
}
std::string const kKey = "<QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>true</VALUE></QUALIFIER>";
std::string const kOdd = "a&quot;b&lt;&amp;&gt;\\ \xC3\xA9 \xE2\x98\x83 {x};";  // as XML text

// Classes, declarations and instances made over the wire read back the same
// after SIGTERM and a start on the same file; the scale class is still the
// provider's, and none of its instances went to the file.
TEST_F(Persistence, WireChangesSurviveARestart) {
    start({"--repository", file, "--scale-instances", "7"});
    struct Change {
        char const* method;
        std::string params;
    };
    std::string const base =
        "<CLASS NAME=\"Test_Base\"><QUALIFIER NAME=\"Colour\" TYPE=\"string\"><VALUE>red</VALUE></QUALIFIER>"
        "<PROPERTY NAME=\"Id\" TYPE=\"string\">" + kKey + "</PROPERTY>"
        "<PROPERTY NAME=\"Size\" TYPE=\"uint32\"><VALUE>5</VALUE></PROPERTY></CLASS>";
    std::string const leaf = "<CLASS NAME=\"Test_Leaf\" SUPERCLASS=\"Test_Base\">"
                             "<PROPERTY.ARRAY NAME=\"Extra\" TYPE=\"string\"/>%</CLASS>";
    auto leafWith = [&](std::string const& more) {
        std::string s = leaf;
        return s.replace(s.find('%'), 1, more);
    };
    std::vector<Change> const changes = {
        {"SetQualifier", param("QualifierDeclaration",
                               "<QUALIFIER.DECLARATION NAME=\"Colour\" TYPE=\"string\" TOSUBCLASS=\"false\">"
                               "<SCOPE CLASS=\"true\" PROPERTY=\"true\"/><VALUE>blue</VALUE></QUALIFIER.DECLARATION>")},
        {"CreateClass", param("NewClass", base)},
        {"CreateClass", param("NewClass", leafWith(""))},
        {"CreateClass", param("NewClass", "<CLASS NAME=\"Test_Gone\"/>")},
        {"ModifyClass", param("ModifiedClass", leafWith("<PROPERTY NAME=\"Note\" TYPE=\"string\"/>"))},
        {"DeleteClass", e2e::classParam("Test_Gone")},
        {"CreateInstance",
         param("NewInstance", "<INSTANCE CLASSNAME=\"Test_Leaf\"><PROPERTY NAME=\"Id\" TYPE=\"string\"><VALUE>" + kOdd +
                                  "</VALUE></PROPERTY><PROPERTY.ARRAY NAME=\"Extra\" TYPE=\"string\"><VALUE.ARRAY>"
                                  "<VALUE>x</VALUE><VALUE></VALUE><VALUE>y z</VALUE></VALUE.ARRAY></PROPERTY.ARRAY>"
                                  "</INSTANCE>")},
        {"CreateInstance",
         param("NewInstance", "<INSTANCE CLASSNAME=\"Test_Base\"><PROPERTY NAME=\"Id\" TYPE=\"string\"><VALUE>b1"
                              "</VALUE></PROPERTY></INSTANCE>")},
    };
    for (Change const& c : changes) {
        std::string const body = call(c.method, c.params);
        EXPECT_EQ(body.find("<ERROR"), std::string::npos) << c.method << ": " << body;
    }
    std::string const all = "<IPARAMVALUE NAME=\"IncludeClassOrigin\"><VALUE>TRUE</VALUE></IPARAMVALUE>";
    std::vector<Change> const reads = {
        {"GetClass", e2e::classParam("Test_Base") + all},
        {"GetClass", e2e::classParam("Test_Leaf") + all},
        {"GetClass", e2e::classParam("Test_Gone")},
        {"GetQualifier", "<IPARAMVALUE NAME=\"QualifierName\"><VALUE>Colour</VALUE></IPARAMVALUE>"},
        {"EnumerateInstances", e2e::classParam("Test_Base")},
        {"EnumerateClassNames", "<IPARAMVALUE NAME=\"DeepInheritance\"><VALUE>TRUE</VALUE></IPARAMVALUE>"},
        {"EnumerateInstanceNames", e2e::classParam("KIVO_ScaleItem")},
    };
    std::vector<std::string> before;
    for (Change const& r : reads) before.push_back(call(r.method, r.params));
    EXPECT_NE(before[1].find("NAME=\"Note\""), std::string::npos) << before[1];
    EXPECT_NE(before[2].find("<ERROR CODE=\"5\""), std::string::npos) << before[2];
    EXPECT_EQ(e2e::count(before[4], "<VALUE.NAMEDINSTANCE>"), 2u) << before[4];
    EXPECT_EQ(e2e::count(before[6], "<INSTANCENAME "), 7u) << before[6];

    restart({"--repository", file, "--scale-instances", "7"});
    for (std::size_t i = 0; i < reads.size(); ++i)
        EXPECT_EQ(call(reads[i].method, reads[i].params), before[i]) << reads[i].method << " after the restart";

    ASSERT_EQ(server.stop(SIGTERM), 0);
    std::string exported;
    ASSERT_EQ(command({"--repository", file, "--export", "-", "--export-namespace", "root/cimv2"}, exported), 0)
        << exported;
    EXPECT_EQ(exported.find("instance of KIVO_ScaleItem"), std::string::npos) << "a provider's instances were stored";
    EXPECT_EQ(e2e::count(exported, "instance of Test_Leaf"), 1u);
}

// A file that is no repository, or a damaged one, stops the start with the
// file's name and the way back on standard error, exit status 4, and never
// a "listening" line; so do commands on it.
TEST_F(Persistence, ADamagedFileStopsTheServerWithStatusFour) {
    std::string out;
    ASSERT_EQ(command({"--repository", file, "--export", (dir / "seed.mof").string()}, out), 0) << out;
    std::string const good = slurp(file);
    ASSERT_GT(good.size(), 8192u);
    struct Case {
        char const* what;
        std::string bytes;
        std::vector<std::string> extra;
    } const cases[] = {
        {"garbage", std::string(64 * 1024, '\x5a'), {"--port", "0"}},
        {"truncated", good.substr(0, good.size() / 2), {"--port", "0"}},
        {"header only", good.substr(0, 100), {"--update-schema"}},
        {"truncated, exported", good.substr(0, good.size() / 2), {"--export", "-"}},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        fs::path const bad = dir / "bad.db";
        fs::remove(bad);
        fs::remove(dir / "bad.db-wal");
        fs::remove(dir / "bad.db-shm");
        std::ofstream(bad, std::ios::binary) << c.bytes;
        std::vector<std::string> args = {"--repository", bad.string(), "--log-level", "critical"};
        args.insert(args.end(), c.extra.begin(), c.extra.end());
        EXPECT_EQ(command(args, out), 4) << out;
        EXPECT_NE(out.find("repository " + bad.string() + ": "), std::string::npos) << out;
        EXPECT_NE(out.find("restore it from a MOF export (--import) or move it aside to start with an empty one"),
                  std::string::npos)
            << out;
        EXPECT_EQ(out.find("listening"), std::string::npos) << out;
    }
}

// --update-schema: a class the MOF adds is added (and served after the next
// start); a changed class with instances is refused with status 4 and the
// file keeps what it had; a changed class without instances is replaced.
TEST_F(Persistence, UpdateSchemaAddsAndRefusesToBreakInstances) {
    std::string const decls =
        "Qualifier Key : boolean = false, Scope(property, reference), Flavor(DisableOverride, ToSubclass);\n"
        "Qualifier Description : string = null, Scope(any), Flavor(Translatable);\n";
    std::string const a = "class Test_A { [Key] string Id; };\n";
    std::string const b = "class Test_B { [Key] string Id; };\n";
    std::string const instance = "instance of Test_A { Id = \"a1\"; };\n";
    auto schema = [&](std::string const& text) {
        std::ofstream(dir / "model.mof") << text;
        return std::vector<std::string>{"--repository", file, "--schema", "root/test=" + (dir / "model.mof").string()};
    };
    auto with = [](std::vector<std::string> args, std::vector<std::string> const& more) {
        args.insert(args.end(), more.begin(), more.end());
        return args;
    };
    std::string out;
    ASSERT_EQ(command(with(schema(decls + a + b + instance), {"--export", (dir / "v1.mof").string()}), out), 0) << out;

    struct Case {
        char const* what;
        std::string mof;
        int status;
        std::string says;
        bool changes;
    } const cases[] = {
        {"unchanged", decls + a + b, 0, "nothing to do", false},
        {"a class added", decls + a + b + "class Test_C : Test_B { string More; };\n", 0, "added class root/test:Test_C",
         true},
        {"a class with instances changed", decls + "class Test_A { [Key] string Id; uint8 New; };\n" + b, 4,
         "class root/test:Test_A has 1 stored instances; nothing was changed", false},
        {"a declaration retyped in use", "Qualifier Key : uint8 = 0, Scope(property);\n" + a + b, 4,
         "qualifier root/test:Key changes its type", false},
        {"a class without instances changed", decls + a + "[Description(\"now\")] class Test_B { [Key] string Id; };\n" +
         "class Test_C : Test_B { string More; };\n", 0, "replaced class root/test:Test_B", true},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        std::string before;
        ASSERT_EQ(command({"--repository", file, "--export", "-"}, before), 0) << before;
        EXPECT_EQ(command(with(schema(c.mof), {"--update-schema"}), out), c.status) << out;
        EXPECT_NE(out.find(c.says), std::string::npos) << out;
        std::string after;
        ASSERT_EQ(command({"--repository", file, "--export", "-"}, after), 0) << after;
        EXPECT_EQ(after != before, c.changes) << after;
    }
    // The updated schema is what the next start serves.
    start({"--repository", file});
    e2e::HttpResponse r = exchange(cimRequest(
        "GetClass", "root/test",
        e2e::intrinsicBody("GetClass", e2e::classParam("Test_C"), "<NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"test\"/>")));
    EXPECT_NE(r.body.find("<CLASS NAME=\"Test_C\" SUPERCLASS=\"Test_B\""), std::string::npos) << r.body;
}

// The whole DMTF schema with instances (arrays, references, odd strings),
// exported and imported into a fresh file: the same classes and instances.
// An import into a repository that is not empty is refused.
TEST_F(Persistence, AnExportImportedIntoAFreshFileHoldsTheSame) {
    std::ofstream(dir / "instances.mof")
        << "instance of CIM_ComputerSystem as $cs {\n"
           "  CreationClassName = \"CIM_ComputerSystem\"; Name = \"h\\\"o\\\\st\\n\\t1 \xC3\xA9\";\n"
           "  Roles = {\"a\", \"\", \"b;c\"}; Dedicated = {2, 3}; OtherIdentifyingInfo = {};\n};\n"
           "instance of CIM_LogicalDisk as $d {\n"
           "  SystemCreationClassName = \"CIM_ComputerSystem\"; SystemName = \"h\\\"o\\\\st\\n\\t1 \xC3\xA9\";\n"
           "  CreationClassName = \"CIM_LogicalDisk\"; DeviceID = \"d/1 {x}\"; BlockSize = 512;\n"
           "  NumberOfBlocks = 18446744073709551615; Caption = \"\";\n};\n"
           "instance of CIM_SystemDevice { GroupComponent = $cs; PartComponent = $d; };\n";
    std::string const cimSchema = (fs::path(KIVO_CIM_SCHEMA_DIR) / "cim_schema_2.49.0.mof").string();
    std::string out;
    ASSERT_EQ(command({"--repository", file, "--schema", "root/cimv2=" + cimSchema, "--schema",
                       "root/cimv2=" + (dir / "instances.mof").string(), "--export", (dir / "one.mof").string()},
                      out),
              0)
        << out;
    std::string const copy = (dir / "copy.db").string();
    ASSERT_EQ(command({"--repository", copy, "--import", (dir / "one.mof").string()}, out), 0) << out;
    EXPECT_NE(out.find("and 3 instances"), std::string::npos) << out;
    std::string const one = slurp(dir / "one.mof");
    EXPECT_GT(e2e::count(one, "\nclass "), 1000u);

    // Both files read back in process: the same schema, class by class, and
    // the same instances, class by class in order.
    struct Side {
        explicit Side(std::string const& path) {
            repo::RepositorySettings settings;
            settings.file = path;
            file = repo::RepositoryFile::open(settings);
            store = std::make_shared<repo::DiskInstanceStore>(file);
            repo::loadSchema(*file, classes);
        }
        std::vector<KVOSmrPtr<IKivoObject>> instances(KVOString const& ns, IKivoClass const& cls) {
            std::vector<KVOSmrPtr<IKivoObject>> out;
            store->enumerate(ns, cls, [&](KVOSmrPtr<IKivoObject> const& o) { return out.push_back(o), true; });
            return out;
        }
        std::shared_ptr<repo::RepositoryFile> file;
        std::shared_ptr<repo::DiskInstanceStore> store;
        om::ClassRepository classes;
    } original(file), imported(copy);
    ASSERT_EQ(original.classes.namespaces().size(), imported.classes.namespaces().size());
    std::size_t instances = 0;
    for (KVOString const& ns : original.classes.namespaces()) {
        EXPECT_EQ(kivo::test::sameRepository(original.classes, imported.classes, ns), "") << ns.str();
        for (KVOSmrPtr<IKivoClass> const& cls : original.classes.classes(ns)) {
            std::vector<KVOSmrPtr<IKivoObject>> const a = original.instances(ns, *cls);
            std::vector<KVOSmrPtr<IKivoObject>> const b = imported.instances(ns, *cls);
            ASSERT_EQ(a.size(), b.size()) << cls->getName().str();
            for (std::size_t i = 0; i < a.size(); ++i) EXPECT_EQ(kivo::test::sameInstance(*a[i], *b[i]), "");
            instances += a.size();
        }
    }
    EXPECT_EQ(instances, 3u);

    EXPECT_EQ(command({"--repository", copy, "--import", (dir / "one.mof").string()}, out), 4) << out;
    EXPECT_NE(out.find("is not empty"), std::string::npos) << out;
}

}  // namespace
