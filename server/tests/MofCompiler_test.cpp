// The MOF compiler on small sources held in memory: every literal form, the
// DSP0004 rules it applies while building classes (flavors, origins,
// overrides), instances with aliases, pragmas, and a table of broken inputs
// that each give one exact error and leave the repository as it was.
#include "mof/MofCompiler.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace {

using kivo::mof::MofCompiler;
using kivo::mof::MofResult;
using kivo::om::ClassRepository;

char const kNs[] = "root/test";

char const kQualifiers[] = R"(
Qualifier Description : string = null, Scope(any), Flavor(EnableOverride, ToSubclass, Translatable);
Qualifier Key : boolean = false, Scope(property, reference), Flavor(DisableOverride, ToSubclass);
Qualifier Abstract : boolean = false, Scope(class, association, indication), Flavor(EnableOverride, Restricted);
Qualifier Association : boolean = false, Scope(association), Flavor(DisableOverride, ToSubclass);
Qualifier Override : string = null, Scope(property, reference, method), Flavor(EnableOverride, Restricted);
Qualifier In : boolean = true, Scope(parameter), Flavor(DisableOverride, ToSubclass);
Qualifier Out : boolean = false, Scope(parameter), Flavor(DisableOverride, ToSubclass);
Qualifier ValueMap : string[], Scope(property, method, parameter);
Qualifier MaxLen : uint32 = null, Scope(property, method, parameter);
Qualifier Units : string = null, Scope(property, method, parameter), Flavor(EnableOverride, ToSubclass, Translatable);
)";

char const kBase[] = R"(
[Abstract, Description("base")]
class T_Base {
    [Key, Description("id")] string Id;
    uint32 Count = 7;
    [Units("Bytes")] string Name;
    uint32 Ping([In] string Text, [In(false), Out] uint32 Ms);
};
class T_Sub : T_Base {
    [Override("Name"), MaxLen(10)] string Name;
    string Extra[];
};
)";

// A compiler over files held in memory; `repo` starts with kQualifiers and kBase.
struct Fixture {
    std::map<std::string, std::string> files;
    std::vector<std::string> includePath;
    ClassRepository repo;

    Fixture() {
        MofResult const r = compile(std::string(kQualifiers) + kBase);
        EXPECT_TRUE(r.ok()) << r.error->text();
    }
    MofResult compile(std::string const& text) {
        files["main.mof"] = text;
        MofCompiler compiler(repo, kNs, {}, [this](std::string const& path, std::string& out) {
            auto it = files.find(path);
            if (it == files.end()) return false;
            out = it->second;
            return true;
        });
        compiler.setIncludePath(includePath);
        return compiler.compileFile("main.mof");
    }
    KVOSmrPtr<IKivoValue> defaultOf(std::string const& declaration) {
        MofResult const r = compile("class T_V {\n" + declaration + "\n};");
        EXPECT_TRUE(r.ok()) << declaration << ": " << r.error->text();
        KVOSmrPtr<IKivoClass> c = repo.getClass(kNs, "T_V");
        return c ? c->getProperty("V")->getValue() : nullptr;
    }
};

