#include "CIMXMLText.h"

#include <gtest/gtest.h>

namespace {

using namespace cimxmlpa::text;

TEST(CIMXMLTextTest, EscapesEverythingXMLCannotCarryLiterally) {
    struct Case {
        std::string in;
        std::string out;
    };
    std::vector<Case> const cases = {
        {"plain", "plain"},
        {"a&b", "a&amp;b"},
        {"<x>", "&lt;x&gt;"},
        {"say \"hi\"", "say &quot;hi&quot;"},
        {"it's", "it's"},
        {"l1\nl2", "l1&#10;l2"},
        {"cr\rtab\t", "cr&#13;tab&#9;"},
        {std::string("nul\x01", 4), "nul\xEF\xBF\xBD"},
        {"caf\xC3\xA9", "caf\xC3\xA9"},
        {"&amp;", "&amp;amp;"},  // escaped once, not recognised
    };
    for (Case const& c : cases) EXPECT_EQ(escape(c.in), c.out) << c.in;
}

TEST(CIMXMLTextTest, PercentDecodesOnlyWellFormedSequences) {
    EXPECT_EQ(percentDecode("root%2Fcimv2"), "root/cimv2");
    EXPECT_EQ(percentDecode("root%2fcimv2%3AKIVO_X"), "root/cimv2:KIVO_X");
    EXPECT_EQ(percentDecode("100%"), "100%");
    EXPECT_EQ(percentDecode("%G1%4"), "%G1%4");
    EXPECT_EQ(percentDecode("%C3%A9"), "\xC3\xA9");
}

TEST(CIMXMLTextTest, TakesHeaderBytesAsUTF8OrElseISO88591) {
    EXPECT_TRUE(isValidUtf8("caf\xC3\xA9"));
    EXPECT_FALSE(isValidUtf8("caf\xE9"));
    EXPECT_FALSE(isValidUtf8("\xC0\xAF"));          // overlong
    EXPECT_FALSE(isValidUtf8("\xED\xA0\x80"));      // surrogate
    EXPECT_FALSE(isValidUtf8("\xE2\x82"));          // cut short
    EXPECT_TRUE(isValidUtf8("\xF0\x9F\x98\x80"));
    EXPECT_TRUE(isValidUtf8("\xF4\x8F\xBF\xBF"));       // U+10FFFF
    EXPECT_FALSE(isValidUtf8("\xF4\x90\x80\x80"));      // above it
    EXPECT_FALSE(isValidUtf8("\xE0\x80\xAF"));          // overlong, three bytes
    EXPECT_EQ(cimxmlpa::text::invalidUtf8Offset("abcdefghij\xC3\xA9klmnop\xFF"), 18u) << "past the ASCII runs";
    EXPECT_EQ(headerToUtf8("caf\xE9"), "caf\xC3\xA9");
    EXPECT_EQ(headerToUtf8("caf\xC3\xA9"), "caf\xC3\xA9");
}

TEST(CIMXMLTextTest, QuotesClientTextForTheLogEscapedAndCut) {
    using cimxmlpa::text::forLog;
    struct Case {
        std::string in;
        std::string out;
    };
    std::vector<Case> const cases = {
        {"root/cimv2", "\"root/cimv2\""},
        {"a\nINFO forged record", "\"a\\nINFO forged record\""},
        {"\x1b[31mred\r\t", "\"\\x1b[31mred\\r\\t\""},
        {"q\"b\\", "\"q\\\"b\\\\\""},
        {"caf\xC3\xA9 \xC2\x9B \xFF\x7F", "\"caf\xC3\xA9 \\xc2\\x9b \\xff\\x7f\""},  // C1 control, not UTF-8, DEL
        {std::string(300, 'n'), "\"" + std::string(256, 'n') + "\"...(300 bytes)"},
    };
    for (Case const& c : cases) EXPECT_EQ(forLog(c.in), c.out);
    // A character cut by the cap is escaped, not split.
    EXPECT_EQ(forLog("ab\xC3\xA9", 3), "\"ab\\xc3\"...(4 bytes)");
}

TEST(CIMXMLTextTest, NormalizesNamespaces) {
    EXPECT_EQ(normalizeNamespace("/root//cimv2/"), "root/cimv2");
    EXPECT_EQ(normalizeNamespace("root"), "root");
    EXPECT_EQ(normalizeNamespace("///"), "");
}

TEST(CIMXMLTextTest, ParsesTheObjectPathsOfCIMObject) {
    auto ns = parseObjectPathHeader("root/cimv2");
    ASSERT_TRUE(ns);
    EXPECT_EQ(ns->nameSpace, "root/cimv2");
    EXPECT_EQ(ns->className, "");
    EXPECT_FALSE(ns->isInstance);

    auto cls = parseObjectPathHeader("root/cimv2:CIM_Foo");
    ASSERT_TRUE(cls);
    EXPECT_EQ(cls->className, "CIM_Foo");
    EXPECT_FALSE(cls->isInstance);

    auto inst = parseObjectPathHeader(R"(root/cimv2:CIM_Foo.Name="a b \"q\" \\ c",Id=7,Flag=TRUE)");
    ASSERT_TRUE(inst);
    EXPECT_TRUE(inst->isInstance);
    ASSERT_EQ(inst->keys.size(), 3u);
    EXPECT_EQ(inst->keys[0], (std::pair<std::string, std::string>("Name", "a b \"q\" \\ c")));
    EXPECT_EQ(inst->keys[1], (std::pair<std::string, std::string>("Id", "7")));
    EXPECT_EQ(inst->keys[2], (std::pair<std::string, std::string>("Flag", "TRUE")));

    auto comma = parseObjectPathHeader(R"(root/cimv2:X.A="1,2",B="x")");
    ASSERT_TRUE(comma);
    EXPECT_EQ(comma->keys[0].second, "1,2");

    for (char const* bad : {"", ":CIM_Foo", "root/cimv2:", "root/cimv2:X.", "root/cimv2:X.A", "root/cimv2:X.A=",
                            "root/cimv2:X.A=\"open", "root/cimv2:X.A=\"1\"B=2", "root/cimv2:X.=1"}) {
        EXPECT_FALSE(parseObjectPathHeader(bad)) << bad;
    }
}

}  // namespace
