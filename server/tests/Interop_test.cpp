// The interop namespace as a client discovers it: interop.mof compiled over
// the unpacked DMTF schema with the include path the server uses, the interop
// providers registered, then enumerations and association walks through the
// object manager.
#include "objectmanager/Interop.h"

#include "KivoUtilities/KivoBaseException.h"
#include "mof/MofCompiler.h"
#include "objectmanager/CimStatus.h"
#include "objectmanager/Instances.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace kivo::om;

char const kNs[] = "root/interop";
char const kHost[] = "host1";

// Compiles interop.mof into `om`'s root/interop; the error text, or "".
std::string loadInterop(ObjectManager& om) {
    kivo::mof::MofCompiler compiler(om.repository(), kNs);
    compiler.setIncludePath({KIVO_MOF_MODEL_DIR, KIVO_CIM_SCHEMA_DIR});
    kivo::mof::MofResult const r = compiler.compileFile(std::string(KIVO_MOF_MODEL_DIR) + "/interop.mof");
    return r.ok() ? "" : r.error->text();
}

template <class T>
std::vector<T> all(Producer<T> const& produce) {
    std::vector<T> out;
    produce([&](T const& item) { return out.push_back(item), true; });
    return out;
}

std::string property(IKivoObject const& o, char const* name) {
    KVOSmrPtr<IKivoProperty> p = o.getProperty(name);
    KVOSmrPtr<IKivoValue> v = p ? p->getValue() : nullptr;
    return v ? v->toString().str() : "<null>";
}

// "Class:key" for a path: its class and the value of `key`.
std::string label(IKivoInstanceName const& path, char const* key) {
    KVOSmrPtr<IKivoValue> v = path.getKey(key);
    return path.getClassName().str() + ":" + (v ? v->toString().str() : "<none>");
}

class Interop : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (!std::filesystem::exists(std::string(KIVO_CIM_SCHEMA_DIR) + "/cim_schema_2.49.0.mof")) return;
        om = new ObjectManager;
        om->repository().addNamespace("root/cimv2");
        loadError = loadInterop(*om);
        if (!loadError.empty()) return;
        ServerIdentity id;
        id.hostName = kHost;
        id.version = "9.8.7";
        addInteropProviders(*om, id);
    }
    static void TearDownTestSuite() {
        delete om;
        om = nullptr;
    }
    void SetUp() override {
        if (!om) GTEST_SKIP() << "the CIM schema zip is not beside the project";
        ASSERT_EQ(loadError, "");
    }

    static std::vector<KVOSmrPtr<IKivoObject>> instances(char const* cls) {
        return all(om->enumerateInstances(kNs, cls, true, {}));
    }
    static KVOSmrPtr<IKivoInstanceName> only(char const* cls) {
        auto found = all(om->enumerateInstanceNames(kNs, cls));
        EXPECT_EQ(found.size(), 1u) << cls;
        return found.empty() ? nullptr : found.front();
    }
    // The path of the instance of `cls` whose `property` is `value`.
    static KVOSmrPtr<IKivoInstanceName> find(char const* cls, char const* property, char const* value) {
        for (auto const& i : instances(cls))
            if (::property(*i, property) == value) return i->getInstanceName();
        ADD_FAILURE() << "no " << cls << " with " << property << " " << value;
        return nullptr;
    }
    static KVOSmrPtr<IKivoInstanceName> profile(char const* name) { return find("CIM_RegisteredProfile", "RegisteredName", name); }
    static KVOSmrPtr<IKivoInstanceName> nameSpace(char const* name) { return find("CIM_Namespace", "Name", name); }

    static ObjectManager* om;
    static std::string loadError;
};

ObjectManager* Interop::om = nullptr;
std::string Interop::loadError;