TEST(MofCompiler, LiteralsOfEveryForm) {
    struct Case {
        char const* declaration;
        char const* text;  // IKivoValue::toString, or "NULL"
    } const cases[] = {
        {"uint8 V = 101b;", "5"},
        {"uint8 V = 017;", "15"},
        {"uint8 V = 0;", "0"},
        {"uint16 V = 0x1F;", "31"},
        {"uint64 V = 18446744073709551615;", "18446744073709551615"},
        {"sint8 V = -128;", "-128"},
        {"sint64 V = -9223372036854775808;", "-9223372036854775808"},
        {"sint32 V = +12;", "12"},
        {"real64 V = 1.5e2;", "150"},
        {"real32 V = -.5;", "-0.5"},
        {"real64 V = 3;", "3"},
        {"boolean V = TRUE;", "TRUE"},
        {"char16 V = 'x';", "x"},
        {"char16 V = '\\x41';", "A"},
        {"datetime V = \"20240101123000.000000+060\";", "20240101123000.000000+060"},
        {"string V = \"a\" \"b\"\n   \"c\";", "abc"},
        {"string V = \"q\\\"\\\\\\t\\x263a\";", "q\"\\\t\xE2\x98\xBA"},
        {"string V = null;", "NULL"},
        {"string V;", "NULL"},
    };
    for (Case const& c : cases) {
        Fixture f;
        KVOSmrPtr<IKivoValue> v = f.defaultOf(c.declaration);
        EXPECT_EQ(v ? v->toString().str() : std::string("NULL"), c.text) << c.declaration;
    }
    Fixture f;
    KVOSmrPtr<IKivoValue> array = f.defaultOf("uint8 V[4] = {1, 0x2, 11b};");
    ASSERT_TRUE(array && array->isArray());
    ASSERT_EQ(array->getElements().size(), 3u);
    EXPECT_EQ(array->getElements()[2]->getUnsigned(), 3u);
    EXPECT_TRUE(f.repo.getClass(kNs, "T_V")->getProperty("V")->isArray());
    EXPECT_EQ(f.repo.getClass(kNs, "T_V")->getProperty("V")->getArraySize(), 4u);
    ASSERT_TRUE(f.compile("class T_W : T_V { uint8 M(uint8 P[2], uint8 Q[]); };").ok());
    KVOSmrPtr<IKivoClass> w = f.repo.getClass(kNs, "T_W");
    EXPECT_EQ(w->getProperty("V")->getArraySize(), 4u);  // kept when inherited
    EXPECT_EQ(w->getMethod("M")->getParameter("P")->getArraySize(), 2u);
    EXPECT_EQ(w->getMethod("M")->getParameter("Q")->getArraySize(), 0u);
}

TEST(MofCompiler, InheritanceFollowsQualifierFlavorsAndOrigins) {
    Fixture f;
    KVOSmrPtr<IKivoClass> sub = f.repo.getClass(kNs, "T_Sub");
    ASSERT_TRUE(sub);
    EXPECT_EQ(sub->getSuperClassName(), "T_Base");
    // Class qualifiers: Description passes on (ToSubclass), Abstract is Restricted.
    ASSERT_TRUE(sub->getQualifier("Description"));
    EXPECT_TRUE(sub->getQualifier("Description")->isPropagated());
    EXPECT_TRUE(sub->getQualifier("Description")->getFlavors().translatable);
    EXPECT_FALSE(sub->getQualifier("Abstract"));

    // Inherited unchanged: origin T_Base, propagated, its qualifiers propagated.
    KVOSmrPtr<IKivoProperty> id = sub->getProperty("Id");
    EXPECT_EQ(id->getClassOrigin(), "T_Base");
    EXPECT_TRUE(id->isPropagated());
    EXPECT_TRUE(id->getQualifier("Key")->isPropagated());
    EXPECT_FALSE(id->getQualifier("Key")->getFlavors().overridable);
    EXPECT_EQ(sub->getProperty("Count")->getValue()->getUnsigned(), 7u);

    // Overridden: origin T_Sub, not propagated; Units propagated from the
    // overridden property, MaxLen its own, Override restricted to T_Sub.
    KVOSmrPtr<IKivoProperty> name = sub->getProperty("Name");
    EXPECT_EQ(name->getClassOrigin(), "T_Sub");
    EXPECT_FALSE(name->isPropagated());
    EXPECT_TRUE(name->getQualifier("Units")->isPropagated());
    EXPECT_FALSE(name->getQualifier("MaxLen")->isPropagated());
    EXPECT_FALSE(name->getQualifier("Override")->isPropagated());
    // Order: inherited ones in the superclass's order, then the new ones.
    std::vector<std::string> order;
    for (auto const& p : sub->getProperties()) order.push_back(p->getName().str());
    EXPECT_EQ(order, (std::vector<std::string>{"Id", "Count", "Name", "Extra"}));

    KVOSmrPtr<IKivoMethod> ping = sub->getMethod("Ping");
    EXPECT_EQ(ping->getClassOrigin(), "T_Base");
    EXPECT_TRUE(ping->isPropagated());
    EXPECT_TRUE(ping->getParameter("Text")->isIn());
    EXPECT_FALSE(ping->getParameter("Ms")->isIn());
    EXPECT_TRUE(ping->getParameter("Ms")->isOut());

    // An overriding method's parameters take their namesakes' qualifiers.
    ASSERT_TRUE(f.compile("class T_P : T_Base { [Override(\"Ping\")] uint32 Ping([Description(\"t\")] string Text, uint32 Ms); };").ok());
    KVOSmrPtr<IKivoMethod> ping2 = f.repo.getClass(kNs, "T_P")->getMethod("Ping");
    EXPECT_EQ(ping2->getClassOrigin(), "T_P");
    EXPECT_FALSE(ping2->isPropagated());
    EXPECT_TRUE(ping2->getParameter("Text")->getQualifier("In")->isPropagated());
    EXPECT_FALSE(ping2->getParameter("Text")->getQualifier("Description")->isPropagated());
    EXPECT_TRUE(ping2->getParameter("Ms")->isOut());
    EXPECT_FALSE(ping2->getParameter("Ms")->isIn());

    // A grandchild sees the Restricted Override of T_Sub nowhere.
    ASSERT_TRUE(f.compile("class T_Leaf : T_Sub { };").ok());
    KVOSmrPtr<IKivoProperty> leafName = f.repo.getClass(kNs, "T_Leaf")->getProperty("Name");
    EXPECT_EQ(leafName->getClassOrigin(), "T_Sub");
    EXPECT_FALSE(leafName->getQualifier("Override"));
    EXPECT_TRUE(leafName->getQualifier("MaxLen")->isPropagated());
}

