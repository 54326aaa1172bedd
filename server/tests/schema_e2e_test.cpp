// End to end with the schema operations: `kivo-mof send` of the server's own
// model (with the DMTF class it derives from), its classes renamed to a fresh
// prefix (KIVO_ -> KIVT_, Sample_ -> SampleT_), plus one instance, into a
// root/cimv2 that the server started empty. What the server then answers to
// EnumerateClasses (deep, with qualifiers and class origins) and
// EnumerateQualifiers must equal the same MOF compiled in process, class by
// class and declaration by declaration. Then a second send that is refused
// and a ModifyClass that a client makes from GetClass.
#include "E2EHarness.h"

#include "CIMXMLDataReader.h"
#include "ClassText.h"
#include "mof/MofCompiler.h"
#include "objectmanager/DefaultModel.h"

#include <gtest/gtest.h>
#include <pugixml.hpp>

#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>

namespace {

std::string slurp(std::string const& path) {
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

std::string nsXml(std::string const& ns) {
    return "<NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"" + ns.substr(ns.find('/') + 1) + "\"/>";
}

class SchemaTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir = std::filesystem::temp_directory_path() / ("kivo-schema-" + std::to_string(::getpid()));
        std::filesystem::create_directories(dir);
        std::filesystem::path const model = std::filesystem::path(KIVO_MOF_MODEL).parent_path();
        std::string const renamed =
            std::regex_replace(std::regex_replace(slurp(model / "kivo.mof"), std::regex("KIVO_"), "KIVT_"),
                               std::regex("Sample_"), "SampleT_");
        std::ofstream(dir / "kivo.mof") << renamed;
        std::ofstream(dir / "empty.mof") << "";
        std::ofstream(dir / "disk.mof") << "instance of KIVT_DiskDrive { SystemName = \"h\"; DeviceID = \"d1\"; };\n";
        std::string error;
        // root/cimv2 starts empty, so everything it serves was sent.
        ASSERT_TRUE(server.start({"--threads", "2", "--log-level", "critical", "--schema",
                                  "root/cimv2=" + (dir / "empty.mof").string()},
                                 error))
            << error;
    }
    void TearDown() override {
        if (server.pid() > 0) {
            EXPECT_EQ(server.stop(SIGTERM), 0);
        }
        std::filesystem::remove_all(dir);
    }

    // The body of a call to `method` in `ns`.
    std::string call(std::string const& method, std::string const& params, std::string const& ns = "root/cimv2") {
        e2e::Connection c(server.port());
        EXPECT_TRUE(c.send(e2e::cimRequest(method, ns, e2e::intrinsicBody(method, params, nsXml(ns)))));
        e2e::HttpResponse r = c.read();
        EXPECT_EQ(r.status, 200);
        return r.body;
    }
    static std::string errorCode(std::string const& body) { return e2e::between(body, "<ERROR CODE=\"", "\""); }
    static std::string className(char const* name) {
        return std::string("<IPARAMVALUE NAME=\"ClassName\"><CLASSNAME NAME=\"") + name + "\"/></IPARAMVALUE>";
    }

    std::filesystem::path dir;
    e2e::ServerProcess server;
};

