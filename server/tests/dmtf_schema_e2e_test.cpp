// End to end with the whole DMTF CIM Schema loaded at start-up into a
// namespace of its own: every class is named; GetClass and EnumerateClasses
// answer with the elements DSP0004 and DSP0200 call for under every
// combination of LocalOnly, IncludeQualifiers, IncludeClassOrigin,
// DeepInheritance and PropertyList; a schema that does not compile stops the
// server before it listens.
//
// The expectations come from the rules and from the schema's text: the class
// hierarchy is read from the MOF files here with a plain pattern (not with
// the server's compiler), and the facts of the classes below were read off
// their MOF files.
#include "E2EHarness.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <regex>
#include <set>

namespace {

using e2e::Connection;
using e2e::HttpResponse;

char const kNamespaceXml[] = "<NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"dmtf\"/>";

// One element of a class as the answer shows it.
struct Element {
    std::map<std::string, std::string> attributes;
    std::set<std::string> qualifiers;
};
struct ClassAnswer {
    std::map<std::string, std::string> attributes;  // of CLASS
    std::set<std::string> qualifiers;               // of the class itself
    std::map<std::string, Element> properties;      // PROPERTY, PROPERTY.ARRAY, PROPERTY.REFERENCE
    std::map<std::string, Element> methods;
    std::size_t allQualifiers = 0;                   // QUALIFIER elements anywhere
    std::size_t propagatedClassQualifiers = 0;      // of the class itself, PROPAGATED="true"
};

std::map<std::string, std::string> attributesOf(std::string const& tag) {
    static std::regex const attribute(R"re(([A-Za-z.]+)="([^"]*)")re");
    std::map<std::string, std::string> out;
    for (auto it = std::sregex_iterator(tag.begin(), tag.end(), attribute); it != std::sregex_iterator(); ++it)
        out[(*it)[1]] = (*it)[2];
    return out;
}

// Reads the CLASS elements of an answer: qualifiers belong to the property or
// method open around them (a parameter's to none), else to the class.
std::vector<ClassAnswer> classesOf(std::string const& body) {
    std::vector<ClassAnswer> out;
    Element* open = nullptr;
    bool inParameter = false;
    for (std::size_t at = body.find('<'); at != std::string::npos; at = body.find('<', at + 1)) {
        std::size_t const end = body.find('>', at);
        if (end == std::string::npos) break;
        std::string const tag = body.substr(at + 1, end - at - 1);
        std::string const name = tag.substr(0, tag.find_first_of(" /", 1));
        if (name == "CLASS") {
            out.emplace_back();
            out.back().attributes = attributesOf(tag);
            open = nullptr;
            inParameter = false;
        } else if (out.empty()) {
            continue;
        } else if (name == "PROPERTY" || name == "PROPERTY.ARRAY" || name == "PROPERTY.REFERENCE" || name == "METHOD") {
            auto attributes = attributesOf(tag);
            Element& e = (name == "METHOD" ? out.back().methods : out.back().properties)[attributes["NAME"]];
            e.attributes = attributes;
            open = tag.back() == '/' ? nullptr : &e;
        } else if (name.rfind("PARAMETER", 0) == 0) {
            inParameter = tag.back() != '/';
        } else if (name.rfind("/PARAMETER", 0) == 0) {
            inParameter = false;
        } else if (name == "/PROPERTY" || name == "/PROPERTY.ARRAY" || name == "/PROPERTY.REFERENCE" || name == "/METHOD") {
            open = nullptr;
        } else if (name == "QUALIFIER") {
            ++out.back().allQualifiers;
            auto attributes = attributesOf(tag);
            if (inParameter) continue;
            (open ? open->qualifiers : out.back().qualifiers).insert(attributes["NAME"]);
            if (!open && attributes["PROPAGATED"] == "true") ++out.back().propagatedClassQualifiers;
        }
    }
    return out;
}

// The class hierarchy as the schema's files state it: class -> superclass ("" for a root).
std::map<std::string, std::string> hierarchyOfTheFiles(std::string const& dir) {
    static std::regex const declaration(R"(^\s*class\s+(\w+)\s*(?::\s*(\w+))?\s*\{)");
    std::map<std::string, std::string> parents;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(dir)) {
        if (entry.path().extension() != ".mof") continue;
        std::ifstream in(entry.path());
        std::string line;
        std::smatch m;
        while (std::getline(in, line))
            if (std::regex_search(line, m, declaration)) parents[m[1]] = m[2];
    }
    return parents;
}

std::set<std::string> subclassesIn(std::map<std::string, std::string> const& parents, std::string const& root, bool deep) {
    std::set<std::string> out;
    for (auto const& [cls, parent] : parents) {
        if (parent == root) out.insert(cls);
    }
    if (deep) {
        for (std::string const& c : std::set<std::string>(out)) {
            std::set<std::string> const below = subclassesIn(parents, c, true);
            out.insert(below.begin(), below.end());
        }
    }
    return out;
}

// What the MOF files say of some members of a class.
struct Member {
    char const* name;
    char const* origin;  // the class that defines or last overrides it
    bool local;          // defined or overridden in the class itself
    std::vector<char const*> qualifiers;  // it must carry (own or ToSubclass)
    std::vector<char const*> notQualifiers;  // it must not carry (Restricted, of a superclass)
};
struct ClassFacts {
    char const* name;
    char const* superClass;
    std::vector<Member> properties;
    std::vector<Member> methods;
    std::vector<char const*> qualifiers;     // the class's own
    std::vector<char const*> notQualifiers;  // Restricted ones of its superclasses
};

std::vector<ClassFacts> const& facts() {
    static std::vector<ClassFacts> const table = {
        // Seven levels deep; overrides in CIM_System (Name) and here (NameFormat).
        {"CIM_ComputerSystem", "CIM_System",
         {{"NameFormat", "CIM_ComputerSystem", true, {"Override", "Description"}, {}},
          {"Dedicated", "CIM_ComputerSystem", true, {"ValueMap"}, {}},
          {"Name", "CIM_System", false, {"Key", "MaxLen"}, {"Override"}},
          {"CreationClassName", "CIM_System", false, {"Key"}, {}},
          {"OperationalStatus", "CIM_ManagedSystemElement", false, {"ArrayType", "ValueMap"}, {}},
          {"EnabledState", "CIM_EnabledLogicalElement", false, {}, {}},
          {"InstanceID", "CIM_ManagedElement", false, {}, {}}},
         {{"SetPowerState", "CIM_ComputerSystem", true, {"Deprecated"}, {}},
          {"RequestStateChange", "CIM_EnabledLogicalElement", false, {}, {}}},
         {"Version", "UMLPackagePath", "Description"},
         {"Abstract"}},
        {"CIM_System", "CIM_AllocatedLogicalElement",
         {{"Name", "CIM_System", true, {"Key", "Override"}, {}},
          {"CreationClassName", "CIM_System", true, {"Key"}, {}},
          {"Roles", "CIM_System", true, {}, {}},
          {"InstallDate", "CIM_ManagedSystemElement", false, {}, {}}},
         {{"RequestStateChange", "CIM_EnabledLogicalElement", false, {}, {}}},
         {"Abstract", "Version"},
         {}},
        // An association whose references narrow those of its superclasses.
        {"CIM_SystemDevice", "CIM_SystemComponent",
         {{"GroupComponent", "CIM_SystemDevice", true, {"Key", "Aggregate", "Override"}, {}},
          {"PartComponent", "CIM_SystemDevice", true, {"Key", "Override"}, {}}},
         {},
         {"Association", "Aggregation", "Composition"},
         {"Abstract"}},
    };
    return table;
}

// The property lists asked for: none (every property), one local and one
// inherited property of the class, and an empty list.
std::vector<std::optional<std::vector<std::string>>> propertyListsFor(ClassFacts const& c) {
    std::vector<std::string> some = {c.properties.front().name};
    for (Member const& m : c.properties) {
        if (!m.local) {
            some.push_back(m.name);
            break;
        }
    }
    return {std::nullopt, some, std::vector<std::string>{}};
}

// Checks one class of an answer against the facts under the view asked for.
void expectView(ClassAnswer const& got, ClassFacts const& c, bool localOnly, bool qualifiers, bool origin,
                std::optional<std::vector<std::string>> const& list) {
    EXPECT_EQ(got.attributes.count("SUPERCLASS") ? got.attributes.at("SUPERCLASS") : "", c.superClass);
    if (!qualifiers) {
        EXPECT_EQ(got.allQualifiers, 0u);
    }
    for (char const* q : c.qualifiers) EXPECT_EQ(got.qualifiers.count(q), qualifiers ? 1u : 0u) << q;
    for (char const* q : c.notQualifiers) EXPECT_EQ(got.qualifiers.count(q), 0u) << q;
    auto const listed = [&](char const* name) {
        return !list || std::find(list->begin(), list->end(), name) != list->end();
    };
    auto const check = [&](std::map<std::string, Element> const& elements, Member const& m, bool wanted) {
        SCOPED_TRACE(m.name);
        auto it = elements.find(m.name);
        ASSERT_EQ(it != elements.end(), wanted);
        if (!wanted) return;
        Element const& e = it->second;
        EXPECT_EQ(e.attributes.count("CLASSORIGIN") ? e.attributes.at("CLASSORIGIN") : "", origin ? m.origin : "");
        EXPECT_EQ(e.attributes.count("PROPAGATED") ? e.attributes.at("PROPAGATED") : "false", m.local ? "false" : "true");
        for (char const* q : m.qualifiers) EXPECT_EQ(e.qualifiers.count(q), qualifiers ? 1u : 0u) << q;
        for (char const* q : m.notQualifiers) EXPECT_EQ(e.qualifiers.count(q), 0u) << q;
    };
    for (Member const& m : c.properties) check(got.properties, m, (!localOnly || m.local) && listed(m.name));
    // PropertyList leaves the methods alone.
    for (Member const& m : c.methods) check(got.methods, m, !localOnly || m.local);
    if (list) {
        EXPECT_LE(got.properties.size(), list->size());
    }
    if (localOnly) {
        // LocalOnly: only the elements the class defines or overrides, its qualifiers among them.
        EXPECT_EQ(got.propagatedClassQualifiers, 0u);
        for (auto const& [name, e] : got.properties) EXPECT_NE(e.attributes.count("PROPAGATED") ? e.attributes.at("PROPAGATED") : "", "true") << name;
    }
}

std::string boolParam(char const* name, bool value) { return e2e::valueParam(name, value ? "TRUE" : "FALSE"); }

class SchemaServer : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (!std::filesystem::exists(std::string(KIVO_CIM_SCHEMA_DIR) + "/cim_schema_2.49.0.mof")) return;
        server = new e2e::ServerProcess;
        auto const start = std::chrono::steady_clock::now();
        std::string error;
        started = server->start({"--log-level", "critical", "--schema", "root/dmtf=cim_schema_2.49.0.mof"}, error);
        startError = new std::string(error);
        std::printf("start-up with the whole schema: %lld ms\n",
                    static_cast<long long>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                               std::chrono::steady_clock::now() - start)
                                               .count()));
        parents = new std::map<std::string, std::string>(hierarchyOfTheFiles(KIVO_CIM_SCHEMA_DIR));
    }
    static void TearDownTestSuite() {
        if (server && server->pid() > 0) {
            EXPECT_EQ(server->stop(SIGTERM), 0);
        }
        delete server;
        delete startError;
        delete parents;
        server = nullptr;
    }
    void SetUp() override {
        if (!server) GTEST_SKIP() << "the CIM schema zip is not beside the project";
        ASSERT_TRUE(started) << *startError;
    }

    static std::string call(char const* method, std::string const& params) {
        Connection c(server->port());
        EXPECT_TRUE(c.send(e2e::cimRequest(method, "root/dmtf", e2e::intrinsicBody(method, params, kNamespaceXml))));
        HttpResponse r = c.read();
        EXPECT_EQ(r.status, 200);
        EXPECT_EQ(r.body.find("<ERROR"), std::string::npos) << r.body.substr(0, 400);
        return r.body;
    }

    static e2e::ServerProcess* server;
    static bool started;
    static std::string* startError;
    static std::map<std::string, std::string>* parents;
};