TEST_F(Interop, EnumerationsFindEveryInstanceFromTheClassesClientsAsk) {
    struct Case {
        char const* cls;
        char const* key;
        std::set<std::string> expected;
    } const cases[] = {
        {"CIM_Namespace", "Name",
         {"CIM_Namespace:root/cimv2", "CIM_Namespace:root/interop"}},
        {"CIM_ObjectManager", "Name", {"CIM_ObjectManager:kivo"}},
        // Through the superclasses, as clients look for the server.
        {"CIM_WBEMService", "Name", {"CIM_ObjectManager:kivo"}},
        {"CIM_ObjectManagerCommunicationMechanism", "Name",
         {"CIM_CIMXMLCommunicationMechanism:kivo:CIM-XML"}},
        {"CIM_RegisteredProfile", "InstanceID",
         {"CIM_RegisteredProfile:kivo:profile:WBEMServer:1.0.0",
          "CIM_RegisteredProfile:kivo:profile:ProfileRegistration:1.0.0"}},
    };
    for (Case const& c : cases) {
        std::set<std::string> got;
        for (auto const& i : instances(c.cls)) {
            got.insert(label(*i->getInstanceName(), c.key));
            // Every instance is found again by its path, complete.
            KVOSmrPtr<IKivoObject> again = om->getInstance(kNs, i->getInstanceName(), {});
            EXPECT_EQ(again->getProperties().entries(), i->getProperties().entries()) << c.cls;
            EXPECT_EQ(i->getInstanceName()->getNameSpace(), kNs);
        }
        EXPECT_EQ(got, c.expected) << c.cls;
    }
}

TEST_F(Interop, InstancesSayWhatClientsRead) {
    struct Case {
        KVOSmrPtr<IKivoInstanceName> path;
        char const* property;
        char const* expected;
    } const cases[] = {
        {only("CIM_ObjectManager"), "SystemName", kHost},
        {only("CIM_ObjectManager"), "ElementName", "kivo"},
        {only("CIM_ObjectManager"), "Description", "Kivo CIM-XML server 9.8.7"},
        {only("CIM_ObjectManager"), "EnabledState", "2"},
        {only("CIM_ObjectManager"), "Started", "true"},
        {nameSpace("root/cimv2"), "ObjectManagerName", "kivo"},
        {nameSpace("root/cimv2"), "ObjectManagerCreationClassName", "CIM_ObjectManager"},
        {nameSpace("root/cimv2"), "ClassInfo", "0"},
        {profile("WBEM Server"), "RegisteredOrganization", "2"},
        {profile("WBEM Server"), "RegisteredVersion", "1.0.0"},
        {only("CIM_CIMXMLCommunicationMechanism"), "CommunicationMechanism", "2"},
        {only("CIM_CIMXMLCommunicationMechanism"), "AuthenticationMechanismsSupported", "2"},
    };
    for (Case const& c : cases) {
        ASSERT_TRUE(c.path);
        KVOSmrPtr<IKivoObject> i = om->getInstance(kNs, c.path, {});
        // Booleans print in either case.
        EXPECT_STRCASEEQ(property(*i, c.property).c_str(), c.expected) << c.path->toString().str() << " " << c.property;
    }
}

