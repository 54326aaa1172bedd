#include "objectmanager/DefaultModel.h"

#include "objectmanager/CimStatus.h"
#include "objectmanager/Instances.h"

#include "mof/MofCompiler.h"


#include <filesystem>
#include <memory>

namespace kivo::om {

namespace {

using T = KVOCIMType;

KVOSmrPtr<IKivoValue> text(KVOString s) { return CKivoValue::makeString(std::move(s)); }
KVOSmrPtr<IKivoValue> uint(T type, std::uint64_t v) { return CKivoValue::makeUnsigned(type, v); }
KVOSmrPtr<IKivoValue> ref(KVOString const& ns, KVOString const& cls, std::vector<KVOKeyBinding> keys) {
    return CKivoValue::makeReference(KVOSmrPtr<IKivoInstanceName>(new CKivoInstanceName(ns, cls, std::move(keys), "")));
}

// KIVO_ScaleItem: `count` instances made on demand from their index.
class ScaleProvider : public InstanceProvider {
public:
    explicit ScaleProvider(unsigned count) : _count(count) {}

    void enumerate(KVOString const& nameSpace, IKivoClass const& cls, Sink<KVOSmrPtr<IKivoObject>> const& out) override {
        Maker const maker(nameSpace, cls);
        for (unsigned i = 0; i < _count; ++i)
            if (!out(maker.make(i))) return;
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
        return i < _count ? Maker(nameSpace, cls).make(static_cast<unsigned>(i)) : nullptr;
    }

private:
    // Fills the class's row by column: the values are made in their declared
    // types, so nothing is looked up or converted per instance.
    struct Maker {
        Maker(KVOString const& nameSpace, IKivoClass const& cls)
            : maker(nameSpace, cls), defaults(maker.row()), index(maker.column("Index")),
              caption(maker.column("Caption")), value(maker.column("Value")), ratio(maker.column("Ratio")),
              flag(maker.column("Flag")) {}

        KVOSmrPtr<IKivoObject> make(unsigned i) const {
            std::int64_t const n = i;
            InstanceMaker::Row row = defaults;
            row[index] = uint(T::UInt32, i);
            row[caption] = text("Scale item " + KVOString::itoa(n));
            row[value] = CKivoValue::makeSigned(T::SInt64, n * n - 500);
            row[ratio] = CKivoValue::makeReal(T::Real64, static_cast<double>(i) / 8.0);
            row[flag] = CKivoValue::makeBoolean(i % 2 == 1);
            return maker.make(std::move(row));
        }

        InstanceMaker const maker;
        InstanceMaker::Row const defaults;
        std::size_t const index, caption, value, ratio, flag;
    };

    unsigned const _count;
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

namespace {

// The directory of the running executable, or "".
std::filesystem::path executableDirectory() {
    std::error_code ec;
    std::filesystem::path const exe = std::filesystem::read_symlink("/proc/self/exe", ec);
    return ec ? std::filesystem::path() : exe.parent_path();
}

// `file` as given when absolute, else the first schema directory holding it,
// else as given (relative to the working directory).
std::string locate(std::string const& file, std::vector<std::string> const& path) {
    if (std::filesystem::path(file).is_absolute()) return file;
    for (std::string const& dir : path) {
        std::filesystem::path const candidate = std::filesystem::path(dir) / file;
        std::error_code ec;
        if (std::filesystem::is_regular_file(candidate, ec)) return candidate.string();
    }
    return file;
}

// Compiles every schema file into `repository`; the instances they declare
// go to `instances` when given.
void compileFiles(ClassRepository& repository, ModelSettings const& settings, std::vector<ModelInstance>* instances) {
    for (SchemaFile const& s : settings.schema) {
        std::string const file = locate(s.file, settings.schemaPath);
        mof::MofCompiler compiler(repository, KVOString(s.nameSpace.c_str()));
        compiler.setIncludePath(settings.schemaPath);
        mof::MofResult r = compiler.compileFile(file);
        if (!r.ok()) throw ModelLoadError(r.error->text());
        if (instances)
            for (mof::MofInstance const& i : r.instances) instances->push_back({file, i.nameSpace, i.instance});
    }
}

}  // namespace

std::vector<std::string> defaultSchemaPath() {
    std::filesystem::path const installed = executableDirectory().parent_path() / "share" / "kivo" / "mof";
    std::error_code ec;
    if (std::filesystem::is_regular_file(installed / "kivo.mof", ec))
        return {installed.string(), (installed / "cim-schema-2.49.0").string()};
    return {KIVO_MODEL_MOF_DIR, KIVO_CIM_SCHEMA_MOF_DIR};
}

std::vector<SchemaFile> defaultSchema() { return {{kInterop, "interop.mof"}, {kCimv2, "kivo.mof"}}; }

std::vector<ModelInstance> compileModel(ObjectManager& om, ModelSettings const& settings) {
    std::vector<ModelInstance> instances;
    compileFiles(om.repository(), settings, &instances);
    return instances;
}

void compileSchemaInto(ClassRepository& repository, ModelSettings const& settings) {
    compileFiles(repository, settings, nullptr);
}

void registerModel(ObjectManager& om, ModelSettings const& settings) {
    ClassRepository& repo = om.repository();
    if (repo.getClass(kCimv2, "KIVO_ScaleItem")) {
        om.registerProvider(kCimv2, "KIVO_ScaleItem", std::make_shared<ScaleProvider>(settings.scaleInstances));
        registerMethods(om);
    }
    if (repo.hasNamespace(kInterop)) addInteropProviders(om, settings.identity, kInterop);
}

void createModelInstances(ObjectManager& om, std::vector<ModelInstance> const& declared) {
    for (ModelInstance const& i : declared) {
        try {
            om.createInstance(i.nameSpace, i.instance);
        } catch (KivoBaseException const& e) {
            throw ModelLoadError(i.file + ": instance of " + i.instance->getClassName().str() + ": " +
                                 e.getMessage().str());
        }
    }
    if (om.repository().getClass(kCimv2, "KIVO_ScaleItem")) createInstances(om);
}

void loadDefaultModel(ObjectManager& om, ModelSettings const& settings) {
    std::vector<ModelInstance> const declared = compileModel(om, settings);
    registerModel(om, settings);
    createModelInstances(om, declared);
}

}  // namespace kivo::om
