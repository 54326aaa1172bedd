// The model the server starts with: classes and instances from MOF files,
// and what only code can do.
//
// The classes come from MOF compiled in order into the object manager's
// repository (ModelSettings::schema); instances declared there are created in
// the store. The defaults load server/mof/model/interop.mof into root/interop
// and kivo.mof into root/cimv2, with the include path the server's MOF
// directory (the model files) and then the unpacked DMTF CIM Schema.
//
// The code adds, wherever the classes of kivo.mof were loaded into root/cimv2:
// the instances of a computer system, its devices (disk drives, a network
// port) and the KIVO_SystemDevice associations between them; the small
// Sample_ model that the captured client requests address; the methods
// KIVO_DiskDrive.Resize, KIVO_ComputerSystem.RequestStateChange and the static
// KIVO_ComputerSystem.CountDevices; and the provider of KIVO_ScaleItem, whose
// instances are made on demand (their number is a setting). When root/interop
// was loaded, the interop providers (Interop.h) are added there.
//
// What is kept and what is not: a server with a repository on disk keeps the
// schema and the instances (the MOF's and the code's) from its first start,
// so loadDefaultModel's parts run separately there: compileModel and
// createModelInstances once, registerModel (providers and methods, which
// store nothing) at every start.
//
// Who calls it: HandlerContext::start() (so the server at start-up), the
// repository's start-up (repository/PersistentModel.h), tests.
// Threading: once, on the starting thread, before requests are served.
#pragma once

#include "objectmanager/Interop.h"
#include "objectmanager/ObjectManager.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace kivo::om {

// One MOF file to compile, starting in `nameSpace`.
struct SchemaFile {
    std::string nameSpace;
    std::string file;  // relative: looked up in the schema path, in order
};

// The MOF directories the server finds by itself: the directory of the model
// files, then the unpacked DMTF schema. An installed server uses
// <prefix>/share/kivo/mof (the schema under it, in cim-schema-2.49.0), found
// beside the executable; a server run from its build tree uses the source's
// model files and the build's unpacked schema.
std::vector<std::string> defaultSchemaPath();
// interop.mof into root/interop, then kivo.mof into root/cimv2.
std::vector<SchemaFile> defaultSchema();

struct ModelSettings {
    ModelSettings(unsigned scale = 1000) : scaleInstances(scale) {}

    // Number of KIVO_ScaleItem instances.
    unsigned scaleInstances;
    // The MOF compiled into the repository, in order.
    std::vector<SchemaFile> schema = defaultSchema();
    // The include path of the compile, where relative schema files are found too.
    std::vector<std::string> schemaPath = defaultSchemaPath();
    // What the interop namespace says of the server.
    ServerIdentity identity;
};

// A schema file that did not compile or whose instances could not be
// created: what() is the compiler's "file:line:column: message" (or the
// file and the reason).
class ModelLoadError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// An instance the schema's MOF declares, with the file that declares it.
struct ModelInstance {
    std::string file;
    KVOString nameSpace;
    KVOSmrPtr<IKivoObject> instance;
};

// Fills an empty object manager with the model: compileModel,
// registerModel, createModelInstances. Raises ModelLoadError.
void loadDefaultModel(ObjectManager& om, ModelSettings const& settings);

// Compiles settings.schema into the object manager's repository and returns
// the instances the MOF declares (not created). Raises ModelLoadError.
std::vector<ModelInstance> compileModel(ObjectManager& om, ModelSettings const& settings);
// Compiles settings.schema into `repository` alone (instances are dropped).
// Raises ModelLoadError.
void compileSchemaInto(ClassRepository& repository, ModelSettings const& settings);
// Registers what only code adds (the scale provider, the methods, the
// interop providers) wherever their classes are loaded.
void registerModel(ObjectManager& om, ModelSettings const& settings);
// Creates the instances `declared` by the MOF, then those the code makes.
// Raises ModelLoadError.
void createModelInstances(ObjectManager& om, std::vector<ModelInstance> const& declared);

// The namespaces of the default model.
inline constexpr char kCimv2[] = "root/cimv2";
inline constexpr char kInterop[] = "root/interop";

}  // namespace kivo::om