e2e::ServerProcess* SchemaServer::server = nullptr;
bool SchemaServer::started = false;
std::string* SchemaServer::startError = nullptr;
std::map<std::string, std::string>* SchemaServer::parents = nullptr;

TEST_F(SchemaServer, EnumerateClassNamesNamesEveryClass) {
    std::string const body = call("EnumerateClassNames", boolParam("DeepInheritance", true));
    std::set<std::string> names;
    static std::regex const className(R"re(<CLASSNAME NAME="(\w+)")re");
    for (auto it = std::sregex_iterator(body.begin(), body.end(), className); it != std::sregex_iterator(); ++it)
        names.insert((*it)[1]);
    // MofSchema_test counts them by prefix; here each must be the files' own.
    EXPECT_EQ(names.size(), 1631u);
    std::set<std::string> inFiles;
    for (auto const& [cls, parent] : *parents) inFiles.insert(cls);
    EXPECT_EQ(names, inFiles);
}

TEST_F(SchemaServer, GetClassUnderEveryCombinationOfItsParameters) {
    for (ClassFacts const& c : facts()) {
        for (int flags = 0; flags < 8; ++flags) {
            bool const localOnly = flags & 1, qualifiers = flags & 2, origin = flags & 4;
            for (auto const& list : propertyListsFor(c)) {
                SCOPED_TRACE(std::string(c.name) + " LocalOnly=" + std::to_string(localOnly) + " IncludeQualifiers=" +
                             std::to_string(qualifiers) + " IncludeClassOrigin=" + std::to_string(origin) +
                             " PropertyList=" + (list ? std::to_string(list->size()) : "none"));
                std::string params = "<IPARAMVALUE NAME=\"ClassName\"><CLASSNAME NAME=\"" + std::string(c.name) +
                                     "\"/></IPARAMVALUE>" + boolParam("LocalOnly", localOnly) +
                                     boolParam("IncludeQualifiers", qualifiers) + boolParam("IncludeClassOrigin", origin);
                if (list) {
                    params += "<IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY>";
                    for (std::string const& p : *list) params += "<VALUE>" + p + "</VALUE>";
                    params += "</VALUE.ARRAY></IPARAMVALUE>";
                }
                std::vector<ClassAnswer> const got = classesOf(call("GetClass", params));
                ASSERT_EQ(got.size(), 1u);
                expectView(got.front(), c, localOnly, qualifiers, origin, list);
            }
        }
    }
}

