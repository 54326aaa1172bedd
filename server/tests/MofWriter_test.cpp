// The MOF writer, checked by round trips: a repository compiled from MOF is
// written out, the output compiled into an empty repository, and the two
// compared (RepositoryCompare.h), instances too; writing the copy again gives
// the same text. The whole DMTF schema and the server's model, a table of hard
// cases, the class order, what cannot be written, and the comparison itself.
#include "mof/MofCompiler.h"
#include "mof/MofWriter.h"

#include "KivoUtilities/KivoBaseException.h"
#include "RepositoryCompare.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <limits>
#include <sstream>
#include <string>

namespace {

using kivo::mof::MofCompiler;
using kivo::mof::MofInstance;
using kivo::mof::MofResult;
using kivo::om::ClassRepository;

char const kNs[] = "root/test";

struct Compiled {
    ClassRepository repo;
    std::vector<MofInstance> instances;
    std::string error;
};

// Compiles each text in turn into one repository.
Compiled compile(std::vector<std::string> const& texts, char const* nameSpace = kNs) {
    Compiled c;
    for (std::string const& t : texts) {
        MofResult r = MofCompiler(c.repo, nameSpace).compileText(t);
        if (!r.ok()) {
            c.error = r.error->text() + "\n" + t.substr(0, 4000);
            return c;
        }
        c.instances.insert(c.instances.end(), r.instances.begin(), r.instances.end());
    }
    return c;
}

// The namespaces of `c` (those of `like` when given), each with its
// instances, as one MOF text per namespace.
std::vector<std::string> writeAll(Compiled const& c, Compiled const* like = nullptr) {
    std::vector<std::string> out;
    for (KVOString const& ns : (like ? like : &c)->repo.namespaces()) {
        std::ostringstream s;
        kivo::mof::writeNamespace(s, c.repo, ns, [&](auto const& sink) {
            for (MofInstance const& i : c.instances)
                if (kivo::om::nameSpaceKey(i.nameSpace) == kivo::om::nameSpaceKey(ns) && !sink(i.instance)) return;
        });
        out.push_back(s.str());
    }
    return out;
}

// Writes `original` out, compiles the text back, and answers the first
// difference (empty when none).
std::string roundTrip(Compiled const& original, std::size_t* bytes = nullptr) {
    std::vector<std::string> const text = writeAll(original);
    if (bytes) for (std::string const& t : text) *bytes += t.size();
    Compiled const copy = compile(text);
    if (!copy.error.empty()) return "the output does not compile: " + copy.error;
    for (KVOString const& ns : original.repo.namespaces())
        if (std::string d = kivo::test::sameRepository(original.repo, copy.repo, ns); !d.empty()) return d;
    if (copy.instances.size() != original.instances.size()) return "instance counts differ";
    for (std::size_t i = 0; i < copy.instances.size(); ++i)
        if (std::string d = kivo::test::sameInstance(*original.instances[i].instance, *copy.instances[i].instance);
            !d.empty())
            return d;
    if (writeAll(copy, &original) != text) return "writing the copy gives other text";
    return {};
}

// The qualifier declarations every hard case compiles over; between them
// every type, array defaults and every flavor.
char const kQualifiers[] = R"(
Qualifier Description : string = null, Scope(any), Flavor(Translatable);
Qualifier Key : boolean = false, Scope(property, reference), Flavor(DisableOverride);
Qualifier Abstract : boolean = false, Scope(class, association, indication), Flavor(Restricted);
Qualifier Association : boolean = false, Scope(association), Flavor(DisableOverride);
Qualifier Override : string = null, Scope(property, reference, method), Flavor(Restricted);
Qualifier In : boolean = true, Scope(parameter), Flavor(DisableOverride);
Qualifier Out : boolean = false, Scope(parameter), Flavor(DisableOverride);
Qualifier ValueMap : string[], Scope(property, method, parameter);
Qualifier MaxLen : uint32 = null, Scope(property, method, parameter);
Qualifier EmbeddedInstance : string = null, Scope(property, method, parameter);
Qualifier Weights : real64[] = {1.5, -2, 1e-300}, Scope(class, property), Flavor(ToInstance);
Qualifier Mark : char16 = '\'', Scope(parameter, indication);
Qualifier Since : datetime = "20000101000000.000000+000", Scope(any), Flavor(DisableOverride, Restricted);
Qualifier Big : sint64 = -9223372036854775808, Scope(class);
)";

struct HardCase {
    char const* name;
    char const* mof;
    char const* after;  // compiled after `mof` (a replaced declaration), or null
};

