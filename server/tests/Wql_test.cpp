// The query subset: parsing (precedence, literals, errors with positions,
// limits), binding and evaluation over the default model (types, NULLs,
// subclasses, projection), and the object manager's query producers (checks
// on the caller's thread, laziness, the row form).
#include "objectmanager/Wql.h"

#include "objectmanager/ClassBuilder.h"
#include "objectmanager/DefaultModel.h"
#include "objectmanager/ObjectManager.h"

#include "KivoUtilities/CKivoData.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace kivo::om;
using T = KVOCIMType;

std::string whereOf(std::string const& query) {
    wql::Query q = wql::parse(query);
    return q.where ? wql::describe(*q.where) : std::string();
}

// The error's text, or "" when `f` raises none.
std::string parseError(std::string const& query) {
    try {
        wql::parse(query);
    } catch (wql::QueryError const& e) {
        return e.what();
    }
    return "";
}

wql::Literal literalOf(std::string const& text) {
    wql::Query q = wql::parse("SELECT * FROM C WHERE A = " + text);
    return q.where->right.literal;
}

// ---- Parsing -----------------------------------------------------------------

TEST(WqlParse, NotBindsTighterThanAndWhichBindsTighterThanOr) {
    EXPECT_EQ(whereOf("SELECT * FROM C WHERE A = 1 OR B = 2 AND NOT C = 3"),
              "((A = 1) OR ((B = 2) AND (NOT (C = 3))))");
    EXPECT_EQ(whereOf("SELECT * FROM C WHERE NOT A = 1 AND B = 2"), "((NOT (A = 1)) AND (B = 2))");
    EXPECT_EQ(whereOf("SELECT * FROM C WHERE (A = 1 OR B = 2) AND C = 3"), "(((A = 1) OR (B = 2)) AND (C = 3))");
    EXPECT_EQ(whereOf("SELECT * FROM C WHERE NOT (A = 1 OR B = 2)"), "(NOT ((A = 1) OR (B = 2)))");
    EXPECT_EQ(whereOf("SELECT * FROM C WHERE NOT NOT A <> 1"), "(NOT (NOT (A <> 1)))");
    // Chains are flat, whatever their length.
    EXPECT_EQ(whereOf("SELECT * FROM C WHERE A=1 AND B=2 AND C=3 OR D=4 OR E=5"),
              "(((A = 1) AND (B = 2) AND (C = 3)) OR (D = 4) OR (E = 5))");
}

TEST(WqlParse, KeywordsAnyCaseOperatorsAndSelectLists) {
    wql::Query q = wql::parse("  sElEcT Name, caption ,NAME FrOm Kivo_X wHeRe a is NOT null;  ");
    EXPECT_FALSE(q.selectAll);
    EXPECT_EQ(q.selected, (std::vector<std::string>{"Name", "caption"}));  // repeats dropped, ignoring case
    EXPECT_EQ(q.selectedPositions, (std::vector<std::size_t>{10, 16}));
    EXPECT_EQ(q.className, "Kivo_X");
    EXPECT_EQ(wql::describe(*q.where), "(a IS NOT NULL)");
    EXPECT_TRUE(wql::parse("SELECT * FROM C").selectAll);
    EXPECT_EQ(wql::parse("SELECT * FROM C").where, nullptr);
    EXPECT_EQ(whereOf("SELECT * FROM C WHERE A IS NULL"), "(A IS NULL)");
    EXPECT_EQ(whereOf("SELECT * FROM C WHERE A<1 OR A<=2 OR A>3 OR A>=4 OR A!=5 OR 6=A"),
              "((A < 1) OR (A <= 2) OR (A > 3) OR (A >= 4) OR (A <> 5) OR (6 = A))");
    EXPECT_EQ(whereOf("SELECT * FROM C WHERE A = B"), "(A = B)");
}

