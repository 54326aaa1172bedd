#include "Cimom/ProtocolAdapter/Common/ClassOriginDictionary.h"

#include "KivoUtilities/CKivoClass.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using cimxmlpa::ClassOriginDictionary;

KVOSmrPtr<IKivoClass> makeClass(char const* name, KVOSmrPtr<IKivoClass> super, std::vector<KVOString> properties) {
    return KVOSmrPtr<IKivoClass>(new CKivoClass(name, std::move(super), std::move(properties)));
}

// Answers both lookups and checks that they agree.
std::string originOf(ClassOriginDictionary& dict, std::string const& name) {
    KVOString const viaStd = dict.getPropertyOrigin(name);
    KVOString const viaKvo = dict.getPropertyOrigin(KVOString(name));
    EXPECT_EQ(viaStd, viaKvo) << name;
    return viaStd.str();
}

// Root declares Name, Caption and Status; Middle overrides Caption and adds
// Size; Leaf overrides Status (spelt STATUS) and adds Speed.
class ThreeLevelChain : public ::testing::Test {
protected:
    KVOSmrPtr<IKivoClass> root = makeClass("Root", nullptr, {"Name", "Caption", "Status"});
    KVOSmrPtr<IKivoClass> middle = makeClass("Middle", root, {"Caption", "Size"});
    KVOSmrPtr<IKivoClass> leaf = makeClass("Leaf", middle, {"STATUS", "Speed"});
};

TEST_F(ThreeLevelChain, EachPropertyAnswersTheNearestClassThatDeclaresIt) {
    struct Case {
        KVOSmrPtr<IKivoClass> start;
        std::string property;
        std::string origin;
    };
    std::vector<Case> const cases{
        {leaf, "Speed", "Leaf"},     {leaf, "Status", "Leaf"},     {leaf, "status", "Leaf"},
        {leaf, "Size", "Middle"},    {leaf, "Caption", "Middle"},  {leaf, "CAPTION", "Middle"},
        {leaf, "Name", "Root"},      {leaf, "nAmE", "Root"},       {leaf, "Unknown", ""},
        {leaf, "", ""},              {middle, "Caption", "Middle"}, {middle, "Status", "Root"},
        {middle, "Speed", ""},       {root, "Caption", "Root"},     {root, "Size", ""},
    };
    for (auto const& c : cases) {
        ClassOriginDictionary dict(c.start);
        EXPECT_EQ(originOf(dict, c.property), c.origin) << c.start->getName() << "." << c.property;
        EXPECT_EQ(dict.getClass(), c.start);
    }
}

TEST(ClassOriginDictionary, ClassWithoutPropertiesOrNullClassAnswersEmpty) {
    auto lone = makeClass("Lone", nullptr, {});
    ClassOriginDictionary dict(lone);
    EXPECT_EQ(dict.getClass(), lone);
    EXPECT_EQ(originOf(dict, "Name"), "");

    ClassOriginDictionary none{KVOSmrPtr<IKivoClass>()};
    EXPECT_TRUE(none.getClass().isNull());
    EXPECT_EQ(originOf(none, "Name"), "");
}

// A class whose superclass lookup fails: the walk's error leaves the constructor.
class BrokenClass : public IKivoClass {
public:
    KVOString getName() const override { return "Broken"; }
    KVOSmrPtr<IKivoClass> getSuperClass() const override { throw std::runtime_error("repository unavailable"); }
    CI_AutoPtr_U<qora::Iterator<KVOString>> getPropertyNames(int) const override {
        return std::make_unique<qora::VectorIterator<KVOString>>(std::vector<KVOString>{"Name"});
    }
};

TEST(ClassOriginDictionary, ErrorsOfTheWalkPassOut) {
    KVOSmrPtr<IKivoClass> broken(new BrokenClass);
    EXPECT_THROW(ClassOriginDictionary{broken}, std::runtime_error);
}

}  // namespace