HardCase const kHardCases[] = {
    {"strings and char16",
     R"(class T_Str { [Key] string K;
          string S = "q\"uote \\ back\nline\ttab\r\b\f \x0001\x001F\x007F1 é 日本 𝄞";
          string E = ""; char16 C1 = '\''; char16 C2 = '\\'; char16 C3 = 'é'; char16 C4 = '\x0000'; char16 C5 = '"'; };
        instance of T_Str { K = "a\"b\\c\nd,e=f"; S = "\x0002 \"x\" ü"; C1 = '\n'; };)",
     nullptr},
    {"datetimes",
     R"(class T_Dt { [Key] datetime K; datetime Iv = "00000001020304.000005:000";
          datetime W = "2026**24081530.******+000"; datetime A[] = {"20000101000000.000000-720"}; };
        instance of T_Dt { K = "20261124081530.123456+060"; Iv = "99999999235959.999999:000"; };)",
     nullptr},
    {"reals",
     R"(class T_Real { [Key] real64 K; real32 F = 0.1; real32 G = 3.4028235e38; real64 D = -1.5e-300;
          real64 Min = 5e-324; real64 Max = 1.7976931348623157e308; real64 Z = -0.0; real64 I = 42;
          real64 A[] = {1e21, 0.000001, 123456789.125, -7}; real32 B[] = {1.17549435e-38, 16777217}; };
        instance of T_Real { K = 0.30000000000000004; F = -1e-45; };)",
     nullptr},
    {"integer extremes",
     R"(class T_Int { [Key] sint64 K; uint8 U8 = 255; sint8 S8 = -128; sint8 S8b = 127; uint16 U16 = 65535;
          sint16 S16 = -32768; uint32 U32 = 4294967295; sint32 S32 = -2147483648; uint64 U64 = 18446744073709551615;
          sint64 S64 = 9223372036854775807; uint64 Z = 0; sint32 A[] = {-1, 0, 2147483647}; };
        instance of T_Int { K = -9223372036854775808; U8 = 0; S8 = 127; U64 = 0; };)",
     nullptr},
    {"arrays",
     R"(class T_Arr { [Key] string K; string Empty[] = {}; uint8 Fixed[4] = {1, 2, 3, 255};
          string Var[] = {"a", "b\"c", ""}; boolean B[] = {true, false}; char16 C[] = {'a', 'é'};
          sint64 N[]; uint16 F2[2]; datetime D[3]; };
        instance of T_Arr { K = "x"; Var = {}; N = {-5}; F2 = {1, 2}; Fixed = {9, 8, 7, 6}; };)",
     nullptr},
    {"NULL defaults and NULL over a default",
     R"(class T_Null { [Key] uint32 K; string S = NULL; string D = "default"; uint32 U = 7; boolean F = false;
          string A[] = {"x"}; };
        instance of T_Null { K = 1; D = NULL; U = NULL; A = NULL; };
        instance of T_Null { K = 2; S = "set"; };)",
     nullptr},
    {"references and embedded instances",
     R"(class T_Part { [Key] string Id; [Key] uint16 N; [Key] boolean On; string Label = "L"; };
        class T_Holder { [Key] string Id; };
        [Association] class T_Link { [Key] T_Holder REF Whole; [Key] T_Part REF Piece; };
        class T_Env { [Key] string Id; [EmbeddedInstance("T_Part")] string Emb;
          [EmbeddedInstance("T_Part")] string Embs[]; T_Link REF Via; };
        instance of T_Holder as $H { Id = "h \"1\" \\ ,.=:"; };
        instance of T_Part as $P { Id = "p,1=2"; N = 7; On = true; };
        instance of T_Link as $L { Whole = $H; Piece = $P; };
        instance of T_Env { Id = "e"; Via = $L;
          Emb = instance of T_Part { Id = "in\"ner"; N = 1; };
          Embs = { instance of T_Part { Id = "a"; N = 2; }, instance of T_Part { Id = "b"; Label = NULL; } }; };
        instance of T_Env { Id = "f"; Embs = {}; };)",
     nullptr},
    {"flavors apart from the declaration's, Override, methods",
     R"([Description("base") : Restricted DisableOverride, Weights{}, Big(5)]
        class T_Base { [Key : Restricted, Description("k") : DisableOverride] string K;
          [MaxLen(10) : DisableOverride Translatable ToInstance, ValueMap{"1", "2"}] string S;
          [Description("m")] uint32 M([In : EnableOverride, Description("p"), Mark('x')] string P,
                                      [In(false), Out, MaxLen] uint32 R[], [In] T_Base REF Self, uint8 Fixed[16]);
          string Plain; };
        class T_Sub : T_Base { [Override("S"), Description("sub")] string S = "x";
          [Override("M")] uint32 M([In, Description("p2")] string P, [Out] uint32 R[], T_Base REF Self, uint8 Fixed[16]);
          string Own; [Override("K"), Key] string K; };
        [Abstract] class T_Leaf : T_Sub { [Weights{0.5}] real64 W; };)",
     nullptr},
    {"declarations replaced after classes used them",
     R"(Qualifier Note : string = "d", Scope(class, property);
        Qualifier Tag : boolean = false, Scope(class, property), Flavor(DisableOverride, Restricted, Translatable);
        [Note("v"), Tag] class T_Q { [Note, Tag(false)] string P; };
        class T_QSub : T_Q { };)",
     R"(Qualifier Note : string = "d2", Scope(class, property), Flavor(DisableOverride, Restricted);
        Qualifier Tag : boolean = true, Scope(any);)"},
};

