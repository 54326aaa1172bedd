#include "objectmanager/Interop.h"

#include "objectmanager/CimStatus.h"
#include "objectmanager/Instances.h"

#include <unistd.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace kivo::om {

namespace {

using T = KVOCIMType;

constexpr char kWhere[] = "Interop";
// The class named in the scoping-system keys. The hosting system itself is
// not served here.
constexpr char kSystemClass[] = "CIM_ComputerSystem";

KVOSmrPtr<IKivoValue> text(KVOString s) { return CKivoValue::makeString(std::move(s)); }
KVOSmrPtr<IKivoValue> uint16(std::uint64_t v) { return CKivoValue::makeUnsigned(T::UInt16, v); }
KVOSmrPtr<IKivoValue> flag(bool v) { return CKivoValue::makeBoolean(v); }
KVOSmrPtr<IKivoValue> uint16s(std::vector<std::uint64_t> const& vs) {
    std::vector<KVOSmrPtr<IKivoValue>> elements;
    for (std::uint64_t v : vs) elements.push_back(uint16(v));
    return CKivoValue::makeArray(T::UInt16, std::move(elements));
}

KVOString machineName() {
    char name[256] = {};
    if (gethostname(name, sizeof name - 1) != 0 || name[0] == '\0') return "localhost";
    return name;
}

// A registered profile: the organization is always the DMTF (2).
struct Profile {
    char const* id;  // InstanceID after "<object manager name>:"
    char const* name;
    char const* version;
};

// The profiles the server implements: the object manager is the central
// instance of each.
constexpr Profile kProfiles[] = {
    {"profile:WBEMServer:1.0.0", "WBEM Server", "1.0.0"},
    {"profile:ProfileRegistration:1.0.0", "Profile Registration", "1.0.0"},
};

// The interop model: the identity and the classes it serves, fixed at
// registration. Immutable afterwards; the rows are computed at each call.
class Model {
public:
    Model(ObjectManager const& om, ServerIdentity identity, KVOString nameSpace)
        : _repo(om.repository()), _id(std::move(identity)), _ns(std::move(nameSpace)) {
        if (_id.hostName.isEmpty()) _id.hostName = machineName();
    }

    // The class `name` of the interop namespace; CIM_ERR_INVALID_CLASS when
    // it was not loaded.
    KVOSmrPtr<IKivoClass> require(char const* name) const {
        if (!_repo.hasNamespace(_ns)) raise(CIM_ERR_INVALID_NAMESPACE, kWhere, KVOString("no namespace ") + _ns);
        KVOSmrPtr<IKivoClass> cls = _repo.getClass(_ns, name);
        if (!cls) raise(CIM_ERR_INVALID_CLASS, kWhere, KVOString(name) + " is not loaded in " + _ns);
        return cls;
    }

    // The scoping system's keys, shared by the service, the namespaces and
    // the access point.
    PropertyValues scoped(char const* creationClass, KVOString const& name) const {
        return {{"SystemCreationClassName", text(kSystemClass)},
                {"SystemName", text(_id.hostName)},
                {"CreationClassName", text(creationClass)},
                {"Name", text(name)}};
    }

    std::vector<PropertyValues> managers() const {
        PropertyValues v = scoped("CIM_ObjectManager", _id.name);
        v.insert(v.end(), {{"ElementName", text(_id.name)},
                           {"Description", text(_id.description + " " + _id.version)},
                           {"Caption", text(_id.name + " " + _id.version)},
                           {"EnabledState", uint16(2)},        // Enabled
                           {"RequestedState", uint16(12)},     // Not Applicable
                           {"EnabledDefault", uint16(2)},      // Enabled
                           {"OperationalStatus", uint16s({2})},  // OK
                           {"HealthState", uint16(5)},         // OK
                           {"Started", flag(true)}});
        return {v};
    }

    std::vector<PropertyValues> namespaces() const {
        std::vector<PropertyValues> rows;
        for (KVOString const& name : _repo.namespaces()) {
            PropertyValues v = scoped("CIM_Namespace", name);
            v.insert(v.end(), {{"ObjectManagerCreationClassName", text("CIM_ObjectManager")},
                               {"ObjectManagerName", text(_id.name)},
                               {"ElementName", text(name)},
                               {"ClassInfo", uint16(0)}});  // Unknown: the namespaces mix schemas
            rows.push_back(std::move(v));
        }
        return rows;
    }