TEST_F(SchemaServer, EnumerateClassesUnderEveryCombinationOfItsParameters) {
    // Each class of the facts is enumerated from its superclass.
    for (ClassFacts const& c : facts()) {
        for (int flags = 0; flags < 16; ++flags) {
            bool const localOnly = flags & 1, qualifiers = flags & 2, origin = flags & 4, deep = flags & 8;
            SCOPED_TRACE(std::string(c.superClass) + " LocalOnly=" + std::to_string(localOnly) + " IncludeQualifiers=" +
                         std::to_string(qualifiers) + " IncludeClassOrigin=" + std::to_string(origin) +
                         " DeepInheritance=" + std::to_string(deep));
            std::vector<ClassAnswer> const got = classesOf(
                call("EnumerateClasses", "<IPARAMVALUE NAME=\"ClassName\"><CLASSNAME NAME=\"" + std::string(c.superClass) +
                                             "\"/></IPARAMVALUE>" + boolParam("DeepInheritance", deep) +
                                             boolParam("LocalOnly", localOnly) + boolParam("IncludeQualifiers", qualifiers) +
                                             boolParam("IncludeClassOrigin", origin)));
            std::set<std::string> names;
            ClassAnswer const* mine = nullptr;
            for (ClassAnswer const& a : got) {
                names.insert(a.attributes.at("NAME"));
                if (a.attributes.at("NAME") == c.name) mine = &a;
            }
            EXPECT_EQ(names, subclassesIn(*parents, c.superClass, deep));
            ASSERT_TRUE(mine);
            expectView(*mine, c, localOnly, qualifiers, origin, std::nullopt);
        }
    }
}

