#include "objectmanager/DefaultModel.h"

#include "objectmanager/ClassBuilder.h"
#include "objectmanager/CimStatus.h"

namespace kivo::om {

namespace {

using T = KVOCIMType;

KVOSmrPtr<IKivoValue> text(KVOString s) { return CKivoValue::makeString(std::move(s)); }
KVOSmrPtr<IKivoValue> uint(T type, std::uint64_t v) { return CKivoValue::makeUnsigned(type, v); }
KVOSmrPtr<IKivoValue> ref(KVOString const& ns, KVOString const& cls, std::vector<KVOKeyBinding> keys) {
    return CKivoValue::makeReference(KVOSmrPtr<IKivoInstanceName>(new CKivoInstanceName(ns, cls, std::move(keys), "")));
}

void declareQualifiers(ClassRepository& repo, KVOString const& ns) {
    using S = KVOQualifierScope;
    auto declare = [&](char const* name, T type, KVOSmrPtr<IKivoValue> def, unsigned scopes, KVOQualifierFlavors f) {
        repo.addQualifierDecl(ns, KVOSmrPtr<qora::IQualifierDef>(new CKivoQualifierDef(name, type, false, def, scopes, f)));
    };
    KVOQualifierFlavors const fixed{false, true, false, false};
    KVOQualifierFlavors const restricted{false, false, false, false};
    KVOQualifierFlavors const translatable{true, true, false, true};
    declare("Abstract", T::Boolean, CKivoValue::makeBoolean(false), S::CLASS | S::ASSOCIATION | S::INDICATION, restricted);
    declare("Association", T::Boolean, CKivoValue::makeBoolean(false), S::ASSOCIATION, fixed);
    declare("Description", T::String, nullptr, S::ANY, translatable);
    declare("Key", T::Boolean, CKivoValue::makeBoolean(false), S::PROPERTY | S::REFERENCE, fixed);
    declare("IN", T::Boolean, CKivoValue::makeBoolean(true), S::PARAMETER, fixed);
    declare("OUT", T::Boolean, CKivoValue::makeBoolean(false), S::PARAMETER, fixed);
    declare("Static", T::Boolean, CKivoValue::makeBoolean(false), S::METHOD | S::PROPERTY, fixed);
    declare("Units", T::String, nullptr, S::PROPERTY | S::METHOD | S::PARAMETER, translatable);
}

void declareCimv2(ClassRepository& repo) {
    ClassBuilder(repo, kCimv2, "KIVO_ManagedElement")
        .qualifier("Abstract")
        .qualifier("Description", "The root of the reference model's managed objects.")
        .property("Caption", T::String)
        .qualifier("Description", "A short one-line description of the object.")
        .property("Description", T::String)
        .property("ElementName", T::String)
        .commit();
    ClassBuilder(repo, kCimv2, "KIVO_LogicalDevice", "KIVO_ManagedElement")
        .qualifier("Abstract")
        .qualifier("Description", "A device of a computer system.")
        .key("SystemName", T::String)
        .key("DeviceID", T::String)
        .property("EnabledState", T::UInt16, uint(T::UInt16, 2))
        .property("Status", T::String, text("OK"))
        .commit();
    ClassBuilder(repo, kCimv2, "KIVO_DiskDrive", "KIVO_LogicalDevice")
        .qualifier("Description", "A disk drive.")
        .property("Status", T::String, text("OK"))
        .qualifier("Description", "The drive's health as last checked.")
        .property("Capacity", T::UInt64)
        .qualifier("Units", "Bytes")
        .property("MediaType", T::String)
        .property("Removable", T::Boolean, CKivoValue::makeBoolean(false))
        .method("Resize", T::UInt32)
        .qualifier("Description", "Sets the capacity; answers 0 on success.")
        .in("NewCapacity", T::UInt64)
        .qualifier("Units", "Bytes")
        .out("OldCapacity", T::UInt64)
        .commit();
    ClassBuilder(repo, kCimv2, "KIVO_NetworkPort", "KIVO_LogicalDevice")
        .qualifier("Description", "A network port.")
        .property("Speed", T::UInt64)
        .qualifier("Units", "Bits per Second")
        .property("PermanentAddress", T::String)
        .commit();
    ClassBuilder(repo, kCimv2, "KIVO_ComputerSystem", "KIVO_ManagedElement")
        .qualifier("Description", "A computer system.")
        .key("Name", T::String)
        .arrayProperty("Roles", T::String)
        .property("InstallDate", T::DateTime)
        .property("EnabledState", T::UInt16, uint(T::UInt16, 2))
        .method("RequestStateChange", T::UInt32)
        .qualifier("Description", "Changes EnabledState; answers 0 on success.")
        .in("RequestedState", T::UInt16)
        .out("PreviousState", T::UInt16)
        .method("CountDevices", T::UInt32)
        .qualifier("Static")
        .qualifier("Description", "The number of logical devices.")
        .commit();
    ClassBuilder(repo, kCimv2, "KIVO_SystemDevice")
        .qualifier("Association")
        .qualifier("Description", "Links a computer system to its devices.")
        .reference("GroupComponent", "KIVO_ComputerSystem")
        .reference("PartComponent", "KIVO_LogicalDevice")
        .commit();
    ClassBuilder(repo, kCimv2, "KIVO_ScaleItem", "KIVO_ManagedElement")
        .qualifier("Description", "Generated items, as many as the server is told to offer.")
        .key("Index", T::UInt32)
        .property("Value", T::SInt64)
        .property("Ratio", T::Real64)
        .property("Flag", T::Boolean)
        .commit();

    // The classes the captured client requests address.
    ClassBuilder(repo, kCimv2, "Sample_Base").qualifier("Abstract").property("Caption", T::String).commit();
    ClassBuilder(repo, kCimv2, "Sample_System", "Sample_Base").key("Name", T::String).commit();
    ClassBuilder(repo, kCimv2, "Sample_Disk", "Sample_Base")
        .key("DeviceID", T::String)
        .key("SystemName", T::String)
        .property("Size", T::UInt64)
        .commit();
    ClassBuilder(repo, kCimv2, "Sample_Hosted")
        .qualifier("Association")
        .reference("Antecedent", "Sample_System")
        .reference("Dependent", "Sample_Disk")
        .commit();
}

void declareInterop(ClassRepository& repo) {
    ClassBuilder(repo, kInterop, "KIVO_Namespace")
        .qualifier("Description", "A namespace of the object manager.")
        .key("Name", T::String)
        .commit();
    ClassBuilder(repo, kInterop, "KIVO_ObjectManager")
        .qualifier("Description", "The object manager itself.")
        .key("Name", T::String)
        .property("ElementName", T::String)
        .property("Description", T::String)
        .commit();
}

// KIVO_ScaleItem: `count` instances made on demand from their index.
class ScaleProvider : public InstanceProvider {
public:
    explicit ScaleProvider(unsigned count) : _count(count) {}