TEST_F(SchemaTest, SentModelEqualsTheCompiledOneAndRefusesWhatWouldDangle) {
    std::string out;
    // A tree that does not compile whole sends nothing.
    std::ofstream(dir / "bad.mof") << "class KIVT_Bad : KIVT_Nowhere {};\n";
    EXPECT_EQ(e2e::run(KIVO_MOF_BINARY, {"send", server.url(""), (dir / "kivo.mof").string(), (dir / "bad.mof").string()}, out), 1);
    EXPECT_NE(out.find("bad.mof:1:18: superclass KIVT_Nowhere of KIVT_Bad is not defined\nnothing was sent"),
              std::string::npos) << out;
    EXPECT_EQ(errorCode(call("GetClass", className("KIVT_ManagedElement"))), "5");

    int const rc = e2e::run(KIVO_MOF_BINARY, {"send", server.url(""), (dir / "kivo.mof").string(), (dir / "disk.mof").string()}, out);
    ASSERT_EQ(rc, 0) << out;
    EXPECT_NE(out.find("sent 56 qualifier declarations, 12 classes, 1 instances"), std::string::npos) << out;

    kivo::om::ClassRepository compiled;
    kivo::mof::MofCompiler compiler(compiled);
    compiler.setIncludePath(kivo::om::defaultSchemaPath());
    kivo::mof::MofResult const r = compiler.compileFile((dir / "kivo.mof").string());
    ASSERT_TRUE(r.ok()) << r.error->text();
    {
        std::string const ns = "root/cimv2";
        std::string const body = call("EnumerateClasses",
                                      e2e::valueParam("DeepInheritance", "TRUE") + e2e::valueParam("LocalOnly", "FALSE") +
                                          e2e::valueParam("IncludeQualifiers", "TRUE") +
                                          e2e::valueParam("IncludeClassOrigin", "TRUE"),
                                      ns);
        pugi::xml_document doc;
        ASSERT_TRUE(doc.load_string(body.c_str()));
        std::map<std::string, std::string> served;
        for (pugi::xpath_node n : doc.select_nodes("//CLASS")) {
            KVOSmrPtr<IKivoClass> c = cimxmlpa::reader::classDeclaration(n.node());
            served[c->getName().str()] = class_text::describe(*c, true);
        }
        std::vector<KVOSmrPtr<IKivoClass>> const want = compiled.classes(ns);
        EXPECT_EQ(served.size(), want.size());
        for (KVOSmrPtr<IKivoClass> const& c : want) EXPECT_EQ(served[c->getName().str()], class_text::describe(*c, true));

        pugi::xml_document decls;
        ASSERT_TRUE(decls.load_string(call("EnumerateQualifiers", "", ns).c_str()));
        std::map<std::string, KVOSmrPtr<qora::IQualifierDef>> held;
        for (pugi::xpath_node n : decls.select_nodes("//QUALIFIER.DECLARATION")) {
            KVOSmrPtr<qora::IQualifierDef> d = cimxmlpa::reader::qualifierDeclaration(n.node());
            held[d->getName().str()] = d;
        }
        for (qora::IQualifierDef const* d : compiled.qualifierDecls(ns)) {
            SCOPED_TRACE(d->getName().str());
            KVOSmrPtr<qora::IQualifierDef> const& h = held[d->getName().str()];
            ASSERT_TRUE(h);
            EXPECT_EQ(h->getCIMType(), d->getCIMType());
            EXPECT_EQ(h->isArray(), d->isArray());
            EXPECT_EQ(h->getScopes(), d->getScopes());
            EXPECT_EQ(h->getFlavors(), d->getFlavors());
            EXPECT_EQ(class_text::text(h->getDefault()), class_text::text(d->getDefault()));
        }
    }

    // A second send stops at the first class, with its name and the answer.
    EXPECT_EQ(e2e::run(KIVO_MOF_BINARY, {"send", server.url(""), (dir / "kivo.mof").string()}, out), 1);
    EXPECT_NE(out.find("CreateClass CIM_ManagedElement in root/cimv2: CIM_ERR_ALREADY_EXISTS (11)"), std::string::npos)
        << out;

    // The refusals of DeleteClass and ModifyClass are checked in
    // SchemaOperations_test.

    // A client's round trip: GetClass, one property more, ModifyClass.
    std::string port = e2e::between(call("GetClass", className("KIVT_NetworkPort")), "<IRETURNVALUE>", "</IRETURNVALUE>");
    ASSERT_NE(port.find("</CLASS>"), std::string::npos);
    port.insert(port.find("</CLASS>"), "<PROPERTY NAME=\"Duplex\" TYPE=\"boolean\"><VALUE>TRUE</VALUE></PROPERTY>");
    std::string const modified = call("ModifyClass", "<IPARAMVALUE NAME=\"ModifiedClass\">" + port + "</IPARAMVALUE>");
    EXPECT_EQ(errorCode(modified), "") << modified;
    std::string const after = call("GetClass", className("KIVT_NetworkPort"));
    EXPECT_NE(after.find("<PROPERTY NAME=\"Duplex\" TYPE=\"boolean\"><VALUE>TRUE</VALUE></PROPERTY>"), std::string::npos)
        << after;
    EXPECT_NE(after.find("<PROPERTY NAME=\"Speed\""), std::string::npos) << after;
}

}  // namespace
