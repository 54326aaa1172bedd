#include "Cimom/ProtocolAdapter/Common/AdapterUtils.h"

#include "KivoUtilities/CKivoValue.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;
using StringList = KVOValSlist<KVOString>;
using ValueList = KVOValSlist<KVOSmrPtr<IKivoValue>>;

KVOSmrPtr<StringList> stringList(Strings const& strings) {
    KVOSmrPtr<StringList> list(new StringList);
    for (auto const& s : strings) list->append(KVOString(s));
    return list;
}

KVOSmrPtr<ValueList> valueList(Strings const& strings) {
    KVOSmrPtr<ValueList> list(new ValueList);
    for (auto const& s : strings) list->append(KVOSmrPtr<IKivoValue>(new CKivoValue(KVOString(s))));
    return list;
}

Strings texts(StringList const& list) {
    Strings out;
    for (auto const& s : list) out.push_back(s.str());
    return out;
}

Strings texts(ValueList const& list) {
    Strings out;
    for (auto const& v : list) out.push_back(v->toString().str());
    return out;
}

TEST(AdapterUtilsConvert, NullListsStayNullAndEmptyStringListsGiveNewEmptyLists) {
    EXPECT_TRUE(AdapterUtils::convert(KVOSmrPtr<StringList>()).isNull());
    EXPECT_TRUE(AdapterUtils::convert(KVOSmrPtr<ValueList>(), true).isNull());
    EXPECT_TRUE(AdapterUtils::convert(KVOSmrPtr<ValueList>(), false).isNull());

    auto values = AdapterUtils::convert(stringList({}));
    ASSERT_FALSE(values.isNull());
    EXPECT_EQ(values->entries(), 0u);
}

TEST(AdapterUtilsConvert, EachStringBecomesOneValueInOrderAndTheInputIsLeftAlone) {
    Strings const input{"Name", "NAME", "", "Size", "name"};
    auto strings = stringList(input);
    auto values = AdapterUtils::convert(strings);
    ASSERT_FALSE(values.isNull());
    EXPECT_EQ(texts(*values), input);
    EXPECT_EQ(texts(*strings), input);
}

TEST(AdapterUtilsConvert, ValuesToStringsWithAndWithoutDuplicateRemoval) {
    struct Case {
        Strings values;
        bool removeDuplicates;
        Strings expected;
    };
    std::vector<Case> const cases{
        {{"Name", "NAME", "Size", "name"}, true, {"name", "size"}},
        {{"Name", "NAME", "Size", "name"}, false, {"Name", "NAME", "Size", "name"}},
        {{"Size", "size", "Size"}, false, {"Size", "size", "Size"}},
        {{"B", "a", "b", "A"}, true, {"b", "a"}},
        {{"", ""}, true, {""}},
        {{}, true, {}},  // an empty list gives a new empty list, not null
        {{}, false, {}},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.values) + (c.removeDuplicates ? " removing" : " keeping"));
        auto input = valueList(c.values);
        auto strings = AdapterUtils::convert(input, c.removeDuplicates);
        ASSERT_FALSE(strings.isNull());
        EXPECT_EQ(texts(*strings), c.expected);
        EXPECT_EQ(texts(*input), c.values);
    }
}

TEST(AdapterUtilsConvert, NullValueRaisesTheNullPointerError) {
    auto input = valueList({"Name"});
    input->append(KVOSmrPtr<IKivoValue>());
    try {
        AdapterUtils::convert(input, false);
        FAIL() << "no exception";
    } catch (KVONullPointerException const& e) {
        EXPECT_NE(e.getMessage().str().find("operator->()"), std::string::npos);
    }
}

}  // namespace