    void enumerate(KVOString const& nameSpace, IKivoClass const& cls, Sink<KVOSmrPtr<IKivoObject>> const& out) override {
        for (unsigned i = 0; i < _count; ++i)
            if (!out(make(nameSpace, cls, i))) return;
    }

    KVOSmrPtr<IKivoObject> get(KVOString const& nameSpace, IKivoClass const& cls, IKivoInstanceName const& path) override {
        KVOSmrPtr<IKivoValue> index = path.getKey("Index");
        if (!index || path.getKeys().size() != 1) return nullptr;
        std::uint64_t i = 0;
        try {
            i = index->getUnsigned();
        } catch (KivoBaseException const&) {
            return nullptr;
        }
        return i < _count ? make(nameSpace, cls, static_cast<unsigned>(i)) : nullptr;
    }

private:
    static KVOSmrPtr<IKivoObject> make(KVOString const& nameSpace, IKivoClass const& cls, unsigned i) {
        std::int64_t const n = i;
        return buildInstance(nameSpace, cls,
                             {{"Index", uint(T::UInt32, i)},
                              {"Caption", text("Scale item " + KVOString::itoa(n))},
                              {"Value", CKivoValue::makeSigned(T::SInt64, n * n - 500)},
                              {"Ratio", CKivoValue::makeReal(T::Real64, static_cast<double>(i) / 8.0)},
                              {"Flag", CKivoValue::makeBoolean(i % 2 == 1)}});
    }

    unsigned const _count;
};

// KIVO_Namespace: one instance per namespace of the repository.
class NamespaceProvider : public InstanceProvider {
public:
    explicit NamespaceProvider(ClassRepository const& repository) : _repository(repository) {}