TEST(MofCompiler, DisableOverrideQualifierMayBeRestatedWithItsValue) {
    Fixture f;
    MofResult const r = f.compile("class T_A : T_Base { [Override(\"Id\"), Key] string Id; };");
    ASSERT_TRUE(r.ok()) << r.error->text();
    EXPECT_FALSE(f.repo.getClass(kNs, "T_A")->getProperty("Id")->getQualifier("Key")->isPropagated());
}

TEST(MofCompiler, InstancesWithAliasesAndReferences) {
    Fixture f;
    MofResult const r = f.compile(R"(
[Association] class T_Link { [Key] T_Base REF Left; [Key] T_Base REF Right; };
instance of T_Sub as $a { Id = "a"; Extra = {"x", "y"}; };
instance of T_Sub as $b { Id = "b"; };
instance of T_Link { Left = $a; Right = $b; };
)");
    ASSERT_TRUE(r.ok()) << r.error->text();
    ASSERT_EQ(r.instances.size(), 3u);
    KVOSmrPtr<IKivoObject> a = r.instances[0].instance;
    EXPECT_EQ(a->getInstanceName()->toString(), "root/test:T_Sub.Id=\"a\"");
    EXPECT_EQ(a->getProperty("Count")->getValue()->getUnsigned(), 7u);  // the class default
    KVOSmrPtr<IKivoObject> link = r.instances[2].instance;
    EXPECT_EQ(link->getProperty("Right")->getValue()->getReference()->toString(), "root/test:T_Sub.Id=\"b\"");
    EXPECT_TRUE(f.repo.getClass(kNs, "T_Link")->isAssociation());
}

TEST(MofCompiler, PragmasIncludeRelativeToTheIncluderAndSwitchNamespace) {
    Fixture f;
    f.files["sub/one.mof"] = "#pragma include (\"two.mof\")\nclass T_One : T_Two {};";
    f.files["sub/two.mof"] = "#pragma locale (\"en_US\")\nclass T_Two : T_Base {};";
    MofResult const r = f.compile(
        "#pragma include (\"sub/one.mof\")\n#pragma namespace (\"root/other\")\n#pragma vendor(\"x\", 1)\n"
        "Qualifier Key : boolean = false, Scope(property), Flavor(DisableOverride);\nclass T_Other { [Key] string K; };");
    ASSERT_TRUE(r.ok()) << r.error->text();
    EXPECT_EQ(r.classes, 3u);
    EXPECT_TRUE(f.repo.isA(kNs, "T_One", "T_Base"));
    EXPECT_TRUE(f.repo.getClass("root/other", "T_Other"));
    EXPECT_FALSE(f.repo.getClass(kNs, "T_Other"));
}

