// The repository file: one SQLite database holding what the server was told
// (namespaces, qualifier declarations, classes, and the instances clients
// create), so that it survives restarts and crashes.
//
// Layout: the schema rows keep each declaration and each class as the MOF
// text of its declared form (MofWriter.h), in declaration order; the
// instance rows keep each instance's values in a compact binary form under
// its normalised key (InstanceStore.h's normalisedKey), and are read and
// written through DiskInstanceStore.
//
// Durability: the file runs in WAL mode with synchronous=FULL: a change that
// returned is in the write-ahead log and on the disk, and a crash at any
// moment leaves every change either whole or absent (each change is one
// transaction). With synchronous=NORMAL (RepositorySettings::fullSync false)
// a change is still all or nothing, but the last changes before a power
// loss (not a process crash) may be lost.
//
// Opening: a missing file is created (with its directory) and is empty; a
// file that is not such a repository, is damaged (its structure fails SQLite's
// quick check) or was written by a newer format raises RepositoryError. The
// server never starts on it as if it were empty.
//
// Threading: every member may be called from any thread at once. Writes go
// through one connection, one transaction at a time; reads use connections
// of their own, so a long read (an enumeration's cursor) sees the file as it
// was when it began and does not hold writers back, nor they it.
#pragma once

#include "KivoUtilities/KVOString.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace kivo::repo {

struct RepositorySettings {
    // The database file. ":memory:" keeps everything in memory (tests).
    std::string file;
    // synchronous=FULL (true) or NORMAL (false); see Durability above.
    bool fullSync = true;
    // Run PRAGMA quick_check when opening (off only for benchmarks and tools
    // that just created the file).
    bool checkOnOpen = true;
    // How long a write waits for another process holding the file (a tool
    // writing it) before it fails with CIM_ERR_FAILED.
    unsigned busyTimeoutMs = 5000;
};

// The file cannot be opened, is damaged, or is not a repository. what()
// names the file, says what is wrong and how to recover:
// "repository FILE: REASON; restore it from a MOF export (--import) or move it aside to start with an empty one".
class RepositoryError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// One stored schema element: its name, its superclass (classes; empty at a
// root and for declarations) and the MOF text of its declared form.
struct SchemaRow {
    KVOString name;
    KVOString superClass;
    std::string mof;
};

class RepositoryFile {
public:
    // Raises RepositoryError.
    static std::shared_ptr<RepositoryFile> open(RepositorySettings const& settings);
    ~RepositoryFile();
    RepositoryFile(RepositoryFile const&) = delete;
    RepositoryFile& operator=(RepositoryFile const&) = delete;

    std::string const& file() const;

    // Whether the settings' MOF was compiled into the file (set once, at the
    // end of the first start).
    bool initialised() const;
    void setInitialised();

    // ---- Schema (each call one transaction; raise KivoBaseException
    // CIM_ERR_FAILED naming the file when SQLite fails) ----
    std::vector<KVOString> namespaces() const;       // in the order added
    void addNamespace(KVOString const& nameSpace);    // nothing when it exists
    // Adds or replaces (keeping its place) a qualifier declaration or a class.
    void putQualifier(KVOString const& nameSpace, KVOString const& name, std::string const& mof);
    void deleteQualifier(KVOString const& nameSpace, KVOString const& name);
    void putClass(KVOString const& nameSpace, KVOString const& name, KVOString const& superClass,
                  std::string const& mof);
    void deleteClass(KVOString const& nameSpace, KVOString const& name);
    // In declaration order (a replaced one keeps its place).
    std::vector<SchemaRow> qualifiers(KVOString const& nameSpace) const;
    std::vector<SchemaRow> classes(KVOString const& nameSpace) const;

    // Runs `body` as one transaction: every write made through this file
    // (schema and instances) from the calling thread inside it commits
    // together, or none does when body raises (the exception passes on).
    // Used for the first start's compile and for imports.
    void transaction(std::function<void()> const& body);

    struct Impl;
    Impl& impl() { return *_impl; }

private:
    explicit RepositoryFile(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> _impl;
};

}  // namespace kivo::repo