// Associators, AssociatorNames, References and ReferenceNames from each end
// of the interop associations reach the other end.
TEST_F(Interop, AssociationsWalkBothWays) {
    struct Case {
        char const* name;
        KVOSmrPtr<IKivoInstanceName> from;
        char const* assocClass;
        char const* resultClass;
        char const* role;                // and the result role: the other end's
        std::set<std::string> expected;  // the targets, as "Class:Name" or "Class:InstanceID"
    } const cases[] = {
        {"manager to namespaces", only("CIM_ObjectManager"), "CIM_NamespaceInManager", "", "Antecedent",
         {"CIM_Namespace:root/cimv2", "CIM_Namespace:root/interop"}},
        {"namespace to manager", nameSpace("root/cimv2"), "CIM_NamespaceInManager", "", "Dependent", {"CIM_ObjectManager:kivo"}},
        {"manager to profiles", only("CIM_ObjectManager"), "CIM_ElementConformsToProfile", "", "ManagedElement",
         {"CIM_RegisteredProfile:kivo:profile:WBEMServer:1.0.0",
          "CIM_RegisteredProfile:kivo:profile:ProfileRegistration:1.0.0"}},
        {"profile to manager", profile("WBEM Server"), "CIM_ElementConformsToProfile", "", "ConformantStandard", {"CIM_ObjectManager:kivo"}},
        {"profile to manager, by result class", profile("Profile Registration"), "", "CIM_WBEMService", "",
         {"CIM_ObjectManager:kivo"}},
        {"manager to mechanism", only("CIM_ObjectManager"), "", "CIM_ObjectManagerCommunicationMechanism", "Antecedent",
         {"CIM_CIMXMLCommunicationMechanism:kivo:CIM-XML"}},
        {"mechanism to manager", only("CIM_CIMXMLCommunicationMechanism"), "CIM_CommMechanismForManager", "", "Dependent",
         {"CIM_ObjectManager:kivo"}},
        {"manager to everything", only("CIM_ObjectManager"), "", "", "",
         {"CIM_Namespace:root/cimv2", "CIM_Namespace:root/interop", "CIM_RegisteredProfile:kivo:profile:WBEMServer:1.0.0",
          "CIM_RegisteredProfile:kivo:profile:ProfileRegistration:1.0.0",
          "CIM_CIMXMLCommunicationMechanism:kivo:CIM-XML"}},
    };
    auto target = [](IKivoInstanceName const& p) {
        return label(p, p.getClassName() == "CIM_RegisteredProfile" ? "InstanceID" : "Name");
    };
    for (Case const& c : cases) {
        ASSERT_TRUE(c.from) << c.name;
        std::map<std::string, std::string> const other{{"Antecedent", "Dependent"}, {"Dependent", "Antecedent"},
                                                       {"ManagedElement", "ConformantStandard"},
                                                       {"ConformantStandard", "ManagedElement"}};
        KVOString const resultRole = *c.role ? other.at(c.role).c_str() : "";
        Traversal t{c.from, c.assocClass, c.resultClass, c.role, resultRole};
        std::set<std::string> instances, names;
        for (auto const& v : all(om->associators(kNs, t, {}))) instances.insert(target(*v->getInstance()->getInstanceName()));
        for (auto const& p : all(om->associatorNames(kNs, t))) names.insert(target(*p));
        EXPECT_EQ(instances, c.expected) << c.name;
        EXPECT_EQ(names, c.expected) << c.name;

        // References with the association class as ResultClass: one link per target.
        Traversal r{c.from, "", c.assocClass, c.role, ""};
        if (*c.assocClass) {
            std::size_t const refs = all(om->references(kNs, r, {})).size();
            EXPECT_EQ(refs, c.expected.size()) << c.name;
            for (auto const& link : all(om->referenceNames(kNs, r)))
                EXPECT_TRUE(om->getInstance(kNs, link, {})) << c.name << ": " << link->toString().str();
        }
    }
}

int codeOf(std::function<void()> const& operation) {
    try {
        operation();
    } catch (KivoBaseException const& e) {
        return e.getCode();
    }
    return 0;
}

TEST_F(Interop, InstancesAreReadOnlyAndAMissingClassOrNamespaceIsRefused) {
    for (char const* cls : {"CIM_ObjectManager", "CIM_Namespace", "CIM_NamespaceInManager"}) {
        KVOSmrPtr<IKivoObject> i = instances(cls).front();
        EXPECT_EQ(codeOf([&] { om->createInstance(kNs, i); }), CIM_ERR_NOT_SUPPORTED) << cls;
        EXPECT_EQ(codeOf([&] { om->modifyInstance(kNs, nullptr, i, nullptr); }), CIM_ERR_NOT_SUPPORTED) << cls;
        EXPECT_EQ(codeOf([&] { om->deleteInstance(kNs, i->getInstanceName()); }), CIM_ERR_NOT_SUPPORTED) << cls;
    }
    ObjectManager bare;
    bare.repository().addNamespace(kNs);
    EXPECT_EQ(codeOf([&] { addInteropProviders(bare, ServerIdentity{}); }), CIM_ERR_INVALID_CLASS);
    EXPECT_EQ(codeOf([&] { addInteropProviders(bare, ServerIdentity{}, "root/elsewhere"); }), CIM_ERR_INVALID_NAMESPACE);
}

// The namespaces are read from the repository at each call.
TEST_F(Interop, NamespacesAddedLaterAreListed) {
    ObjectManager later;
    ASSERT_EQ(loadInterop(later), "");
    addInteropProviders(later, ServerIdentity{});
    later.repository().addNamespace("test/added");
    std::set<std::string> names;
    for (auto const& n : all(later.enumerateInstanceNames(kNs, "CIM_Namespace"))) names.insert(n->getKey("Name")->toString().str());
    EXPECT_EQ(names, (std::set<std::string>{"root/interop", "test/added"}));
    // The host name defaults to the machine's.
    EXPECT_NE(all(later.enumerateInstances(kNs, "CIM_ObjectManager", true, {})).front()->getProperty("SystemName")->getValue()->toString(), "");
}

}  // namespace