// A name not found beside the includer is looked up in the include path, in
// order; the includer's own directory wins.
TEST(MofCompiler, IncludePathIsSearchedAfterTheIncludersDirectory) {
    Fixture f;
    f.files["lib1/T_Lib.mof"] = "class T_Lib : T_Base {};";
    f.files["lib2/T_Lib.mof"] = "class T_Wrong {};";
    f.files["lib2/T_Two.mof"] = "class T_Two : T_Lib {};";
    f.files["T_Near.mof"] = "class T_Near : T_Base {};";
    f.files["lib1/T_Near.mof"] = "class T_Far {};";
    f.includePath = {"lib1", "lib2"};
    MofResult const r = f.compile(
        "#pragma include (\"T_Lib.mof\")\n#pragma include (\"T_Two.mof\")\n#pragma include (\"T_Near.mof\")");
    ASSERT_TRUE(r.ok()) << r.error->text();
    EXPECT_TRUE(f.repo.isA(kNs, "T_Two", "T_Base"));
    EXPECT_TRUE(f.repo.getClass(kNs, "T_Near"));
    EXPECT_FALSE(f.repo.getClass(kNs, "T_Wrong"));
    EXPECT_FALSE(f.repo.getClass(kNs, "T_Far"));
}

// Every broken input gives one error naming file, line and column, and
// leaves the repository exactly as it was.
TEST(MofCompiler, BrokenInputsGiveOnePreciseErrorAndChangeNothing) {
    struct Case {
        char const* what;
        std::map<std::string, std::string> extraFiles;
        char const* main;
        char const* error;
    } const cases[] = {
        {"unterminated string", {}, "class T_A { string S = \"abc;\n};", "main.mof:1:24: unterminated string literal"},
        {"unterminated comment", {}, "class T_A {};\n  /* abc", "main.mof:2:3: unterminated comment"},
        {"unknown superclass", {}, "class T_A : T_Nope {};", "main.mof:1:13: superclass T_Nope of T_A is not defined"},
        {"qualifier out of scope", {}, "class T_A { [Abstract] string S; };",
         "main.mof:1:14: qualifier Abstract is not allowed on a property"},
        {"undeclared qualifier", {}, "[Nope] class T_A {};", "main.mof:1:2: qualifier Nope is not declared"},
        {"DisableOverride overridden", {}, "class T_A : T_Base { [Override(\"Id\"), Key(false)] string Id; };",
         "main.mof:1:39: qualifier Key has the DisableOverride flavor and cannot be overridden"},
        {"DisableOverride on a parameter", {}, "class T_A : T_Base { [Override(\"Ping\")] uint32 Ping([In(false)] string Text); };",
         "main.mof:1:54: qualifier In has the DisableOverride flavor and cannot be overridden"},
        {"duplicate property", {}, "class T_A {\n  string S;\n  uint8 S;\n};", "main.mof:3:9: duplicate property S"},
        {"redeclared without Override", {}, "class T_A : T_Base { string Name; };",
         "main.mof:1:29: property Name is inherited; redeclaring it needs the Override qualifier"},
        {"Override of nothing", {}, "class T_A : T_Base { [Override(\"Nope\")] string Nope; };",
         "main.mof:1:23: Override names Nope, which no superclass declares"},
        {"class defined twice", {}, "class T_Base {};", "main.mof:1:7: class T_Base is already defined"},
        {"bad hexadecimal literal", {}, "class T_A { uint8 U = 0x; };",
         "main.mof:1:23: expected hexadecimal digits after '0x'"},
        {"bad octal literal", {}, "class T_A { uint8 U = 019; };", "main.mof:1:23: bad octal literal"},
        {"integer out of range", {}, "class T_A { uint8 U = 256; };", "main.mof:1:23: value out of range for uint8"},
        {"negative unsigned", {}, "class T_A { uint8 U = -1; };", "main.mof:1:23: value out of range for uint8"},
        {"default of another type", {}, "class T_A { uint32 U = \"x\"; };", "main.mof:1:24: expected a uint32 value"},
        {"bad datetime", {}, "class T_A { datetime D = \"2024\"; };", "main.mof:1:26: bad datetime literal \"2024\""},
        {"two-character char16", {}, "class T_A { char16 C = 'ab'; };",
         "main.mof:1:24: a char16 literal holds one character"},
        {"missing semicolon", {}, "class T_A { string S };", "main.mof:1:22: expected ';' after property declaration"},
        {"new key under a keyed superclass", {}, "class T_A : T_Sub { [Key] string K2; };",
         "main.mof:1:34: key K2 is new, but superclass T_Sub already has keys"},
        {"key array", {}, "class T_A { [Key] string K[]; };", "main.mof:1:26: key property K cannot be an array"},
        {"reference to unknown class", {}, "[Association] class T_A { T_Nope REF R; };",
         "main.mof:1:27: reference to class T_Nope, which is not defined"},
        {"undefined alias", {}, "[Association] class T_L { [Key] T_Base REF A; };\ninstance of T_L { A = $nope; };",
         "main.mof:2:23: alias $nope is not defined"},
        {"instance without its key", {}, "instance of T_Sub { Extra = {}; };",
         "main.mof:1:13: instance of T_Sub has no value for key Id"},
        {"include not found", {}, "#pragma include (\"missing.mof\")", "main.mof:1:18: cannot open include file 'missing.mof'"},
        {"include cycle", {{"a.mof", "class T_A {};\n#pragma include (\"main.mof\")"}}, "#pragma include (\"a.mof\")",
         "a.mof:2:18: include cycle: 'main.mof' is already being compiled"},
        {"error in an included file", {{"d/b.mof", "class T_B {\n  string;\n};"}}, "#pragma include (\"d/b.mof\")",
         "d/b.mof:2:9: expected a property or method name"},
        {"late error undoes earlier classes", {}, "class T_Good {};\nclass T_Bad : T_None {};",
         "main.mof:2:15: superclass T_None of T_Bad is not defined"},
    };
    for (Case const& c : cases) {
        Fixture f;
        for (auto const& [name, text] : c.extraFiles) f.files[name] = text;
        std::size_t const classes = f.repo.subclasses(kNs, "", true).size();
        std::size_t const decls = f.repo.qualifierDecls(kNs).size();
        MofResult const r = f.compile(c.main);
        ASSERT_FALSE(r.ok()) << c.what;
        EXPECT_EQ(r.error->text(), c.error) << c.what;
        EXPECT_EQ(f.repo.subclasses(kNs, "", true).size(), classes) << c.what;
        EXPECT_EQ(f.repo.qualifierDecls(kNs).size(), decls) << c.what;
        EXPECT_FALSE(f.repo.getClass(kNs, "T_Good")) << c.what;
        EXPECT_TRUE(r.instances.empty()) << c.what;
    }
}