    void enumerate(KVOString const& nameSpace, IKivoClass const& cls, Sink<KVOSmrPtr<IKivoObject>> const& out) override {
        for (KVOString const& name : _repository.namespaces())
            if (!out(buildInstance(nameSpace, cls, {{"Name", text(name)}}))) return;
    }

private:
    ClassRepository const& _repository;
};

KVOSmrPtr<IKivoObject> instance(KVOString const& cls, PropertyValues values) {
    KVOValSlist<KVOSmrPtr<IKivoProperty>> properties;
    for (auto& [name, value] : values) properties.append(KVOSmrPtr<IKivoProperty>(new CKivoProperty(name, value)));
    return KVOSmrPtr<IKivoObject>(new CKivoObject(cls, properties));
}

void createInstances(ObjectManager& om) {
    KVOString const ns = kCimv2;
    om.createInstance(ns, instance("KIVO_ComputerSystem",
                                   {{"Name", text("host1")},
                                    {"Caption", text("Reference host")},
                                    {"Roles", CKivoValue::makeArray(T::String, {text("storage"), text("network")})},
                                    {"InstallDate", CKivoValue::makeDateTime("20240101120000.000000+000")}}));
    struct Device {
        char const* cls;
        char const* id;
        PropertyValues extra;
    };
    Device const devices[] = {
        {"KIVO_DiskDrive", "disk0", {{"Capacity", uint(T::UInt64, 500107862016ULL)}, {"MediaType", text("SSD")}}},
        {"KIVO_DiskDrive", "disk1", {{"Capacity", uint(T::UInt64, 2000398934016ULL)}, {"MediaType", text("HDD")}}},
        {"KIVO_NetworkPort", "eth0",
         {{"Speed", uint(T::UInt64, 10000000000ULL)}, {"PermanentAddress", text("00:16:3e:00:00:01")}}},
    };
    for (Device const& d : devices) {
        PropertyValues values{{"SystemName", text("host1")}, {"DeviceID", text(d.id)}, {"Caption", text(d.id)}};
        values.insert(values.end(), d.extra.begin(), d.extra.end());
        om.createInstance(ns, instance(d.cls, values));
        om.createInstance(ns, instance("KIVO_SystemDevice",
                                       {{"GroupComponent", ref(ns, "KIVO_ComputerSystem", {{"Name", text("host1")}})},
                                        {"PartComponent", ref(ns, d.cls, {{"SystemName", text("host1")},
                                                                          {"DeviceID", text(d.id)}})}}));
    }

    om.createInstance(ns, instance("Sample_System", {{"Name", text("host1")}}));
    for (char const* id : {"d1", "d2"}) {
        om.createInstance(ns, instance("Sample_Disk", {{"DeviceID", text(id)},
                                                       {"SystemName", text("host1")},
                                                       {"Size", uint(T::UInt64, 1000000000ULL)}}));
        om.createInstance(ns, instance("Sample_Hosted",
                                       {{"Antecedent", ref(ns, "Sample_System", {{"Name", text("host1")}})},
                                        {"Dependent", ref(ns, "Sample_Disk", {{"DeviceID", text(id)},
                                                                             {"SystemName", text("host1")}})}}));
    }

    om.createInstance(kInterop, instance("KIVO_ObjectManager",
                                         {{"Name", text("kivo")},
                                          {"ElementName", text("Kivo reference object manager")},
                                          {"Description", text("An in-memory object manager serving CIM-XML.")}}));
}

// Reads a property of the instance a method runs on.
KVOSmrPtr<IKivoValue> current(MethodCall const& call, char const* property) {
    KVOSmrPtr<IKivoProperty> p = call.instance ? call.instance->getProperty(property) : nullptr;
    return p ? p->getValue() : nullptr;
}

void registerMethods(ObjectManager& om) {
    // Replaces a property of the instance with an input parameter; the old
    // value goes out as `outName`. Answers 0.
    auto exchange = [](char const* property, char const* inName, char const* outName) {
        return [=](ObjectManager& manager, MethodCall const& call) {
            if (!call.instance)
                raise(CIM_ERR_INVALID_PARAMETER, "DefaultModel", call.method->getName() + " needs an instance");
            KVOSmrPtr<IKivoValue> requested = call.arg(inName);
            if (!requested) raise(CIM_ERR_INVALID_PARAMETER, "DefaultModel", KVOString(inName) + " is required");
            MethodResult result{uint(T::UInt32, 0), {{outName, current(call, property)}}};
            manager.setProperty(call.nameSpace, call.instance->getInstanceName(), property, requested);
            return result;
        };
    };
    om.registerMethod(kCimv2, "KIVO_DiskDrive", "Resize", exchange("Capacity", "NewCapacity", "OldCapacity"));
    om.registerMethod(kCimv2, "KIVO_ComputerSystem", "RequestStateChange",
                      exchange("EnabledState", "RequestedState", "PreviousState"));
    om.registerMethod(kCimv2, "KIVO_ComputerSystem", "CountDevices", [](ObjectManager& manager, MethodCall const& call) {
        std::uint64_t count = 0;
        manager.enumerateInstanceNames(call.nameSpace, "KIVO_LogicalDevice")([&](auto const&) { return ++count, true; });
        return MethodResult{uint(T::UInt32, count), {}};
    });
}

}  // namespace

void loadDefaultModel(ObjectManager& om, ModelSettings const& settings) {
    ClassRepository& repo = om.repository();
    for (char const* ns : {kCimv2, kInterop}) {
        repo.addNamespace(ns);
        declareQualifiers(repo, ns);
    }
    declareCimv2(repo);
    declareInterop(repo);
    om.registerProvider(kCimv2, "KIVO_ScaleItem", std::make_shared<ScaleProvider>(settings.scaleInstances));
    om.registerProvider(kInterop, "KIVO_Namespace", std::make_shared<NamespaceProvider>(repo));
    registerMethods(om);
    createInstances(om);
}

}  // namespace kivo::om
