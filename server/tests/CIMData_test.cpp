// The CIM data model the adapter and the object manager share: typed values
// and their text forms, conversions, comparisons, paths, classes and
// qualifier declarations.
#include "KivoUtilities/CKivoData.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>

namespace {

using T = KVOCIMType;

int codeOf(std::function<void()> const& f) {
    try {
        f();
    } catch (KivoBaseException const& e) {
        return e.getCode();
    }
    return 0;
}

KVOSmrPtr<IKivoValue> text(char const* s) { return KVOSmrPtr<IKivoValue>(new CKivoValue(s)); }

TEST(CIMValue, TextIsReadAsTheTypeSaysWithinItsRange) {
    EXPECT_EQ(CKivoValue::parse(T::UInt8, "255")->getUnsigned(), 255u);
    EXPECT_EQ(codeOf([] { CKivoValue::parse(T::UInt8, "256"); }), 4);
    EXPECT_EQ(codeOf([] { CKivoValue::parse(T::UInt32, "-1"); }), 4);
    EXPECT_EQ(CKivoValue::parse(T::SInt8, "-128")->getSigned(), -128);
    EXPECT_EQ(codeOf([] { CKivoValue::parse(T::SInt8, "-129"); }), 4);
    EXPECT_EQ(CKivoValue::parse(T::SInt64, "-9223372036854775808")->getSigned(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(codeOf([] { CKivoValue::parse(T::SInt64, "9223372036854775808"); }), 4);
    EXPECT_EQ(CKivoValue::parse(T::UInt64, "18446744073709551615")->getUnsigned(), UINT64_MAX);
    EXPECT_EQ(CKivoValue::parse(T::UInt16, " 0x1F ")->getUnsigned(), 31u);
    EXPECT_EQ(codeOf([] { CKivoValue::parse(T::UInt16, "12abc"); }), 4);
    EXPECT_EQ(codeOf([] { CKivoValue::parse(T::UInt16, ""); }), 4);

    EXPECT_TRUE(CKivoValue::parse(T::Boolean, "true")->getBoolean());
    EXPECT_EQ(CKivoValue::parse(T::Boolean, "FaLsE")->toString(), KVOString("FALSE"));
    EXPECT_EQ(codeOf([] { CKivoValue::parse(T::Boolean, "yes"); }), 4);

    EXPECT_EQ(CKivoValue::parse(T::Real32, "0.1")->toString(), KVOString("0.1")) << "shortest form of the float";
    EXPECT_EQ(CKivoValue::parse(T::Real64, "1e300")->getReal(), 1e300);
    EXPECT_EQ(CKivoValue::parse(T::Real64, "-INF")->toString(), KVOString("-INF"));

    EXPECT_EQ(CKivoValue::parse(T::Char16, "\xC3\xA9")->toString(), KVOString("\xC3\xA9")) << "one character, two bytes";
    EXPECT_EQ(codeOf([] { CKivoValue::parse(T::Char16, "ab"); }), 4);
    EXPECT_EQ(CKivoValue::parse(T::DateTime, "20240101120000.000000+060")->getCIMType(), T::DateTime);
    EXPECT_EQ(CKivoValue::parse(T::DateTime, "00000001020304.000000:000")->getCIMType(), T::DateTime);
    EXPECT_EQ(codeOf([] { CKivoValue::parse(T::DateTime, "2024-01-01"); }), 4);
    EXPECT_EQ(codeOf([] { CKivoValue::parse(T::DateTime, "00000001020304.000000:001"); }), 4);
    EXPECT_EQ(codeOf([] { CKivoValue::parse(T::Reference, "x"); }), 4);
}

TEST(CIMValue, ConversionKeepsTheValueOrRefuses) {
    KVOSmrPtr<IKivoValue> n = CKivoValue::convert(text("42"), T::UInt16);
    EXPECT_EQ(n->getCIMType(), T::UInt16);
    EXPECT_EQ(CKivoValue::convert(n, T::SInt8)->getSigned(), 42);
    EXPECT_EQ(CKivoValue::convert(n, T::Real32)->toString(), KVOString("42"));
    EXPECT_EQ(CKivoValue::convert(n, T::String)->toString(), KVOString("42"));
    EXPECT_EQ(codeOf([] { CKivoValue::convert(CKivoValue::makeSigned(T::SInt32, -1), T::UInt32); }), 4);
    EXPECT_EQ(codeOf([] { CKivoValue::convert(CKivoValue::makeUnsigned(T::UInt64, UINT64_MAX), T::SInt64); }), 4);
    EXPECT_EQ(codeOf([] { CKivoValue::convert(CKivoValue::makeReal(T::Real64, 2.5), T::UInt8); }), 4);
    EXPECT_EQ(CKivoValue::convert(CKivoValue::makeReal(T::Real64, 3.0), T::UInt8)->getUnsigned(), 3u);
    EXPECT_EQ(codeOf([] { CKivoValue::convert(CKivoValue::makeBoolean(true), T::UInt8); }), 4);
    EXPECT_TRUE(CKivoValue::convert(nullptr, T::UInt8).isNull());

    KVOSmrPtr<IKivoValue> array = CKivoValue::makeArray(T::String, {text("1"), text("2")});
    KVOSmrPtr<IKivoValue> numbers = CKivoValue::convert(array, T::UInt32);
    ASSERT_TRUE(numbers->isArray());
    EXPECT_EQ(numbers->getElements()[1]->getUnsigned(), 2u);
    EXPECT_EQ(numbers->toString(), KVOString("1,2"));
    EXPECT_EQ(codeOf([&] { CKivoValue::makeArray(T::UInt32, {numbers->getElements()[0], text("3")}); }), 4);
    EXPECT_EQ(codeOf([&] { numbers->getUnsigned(); }), 4) << "an array is not a scalar";
}

TEST(CIMValue, SameValueComparesNumbersByValueAndTextAsTheOtherSideReadsIt) {
    EXPECT_TRUE(CKivoValue::makeUnsigned(T::UInt8, 5)->sameValue(*CKivoValue::makeSigned(T::SInt64, 5)));
    EXPECT_TRUE(text("5")->sameValue(*CKivoValue::makeUnsigned(T::UInt32, 5)));
    EXPECT_FALSE(text("five")->sameValue(*CKivoValue::makeUnsigned(T::UInt32, 5)));
    EXPECT_FALSE(CKivoValue::makeSigned(T::SInt8, -1)->sameValue(*CKivoValue::makeUnsigned(T::UInt64, UINT64_MAX)));
    EXPECT_TRUE(text("TRUE")->sameValue(*CKivoValue::makeBoolean(true)));
    EXPECT_FALSE(text("abc")->sameValue(*text("ABC")));
    EXPECT_FALSE(CKivoValue::makeArray(T::String, {text("a")})->sameValue(*text("a")));
}

// A value that knows nothing but its text.
class PlainValue : public IKivoValue {
public:
    explicit PlainValue(KVOString t) : _t(std::move(t)) {}
    KVOString toString() const override { return _t; }

private:
    KVOString _t;
};

TEST(CIMValue, AMinimalValueAnswersTheTypedGettersFromItsText) {
    PlainValue v("17");
    EXPECT_EQ(v.getCIMType(), T::String);
    EXPECT_FALSE(v.isArray());
    EXPECT_EQ(v.getUnsigned(), 17u);
    EXPECT_EQ(v.getReal(), 17.0);
    EXPECT_TRUE(v.getReference().isNull());
    EXPECT_EQ(codeOf([&] { v.getBoolean(); }), 4);
}

TEST(CIMPath, StringFormQuotesTextAndComparisonIgnoresCaseOfNames) {
    std::vector<KVOKeyBinding> keys{{"Name", CKivoValue::makeString("a \"q\" \\ b")},
                                    {"Id", CKivoValue::makeUnsigned(T::UInt32, 7)},
                                    {"On", CKivoValue::makeBoolean(true)}};
    CKivoInstanceName path("root/cimv2", "CIM_Foo", keys, "host");
    EXPECT_EQ(path.toString(), KVOString("//host/root/cimv2:CIM_Foo.Name=\"a \\\"q\\\" \\\\ b\",Id=7,On=TRUE"));
    auto bindings = path.getKeyBindings();
    ASSERT_EQ(bindings.size(), 3u);
    EXPECT_EQ(bindings[1].second, KVOString("7"));

    // Untyped text keys, another case, no namespace: the same instance.
    CKivoInstanceName loose("", "cim_foo", {{"id", "7"}, {"NAME", "a \"q\" \\ b"}, {"on", "true"}});
    EXPECT_TRUE(path.sameAs(loose));
    EXPECT_TRUE(loose.sameAs(path));
    CKivoInstanceName other("root/other", "CIM_Foo", {{"Id", "7"}, {"Name", "a \"q\" \\ b"}, {"On", "true"}});
    EXPECT_FALSE(path.sameAs(other)) << "namespaces differ";
    CKivoInstanceName fewer("", "CIM_Foo", {{"Id", "7"}});
    EXPECT_FALSE(path.sameAs(fewer));

    KVOSmrPtr<IKivoValue> ref = CKivoValue::makeReference(KVOSmrPtr<IKivoInstanceName>(new CKivoInstanceName(path)));
    EXPECT_EQ(ref->toString(), path.toString());
    EXPECT_TRUE(ref->sameValue(*CKivoValue::makeReference(KVOSmrPtr<IKivoInstanceName>(new CKivoInstanceName(loose)))));
    EXPECT_EQ(CKivoInstanceName("ns", "Single").toString(), KVOString("ns:Single"));
}

TEST(CIMClass, OwnPropertiesAreThoseNotPropagatedAndTheSimpleFormStillWorks) {
    KVOSmrPtr<IKivoClass> base(new CKivoClass("Base", nullptr, {"Name", "Caption"}));
    EXPECT_EQ(base->getProperties().size(), 2u);
    EXPECT_EQ(base->getProperty("caption")->getCIMType(), T::String);
    EXPECT_TRUE(base->getProperty("Name")->getValue().isNull());

    CKivoClass::Members m;
    m.superClass = base;
    m.properties = {CKivoProperty::withOrigin(*base->getProperty("Name"), "Base", true),
                    KVOSmrPtr<IKivoProperty>(new CKivoProperty("Size", T::UInt64, false, nullptr, {}, "Leaf"))};
    m.qualifiers = {KVOSmrPtr<IKivoQualifier>(new CKivoQualifier("Association", CKivoValue::makeBoolean(true)))};
    CKivoClass leaf("Leaf", m);
    std::vector<std::string> own, all;
    for (auto it = leaf.getPropertyNames(0); it->hasNext();) own.push_back(it->next().str());
    for (auto it = leaf.getPropertyNames(1); it->hasNext();) all.push_back(it->next().str());
    EXPECT_EQ(own, (std::vector<std::string>{"Size"}));
    EXPECT_EQ(all, (std::vector<std::string>{"Name", "Size", "Caption"}));
    EXPECT_EQ(leaf.getSuperClassName(), KVOString("Base"));
    EXPECT_TRUE(leaf.isAssociation());
}

TEST(CIMQualifier, DeclarationsReadTheirTypeAndDefaultAndParametersTheirDirection) {
    CKivoQualifierDef counted("MaxLen", "UINT32", "7");
    EXPECT_EQ(counted.getCIMType(), T::UInt32);
    EXPECT_EQ(counted.getDefault()->getUnsigned(), 7u);
    EXPECT_EQ(counted.getType(), KVOString("uint32"));
    EXPECT_EQ(counted.getScopes(), KVOQualifierScope::ANY);
    CKivoQualifierDef odd("Odd", "nonsense");
    EXPECT_EQ(odd.getCIMType(), T::String);
    EXPECT_TRUE(odd.getDefault().isNull());
    EXPECT_TRUE(odd.getDefaultValue().isEmpty());

    auto flag = [](char const* name, bool v) {
        return KVOSmrPtr<IKivoQualifier>(new CKivoQualifier(name, CKivoValue::makeBoolean(v)));
    };
    CKivoParameter plain("A", T::String);
    EXPECT_TRUE(plain.isIn());
    EXPECT_FALSE(plain.isOut());
    CKivoParameter out("B", T::String, false, {flag("in", false), flag("OUT", true)});
    EXPECT_FALSE(out.isIn());
    EXPECT_TRUE(out.isOut());
}

}  // namespace