TEST(MofWriter, HardCasesRoundTrip) {
    for (HardCase const& c : kHardCases) {
        SCOPED_TRACE(c.name);
        std::vector<std::string> texts{kQualifiers, c.mof};
        if (c.after) texts.emplace_back(c.after);
        Compiled const original = compile(texts);
        ASSERT_EQ(original.error, "");
        EXPECT_EQ(roundTrip(original), "");
    }
}

// The declared flavors and values, and the escapes, as the text says them:
// what the round trip cannot see when both sides are wrong alike.
TEST(MofWriter, WritesTheDeclaredForm) {
    Compiled const c = compile({kQualifiers, kHardCases[0].mof, kHardCases[7].mof});
    ASSERT_EQ(c.error, "");
    std::string const text = writeAll(c).front();
    for (char const* expected : {
             "Qualifier Since : datetime = \"20000101000000.000000+000\", Scope(any), Flavor(DisableOverride, Restricted);\n",
             "Qualifier Weights : real64[] = {1.5, -2, 1e-300}, Scope(class, property), Flavor(ToInstance);\n",
             "Qualifier Mark : char16 = '\\'', Scope(indication, parameter);\n",
             "string S = \"q\\\"uote \\\\ back\\nline\\ttab\\r\\b\\f \\x0001\\x001F\\x007F1 é 日本 𝄞\";\n",
             "char16 C4 = '\\x0000';",
             "[Description(\"base\") : DisableOverride Restricted,\n Weights{},\n Big(5)]\nclass T_Base {\n",
             "[Key : Restricted,\n       Description(\"k\") : DisableOverride]\n   string K;\n",
             "[In(FALSE),\n       Out,\n       MaxLen] uint32 R[],\n      [In] T_Base REF Self,\n      uint8 Fixed[16]);\n",
             "class T_Sub : T_Base {\n",
             "[Override(\"K\"),\n       Key]\n   string K;\n",
         })
        EXPECT_NE(text.find(expected), std::string::npos) << expected << "\n----\n" << text;
    // Inherited members and qualifiers stay with the superclass.
    std::string const sub = text.substr(text.find("class T_Sub"));
    EXPECT_EQ(sub.find("string Plain"), std::string::npos);
    EXPECT_EQ(sub.substr(0, sub.find("};")).find("Description(\"m\")"), std::string::npos);
}

TEST(MofWriter, CompileOrderPutsEachClassAfterItsSuperclass) {
    Compiled c = compile({kQualifiers, "class A { }; class B { }; class C : B { }; class D { }; class E : D { };"});
    ASSERT_EQ(c.error, "");
    // A now derives from E, declared after it; A keeps its place.
    CKivoClass::Members members;
    members.superClassName = "E";
    c.repo.replaceClass(kNs, "A", members);
    std::vector<std::string> names;
    for (auto const& cls : kivo::mof::compileOrder(c.repo, kNs)) names.push_back(cls->getName().str());
    EXPECT_EQ(names, (std::vector<std::string>{"D", "E", "A", "B", "C"}));
    Compiled const copy = compile(writeAll(c));
    ASSERT_EQ(copy.error, "");
    for (char const* name : {"A", "B", "C", "D", "E"})
        EXPECT_EQ(kivo::test::sameClass(*c.repo.getClass(kNs, name), *copy.repo.getClass(kNs, name)), "") << name;
}

