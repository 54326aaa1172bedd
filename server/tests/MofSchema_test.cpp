// The DMTF CIM Schema 2.49, unpacked into the build directory (target
// kivo_cim_schema), compiled whole from its top file; then classes chosen for
// deep inheritance, overrides, restricted and DisableOverride qualifiers,
// arrays, methods and references are checked against DSP0004's rules.
#include "mof/MofCompiler.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

using kivo::mof::MofCompiler;
using kivo::mof::MofResult;
using kivo::om::ClassRepository;

char const kNs[] = "root/cimv2";

class MofSchema : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        std::string const top = std::string(KIVO_CIM_SCHEMA_DIR) + "/cim_schema_2.49.0.mof";
        if (!std::filesystem::exists(top)) return;
        repo = new ClassRepository;
        result = new MofResult(MofCompiler(*repo, kNs).compileFile(top));
    }
    static void TearDownTestSuite() {
        delete repo;
        delete result;
    }
    void SetUp() override {
        if (!repo) GTEST_SKIP() << "the CIM schema zip is not beside the project";
        ASSERT_TRUE(result->ok()) << result->error->text();
    }
    static KVOSmrPtr<IKivoClass> cls(char const* name) {
        KVOSmrPtr<IKivoClass> c = repo->getClass(kNs, name);
        EXPECT_TRUE(c) << name;
        return c;
    }

    static ClassRepository* repo;
    static MofResult* result;
};

ClassRepository* MofSchema::repo = nullptr;
MofResult* MofSchema::result = nullptr;

TEST_F(MofSchema, CompilesEveryClass) {
    std::size_t cim = 0, prs = 0;
    std::vector<KVOSmrPtr<IKivoClass>> const all = repo->subclasses(kNs, "", true);
    for (auto const& c : all) {
        std::string const n = c->getName().str();
        cim += n.rfind("CIM_", 0) == 0;
        prs += n.rfind("PRS_", 0) == 0;
    }
    EXPECT_EQ(all.size(), 1631u);
    EXPECT_EQ(result->classes, 1631u);
    EXPECT_EQ(cim, 1570u);
    EXPECT_EQ(prs, 61u);
    EXPECT_TRUE(result->instances.empty());
    EXPECT_TRUE(repo->getQualifierDecl(kNs, "UMLPackagePath"));
}

TEST_F(MofSchema, DeepInheritanceKeepsTheChainAndItsKeys) {
    KVOSmrPtr<IKivoClass> cs = cls("CIM_ComputerSystem");
    std::vector<std::string> chain;
    for (KVOSmrPtr<IKivoClass> c = cs; c; c = c->getSuperClass()) chain.push_back(c->getName().str());
    EXPECT_EQ(chain, (std::vector<std::string>{"CIM_ComputerSystem", "CIM_System", "CIM_AllocatedLogicalElement", "CIM_EnabledLogicalElement",
                                               "CIM_LogicalElement", "CIM_ManagedSystemElement", "CIM_ManagedElement"}));

    // Origins, overrides and the Restricted Abstract as a client sees them:
    // dmtf_schema_e2e_test, under every view.
    // Name: the key CIM_System made it, propagated with DisableOverride.
    KVOSmrPtr<IKivoQualifier> key = cs->getProperty("Name")->getQualifier("Key");
    ASSERT_TRUE(key);
    EXPECT_TRUE(key->isPropagated());
    EXPECT_FALSE(key->getFlavors().overridable);
    EXPECT_FALSE(cls("CIM_ManagedSystemElement")->getProperty("Name")->getQualifier("Key"));
    EXPECT_EQ(ClassRepository::keyNames(*cs), (std::vector<KVOString>{"Name", "CreationClassName"}));

    // Description is ToSubclass and Translatable; the class states its own.
    KVOSmrPtr<IKivoQualifier> d = cs->getQualifier("Description");
    ASSERT_TRUE(d);
    EXPECT_FALSE(d->isPropagated());
    EXPECT_TRUE(d->getFlavors().translatable);
    EXPECT_TRUE(d->getFlavors().toSubclass);
}

