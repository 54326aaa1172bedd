// The object manager driven the way the server drives it: operations built on
// the library's operation bases, processed through the library's driver, with
// the default model loaded into a real handler context.
#include "objectmanager/HandlerContext.h"

#include "objectmanager/ClassBuilder.h"
#include "objectmanager/CimStatus.h"

#include "Cimom/ProtocolAdapter/Common/KivoAssociatorNamesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoAssociatorsOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoCreateInstanceOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoDeleteInstanceOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoEnumerateClassNamesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoEnumerateClassesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoEnumerateInstanceNamesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoEnumerateInstancesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoEnumerateQualifiersOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoGetClassOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoGetInstanceOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoGetPropertyOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoGetQualifierOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoInvokeMethodOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoModifyInstanceOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoReferenceNamesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoReferencesOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoSetPropertyOperationBase.h"

#include "support/LogCapture.h"
#include "support/TestHandler.h"
#include "support/TestStreams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <set>
#include <thread>

namespace {

using namespace kivo::om;
using kivo_test::Concrete;
using T = KVOCIMType;

using Keys = std::vector<std::pair<KVOString, KVOString>>;

KVOSmrPtr<IKivoInstanceName> path(KVOString cls, Keys keys) {
    return KVOSmrPtr<IKivoInstanceName>(new CKivoInstanceName(kCimv2, std::move(cls), std::move(keys)));
}
KVOSmrPtr<IKivoInstanceName> disk(char const* id) { return path("KIVO_DiskDrive", {{"SystemName", "host1"}, {"DeviceID", id}}); }
KVOSmrPtr<IKivoInstanceName> host() { return path("KIVO_ComputerSystem", {{"Name", "host1"}}); }

KVOSmrPtr<KVOValSlist<KVOString>> names(std::initializer_list<char const*> list) {
    KVOSmrPtr<KVOValSlist<KVOString>> out(new KVOValSlist<KVOString>);
    for (char const* n : list) out->append(n);
    return out;
}

template <class Named>
std::set<std::string> namesOf(std::vector<KVOSmrPtr<Named>> const& items) {
    std::set<std::string> out;
    for (auto const& i : items) out.insert(i->getName().str());
    return out;
}

std::set<std::string> propertyNames(IKivoObject const& o) {
    std::set<std::string> out;
    for (auto const& p : o.getProperties()) out.insert(p->getName().str());
    return out;
}

std::set<std::string> keyValues(std::vector<KVOSmrPtr<IKivoInstanceName>> const& paths, char const* key) {
    std::set<std::string> out;
    for (auto const& p : paths) out.insert(p->getKey(key)->toString().str());
    return out;
}

KVOSmrPtr<IKivoObject> newInstance(KVOString cls, std::vector<std::pair<KVOString, KVOSmrPtr<IKivoValue>>> values) {
    KVOValSlist<KVOSmrPtr<IKivoProperty>> properties;
    for (auto& [n, v] : values) properties.append(KVOSmrPtr<IKivoProperty>(new CKivoProperty(n, v)));
    return KVOSmrPtr<IKivoObject>(new CKivoObject(std::move(cls), properties));
}

KVOSmrPtr<IKivoValue> str(char const* s) { return KVOSmrPtr<IKivoValue>(new CKivoValue(s)); }

class ObjectManagerTest : public ::testing::Test {
protected:
    explicit ObjectManagerTest(unsigned scale = 40) : ctx(ModelSettings{scale}) {}
    void SetUp() override { ctx.start(); }

    template <class Base, class... Args>
    KVOSmrPtr<Concrete<Base>> make(Args... args) {
        return KVOSmrPtr<Concrete<Base>>(new Concrete<Base>(&ctx, args...));
    }
    template <class Base>
    KVOSmrPtr<Concrete<Base>> make() {
        KVOSmrPtr<Concrete<Base>> op(new Concrete<Base>(&ctx));
        op->setNameSpace(kCimv2);
        return op;
    }
    // A streaming operation in root/cimv2 with the given bound.
    template <class Base>
    KVOSmrPtr<Concrete<Base>> streaming(unsigned bounds = 0) {
        KVOSmrPtr<Concrete<Base>> op(new Concrete<Base>(&ctx, bounds));
        op->setNameSpace(kCimv2);
        return op;
    }

    template <class Op>
    static int run(KVOSmrPtr<Op> const& op) {
        KVOSmrPtr<KivoOperationBase> base = op;
        op->process(kivo_test::nullOStream(), base);
        return op->getErrorCode();
    }
    // Processes a streaming operation; its writeResponse takes every result.
    template <class Op>
    static auto drain(KVOSmrPtr<Op> const& op) {
        std::vector<decltype(op->next())> out;
        Op* raw = op.get();
        op->onWrite = [raw, &out] {
            while (raw->hasNext()) out.push_back(raw->next());
        };
        run(op);
        return out;
    }

