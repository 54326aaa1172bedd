// The object manager over a repository file: what the server does at
// start-up with it, and the commands that work on it (--update-schema,
// --export, --import).
//
// First start (the file is not initialised): the settings' MOF is compiled,
// the model's providers and methods registered, the schema written to the
// file and the model's instances (the MOF's and the code's) created in the
// disk store, all in one transaction that ends by marking the file
// initialised; a start that fails leaves the file as empty as it was.
// Later starts: the stored schema is read back (per namespace, the
// declarations then the classes, superclass first, as one MOF text through
// MofCompiler) and only the providers and methods are registered; the
// settings' MOF is not read (a changed MOF file takes --update-schema).
// Either way the object manager then records its schema changes in the
// file (RepositoryJournal.h). Providers store nothing.
//
// Who calls it: the server's main() on its starting thread, before requests
// are served, and tests. Threading: one call at a time; the object manager
// and the store are not yet serving.
#pragma once

#include "objectmanager/DefaultModel.h"
#include "objectmanager/ObjectManager.h"
#include "repository/DiskInstanceStore.h"
#include "repository/RepositoryFile.h"
#include "repository/RepositoryJournal.h"

#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace kivo::repo {

// A command given what it cannot do (an unknown namespace to export, a
// non-empty repository to import into); what() says so.
class CommandError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// "; restore it from a MOF export (--import) or move it aside to start with an empty one"
extern char const kRecovery[];

class PersistentModel {
public:
    PersistentModel(std::shared_ptr<RepositoryFile> file, om::StoreLimits limits = om::StoreLimits());

    RepositoryFile& file() { return *_file; }
    // The object manager's instance store (ObjectManager's constructor takes it).
    std::shared_ptr<DiskInstanceStore> const& store() const { return _store; }

    // Fills `om` (built over store()) as described above and sets its
    // journal. Raises ModelLoadError for MOF that does not load on the first
    // start, RepositoryError when the file cannot be written or its schema
    // does not read back.
    void load(om::ObjectManager& om, om::ModelSettings const& settings);

private:
    std::shared_ptr<RepositoryFile> const _file;
    std::shared_ptr<DiskInstanceStore> const _store;
    std::unique_ptr<RepositoryJournal> _journal;
};

// Reads the file's schema into `repository` (empty). Raises RepositoryError.
void loadSchema(RepositoryFile const& file, om::ClassRepository& repository);

// What --update-schema did: one line per change ("added class
// root/cimv2:X"), or why it changed nothing.
struct SchemaUpdate {
    std::vector<std::string> changes;
    std::string refused;  // empty: the changes were made
};

// Compiles the settings' MOF and brings the loaded `om` and its file to it:
// new namespaces, declarations and classes are added, changed ones replaced
// (a class is changed when its declared form or its superclass's is). It
// refuses, changing nothing, when a changed class has stored instances, has
// a subclass the MOF does not declare, or a declaration in use changes its
// type. Classes and declarations the MOF does not name are kept. Instances
// the MOF declares are not created. Raises ModelLoadError when the MOF does
// not compile.
SchemaUpdate updateSchema(om::ObjectManager& om, PersistentModel& model, om::ModelSettings const& settings);

// Writes the repository (every namespace, or only `onlyNamespace` when not
// empty) as MOF: per namespace its declarations, classes and the instances
// stored for them (providers' instances are not stored, so not written).
// Raises CommandError for an unknown namespace.
void exportRepository(om::ObjectManager const& om, DiskInstanceStore& store, std::ostream& out,
                      std::string const& onlyNamespace = "");

// Compiles `mofFile` (includes found beside it, then in `includePath`) into
// the empty repository of `model`, with its instances, in one transaction,
// and marks the file initialised. Returns a summary line. Raises
// CommandError when the repository is not empty, ModelLoadError when the MOF
// does not compile or an instance is refused.
std::string importRepository(PersistentModel& model, std::string const& mofFile,
                             std::vector<std::string> const& includePath);

}  // namespace kivo::repo