TEST(MofCompiler, LimitsAreAnsweredAtTheirBoundary) {
    ClassRepository repo;
    std::map<std::string, std::string> files;
    for (int i = 0; i < 4; ++i) files["f" + std::to_string(i) + ".mof"] = "#pragma include (\"f" + std::to_string(i + 1) + ".mof\")";
    files["f4.mof"] = "";
    auto reader = [&](std::string const& path, std::string& out) {
        auto it = files.find(path);
        if (it == files.end()) return false;
        out = it->second;
        return true;
    };
    kivo::mof::MofLimits limits;
    limits.maxIncludeDepth = 5;
    EXPECT_TRUE(MofCompiler(repo, kNs, limits, reader).compileFile("f0.mof").ok());
    limits.maxIncludeDepth = 4;
    MofResult r = MofCompiler(repo, kNs, limits, reader).compileFile("f0.mof");
    ASSERT_FALSE(r.ok());
    EXPECT_EQ(r.error->text(), "f3.mof:1:18: includes nest deeper than 4 files");

    limits = {};
    limits.maxArrayElements = 2;
    std::string const q = "Qualifier V : uint8[], Scope(any);\n";
    files["f0.mof"] = q + "[V{1, 2}] class T_A {};";
    EXPECT_TRUE(MofCompiler(repo, kNs, limits, reader).compileFile("f0.mof").ok());
    files["f0.mof"] = q + "[V{1, 2, 3}] class T_B {};";
    r = MofCompiler(repo, kNs, limits, reader).compileFile("f0.mof");
    ASSERT_FALSE(r.ok());
    EXPECT_EQ(r.error->text(), "f0.mof:2:10: array value has more than 2 elements");

    limits = {};
    limits.maxFileBytes = 10;
    files["f0.mof"] = "class T_C {};";
    r = MofCompiler(repo, kNs, limits, reader).compileFile("f0.mof");
    ASSERT_FALSE(r.ok());
    EXPECT_EQ(r.error->text(), "f0.mof:1:1: file is larger than 10 bytes");
}

}  // namespace