// A schema that does not compile: the compiler's file:line:column on
// standard error, exit status 3, and never a "listening" line.
TEST(SchemaStartUp, AFileThatDoesNotCompileStopsTheServer) {
    std::filesystem::path const dir =
        std::filesystem::temp_directory_path() / ("kivo_schema_e2e_" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    std::ofstream(dir / "broken.mof") << "#pragma include (\"qualifiers.mof\")\n\nclass Test_Broken : CIM_Missing {\n};\n";
    struct Case {
        std::vector<std::string> args;
        int status;
        std::string stderrHas;
    } const cases[] = {
        {{"--schema", "root/x=broken.mof", "--schema-path", dir.string(), "--schema-path", KIVO_CIM_SCHEMA_DIR}, 3,
         (dir / "broken.mof").string() + ":3:"},
        {{"--schema", "root/x=" + (dir / "missing.mof").string()}, 3, "missing.mof"},
        {{"--schema", "root/x"}, 2, "NAMESPACE=FILE"},
    };
    for (Case const& c : cases) {
        std::vector<std::string> args = {"--port", "0", "--repository", ":memory:"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        std::string output;
        EXPECT_EQ(e2e::run(e2e::serverBinary(), args, output), c.status) << output;
        EXPECT_NE(output.find(c.stderrHas), std::string::npos) << output;
        EXPECT_EQ(output.find("listening"), std::string::npos) << output;
    }
    std::filesystem::remove_all(dir);
}

}  // namespace