// What MOF cannot say raises CIM_ERR_NOT_SUPPORTED naming it, before a byte
// of the element is lost silently.
TEST(MofWriter, RefusesWhatMofCannotSay) {
    double const inf = std::numeric_limits<double>::infinity();
    auto cls = KVOSmrPtr<IKivoClass>(new CKivoClass("T_X", CKivoClass::Members{}));
    struct Row {
        char const* name;
        KVOSmrPtr<IKivoValue> value;
        char const* message;
    } const rows[] = {
        {"NaN", CKivoValue::makeReal(KVOCIMType::Real64, std::nan("")), "the real value NaN cannot be written as MOF"},
        {"INF", CKivoValue::makeReal(KVOCIMType::Real32, inf), "the real value INF cannot be written as MOF"},
        {"-INF in an array", CKivoValue::makeArray(KVOCIMType::Real64, {CKivoValue::makeReal(KVOCIMType::Real64, -inf)}),
         "the real value -INF cannot be written as MOF"},
        {"class value", CKivoValue::makeClass(cls), "a class value cannot be written as MOF"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        KVOValSlist<KVOSmrPtr<IKivoProperty>> props;
        props.append(KVOSmrPtr<IKivoProperty>(new CKivoProperty("P", row.value)));
        CKivoObject const instance("T_X", props);
        std::string out;
        try {
            kivo::mof::writeInstance(out, instance);
            ADD_FAILURE() << "written: " << out;
        } catch (KivoBaseException const& e) {
            EXPECT_EQ(e.getCode(), 7);
            EXPECT_EQ(e.getMessage().str(), row.message);
        }
    }
    CKivoQualifierDef const unscoped("Q", KVOCIMType::String, false, nullptr, 0);
    std::string out;
    EXPECT_THROW(kivo::mof::writeQualifierDecl(out, unscoped), KivoBaseException);
}

// The comparison finds each kind of difference, so an empty answer above
// means something.
TEST(MofWriter, ComparisonSeesEachDifference) {
    struct Row {
        char const* a;
        char const* b;
        char const* difference;
    } const rows[] = {
        {"[Description(\"x\")] class T { };", "[Description(\"x\") : Restricted] class T { };", "flavors"},
        {"class T { uint32 U = 1; };", "class T { uint32 U = 2; };", "property U: default: '1' != '2'"},
        {"class T { uint8 D[4]; };", "class T { uint8 D[]; };", "array sizes differ"},
        {"class T { uint32 M([In] string P); };", "class T { uint32 M([In(false)] string P); };", "parameter P"},
        {"class B { string P; }; class T : B { };", "class B { string P; }; class T : B { [Override(\"P\")] string P; };",
         "class origins differ"},
        {"class T { [Key] string K; [EmbeddedInstance(\"T\")] string E; }; instance of T { K = \"k\"; E = instance of T { K = \"1\"; }; };",
         "class T { [Key] string K; [EmbeddedInstance(\"T\")] string E; }; instance of T { K = \"k\"; E = instance of T { K = \"2\"; }; };",
         "embedded instance"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.b);
        Compiled const a = compile({kQualifiers, row.a}), b = compile({kQualifiers, row.b});
        ASSERT_EQ(a.error + b.error, "");
        std::string d = kivo::test::sameRepository(a.repo, b.repo, kNs);
        if (d.empty() && !a.instances.empty()) d = kivo::test::sameInstance(*a.instances[0].instance, *b.instances[0].instance);
        EXPECT_NE(d.find(row.difference), std::string::npos) << d;
    }
}

// The whole DMTF schema, and the server's model as it loads it (interop.mof
// in root/interop, kivo.mof in root/cimv2, both over the schema's files).
TEST(MofWriter, SchemaAndModelRoundTrip) {
    std::string const schema = KIVO_CIM_SCHEMA_DIR;
    if (!std::filesystem::exists(schema + "/cim_schema_2.49.0.mof")) GTEST_SKIP() << "the CIM schema zip is not beside the project";
    Compiled original;
    struct File {
        std::string path;
        char const* nameSpace;
    } const files[] = {{schema + "/cim_schema_2.49.0.mof", "root/schema"},
                       {std::string(KIVO_MOF_MODEL_DIR) + "/interop.mof", "root/interop"},
                       {std::string(KIVO_MOF_MODEL_DIR) + "/kivo.mof", "root/cimv2"}};
    auto const start = std::chrono::steady_clock::now();
    for (File const& f : files) {
        MofCompiler compiler(original.repo, f.nameSpace);
        compiler.setIncludePath({KIVO_MOF_MODEL_DIR, schema});
        MofResult r = compiler.compileFile(f.path);
        ASSERT_TRUE(r.ok()) << r.error->text();
        original.instances.insert(original.instances.end(), r.instances.begin(), r.instances.end());
    }
    ASSERT_EQ(original.repo.classes("root/schema").size(), 1631u);
    auto const compiled = std::chrono::steady_clock::now();
    std::size_t bytes = 0;
    EXPECT_EQ(roundTrip(original, &bytes), "");
    auto const ms = [](auto d) { return std::chrono::duration_cast<std::chrono::milliseconds>(d).count(); };
    std::printf("compiled the schema and model in %lld ms; wrote %zu bytes, compiled them back and wrote again in %lld ms\n",
                static_cast<long long>(ms(compiled - start)), bytes,
                static_cast<long long>(ms(std::chrono::steady_clock::now() - compiled)));
}

}  // namespace