TEST_F(MofSchema, ArraysAndArrayQualifiers) {
    KVOSmrPtr<IKivoProperty> status = cls("CIM_ComputerSystem")->getProperty("OperationalStatus");
    EXPECT_TRUE(status->isArray());
    EXPECT_EQ(status->getCIMType(), KVOCIMType::UInt16);
    KVOSmrPtr<IKivoQualifier> valueMap = status->getQualifier("ValueMap");
    ASSERT_TRUE(valueMap && valueMap->getValue());
    EXPECT_TRUE(valueMap->getValue()->isArray());
    EXPECT_EQ(valueMap->getValue()->getElements().front()->toString(), "0");
    EXPECT_TRUE(valueMap->isPropagated());
    // ArrayType is DisableOverride.
    KVOSmrPtr<IKivoQualifier> arrayType = status->getQualifier("ArrayType");
    ASSERT_TRUE(arrayType);
    EXPECT_EQ(arrayType->getValue()->toString(), "Indexed");
    EXPECT_FALSE(arrayType->getFlavors().overridable);
}

TEST_F(MofSchema, AssociationsNarrowTheirReferences) {
    KVOSmrPtr<IKivoClass> sd = cls("CIM_SystemDevice");
    EXPECT_TRUE(sd->isAssociation());
    KVOSmrPtr<IKivoQualifier> assoc = sd->getQualifier("Association");
    ASSERT_TRUE(assoc);
    EXPECT_TRUE(assoc->isPropagated() || !assoc->getFlavors().overridable);
    KVOSmrPtr<IKivoProperty> group = sd->getProperty("GroupComponent");
    EXPECT_EQ(group->getCIMType(), KVOCIMType::Reference);
    EXPECT_EQ(group->getReferenceClass(), "CIM_System");
    EXPECT_EQ(group->getClassOrigin(), "CIM_SystemDevice");
    EXPECT_FALSE(group->isPropagated());
    ASSERT_TRUE(group->getQualifier("Override"));  // Restricted: on its own element only
    EXPECT_FALSE(group->getQualifier("Override")->isPropagated());
    EXPECT_TRUE(repo->isA(kNs, "CIM_SystemDevice", "CIM_Component"));
    KVOSmrPtr<IKivoProperty> base = cls("CIM_Component")->getProperty("GroupComponent");
    EXPECT_EQ(base->getReferenceClass(), "CIM_ManagedElement");
    EXPECT_GT(repo->associations(kNs).size(), 300u);
}

TEST_F(MofSchema, MethodsAndParameters) {
    KVOSmrPtr<IKivoMethod> m = cls("CIM_ComputerSystem")->getMethod("RequestStateChange");
    ASSERT_TRUE(m);
    EXPECT_EQ(m->getClassOrigin(), "CIM_EnabledLogicalElement");
    EXPECT_TRUE(m->isPropagated());
    EXPECT_EQ(m->getReturnType(), KVOCIMType::UInt32);
    KVOSmrPtr<IKivoParameter> job = m->getParameter("Job");
    ASSERT_TRUE(job);
    EXPECT_EQ(job->getCIMType(), KVOCIMType::Reference);
    EXPECT_EQ(job->getReferenceClass(), "CIM_ConcreteJob");
    EXPECT_TRUE(job->isOut());
    EXPECT_TRUE(m->getParameter("RequestedState")->isIn());
}

TEST_F(MofSchema, IndicationsAndExperimentalQualifiers) {
    KVOSmrPtr<IKivoClass> ind = cls("CIM_InstMethodCall");
    EXPECT_TRUE(KVOQualifierFlag(ind->getQualifier("Indication")));
    EXPECT_TRUE(repo->isA(kNs, "CIM_InstMethodCall", "CIM_Indication"));
}

}  // namespace