    kivo_test::LogCapture log;
    HandlerContext ctx;
};

// ---------------------------------------------------------------------------
// Classes: inheritance, LocalOnly, qualifiers, class origin, property lists.

TEST_F(ObjectManagerTest, GetClassResolvesInheritanceAndHonoursEveryClassOption) {
    auto full = make<KivoGetClassOperationBase>();
    full->setClassName("KIVO_DiskDrive");
    full->setLocalOnly(false);
    full->setClassOrigin(true);
    ASSERT_EQ(run(full), 0);
    KVOSmrPtr<IKivoClass> cls = full->getClass();
    EXPECT_EQ(cls->getSuperClassName(), KVOString("KIVO_LogicalDevice"));
    EXPECT_EQ(namesOf(cls->getProperties()),
              (std::set<std::string>{"InstanceID", "Caption", "Description", "ElementName", "Generation", "SystemName",
                                     "DeviceID", "EnabledState", "Status", "Capacity", "MediaType", "Removable"}));
    EXPECT_TRUE(cls->getProperty("caption")->isPropagated());
    EXPECT_EQ(cls->getProperty("Caption")->getClassOrigin(), KVOString("CIM_ManagedElement"));
    // Status is overridden: the class's own, with the inherited qualifiers it
    // did not redefine marked propagated.
    EXPECT_FALSE(cls->getProperty("Status")->isPropagated());
    EXPECT_EQ(cls->getProperty("Status")->getClassOrigin(), KVOString("KIVO_DiskDrive"));
    // Key passes to subclasses; Abstract is restricted to the class that says it.
    KVOSmrPtr<IKivoQualifier> key = cls->getProperty("DeviceID")->getQualifier("Key");
    ASSERT_TRUE(key);
    EXPECT_TRUE(key->isPropagated());
    EXPECT_FALSE(cls->getQualifier("Abstract"));
    EXPECT_TRUE(cls->getMethod("Resize")->getParameter("OldCapacity")->isOut());

    auto local = make<KivoGetClassOperationBase>();
    local->setClassName("kivo_diskdrive");
    ASSERT_EQ(run(local), 0);  // defaults: LocalOnly, IncludeQualifiers, no class origin
    cls = local->getClass();
    EXPECT_EQ(namesOf(cls->getProperties()), (std::set<std::string>{"Status", "Capacity", "MediaType", "Removable"}));
    EXPECT_TRUE(cls->getProperty("Status")->getClassOrigin().isEmpty());
    EXPECT_TRUE(cls->getQualifier("Description"));
    // The superclass link still finds where each property comes from.
    auto inherited = cls->getPropertyNames(1);
    std::set<std::string> all;
    while (inherited->hasNext()) all.insert(inherited->next().str());
    EXPECT_TRUE(all.count("Caption"));

    auto bare = make<KivoGetClassOperationBase>();
    bare->setClassName("KIVO_DiskDrive");
    bare->setLocalOnly(false);
    bare->setIncludeQualifiers(false);
    bare->setPropertyList(names({"capacity", "DeviceID", "NoSuchProperty"}));
    ASSERT_EQ(run(bare), 0);
    cls = bare->getClass();
    EXPECT_EQ(namesOf(cls->getProperties()), (std::set<std::string>{"DeviceID", "Capacity"}));
    EXPECT_TRUE(cls->getQualifiers().empty());
    EXPECT_TRUE(cls->getProperty("DeviceID")->getQualifiers().empty());
    EXPECT_TRUE(cls->getMethod("Resize")->getQualifiers().empty());
    EXPECT_TRUE(cls->getMethod("Resize")->getParameter("NewCapacity")->getQualifiers().empty());
}

TEST_F(ObjectManagerTest, ClassEnumerationsFollowDeepInheritance) {
    auto direct = make<KivoEnumerateClassNamesOperationBase>();
    direct->setClassName("KIVO_ManagedElement");
    std::vector<KVOString> got = drain(direct);
    std::set<std::string> gotNames;
    for (KVOString const& n : got) gotNames.insert(n.str());
    EXPECT_EQ(gotNames,
              (std::set<std::string>{"KIVO_LogicalDevice", "KIVO_ComputerSystem", "KIVO_ScaleItem"}));

    auto deep = make<KivoEnumerateClassNamesOperationBase>();
    deep->setClassName("KIVO_ManagedElement");
    deep->setDeepInheritance(true);
    got = drain(deep);
    EXPECT_EQ(got.size(), 5u);
    EXPECT_NE(std::find(got.begin(), got.end(), KVOString("KIVO_DiskDrive")), got.end());

    auto roots = make<KivoEnumerateClassNamesOperationBase>();
    got = drain(roots);
    EXPECT_NE(std::find(got.begin(), got.end(), KVOString("KIVO_SystemDevice")), got.end());
    EXPECT_EQ(std::find(got.begin(), got.end(), KVOString("KIVO_DiskDrive")), got.end());

    auto classes = make<KivoEnumerateClassesOperationBase>();
    classes->setClassName("KIVO_LogicalDevice");
    classes->setLocalOnly(false);
    std::vector<KVOSmrPtr<IKivoClass>> found = drain(classes);
    ASSERT_EQ(found.size(), 2u);
    for (auto const& c : found) EXPECT_TRUE(c->getProperty("DeviceID")) << c->getName();
}

TEST_F(ObjectManagerTest, UnknownNamespaceClassAndQualifierGiveTheirCodes) {
    auto ns = make<KivoGetClassOperationBase>();
    ns->setNameSpace("root/nowhere");
    ns->setClassName("KIVO_DiskDrive");
    EXPECT_EQ(run(ns), CIM_ERR_INVALID_NAMESPACE);

    auto cls = make<KivoGetClassOperationBase>();
    cls->setClassName("KIVO_NoSuchClass");
    EXPECT_EQ(run(cls), CIM_ERR_INVALID_CLASS);
    EXPECT_NE(cls->getErrorContext()->getMessage().str().find("KIVO_NoSuchClass"), std::string::npos);

    auto names = make<KivoEnumerateClassNamesOperationBase>();
    names->setClassName("KIVO_NoSuchClass");
    EXPECT_TRUE(drain(names).empty());
    EXPECT_EQ(names->getErrorCode(), CIM_ERR_INVALID_CLASS);

    auto instances = streaming<KivoEnumerateInstancesOperationBase>();
    instances->setNameSpace("/root/nowhere/");
    instances->setClassName("KIVO_DiskDrive");
    EXPECT_TRUE(drain(instances).empty());
    EXPECT_EQ(instances->getErrorCode(), CIM_ERR_INVALID_NAMESPACE);

    auto all = make<KivoEnumerateQualifiersOperationBase>();
    ASSERT_EQ(run(all), 0);
    std::set<std::string> declared;
    for (auto const* q : *all->getQualifierList()) declared.insert(q->getName().str());
    EXPECT_TRUE(declared.count("Key") && declared.count("Association") && declared.count("Out"));

    auto one = make<KivoGetQualifierOperationBase>();
    one->setQualifierName("key");
    ASSERT_EQ(run(one), 0);
    EXPECT_EQ(one->getQualifierDef()->getCIMType(), T::Boolean);
    EXPECT_EQ(one->getQualifierDef()->getScopes() & KVOQualifierScope::PROPERTY, KVOQualifierScope::PROPERTY);

    auto missing = make<KivoGetQualifierOperationBase>();
    missing->setQualifierName("NoSuchQualifier");
    EXPECT_EQ(run(missing), CIM_ERR_NOT_FOUND);
}

// ---------------------------------------------------------------------------
// Instances: enumeration across subclasses, DeepInheritance, property lists.

TEST_F(ObjectManagerTest, EnumerateInstancesCoversSubclassesAndLimitsPropertiesWithoutDeepInheritance) {
    auto deep = streaming<KivoEnumerateInstancesOperationBase>(2);
    deep->setClassName("KIVO_LogicalDevice");
    deep->setClassOrigin(true);
    std::vector<KVOSmrPtr<IKivoObject>> got = drain(deep);
    ASSERT_EQ(got.size(), 3u);
    auto disk0 = std::find_if(got.begin(), got.end(), [](auto const& o) {
        return o->getInstanceName()->getKey("DeviceID")->toString() == "disk0";
    });
    ASSERT_NE(disk0, got.end());
    EXPECT_EQ((*disk0)->getClassName(), KVOString("KIVO_DiskDrive"));
    EXPECT_EQ((*disk0)->getProperty("Capacity")->getValue()->getUnsigned(), 500107862016ULL);
    EXPECT_EQ((*disk0)->getProperty("SystemName")->getClassOrigin(), KVOString("KIVO_LogicalDevice"));
    EXPECT_EQ((*disk0)->getInstanceName()->getNameSpace(), KVOString(kCimv2));

    auto shallow = streaming<KivoEnumerateInstancesOperationBase>();
    shallow->setClassName("KIVO_LogicalDevice");
    shallow->setDeepInheritance(false);
    got = drain(shallow);
    ASSERT_EQ(got.size(), 3u);
    for (auto const& o : got) {
        EXPECT_FALSE(o->getProperty("Capacity")) << "a subclass property without DeepInheritance";
        EXPECT_FALSE(o->getProperty("Speed"));
        EXPECT_TRUE(o->getProperty("EnabledState"));
        EXPECT_TRUE(o->getProperty("Caption")->getClassOrigin().isEmpty());
    }

    auto listed = streaming<KivoEnumerateInstancesOperationBase>();
    listed->setClassName("KIVO_DiskDrive");
    listed->setPropertyList(names({"capacity"}));
    got = drain(listed);
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(propertyNames(*got[0]), (std::set<std::string>{"Capacity"}));
    EXPECT_TRUE(got[0]->getInstanceName()->getKey("DeviceID")) << "the path keeps its keys";

    auto none = streaming<KivoEnumerateInstancesOperationBase>();
    none->setClassName("KIVO_DiskDrive");
    none->setPropertyList(names({}));
    got = drain(none);
    ASSERT_EQ(got.size(), 2u);
    EXPECT_TRUE(propertyNames(*got[0]).empty());

    auto paths = streaming<KivoEnumerateInstanceNamesOperationBase>();
    paths->setClassName("KIVO_ManagedElement");
    std::vector<KVOSmrPtr<IKivoInstanceName>> named = drain(paths);
    EXPECT_EQ(named.size(), 4u + 40u) << "system, three devices and the scale items";
}

TEST_F(ObjectManagerTest, GetInstanceFindsByTypedOrTextKeysAndReportsWhatIsMissing) {
    auto get = make<KivoGetInstanceOperationBase>();
    get->setName(disk("disk1"));
    get->setPropertyList(names({"MediaType"}));
    ASSERT_EQ(run(get), 0);
    EXPECT_EQ(get->getInstance()->getProperty("MediaType")->getValue()->toString(), KVOString("HDD"));
    EXPECT_EQ(propertyNames(*get->getInstance()), (std::set<std::string>{"MediaType"}));

    // A numeric key given as text, as an untyped client sends it.
    auto item = make<KivoGetInstanceOperationBase>();
    item->setName(path("KIVO_ScaleItem", {{"Index", "7"}}));
    ASSERT_EQ(run(item), 0);
    EXPECT_EQ(item->getInstance()->getProperty("Value")->getValue()->getSigned(), 49 - 500);

    // Only some keys: the one instance they match.
    auto partial = make<KivoGetInstanceOperationBase>();
    partial->setName(path("Sample_Disk", {{"DeviceID", "d1"}}));
    ASSERT_EQ(run(partial), 0);
    EXPECT_EQ(partial->getInstance()->getInstanceName()->getKey("SystemName")->toString(), KVOString("host1"));

    auto absent = make<KivoGetInstanceOperationBase>();
    absent->setName(disk("disk9"));
    EXPECT_EQ(run(absent), CIM_ERR_NOT_FOUND);
    auto beyond = make<KivoGetInstanceOperationBase>();
    beyond->setName(path("KIVO_ScaleItem", {{"Index", "40"}}));
    EXPECT_EQ(run(beyond), CIM_ERR_NOT_FOUND);
    auto unknown = make<KivoGetInstanceOperationBase>();
    unknown->setName(path("KIVO_Nothing", {{"Name", "x"}}));
    EXPECT_EQ(run(unknown), CIM_ERR_INVALID_CLASS);
    auto none = make<KivoGetInstanceOperationBase>();
    EXPECT_EQ(run(none), CIM_ERR_INVALID_PARAMETER);
}

// ---------------------------------------------------------------------------
// Create, modify, set, get and delete against the store.

TEST_F(ObjectManagerTest, CreateModifyDeleteRoundTrip) {
    auto create = make<KivoCreateInstanceOperationBase>();
    create->setInstance(newInstance("KIVO_DiskDrive", {{"SystemName", str("host1")},
                                                       {"DeviceID", str("disk9")},
                                                       {"Capacity", str("1024")},
                                                       {"MediaType", str("NVMe")}}));
    ASSERT_EQ(run(create), 0);
    KVOSmrPtr<IKivoInstanceName> created = create->getInstanceName();
    ASSERT_TRUE(created);
    EXPECT_EQ(created->toString(), KVOString("root/cimv2:KIVO_DiskDrive.SystemName=\"host1\",DeviceID=\"disk9\""));

    auto again = make<KivoCreateInstanceOperationBase>();
    again->setInstance(newInstance("KIVO_DiskDrive", {{"SystemName", str("host1")}, {"DeviceID", str("disk9")}}));
    EXPECT_EQ(run(again), CIM_ERR_ALREADY_EXISTS);

    auto get = make<KivoGetInstanceOperationBase>();
    get->setName(created);
    ASSERT_EQ(run(get), 0);
    KVOSmrPtr<IKivoProperty> capacity = get->getInstance()->getProperty("Capacity");
    EXPECT_EQ(capacity->getCIMType(), T::UInt64) << "text converted to the declared type";
    EXPECT_EQ(capacity->getValue()->getUnsigned(), 1024u);
    EXPECT_EQ(get->getInstance()->getProperty("Status")->getValue()->toString(), KVOString("OK")) << "class default";

    // Only the listed property changes; the unlisted one keeps its value.
    auto modify = make<KivoModifyInstanceOperationBase>();
    modify->setInstanceName(created);
    modify->setInstance(newInstance("KIVO_DiskDrive", {{"Capacity", str("2048")}, {"MediaType", str("tape")}}));
    modify->setPropertyList(names({"Capacity"}));
    ASSERT_EQ(run(modify), 0);

    auto set = make<KivoSetPropertyOperationBase>();
    set->setInstanceName(created);
    set->setPropertyName("Removable");
    set->setPropertyValue(str("TRUE"));
    ASSERT_EQ(run(set), 0);

    auto check = make<KivoGetInstanceOperationBase>();
    check->setName(created);
    ASSERT_EQ(run(check), 0);
    EXPECT_EQ(check->getInstance()->getProperty("Capacity")->getValue()->getUnsigned(), 2048u);
    EXPECT_EQ(check->getInstance()->getProperty("MediaType")->getValue()->toString(), KVOString("NVMe"));
    EXPECT_TRUE(check->getInstance()->getProperty("Removable")->getValue()->getBoolean());

    auto property = make<KivoGetPropertyOperationBase>();
    property->setInstanceName(created);
    property->setPropertyName("capacity");
    ASSERT_EQ(run(property), 0);
    EXPECT_EQ(property->getPropertyValue()->toString(), KVOString("2048"));

    auto del = make<KivoDeleteInstanceOperationBase>();
    del->setInstanceName(created);
    ASSERT_EQ(run(del), 0);
    auto gone = make<KivoGetInstanceOperationBase>();
    gone->setName(created);
    EXPECT_EQ(run(gone), CIM_ERR_NOT_FOUND);
    auto delAgain = make<KivoDeleteInstanceOperationBase>();
    delAgain->setInstanceName(created);
    EXPECT_EQ(run(delAgain), CIM_ERR_NOT_FOUND);
}

TEST_F(ObjectManagerTest, ChangesThatCannotBeMadeAreRefusedWithTheirCodes) {
    auto noProperty = make<KivoGetPropertyOperationBase>();
    noProperty->setInstanceName(disk("disk0"));
    noProperty->setPropertyName("Colour");
    EXPECT_EQ(run(noProperty), CIM_ERR_NO_SUCH_PROPERTY);

    auto setUnknown = make<KivoSetPropertyOperationBase>();
    setUnknown->setInstanceName(disk("disk0"));
    setUnknown->setPropertyName("Colour");
    setUnknown->setPropertyValue(str("red"));
    EXPECT_EQ(run(setUnknown), CIM_ERR_NO_SUCH_PROPERTY);

    auto badValue = make<KivoSetPropertyOperationBase>();
    badValue->setInstanceName(disk("disk0"));
    badValue->setPropertyName("Capacity");
    badValue->setPropertyValue(str("lots"));
    EXPECT_EQ(run(badValue), CIM_ERR_INVALID_PARAMETER);

    auto key = make<KivoSetPropertyOperationBase>();
    key->setInstanceName(disk("disk0"));
    key->setPropertyName("DeviceID");
    key->setPropertyValue(str("disk5"));
    EXPECT_EQ(run(key), CIM_ERR_INVALID_PARAMETER);

    auto abstract = make<KivoCreateInstanceOperationBase>();
    abstract->setInstance(newInstance("KIVO_LogicalDevice", {{"SystemName", str("h")}, {"DeviceID", str("x")}}));
    EXPECT_EQ(run(abstract), CIM_ERR_INVALID_PARAMETER);

    auto noKey = make<KivoCreateInstanceOperationBase>();
    noKey->setInstance(newInstance("KIVO_DiskDrive", {{"SystemName", str("h")}}));
    EXPECT_EQ(run(noKey), CIM_ERR_INVALID_PARAMETER);

    auto extra = make<KivoCreateInstanceOperationBase>();
    extra->setInstance(newInstance("KIVO_DiskDrive", {{"SystemName", str("h")}, {"DeviceID", str("x")}, {"Colour", str("red")}}));
    EXPECT_EQ(run(extra), CIM_ERR_NO_SUCH_PROPERTY);

    auto generated = make<KivoCreateInstanceOperationBase>();
    generated->setInstance(newInstance("KIVO_ScaleItem", {{"Index", str("99999")}}));
    EXPECT_EQ(run(generated), CIM_ERR_NOT_SUPPORTED) << "the scale provider makes its instances itself";

    auto modifyMissing = make<KivoModifyInstanceOperationBase>();
    modifyMissing->setInstanceName(disk("disk9"));
    modifyMissing->setInstance(newInstance("KIVO_DiskDrive", {{"Capacity", str("1")}}));
    EXPECT_EQ(run(modifyMissing), CIM_ERR_NOT_FOUND);
}

// ---------------------------------------------------------------------------
// Associations: traversal and its filters.

TEST_F(ObjectManagerTest, AssociatorNamesFollowAssocClassResultClassRoleAndResultRole) {
    auto traverse = [&](KVOSmrPtr<IKivoInstanceName> from, char const* assoc, char const* result, char const* role,
                        char const* resultRole) {
        auto op = streaming<KivoAssociatorNamesOperationBase>(1);
        op->setSourceInstance(from);
        op->setAssociationClass(assoc);
        op->setResultClass(result);
        op->setRole(role);
        op->setResultRole(resultRole);
        std::vector<KVOSmrPtr<IKivoInstanceName>> got = drain(op);
        EXPECT_EQ(op->getErrorCode(), 0);
        return got;
    };
    EXPECT_EQ(keyValues(traverse(host(), "", "", "", ""), "DeviceID"), (std::set<std::string>{"disk0", "disk1", "eth0"}));
    EXPECT_EQ(keyValues(traverse(host(), "KIVO_SystemDevice", "KIVO_DiskDrive", "", ""), "DeviceID"),
              (std::set<std::string>{"disk0", "disk1"}));
    EXPECT_TRUE(traverse(host(), "", "", "PartComponent", "").empty()) << "the system is the group, not the part";
    EXPECT_TRUE(traverse(host(), "Sample_Hosted", "", "", "").empty());
    EXPECT_EQ(traverse(host(), "", "", "GroupComponent", "partcomponent").size(), 3u);
    EXPECT_TRUE(traverse(host(), "", "", "", "GroupComponent").empty());

    std::vector<KVOSmrPtr<IKivoInstanceName>> up = traverse(disk("disk0"), "", "KIVO_ComputerSystem", "", "");
    ASSERT_EQ(up.size(), 1u);
    EXPECT_TRUE(up[0]->sameAs(*host()));

    // A path naming the superclass of the instance's class still leads there.
    std::vector<KVOSmrPtr<IKivoInstanceName>> viaBase =
        traverse(path("KIVO_LogicalDevice", {{"SystemName", "host1"}, {"DeviceID", "eth0"}}), "", "", "", "");
    EXPECT_EQ(viaBase.size(), 1u);
    // So does a path with only some of the keys.
    std::vector<KVOSmrPtr<IKivoInstanceName>> fromPartial = traverse(path("Sample_Disk", {{"DeviceID", "d1"}}), "", "", "", "");
    ASSERT_EQ(fromPartial.size(), 1u);
    EXPECT_EQ(fromPartial[0]->getClassName(), KVOString("Sample_System"));

    auto badFilter = streaming<KivoAssociatorNamesOperationBase>();
    badFilter->setSourceInstance(host());
    badFilter->setAssociationClass("KIVO_NoSuchAssociation");
    EXPECT_TRUE(drain(badFilter).empty());
    EXPECT_EQ(badFilter->getErrorCode(), CIM_ERR_INVALID_PARAMETER);
}

TEST_F(ObjectManagerTest, AssociatorsAndReferencesCarryObjectsShapedByTheirOptions) {
    auto associators = streaming<KivoAssociatorsOperationBase>();
    associators->setSourceInstance(host());
    associators->setResultClass("KIVO_NetworkPort");
    associators->setPropertyList(names({"Speed"}));
    std::vector<KVOSmrPtr<IKivoValue>> objects = drain(associators);
    ASSERT_EQ(objects.size(), 1u);
    KVOSmrPtr<IKivoObject> port = objects[0]->getInstance();
    ASSERT_TRUE(port);
    EXPECT_EQ(port->getClassName(), KVOString("KIVO_NetworkPort"));
    EXPECT_EQ(propertyNames(*port), (std::set<std::string>{"Speed"}));
    EXPECT_TRUE(port->getInstanceName());

    auto references = streaming<KivoReferencesOperationBase>();
    references->setSourceInstance(disk("disk1"));
    references->setRole("PartComponent");
    std::vector<KVOSmrPtr<IKivoValue>> links = drain(references);
    ASSERT_EQ(links.size(), 1u);
    KVOSmrPtr<IKivoObject> link = links[0]->getInstance();
    EXPECT_EQ(link->getClassName(), KVOString("KIVO_SystemDevice"));
    EXPECT_TRUE(link->getProperty("GroupComponent")->getValue()->getReference()->sameAs(*host()));

    auto names = streaming<KivoReferenceNamesOperationBase>();
    names->setSourceInstance(host());
    names->setResultClass("KIVO_SystemDevice");
    EXPECT_EQ(drain(names).size(), 3u);
    auto other = streaming<KivoReferenceNamesOperationBase>();
    other->setSourceInstance(host());
    other->setResultClass("Sample_Hosted");
    EXPECT_TRUE(drain(other).empty());

    // From a class path: the association classes and the classes across.
    auto classRefs = streaming<KivoReferenceNamesOperationBase>();
    classRefs->setSourceInstance(path("KIVO_DiskDrive", {}));
    std::vector<KVOSmrPtr<IKivoInstanceName>> assocs = drain(classRefs);
    ASSERT_EQ(assocs.size(), 1u);
    EXPECT_EQ(assocs[0]->getClassName(), KVOString("KIVO_SystemDevice"));
    auto classAssoc = streaming<KivoAssociatorsOperationBase>();
    classAssoc->setSourceInstance(path("KIVO_DiskDrive", {}));
    std::vector<KVOSmrPtr<IKivoValue>> across = drain(classAssoc);
    ASSERT_EQ(across.size(), 1u);
    ASSERT_TRUE(across[0]->getClass());
    EXPECT_EQ(across[0]->getClass()->getName(), KVOString("KIVO_ComputerSystem"));
}

// ---------------------------------------------------------------------------
// Methods.

TEST_F(ObjectManagerTest, InvokeMethodReadsAndChangesTheStore) {
    auto invoke = [&](KVOString cls, KVOSmrPtr<IKivoInstanceName> target, char const* method,
                      std::vector<std::pair<char const*, KVOSmrPtr<IKivoValue>>> in) {
        auto op = make<KivoInvokeMethodOperationBase>();
        op->setClassName(cls);
        op->setOperationName(method);
        op->setInstanceName(target);
        KVOSmrPtr<KVOValSlist<KVOSmrPtr<IKivoActualParameter>>> params(new KVOValSlist<KVOSmrPtr<IKivoActualParameter>>);
        for (auto& [n, v] : in) params->append(KVOSmrPtr<IKivoActualParameter>(new CKivoActualParameter(n, v)));
        op->setInputParameters(params);
        run(op);
        return op;
    };
    auto resize = invoke("KIVO_DiskDrive", disk("disk0"), "Resize", {{"NewCapacity", str("1000")}});
    ASSERT_EQ(resize->getErrorCode(), 0);
    EXPECT_EQ(resize->getReturn()->getCIMType(), T::UInt32);
    EXPECT_EQ(resize->getReturn()->getUnsigned(), 0u);
    ASSERT_EQ(resize->getOutputParameters()->entries(), 1u);
    KVOSmrPtr<IKivoActualParameter> old = resize->getOutputParameters()->first();
    EXPECT_EQ(old->getName(), KVOString("OldCapacity"));
    EXPECT_EQ(old->getValue()->getUnsigned(), 500107862016ULL);

    auto capacity = make<KivoGetPropertyOperationBase>();
    capacity->setInstanceName(disk("disk0"));
    capacity->setPropertyName("Capacity");
    ASSERT_EQ(run(capacity), 0);
    EXPECT_EQ(capacity->getPropertyValue()->getUnsigned(), 1000u);

    auto count = invoke("KIVO_ComputerSystem", nullptr, "CountDevices", {});
    ASSERT_EQ(count->getErrorCode(), 0);
    EXPECT_EQ(count->getReturn()->getUnsigned(), 3u);

    EXPECT_EQ(invoke("KIVO_DiskDrive", disk("disk0"), "Explode", {})->getErrorCode(), CIM_ERR_METHOD_NOT_FOUND);
    EXPECT_EQ(invoke("KIVO_DiskDrive", disk("disk7"), "Resize", {{"NewCapacity", str("1")}})->getErrorCode(),
              CIM_ERR_NOT_FOUND);
    EXPECT_EQ(invoke("KIVO_DiskDrive", disk("disk0"), "Resize", {{"Size", str("1")}})->getErrorCode(),
              CIM_ERR_INVALID_PARAMETER);
    EXPECT_EQ(invoke("KIVO_DiskDrive", disk("disk0"), "Resize", {{"NewCapacity", str("-1")}})->getErrorCode(),
              CIM_ERR_INVALID_PARAMETER);
    EXPECT_EQ(invoke("KIVO_DiskDrive", nullptr, "Resize", {{"NewCapacity", str("1")}})->getErrorCode(),
              CIM_ERR_INVALID_PARAMETER) << "an instance method called on the class";
}

// ---------------------------------------------------------------------------
// Streaming from worker threads.

// Yields `count` instances, noting the threads it runs on; fails at the start
// when `failWith` is set.
class CountingProvider : public InstanceProvider {
public:
    explicit CountingProvider(unsigned count, int failWith = 0) : _count(count), _failWith(failWith) {}