TEST(WqlParse, StringLiteralsInEitherQuoteWithEscapes) {
    EXPECT_EQ(literalOf("'plain'").text, "plain");
    EXPECT_EQ(literalOf("\"double\"").text, "double");
    EXPECT_EQ(literalOf("'it''s'").text, "it's");
    EXPECT_EQ(literalOf("\"say \"\"hi\"\"\"").text, "say \"hi\"");
    EXPECT_EQ(literalOf(R"('a\'b\\c\"d')").text, "a'b\\c\"d");
    EXPECT_EQ(literalOf(R"('\n\t\r\q')").text, "\n\t\rq");
    EXPECT_EQ(literalOf("'with \"other\" quotes'").text, "with \"other\" quotes");
    EXPECT_EQ(literalOf("''").text, "");
    EXPECT_EQ(literalOf("'keywords AND OR ) stay text'").text, "keywords AND OR ) stay text");
    EXPECT_EQ(literalOf("'\xc3\xa9t\xc3\xa9'").text, "\xc3\xa9t\xc3\xa9");  // bytes kept as given
}

TEST(WqlParse, NumbersBooleansAndNullAtTheirBoundaries) {
    using K = wql::Literal::Kind;
    EXPECT_EQ(literalOf("0").kind, K::Unsigned);
    EXPECT_EQ(literalOf("-0").kind, K::Unsigned);
    EXPECT_EQ(literalOf("18446744073709551615").uint, std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(literalOf("-9223372036854775808").sint, std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(literalOf("-42").sint, -42);
    EXPECT_EQ(literalOf("+42").uint, 42u);
    EXPECT_EQ(literalOf("0x1F").uint, 31u);
    EXPECT_EQ(literalOf("-0X10").sint, -16);
    EXPECT_EQ(literalOf("1.5").real, 1.5);
    EXPECT_EQ(literalOf("-2.5e3").real, -2500.0);
    EXPECT_EQ(literalOf(".25").real, 0.25);
    EXPECT_EQ(literalOf("1.").real, 1.0);
    EXPECT_EQ(literalOf("1E2").kind, K::Real);
    EXPECT_EQ(literalOf("TRUE").kind, K::Boolean);
    EXPECT_TRUE(literalOf("true").boolean);
    EXPECT_FALSE(literalOf("False").boolean);
    EXPECT_EQ(literalOf("null").kind, K::Null);

    EXPECT_EQ(parseError("SELECT * FROM C WHERE A = 18446744073709551616"), "at position 27: integer out of range");
    EXPECT_EQ(parseError("SELECT * FROM C WHERE A = -9223372036854775809"), "at position 27: integer out of range");
    EXPECT_EQ(parseError("SELECT * FROM C WHERE A = 0x"), "at position 27: invalid hexadecimal number");
    EXPECT_EQ(parseError("SELECT * FROM C WHERE A = 1e"), "at position 27: invalid number: no digits in the exponent");
    EXPECT_EQ(parseError("SELECT * FROM C WHERE A = 12abc"), "at position 27: invalid number 12a");
}

TEST(WqlParse, ErrorsNameWhatWasExpectedAndWhere) {
    struct Case {
        char const* query;
        char const* error;
    } const cases[] = {
        {"", "at position 1: expected SELECT, found the end of the query"},
        {"SELECT", "at position 7: expected a property name or *, found the end of the query"},
        {"SELECT * FORM C", "at position 10: expected FROM, found 'FORM'"},
        {"SELECT A, FROM C", "at position 11: expected a property name or *, found 'FROM'"},
        {"SELECT * FROM", "at position 14: expected a class name, found the end of the query"},
        {"SELECT * FROM C WHERE", "at position 22: expected a property name or a value, found the end of the query"},
        {"SELECT * FROM C WHERE A", "at position 24: expected a comparison operator or IS, found the end of the query"},
        {"SELECT * FROM C WHERE 1 IS NULL", "at position 25: expected a comparison operator, found 'IS'"},
        {"SELECT * FROM C WHERE A IS 1", "at position 28: expected NULL, found '1'"},
        {"SELECT * FROM C WHERE (A = 1", "at position 29: expected ')', found the end of the query"},
        {"SELECT * FROM C WHERE A = 1)", "at position 28: expected the end of the query, found ')'"},
        {"SELECT * FROM C WHERE A = 'open", "at position 27: unterminated string"},
        {"SELECT * FROM C WHERE A = 'ends in \\'", "at position 27: unterminated string"},
        {"SELECT * FROM C WHERE A == 1", "at position 26: expected a property name or a value, found '='"},
        {"SELECT * FROM C WHERE A = 1 AND", "at position 32: expected a property name or a value, found the end of the query"},
        {"SELECT * FROM C WHERE A = @", "at position 27: unexpected character '@'"},
        {"SELECT * FROM C WHERE A = \x01", "at position 27: unexpected character 0x01"},
        {"SELECT * FROM C; SELECT", "at position 18: expected the end of the query, found 'SELECT'"},
        {"SELECT * FROM C WHERE NOT", "at position 26: expected a property name or a value, found the end of the query"},
    };
    for (Case const& c : cases) EXPECT_EQ(parseError(c.query), c.error) << c.query;
    try {
        wql::parse("SELECT * FORM C");
        FAIL();
    } catch (wql::QueryError const& e) {
        EXPECT_EQ(e.position(), 10u);
        EXPECT_EQ(e.reason(), "expected FROM, found 'FORM'");
    }
}

TEST(WqlParse, NestingLengthAndSelectListAreBounded) {
    auto nested = [](std::size_t depth) {
        return "SELECT * FROM C WHERE " + std::string(depth, '(') + "A = 1" + std::string(depth, ')');
    };
    EXPECT_EQ(parseError(nested(wql::kMaxDepth)), "");
    EXPECT_EQ(parseError(nested(wql::kMaxDepth + 1)),
              "at position " + std::to_string(23 + wql::kMaxDepth) + ": conditions nested deeper than 64 levels");
    std::string nots;
    for (std::size_t i = 0; i <= wql::kMaxDepth; ++i) nots += "NOT ";
    EXPECT_EQ(parseError("SELECT * FROM C WHERE " + nots + "A = 1"),
              "at position " + std::to_string(23 + 4 * wql::kMaxDepth) + ": conditions nested deeper than 64 levels");
    // A deep pile of parentheses far past the limit fails at the limit
    // without recursing further.
    EXPECT_NE(parseError(nested(100000).substr(0, wql::kMaxQueryLength)), "");

    // A long flat chain is fine: it adds no depth.
    std::string chain = "SELECT * FROM C WHERE A = 0";
    while (chain.size() + 16 < wql::kMaxQueryLength) chain += " OR A = 1 AND B = 2";
    EXPECT_EQ(parseError(chain), "");
    EXPECT_EQ(parseError(chain + std::string(wql::kMaxQueryLength, ' ')),
              "at position 65537: query longer than 65536 bytes");

    std::string list = "SELECT P0";
    for (std::size_t i = 1; i <= wql::kMaxSelected; ++i) list += ", P" + std::to_string(i);
    EXPECT_EQ(parseError(list + " FROM C"),
              "at position " + std::to_string(list.rfind("P1024") + 1) + ": more than 1024 properties selected");
}

TEST(WqlLanguage, WqlAndCqlAnyCaseOthersNot) {
    EXPECT_TRUE(wql::isSupportedLanguage("WQL"));
    EXPECT_TRUE(wql::isSupportedLanguage("wql"));
    EXPECT_TRUE(wql::isSupportedLanguage("DMTF:CQL"));
    EXPECT_TRUE(wql::isSupportedLanguage("dmtf:cql"));
    EXPECT_FALSE(wql::isSupportedLanguage("CQL"));
    EXPECT_FALSE(wql::isSupportedLanguage("WQL "));
    EXPECT_FALSE(wql::isSupportedLanguage(""));
}

// ---- Evaluation over the default model -----------------------------------------

class WqlQueries : public ::testing::Test {
protected:
    WqlQueries() { loadDefaultModel(om, ModelSettings{30}); }

    // The values of `key` of the instances the query returns.
    std::multiset<std::string> run(std::string const& query, char const* key = "DeviceID") {
        std::multiset<std::string> out;
        om.execQuery(kCimv2, "WQL", KVOString(query))([&](KVOSmrPtr<IKivoObject> const& o) {
            KVOSmrPtr<IKivoProperty> p = o->getProperty(key);
            out.insert(p && p->getValue() ? p->getValue()->toString().str() : "<null>");
            return true;
        });
        return out;
    }
    std::multiset<std::string> items(std::string const& where) {
        return run("SELECT * FROM KIVO_ScaleItem WHERE " + where, "Index");
    }

    // The code and message execQuery raises, or {0, ""}.
    std::pair<int, std::string> failure(std::string const& query, char const* language = "WQL",
                                        char const* nameSpace = kCimv2) {
        try {
            om.execQuery(nameSpace, language, KVOString(query));
        } catch (KivoBaseException const& e) {
            return {e.getCode(), e.getMessage().str()};
        }
        return {0, ""};
    }

    ObjectManager om;
};

using Set = std::multiset<std::string>;

TEST_F(WqlQueries, NumbersCompareByValueAcrossSignednessAndReals) {
    // KIVO_ScaleItem n: Index uint32 n, Value sint64 n*n-500, Ratio real64 n/8.
    EXPECT_EQ(items("Value < -490"), (Set{"0", "1", "2", "3"}));
    EXPECT_EQ(items("Value >= 0"), (Set{"23", "24", "25", "26", "27", "28", "29"}));
    EXPECT_EQ(items("Value = -500"), (Set{"0"}));
    EXPECT_EQ(items("Value > 18446744073709551615"), Set{});
    EXPECT_EQ(items("Value < 18446744073709551615 AND Index = 1"), (Set{"1"}));
    EXPECT_EQ(items("Index > -1 AND Index < 2"), (Set{"0", "1"}));  // unsigned against negative
    EXPECT_EQ(items("Ratio = 0.25"), (Set{"2"}));
    EXPECT_EQ(items("Ratio > 3"), (Set{"25", "26", "27", "28", "29"}));
    EXPECT_EQ(items("Index <= 1.5"), (Set{"0", "1"}));
    EXPECT_EQ(items("Index = 0x13"), (Set{"19"}));
    EXPECT_EQ(items("29 = Index"), (Set{"29"}));
    EXPECT_EQ(items("Index = '7'"), (Set{"7"}));  // a string literal read as the property's type
    EXPECT_EQ(items("Value = Index"), Set{});     // property against property
    EXPECT_EQ(items("Index < Value"), (Set{"23", "24", "25", "26", "27", "28", "29"}));
}

TEST_F(WqlQueries, StringsByExactValueBooleansOnlyEqualOrNot) {
    EXPECT_EQ(run("SELECT * FROM KIVO_DiskDrive WHERE MediaType = 'SSD'"), (Set{"disk0"}));
    EXPECT_EQ(run("SELECT * FROM KIVO_DiskDrive WHERE MediaType = 'ssd'"), Set{});  // values keep their case
    EXPECT_EQ(run("SELECT * FROM KIVO_DiskDrive WHERE MediaType < 'I'"), (Set{"disk1"}));
    EXPECT_EQ(run("SELECT * FROM KIVO_DiskDrive WHERE mediatype <> \"HDD\""), (Set{"disk0"}));
    EXPECT_EQ(items("Flag = TRUE AND Index < 6"), (Set{"1", "3", "5"}));
    EXPECT_EQ(items("Flag <> true AND Index < 6"), (Set{"0", "2", "4"}));
    EXPECT_EQ(items("Flag = 'false' AND Index < 3"), (Set{"0", "2"}));
    EXPECT_EQ(run("SELECT * FROM KIVO_ComputerSystem WHERE InstallDate = '20240101120000.000000+000'", "Name"),
              (Set{"host1"}));

    EXPECT_EQ(failure("SELECT * FROM KIVO_ScaleItem WHERE Flag < TRUE"),
              (std::pair<int, std::string>{15, "at position 36: a boolean compares only with = and <>"}));
    EXPECT_EQ(failure("SELECT * FROM KIVO_ScaleItem WHERE Index = 'seven'"),
              (std::pair<int, std::string>{15, "at position 44: 'seven' is not a uint32 value for Index"}));
    EXPECT_EQ(failure("SELECT * FROM KIVO_DiskDrive WHERE MediaType = 1").first, 15);
    EXPECT_EQ(failure("SELECT * FROM KIVO_DiskDrive WHERE Removable = 1").first, 15);
    EXPECT_EQ(failure("SELECT * FROM KIVO_DiskDrive WHERE 'a' = 1").first, 15);
    EXPECT_EQ(failure("SELECT * FROM KIVO_ComputerSystem WHERE Roles = 'storage'"),
              (std::pair<int, std::string>{15, "at position 41: property Roles cannot be compared (an array)"}));
    EXPECT_EQ(failure("SELECT * FROM KIVO_SystemDevice WHERE GroupComponent < 'x'"),
              (std::pair<int, std::string>{15, "at position 39: a reference compares only with = and <>"}));
    EXPECT_EQ(run("SELECT * FROM KIVO_SystemDevice WHERE GroupComponent <> 'x'", "PartComponent").size(), 3u);
}

TEST_F(WqlQueries, ANullOperandMakesEveryComparisonFalse) {
    // Description has no value on any device; MediaType only on disks.
    Set const none;
    Set const all{"disk0", "disk1", "eth0"};
    EXPECT_EQ(run("SELECT * FROM KIVO_LogicalDevice WHERE Description = 'x'"), none);
    EXPECT_EQ(run("SELECT * FROM KIVO_LogicalDevice WHERE Description <> 'x'"), none);
    EXPECT_EQ(run("SELECT * FROM KIVO_LogicalDevice WHERE Description = NULL"), none);
    EXPECT_EQ(run("SELECT * FROM KIVO_LogicalDevice WHERE NULL = NULL"), none);
    EXPECT_EQ(run("SELECT * FROM KIVO_LogicalDevice WHERE NOT Description = 'x'"), all);
    EXPECT_EQ(run("SELECT * FROM KIVO_LogicalDevice WHERE Description IS NULL"), all);
    EXPECT_EQ(run("SELECT * FROM KIVO_LogicalDevice WHERE Description IS NOT NULL"), none);
    EXPECT_EQ(run("SELECT * FROM KIVO_LogicalDevice WHERE Description = 'x' OR Caption = 'eth0'"), (Set{"eth0"}));
}

TEST_F(WqlQueries, SubclassInstancesMatchTheirSuperclassAndKeepTheirPaths) {
    EXPECT_EQ(run("SELECT * FROM KIVO_LogicalDevice"), (Set{"disk0", "disk1", "eth0"}));
    EXPECT_EQ(run("SELECT * FROM kivo_logicaldevice WHERE EnabledState = 2 AND SystemName = 'host1'"),
              (Set{"disk0", "disk1", "eth0"}));
    EXPECT_EQ(run("SELECT Caption FROM KIVO_ManagedElement WHERE Caption = 'eth0' OR Caption = 'Reference host'",
                  "Caption"),
              (Set{"eth0", "Reference host"}));
    // A subclass's own properties cannot be named through the superclass.
    EXPECT_EQ(failure("SELECT * FROM KIVO_LogicalDevice WHERE MediaType = 'SSD'"),
              (std::pair<int, std::string>{15, "at position 40: class KIVO_LogicalDevice has no property MediaType"}));

    EXPECT_EQ(failure("select capacity from KIVO_LogicalDevice", "wql").first, 15);
}

TEST_F(WqlQueries, ProjectionKeepsTheSelectedPropertiesAndTheKeys) {
    std::vector<KVOSmrPtr<IKivoObject>> found;
    om.execQuery(kCimv2, "WQL", "SELECT capacity, MediaType FROM KIVO_DiskDrive WHERE DeviceID = 'disk1'")(
        [&](KVOSmrPtr<IKivoObject> const& o) { return found.push_back(o), true; });
    ASSERT_EQ(found.size(), 1u);
    std::set<std::string> names;
    for (auto const& p : found[0]->getProperties()) names.insert(p->getName().str());
    EXPECT_EQ(names, (std::set<std::string>{"Capacity", "DeviceID", "MediaType", "SystemName"}));
    EXPECT_EQ(found[0]->getProperty("Capacity")->getValue()->getUnsigned(), 2000398934016ULL);
    EXPECT_EQ(found[0]->getProperty("Capacity")->getClassOrigin(), "");
    KVOSmrPtr<IKivoInstanceName> path = found[0]->getInstanceName();
    ASSERT_FALSE(path.isNull());
    EXPECT_EQ(path->getClassName(), "KIVO_DiskDrive");
    EXPECT_FALSE(om.findInstance(kCimv2, *path).isNull());

    // SELECT * gives the whole instance of its own class.
    found.clear();
    om.execQuery(kCimv2, "WQL", "SELECT * FROM KIVO_LogicalDevice WHERE DeviceID = 'disk0'")(
        [&](KVOSmrPtr<IKivoObject> const& o) { return found.push_back(o), true; });
    ASSERT_EQ(found.size(), 1u);
    EXPECT_FALSE(found[0]->getProperty("MediaType").isNull());
}

TEST_F(WqlQueries, RefusalsComeOnTheCallersThreadWithTheirCodes) {
    using R = std::pair<int, std::string>;
    EXPECT_EQ(failure("SELECT * FROM KIVO_DiskDrive", "XPath"), (R{14, "query language XPath is not supported"}));
    EXPECT_EQ(failure("SELECT * FROM KIVO_DiskDrive", "DMTF:CQL"), (R{0, ""}));
    EXPECT_EQ(failure("SELECT * FROM KIVO_DiskDrive", "WQL", "root/nowhere").first, 3);
    EXPECT_EQ(failure("SELECT * FROM KIVO_Nothing"), (R{15, "at position 15: no class KIVO_Nothing in root/cimv2"}));
    EXPECT_EQ(failure("SELECT Nothing FROM KIVO_DiskDrive"),
              (R{15, "at position 8: class KIVO_DiskDrive has no property Nothing"}));
    EXPECT_EQ(failure("SELECT * FROM KIVO_DiskDrive WHERE Nothing IS NULL").first, 15);
    EXPECT_EQ(failure("SELECT * FORM KIVO_DiskDrive"), (R{15, "at position 10: expected FROM, found 'FORM'"}));
    EXPECT_EQ(failure("SELECT Nothing FROM KIVO_DiskDrive", "XPath").first, 14) << "the language is checked first";
}

// A provider that counts the instances it hands out.
class CountingProvider : public InstanceProvider {
public:
    void enumerate(KVOString const& nameSpace, IKivoClass const& cls, Sink<KVOSmrPtr<IKivoObject>> const& out) override {
        ++enumerations;
        for (unsigned i = 0; i < 1000000; ++i) {
            ++made;
            KVOSmrPtr<IKivoObject> o = buildInstance(
                nameSpace, cls, {{"Id", CKivoValue::makeUnsigned(T::UInt32, i)}, {"Even", CKivoValue::makeBoolean(i % 2 == 0)}});
            if (!out(o)) return;
        }
    }
    std::atomic<int> enumerations{0};
    std::atomic<unsigned> made{0};
};

TEST_F(WqlQueries, ProducersAreLazyAndStopWhenTheSinkDoes) {
    ClassBuilder(om.repository(), kCimv2, "Test_Counted").key("Id", T::UInt32).property("Even", T::Boolean).commit();
    auto counting = std::make_shared<CountingProvider>();
    om.registerProvider(kCimv2, "Test_Counted", counting);

    auto producer = om.execQuery(kCimv2, "WQL", "SELECT Id FROM Test_Counted WHERE Even = FALSE");
    auto rows = om.queryRows(kCimv2, "WQL", "SELECT Id FROM Test_Counted WHERE Even = FALSE");
    auto cls = om.queryResultClass(kCimv2, "WQL", "SELECT Id FROM Test_Counted WHERE Even = FALSE");
    EXPECT_EQ(counting->enumerations, 0) << "checking a query reads no instance";

    std::vector<std::uint64_t> ids;
    producer([&](KVOSmrPtr<IKivoObject> const& o) {
        ids.push_back(o->getProperty("Id")->getValue()->getUnsigned());
        return ids.size() < 3;
    });
    EXPECT_EQ(ids, (std::vector<std::uint64_t>{1, 3, 5}));
    EXPECT_EQ(counting->made, 6u);

    unsigned taken = 0;
    rows.rows([&](qora::QueryRow const&) { return ++taken < 2; });
    EXPECT_EQ(counting->made, 6u + 4u);
    EXPECT_EQ(counting->enumerations, 2);
}

TEST_F(WqlQueries, TheRowFormNamesColumnsAsTheClassDoesInQueryOrder) {
    QueryRows rows = om.queryRows(kCimv2, "WQL", "SELECT mediatype, CAPACITY, deviceid FROM kivo_diskdrive WHERE Capacity > 1000000000000");
    EXPECT_EQ(rows.className, "KIVO_DiskDrive");
    EXPECT_EQ(rows.columns, (std::vector<KVOString>{"MediaType", "Capacity", "DeviceID"}));
    std::vector<qora::QueryRow> got;
    rows.rows([&](qora::QueryRow const& r) { return got.push_back(r), true; });
    ASSERT_EQ(got.size(), 1u);
    std::vector<std::string> cells;
    for (KVOSmrPtr<IKivoProperty> const& p : *got[0])
        cells.push_back(p->getName().str() + "=" + p->getValue()->toString().str() + ":" +
                        KVOCIMTypes::name(p->getCIMType()).str());
    EXPECT_EQ(cells, (std::vector<std::string>{"MediaType=HDD:string", "Capacity=2000398934016:uint64", "DeviceID=disk1:string"}));

    // SELECT *: every property of the FROM class, in its order, for
    // subclass instances too; a property without a value is a cell without one.
    QueryRows all = om.queryRows(kCimv2, "WQL", "SELECT * FROM KIVO_LogicalDevice WHERE DeviceID = 'eth0'");
    std::vector<KVOString> expected;
    for (auto const& p : om.repository().getClass(kCimv2, "KIVO_LogicalDevice")->getProperties()) expected.push_back(p->getName());
    EXPECT_EQ(all.columns, expected);
    std::size_t n = 0;
    all.rows([&](qora::QueryRow const& r) {
        ++n;
        EXPECT_EQ(r->entries(), expected.size());
        for (KVOSmrPtr<IKivoProperty> const& p : *r)
            if (p->getName() == "Description") {
                EXPECT_TRUE(p->getValue().isNull());
            }
        return true;
    });
    EXPECT_EQ(n, 1u);

    KVOSmrPtr<IKivoClass> cls = om.queryResultClass(kCimv2, "WQL", "SELECT Capacity, DeviceID FROM KIVO_DiskDrive");
    std::vector<KVOString> props;
    for (auto const& p : cls->getProperties()) props.push_back(p->getName());
    EXPECT_EQ(cls->getName(), "KIVO_DiskDrive");
    EXPECT_EQ(props, (std::vector<KVOString>{"Capacity", "DeviceID"}));
    EXPECT_TRUE(cls->getMethods().empty());
}

}  // namespace