    std::vector<PropertyValues> profiles() const {
        std::vector<PropertyValues> rows;
        for (Profile const& p : kProfiles)
            rows.push_back({{"InstanceID", text(_id.name + ":" + p.id)},
                            {"ElementName", text(p.name)},
                            {"RegisteredOrganization", uint16(2)},  // DMTF
                            {"RegisteredName", text(p.name)},
                            {"RegisteredVersion", text(p.version)},
                            {"SpecificationType", uint16(2)},       // Profile
                            {"AdvertiseTypes", uint16s({2})}});     // Not Advertised
        return rows;
    }

    std::vector<PropertyValues> mechanisms() const {
        PropertyValues v = scoped("CIM_CIMXMLCommunicationMechanism", _id.name + ":CIM-XML");
        // Basic Read, Basic Write, Instance Manipulation, Association
        // Traversal, Query Execution, Pulled Read, Pulled Query Execution.
        v.insert(v.end(), {{"ElementName", text("CIM-XML")},
                           {"CommunicationMechanism", uint16(2)},  // CIM-XML
                           {"FunctionalProfilesSupported", uint16s({2, 3, 5, 6, 7, 10, 12})},
                           {"MultipleOperationsSupported", flag(false)},
                           {"AuthenticationMechanismsSupported", uint16s({_id.basicAuthentication ? 3u : 2u})},
                           {"Version", text("1.2")},              // the highest the class lists
                           {"CIMXMLProtocolVersion", uint16(1)},  // 1.0
                           {"CIMValidated", flag(false)},
                           {"AdvertiseTypes", uint16s({2})},      // Not Advertised
                           {"EnabledState", uint16(2)},
                           {"RequestedState", uint16(12)},
                           {"OperationalStatus", uint16s({2})}});
        return {v};
    }

    // A reference to the instance of `cls` that `row` makes.
    KVOSmrPtr<IKivoValue> pathOf(char const* cls, PropertyValues const& row) const {
        return CKivoValue::makeReference(buildInstance(_ns, *require(cls), row)->getInstanceName());
    }

    // Links from `from` to each row of `to`, as `fromRole` and `toRole`.
    std::vector<PropertyValues> links(char const* fromRole, KVOSmrPtr<IKivoValue> const& from, char const* toRole,
                                      char const* toClass, std::vector<PropertyValues> const& to) const {
        std::vector<PropertyValues> rows;
        for (PropertyValues const& row : to) rows.push_back({{fromRole, from}, {toRole, pathOf(toClass, row)}});
        return rows;
    }

    KVOSmrPtr<IKivoValue> manager() const { return pathOf("CIM_ObjectManager", managers().front()); }

private:
    ClassRepository const& _repo;
    ServerIdentity _id;
    KVOString const _ns;
};

// The instances of one class, made at each call from the model's rows.
class MadeInstances : public InstanceProvider {
public:
    using Rows = std::function<std::vector<PropertyValues>()>;
    explicit MadeInstances(Rows rows) : _rows(std::move(rows)) {}

    void enumerate(KVOString const& nameSpace, IKivoClass const& cls, Sink<KVOSmrPtr<IKivoObject>> const& out) override {
        for (PropertyValues const& row : _rows())
            if (!out(buildInstance(nameSpace, cls, row))) return;
    }

private:
    Rows const _rows;  // reads only immutable data: safe from any thread
};

}  // namespace

void addInteropProviders(ObjectManager& om, ServerIdentity const& identity, KVOString const& nameSpace) {
    auto model = std::make_shared<Model const>(om, identity, nameSpace);
    std::pair<char const*, MadeInstances::Rows> const classes[] = {
        {"CIM_ObjectManager", [model] { return model->managers(); }},
        {"CIM_Namespace", [model] { return model->namespaces(); }},
        {"CIM_RegisteredProfile", [model] { return model->profiles(); }},
        {"CIM_CIMXMLCommunicationMechanism", [model] { return model->mechanisms(); }},
        {"CIM_NamespaceInManager",
         [model] { return model->links("Antecedent", model->manager(), "Dependent", "CIM_Namespace", model->namespaces()); }},
        {"CIM_CommMechanismForManager",
         [model] {
             return model->links("Antecedent", model->manager(), "Dependent", "CIM_CIMXMLCommunicationMechanism",
                                 model->mechanisms());
         }},
        {"CIM_ElementConformsToProfile",
         [model] {
             return model->links("ManagedElement", model->manager(), "ConformantStandard", "CIM_RegisteredProfile",
                                 model->profiles());
         }},
    };
    // Every class first, so that a missing one leaves nothing registered.
    for (auto const& [cls, rows] : classes) model->require(cls);
    for (auto const& [cls, rows] : classes) om.registerProvider(nameSpace, cls, std::make_shared<MadeInstances>(rows));
}

}  // namespace kivo::om