    void enumerate(KVOString const& nameSpace, IKivoClass const& cls, Sink<KVOSmrPtr<IKivoObject>> const& out) override {
        {
            std::lock_guard guard(_lock);
            threads.insert(std::this_thread::get_id());
        }
        if (_failWith) raise(static_cast<CimStatus>(_failWith), "CountingProvider", "provider failed");
        for (unsigned i = 0; i < _count; ++i) {
            ++offered;
            if (!out(buildInstance(nameSpace, cls, {{"Id", CKivoValue::makeUnsigned(T::UInt32, i)}}))) return;
        }
    }

    std::set<std::thread::id> threads;
    std::atomic<unsigned> offered{0};

private:
    std::mutex _lock;
    unsigned const _count;
    int const _failWith;
};

class StreamingTest : public ObjectManagerTest {
protected:
    StreamingTest() : ObjectManagerTest(300) {}
    void SetUp() override {
        ctx.start([this](ObjectManager& om) {
            loadDefaultModel(om, ModelSettings{300});
            ClassBuilder(om.repository(), kCimv2, "Test_Counted").key("Id", T::UInt32).commit();
            ClassBuilder(om.repository(), kCimv2, "Test_Failing").key("Id", T::UInt32).commit();
            om.registerProvider(kCimv2, "Test_Counted", counted);
            om.registerProvider(kCimv2, "Test_Failing", failing);
            ClassBuilder(om.repository(), kCimv2, "Test_Million").key("Id", T::UInt32).commit();
            om.registerProvider(kCimv2, "Test_Million", million);
        });
    }
    std::shared_ptr<CountingProvider> million = std::make_shared<CountingProvider>(1000000);

    std::shared_ptr<CountingProvider> counted = std::make_shared<CountingProvider>(500);
    std::shared_ptr<CountingProvider> failing = std::make_shared<CountingProvider>(5, CIM_ERR_ACCESS_DENIED);
};

TEST_F(StreamingTest, ABoundedEnumerationDeliversEverythingInOrderFromAWorkerThread) {
    auto op = streaming<KivoEnumerateInstancesOperationBase>(3);
    op->setClassName("Test_Counted");
    std::vector<KVOSmrPtr<IKivoObject>> got = drain(op);
    EXPECT_EQ(op->getErrorCode(), 0);
    ASSERT_EQ(got.size(), 500u);
    for (unsigned i = 0; i < got.size(); ++i)
        ASSERT_EQ(got[i]->getProperty("Id")->getValue()->getUnsigned(), i);
    ctx.operationHandler().waitIdle();
    ASSERT_EQ(counted->threads.size(), 1u);
    EXPECT_NE(*counted->threads.begin(), std::this_thread::get_id()) << "produced on the adapter's thread";

    auto scale = streaming<KivoEnumerateInstanceNamesOperationBase>(8);
    scale->setClassName("KIVO_ScaleItem");
    EXPECT_EQ(drain(scale).size(), 300u);
}

// Ten clients leave a million-instance enumeration after a few results: each
// producer stops at the first results its departed consumer drops, not at
// the end of the million.
TEST_F(StreamingTest, ProducersStopSoonAfterTheirConsumersGoAway) {
    constexpr int kClients = 10;
    constexpr unsigned kBound = 100;
    std::vector<std::thread> clients;
    std::atomic<int> took{0};
    for (int c = 0; c < kClients; ++c) {
        clients.emplace_back([&] {
            auto op = streaming<KivoEnumerateInstancesOperationBase>(kBound);
            op->setClassName("Test_Million");
            auto* raw = op.get();
            op->onWrite = [raw, &took] {
                for (int i = 0; i < 5 && raw->hasNext(); ++i, ++took) raw->next();
            };
            run(op);
        });
    }
    for (std::thread& t : clients) t.join();
    ctx.operationHandler().waitIdle();
    EXPECT_EQ(took.load(), kClients * 5);
    EXPECT_EQ(ctx.operationHandler().producersRunning(), 0);
    // Each produced at most what the collection held, plus one probe's span.
    EXPECT_LE(million->offered.load(), kClients * (5 + kBound + 2 * 16 + 1)) << "producers ran on after their consumers left";
}

// A consumer that pauses now and then lets the producer fill the collection to
// its bound each time; the probes that look for a departed consumer must not
// widen that bound as the stream goes on.
TEST_F(StreamingTest, AStreamRunsNoFurtherAheadOfItsConsumerThanTheBoundAllows) {
    constexpr unsigned kBound = 64, kTaken = 30000;
    auto op = streaming<KivoEnumerateInstancesOperationBase>(kBound);
    op->setClassName("Test_Million");
    auto* raw = op.get();
    unsigned most = 0;
    op->onWrite = [&] {
        for (unsigned i = 0; i < kTaken && raw->hasNext(); ++i) {
            raw->next();
            if (i % 1000 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
            most = std::max(most, million->offered.load() - (i + 1));
        }
    };
    run(op);
    ctx.operationHandler().waitIdle();
    EXPECT_LE(most, kBound + 100) << "results queued beyond the bound";
}

TEST_F(StreamingTest, ShutdownReleasesAProducerWhoseAdapterFailedWithoutSignalling) {
    ctx.registerRequest();
    auto op = streaming<KivoEnumerateInstancesOperationBase>(1);
    op->setClassName("Test_Counted");
    auto* raw = op.get();
    op->onWrite = [raw] {
        raw->hasNext();
        throw std::runtime_error("connection reset");
    };
    EXPECT_THROW(run(op), std::runtime_error);
    EXPECT_EQ(op->signalCalls, 0) << "the driver leaves completion out when writeResponse throws";
    ctx.deRegisterRequest();
    ctx.shutdown();
    EXPECT_EQ(ctx.operationHandler().producersRunning(), 0);
    EXPECT_EQ(ctx.getCurrentState(), IKivoOperationHandlerContext::SHUT_DOWN);
}

TEST_F(StreamingTest, AFailingProviderEndsTheStreamWithItsCode) {
    auto op = streaming<KivoEnumerateInstancesOperationBase>(2);
    op->setClassName("Test_Failing");
    EXPECT_TRUE(drain(op).empty());
    EXPECT_EQ(op->getErrorCode(), CIM_ERR_ACCESS_DENIED);

    auto viaBase = streaming<KivoEnumerateInstanceNamesOperationBase>(1);
    viaBase->setClassName("Test_Failing");
    EXPECT_TRUE(drain(viaBase).empty());
    EXPECT_EQ(viaBase->getErrorCode(), CIM_ERR_ACCESS_DENIED);
}

TEST_F(StreamingTest, ManyConcurrentRequestsEachGetTheirWholeAnswer) {
    std::vector<std::thread> adapters;
    std::atomic<int> complete{0};
    for (int t = 0; t < 6; ++t) {
        adapters.emplace_back([&, t] {
            auto op = streaming<KivoEnumerateInstancesOperationBase>(t % 3);
            op->setClassName(t % 2 ? "Test_Counted" : "KIVO_ScaleItem");
            if (drain(op).size() == (t % 2 ? 500u : 300u) && op->getErrorCode() == 0) ++complete;
        });
    }
    for (std::thread& a : adapters) a.join();
    EXPECT_EQ(complete.load(), 6);
}

// ---------------------------------------------------------------------------
// Concurrent writers and the store's quota.

class SharedInstanceTest : public ObjectManagerTest {
protected:
    static constexpr int kWriters = 7;
    void SetUp() override {
        ctx.start([](ObjectManager& om) {
            loadDefaultModel(om, ModelSettings{40});
            ClassBuilder shared(om.repository(), kCimv2, "Test_Shared");
            shared.key("Id", T::UInt32);
            for (int t = 0; t < kWriters; ++t) {
                shared.property(KVOString("P") + KVOString::itoa(t), T::UInt32);
                shared.property(KVOString("Q") + KVOString::itoa(t), T::UInt32);
            }
            shared.commit();
        });
        auto create = make<KivoCreateInstanceOperationBase>();
        create->setInstance(newInstance("Test_Shared", {{"Id", str("1")}}));
        ASSERT_EQ(run(create), 0);
    }
    static KVOSmrPtr<IKivoInstanceName> sharedPath() { return path("Test_Shared", {{"Id", "1"}}); }
    static unsigned valueOf(IKivoObject const& o, char const* prefix, int t) {
        KVOSmrPtr<IKivoProperty> p = o.getProperty(KVOString(prefix) + KVOString::itoa(t));
        return p && p->getValue() ? static_cast<unsigned>(p->getValue()->getUnsigned()) + 1 : 0;  // 0: unset
    }
};

// Seven writers, each of its own property, through SetProperty (even ones)
// and ModifyInstance of two properties at once (odd ones): every writer's last
// value holds, and a reader enumerating meanwhile never sees a pair half
// written or a value go back.
TEST_F(SharedInstanceTest, ConcurrentWritersOfDifferentPropertiesKeepEveryWrite) {
    constexpr unsigned kWrites = 1000;
    std::atomic<int> failures{0};
    std::atomic<int> writersLeft{kWriters};
    std::vector<std::thread> threads;
    for (int t = 0; t < kWriters; ++t) {
        threads.emplace_back([&, t] {
            KVOString const p = KVOString("P") + KVOString::itoa(t), q = KVOString("Q") + KVOString::itoa(t);
            for (unsigned n = 0; n < kWrites; ++n) {
                KVOSmrPtr<IKivoValue> const v = CKivoValue::makeUnsigned(T::UInt32, n);
                int code;
                if (t % 2 == 0) {
                    auto set = make<KivoSetPropertyOperationBase>();
                    set->setInstanceName(sharedPath());
                    set->setPropertyName(p);
                    set->setPropertyValue(v);
                    code = run(set);
                } else {
                    auto modify = make<KivoModifyInstanceOperationBase>();
                    modify->setInstanceName(sharedPath());
                    modify->setInstance(newInstance("Test_Shared", {{p, v}, {q, v}}));
                    modify->setPropertyList(names({p.c_str(), q.c_str()}));
                    code = run(modify);
                }
                if (code != 0) ++failures;
            }
            --writersLeft;
        });
    }
    threads.emplace_back([&] {
        std::vector<unsigned> last(kWriters, 0);
        while (writersLeft.load() > 0) {
            auto op = streaming<KivoEnumerateInstancesOperationBase>();
            op->setClassName("Test_Shared");
            for (KVOSmrPtr<IKivoObject> const& o : drain(op)) {
                for (int t = 0; t < kWriters; ++t) {
                    unsigned const now = valueOf(*o, "P", t);
                    if (now < last[t]) ++failures;  // a write undone
                    if (t % 2 == 1 && valueOf(*o, "Q", t) != now) ++failures;  // torn
                    last[t] = now;
                }
            }
        }
    });
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(failures.load(), 0);
    auto get = make<KivoGetInstanceOperationBase>();
    get->setName(sharedPath());
    ASSERT_EQ(run(get), 0);
    for (int t = 0; t < kWriters; ++t) EXPECT_EQ(valueOf(*get->getInstance(), "P", t), kWrites) << "writer " << t;
}

// The byte quota through the object manager, with the model's own instances
// counted: CreateInstance at its boundary, and SetProperty, whose change goes
// through the store's update. The quota's every other boundary, for both
// stores, is in DiskInstanceStore_test.
TEST(InstanceStoreQuota, CreatesAndGrowingChangesPastTheQuotaAreRefused) {
    auto probeStore = std::make_shared<InstanceStore>();
    ObjectManager probe(probeStore);
    loadDefaultModel(probe, ModelSettings{1});
    auto disk = [](char const* id, std::string const& media) {
        return newInstance("KIVO_DiskDrive", {{"SystemName", str("host1")}, {"DeviceID", str(id)},
                                              {"MediaType", str(media.c_str())}});
    };
    std::string const media(1000, 'm');
    std::uint64_t const seeded = probeStore->bytes();
    probe.createInstance(kCimv2, disk("q1", media));
    std::uint64_t const one = probeStore->bytes() - seeded;

    StoreLimits limits;
    limits.maxBytes = seeded + 2 * one;
    auto store = std::make_shared<InstanceStore>(limits);
    ObjectManager om(store);
    loadDefaultModel(om, ModelSettings{1});
    auto codeOf = [](auto&& call) {
        try {
            call();
        } catch (KivoBaseException const& e) {
            return e.getCode();
        }
        return 0;
    };
    EXPECT_EQ(codeOf([&] { om.createInstance(kCimv2, disk("q1", media)); }), 0);
    EXPECT_EQ(codeOf([&] { om.createInstance(kCimv2, disk("q2", media + "x")); }), CIM_ERR_SERVER_LIMITS_EXCEEDED)
        << "one byte over";
    EXPECT_EQ(codeOf([&] { om.createInstance(kCimv2, disk("q2", media)); }), 0) << "exactly at the byte quota";
    EXPECT_EQ(store->bytes(), limits.maxBytes);
    EXPECT_EQ(codeOf([&] { om.setProperty(kCimv2, path("KIVO_DiskDrive", {{"SystemName", "host1"}, {"DeviceID", "q1"}}),
                                          "MediaType", str("shorter than a thousand m's")); }),
              0) << "a change that does not grow more than was freed";
    EXPECT_EQ(codeOf([&] { om.setProperty(kCimv2, path("KIVO_DiskDrive", {{"SystemName", "host1"}, {"DeviceID", "q2"}}),
                                          "MediaType", str((media + media).c_str())); }),
              CIM_ERR_SERVER_LIMITS_EXCEEDED) << "a change that grows past the quota";
}

// ---------------------------------------------------------------------------
// Lifecycle.

TEST(HandlerContextLifecycle, StartsThroughStartingAndShutsDownAfterTheLastRequest) {
    HandlerContext ctx(ModelSettings{5});
    EXPECT_EQ(ctx.getCurrentState(), IKivoOperationHandlerContext::INITIALIZING);
    IKivoOperationHandlerContext::State during = IKivoOperationHandlerContext::UNDEFINED;
    ctx.start([&](ObjectManager& om) {
        during = ctx.getCurrentState();
        loadDefaultModel(om, ModelSettings{5});
    });
    EXPECT_EQ(during, IKivoOperationHandlerContext::STARTING);
    EXPECT_EQ(ctx.getCurrentState(), IKivoOperationHandlerContext::STARTED);
    EXPECT_TRUE(ctx.getClass("root/cimv2", "KIVO_DiskDrive"));
    EXPECT_EQ(&ctx.getOperationHandler(), static_cast<IKivoOperationHandler*>(&ctx.operationHandler()));

    ctx.registerRequest();
    ctx.registerRequest();
    std::atomic<bool> returned{false};
    std::thread stopper([&] {
        ctx.shutdown();
        returned = true;
    });
    while (ctx.getCurrentState() != IKivoOperationHandlerContext::SHUTTING_DOWN) std::this_thread::yield();
    ctx.deRegisterRequest();
    EXPECT_FALSE(returned.load()) << "one request is still in flight";
    EXPECT_EQ(ctx.getCurrentState(), IKivoOperationHandlerContext::SHUTTING_DOWN);
    ctx.deRegisterRequest();
    stopper.join();
    EXPECT_TRUE(returned.load());
    EXPECT_EQ(ctx.getCurrentState(), IKivoOperationHandlerContext::SHUT_DOWN);
    EXPECT_EQ(ctx.requestsInFlight(), 0);
}

TEST(HandlerContextLifecycle, ABoundedShutdownGivesUpWhileARequestRemains) {
    HandlerContext ctx;
    ctx.start([](ObjectManager&) {});
    ctx.registerRequest();
    EXPECT_FALSE(ctx.shutdown(std::chrono::milliseconds(20)));
    EXPECT_EQ(ctx.getCurrentState(), IKivoOperationHandlerContext::SHUTTING_DOWN);
    ctx.deRegisterRequest();
    ctx.deRegisterRequest();  // never below zero
    EXPECT_EQ(ctx.requestsInFlight(), 0);
    EXPECT_TRUE(ctx.shutdown(std::chrono::milliseconds(20)));
    EXPECT_EQ(ctx.getCurrentState(), IKivoOperationHandlerContext::SHUT_DOWN);
}

}  // namespace
