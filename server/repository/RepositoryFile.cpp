#include "repository/RepositoryFile.h"

#include "repository/RepositoryFileImpl.h"

#include "objectmanager/CimStatus.h"
#include "objectmanager/ClassRepository.h"

#include "KivoUtilities/KivoBaseException.h"

#include <sqlite3.h>

#include <filesystem>
#include <system_error>

namespace kivo::repo {

namespace {

char const kWhere[] = "RepositoryFile";

// Marks a database as a repository (PRAGMA application_id), and the layout
// this build writes and reads (PRAGMA user_version). A file of a later
// version is refused rather than misread.
constexpr std::int64_t kApplicationId = 0x4B69766F;
constexpr std::int64_t kFormat = 1;

char const kCreateTables[] = R"sql(
CREATE TABLE meta(name TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
CREATE TABLE namespaces(seq INTEGER PRIMARY KEY, key TEXT NOT NULL UNIQUE, name TEXT NOT NULL);
CREATE TABLE schema_rows(seq INTEGER PRIMARY KEY, ns TEXT NOT NULL, kind INTEGER NOT NULL, key TEXT NOT NULL,
                         name TEXT NOT NULL, super TEXT NOT NULL, mof BLOB NOT NULL, UNIQUE(ns, kind, key));
CREATE TABLE instances(seq INTEGER PRIMARY KEY, ns TEXT NOT NULL, cls TEXT NOT NULL, key BLOB NOT NULL,
                       bytes INTEGER NOT NULL, data BLOB NOT NULL, UNIQUE(ns, cls, key));
CREATE INDEX instances_order ON instances(ns, cls, seq);
)sql";

enum Kind : int { kQualifier = 0, kClass = 1 };

// An error that stops an open, in the header's words.
[[noreturn]] void refuse(std::string const& file, std::string const& reason) {
    throw RepositoryError("repository " + file + ": " + reason +
                          "; restore it from a MOF export (--import) or move it aside to start with an empty one");
}

// The reason an open failed with SQLite's code `code` and message `message`.
std::string reasonOf(int code, std::string const& message) {
    switch (code & 0xff) {
        case SQLITE_NOTADB: return "it is not a repository file (" + message + ")";
        case SQLITE_CORRUPT: return "it is damaged (" + message + ")";
        case SQLITE_CANTOPEN:
        case SQLITE_PERM:
        case SQLITE_READONLY: return "it cannot be opened for writing (" + message + ")";
        default: return "it cannot be read (" + message + ")";
    }
}

std::atomic<unsigned> memoryDatabases{0};

}  // namespace

void failed(std::string const& file, std::string const& what) {
    om::raise(om::CIM_ERR_FAILED, kWhere, "repository " + file + ": " + what);
}

// ---------------------------------------------------------------------------
// Query and Connection

Query::Query(Connection& connection, sqlite3_stmt* statement, bool* busy)
    : _connection(&connection), _statement(statement), _busy(busy) {}

Query::Query(Query&& other) noexcept
    : _connection(other._connection), _statement(other._statement), _busy(other._busy) {
    other._statement = nullptr;
}

Query::~Query() {
    if (!_statement) return;
    sqlite3_reset(_statement);
    sqlite3_clear_bindings(_statement);
    if (_busy) *_busy = false;
    else sqlite3_finalize(_statement);
}

Query& Query::bind(int index, std::int64_t value) {
    if (sqlite3_bind_int64(_statement, index, value) != SQLITE_OK) _connection->fail("bind");
    return *this;
}

Query& Query::bindText(int index, std::string_view text) {
    if (sqlite3_bind_text64(_statement, index, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8) != SQLITE_OK)
        _connection->fail("bind");
    return *this;
}

Query& Query::bindBlob(int index, std::string_view bytes) {
    // A zero-length blob would bind as NULL from a null pointer; "" is not null.
    char const* data = bytes.empty() ? "" : bytes.data();
    if (sqlite3_bind_blob64(_statement, index, data, bytes.size(), SQLITE_TRANSIENT) != SQLITE_OK)
        _connection->fail("bind");
    return *this;
}

bool Query::next() {
    int const rc = sqlite3_step(_statement);
    if (rc == SQLITE_ROW) return true;
    if (rc == SQLITE_DONE) return false;
    _connection->fail("step");
}

void Query::run() {
    if (next()) failed(_connection->file(), "a statement answered rows where none were expected");
}

std::int64_t Query::integer(int column) const { return sqlite3_column_int64(_statement, column); }

std::string_view Query::text(int column) const {
    auto const* p = reinterpret_cast<char const*>(sqlite3_column_text(_statement, column));
    int const n = sqlite3_column_bytes(_statement, column);
    return p ? std::string_view(p, static_cast<std::size_t>(n)) : std::string_view();
}

std::string_view Query::blob(int column) const {
    auto const* p = static_cast<char const*>(sqlite3_column_blob(_statement, column));
    int const n = sqlite3_column_bytes(_statement, column);
    return p ? std::string_view(p, static_cast<std::size_t>(n)) : std::string_view();
}

Connection::Connection(sqlite3* db, std::string file) : _db(db), _file(std::move(file)) {}

Connection::~Connection() {
    for (auto& [sql, cached] : _cache) sqlite3_finalize(cached.statement);
    sqlite3_close_v2(_db);
}

void Connection::exec(char const* sql) {
    if (sqlite3_exec(_db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(sql);
}

Query Connection::query(char const* sql) {
    Cached& cached = _cache[sql];
    if (!cached.statement) {
        if (sqlite3_prepare_v3(_db, sql, -1, SQLITE_PREPARE_PERSISTENT, &cached.statement, nullptr) != SQLITE_OK) {
            cached.statement = nullptr;
            fail(std::string("prepare ") + sql);
        }
    }
    if (cached.busy) {
        // The same statement is stepping further up this thread's stack (an
        // enumeration whose sink reads again): a statement of its own.
        sqlite3_stmt* own = nullptr;
        if (sqlite3_prepare_v2(_db, sql, -1, &own, nullptr) != SQLITE_OK) fail(std::string("prepare ") + sql);
        return Query(*this, own, nullptr);
    }
    cached.busy = true;
    return Query(*this, cached.statement, &cached.busy);
}

int Connection::changes() const { return sqlite3_changes(_db); }

void Connection::fail(std::string const& doing) const {
    failed(_file, doing + ": " + sqlite3_errmsg(_db));
}

// ---------------------------------------------------------------------------
// Impl: connections, transactions, readers

namespace {

// Opens `name`; null with SQLite's words in `error` when it cannot.
sqlite3* openDatabase(std::string const& name, int flags, std::string& error) {
    sqlite3* db = nullptr;
    int const rc = sqlite3_open_v2(name.c_str(), &db, flags, nullptr);
    if (rc == SQLITE_OK) return db;
    error = db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
    sqlite3_close_v2(db);
    return nullptr;
}

}  // namespace

std::unique_ptr<Connection> RepositoryFile::Impl::connect(bool readOnly) {
    int flags = SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX;
    flags |= readOnly && !memory ? SQLITE_OPEN_READONLY : (SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    if (memory) flags |= SQLITE_OPEN_SHAREDCACHE;
    std::string error;
    sqlite3* const db = openDatabase(name, flags, error);
    if (!db) {
        if (readOnly) failed(settings.file, "cannot open a connection: " + error);
        refuse(settings.file, "it cannot be opened (" + error + ")");
    }
    sqlite3_extended_result_codes(db, 1);
    auto connection = std::make_unique<Connection>(db, settings.file);
    connection->exec(("PRAGMA busy_timeout=" + std::to_string(settings.busyTimeoutMs)).c_str());
    // In memory every connection shares one cache: a reader that took table
    // locks would hold the writer back (and wait for it), so readers read
    // without them, seeing each row whole as the writer left it.
    if (memory && readOnly) connection->exec("PRAGMA read_uncommitted=1; PRAGMA query_only=1");
    return connection;
}

RepositoryFile::Impl::Lease::Lease(Impl& impl) : impl(impl) {
    {
        std::lock_guard<std::mutex> lock(impl.poolMutex);
        if (!impl.idle.empty()) {
            connection = std::move(impl.idle.back());
            impl.idle.pop_back();
        }
    }
    if (!connection) connection = impl.connect(true);
}

RepositoryFile::Impl::Lease::~Lease() {
    std::lock_guard<std::mutex> lock(impl.poolMutex);
    if (impl.idle.size() < kIdleReaders) impl.idle.push_back(std::move(connection));
}

void RepositoryFile::Impl::onRollback(std::function<void()> undoIt) { undo.back().push_back(std::move(undoIt)); }

namespace {

void runUndo(std::vector<std::function<void()>>& level) {
    for (auto it = level.rbegin(); it != level.rend(); ++it) (*it)();
    level.clear();
}

}  // namespace

void RepositoryFile::Impl::write(std::function<void(Connection&)> const& body) {
    if (writing()) {
        std::string savepoint = std::to_string(undo.size());
        savepoint.insert(savepoint.begin(), 's');
        writer->exec(("SAVEPOINT " + savepoint).c_str());
        undo.emplace_back();
        try {
            body(*writer);
            writer->exec(("RELEASE " + savepoint).c_str());
        } catch (...) {
            sqlite3_exec(writer->db(), ("ROLLBACK TO " + savepoint + "; RELEASE " + savepoint).c_str(), nullptr,
                         nullptr, nullptr);
            runUndo(undo.back());
            undo.pop_back();
            throw;
        }
        std::vector<std::function<void()>> done = std::move(undo.back());
        undo.pop_back();
        for (auto& u : done) undo.back().push_back(std::move(u));
        return;
    }
    if (!settings.groupCommit) {
        Pending alone{&body, nullptr, false};
        runBatch({&alone});
        if (alone.error) std::rethrow_exception(alone.error);
        return;
    }
    Pending mine{&body, nullptr, false};
    std::unique_lock<std::mutex> lock(queueMutex);
    queue.push_back(&mine);
    while (!mine.done) {
        if (leading) {
            queueDone.wait(lock);
            continue;
        }
        // No leader: this writer runs every body queued by now (its own
        // among them, as no batch has taken it).
        leading = true;
        std::vector<Pending*> const batch(queue.begin(), queue.end());
        queue.clear();
        lock.unlock();
        runBatch(batch);
        lock.lock();
        for (Pending* p : batch) p->done = true;
        leading = false;
        queueDone.notify_all();
    }
    lock.unlock();
    if (mine.error) std::rethrow_exception(mine.error);
}

void RepositoryFile::Impl::runBatch(std::vector<Pending*> const& batch) {
    std::lock_guard<std::mutex> lock(writerMutex);
    owner.store(std::this_thread::get_id());
    undo.assign(1, {});
    struct Leave {
        Impl& impl;
        ~Leave() {
            impl.undo.clear();
            impl.owner.store(std::thread::id());
        }
    } leave{*this};
    try {
        writer->exec("BEGIN IMMEDIATE");
    } catch (...) {
        for (Pending* p : batch) p->error = std::current_exception();
        return;
    }
    bool const alone = batch.size() == 1;
    for (Pending* p : batch) {
        if (alone) {
            // No savepoint needed: a failure rolls the whole transaction back.
            try {
                (*p->body)(*writer);
            } catch (...) {
                p->error = std::current_exception();
            }
            continue;
        }
        try {
            write(*p->body);  // nested: a savepoint of its own
        } catch (...) {
            p->error = std::current_exception();
        }
    }
    std::exception_ptr failure;
    if (alone && batch.front()->error) {
        failure = batch.front()->error;
    } else {
        try {
            writer->exec("COMMIT");
            return;
        } catch (...) {
            failure = std::current_exception();
        }
    }
    if (!sqlite3_get_autocommit(writer->db())) sqlite3_exec(writer->db(), "ROLLBACK", nullptr, nullptr, nullptr);
    runUndo(undo.front());
    for (Pending* p : batch)
        if (!p->error) p->error = failure;
}

// ---------------------------------------------------------------------------
// Opening

namespace {

// Reads the file's marks and makes a new file a repository; raises
// RepositoryError for anything else.
void prepare(RepositoryFile::Impl& impl) {
    std::string const& file = impl.settings.file;
    Connection& w = *impl.writer;
    auto scalar = [&](char const* sql) -> std::int64_t {
        sqlite3_stmt* statement = nullptr;
        int rc = sqlite3_prepare_v2(w.db(), sql, -1, &statement, nullptr);
        if (rc == SQLITE_OK) rc = sqlite3_step(statement);
        std::int64_t const value = rc == SQLITE_ROW ? sqlite3_column_int64(statement, 0) : 0;
        if (rc != SQLITE_ROW) {
            std::string const message = sqlite3_errmsg(w.db());
            sqlite3_finalize(statement);
            refuse(file, reasonOf(sqlite3_extended_errcode(w.db()), message));
        }
        sqlite3_finalize(statement);
        return value;
    };
    std::int64_t const objects = scalar("SELECT count(*) FROM sqlite_schema");
    std::int64_t const application = scalar("PRAGMA application_id");
    std::int64_t const version = scalar("PRAGMA user_version");
    if (!impl.memory && sqlite3_db_readonly(w.db(), "main") == 1)
        refuse(file, "it cannot be opened for writing (read-only file)");

    if (application == kApplicationId) {
        if (version > kFormat) {
            refuse(file, "it was written by a newer format (version " + std::to_string(version) +
                             "; this server reads up to version " + std::to_string(kFormat) + ")");
        }
        if (impl.settings.checkOnOpen) {
            sqlite3_stmt* statement = nullptr;
            int rc = sqlite3_prepare_v2(w.db(), "PRAGMA quick_check", -1, &statement, nullptr);
            if (rc == SQLITE_OK) rc = sqlite3_step(statement);
            std::string verdict;
            if (rc == SQLITE_ROW) verdict = reinterpret_cast<char const*>(sqlite3_column_text(statement, 0));
            else verdict = sqlite3_errmsg(w.db());
            sqlite3_finalize(statement);
            if (verdict != "ok") refuse(file, "it is damaged (" + verdict + ")");
        }
    } else if (application != 0 || objects != 0) {
        refuse(file, "it is an SQLite database of another kind, not a repository");
    }

    auto must = [&](char const* sql) {
        char* error = nullptr;
        if (sqlite3_exec(w.db(), sql, nullptr, nullptr, &error) != SQLITE_OK) {
            std::string const message = error ? error : sqlite3_errmsg(w.db());
            sqlite3_free(error);
            refuse(file, reasonOf(sqlite3_extended_errcode(w.db()), message));
        }
    };
    if (!impl.memory) {
        sqlite3_stmt* statement = nullptr;
        std::string mode;
        if (sqlite3_prepare_v2(w.db(), "PRAGMA journal_mode=WAL", -1, &statement, nullptr) == SQLITE_OK &&
            sqlite3_step(statement) == SQLITE_ROW)
            mode = reinterpret_cast<char const*>(sqlite3_column_text(statement, 0));
        std::string const message = sqlite3_errmsg(w.db());
        int const code = sqlite3_extended_errcode(w.db());
        sqlite3_finalize(statement);
        if (mode != "wal") refuse(file, mode.empty() ? reasonOf(code, message) : "its journal cannot be put in WAL mode");
    }
    must(impl.settings.fullSync ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=NORMAL");
    if (application == 0) {
        std::string const create = std::string("BEGIN IMMEDIATE;") + kCreateTables +
                                   "PRAGMA application_id=" + std::to_string(kApplicationId) +
                                   "; PRAGMA user_version=" + std::to_string(kFormat) + "; COMMIT;";
        char* error = nullptr;
        if (sqlite3_exec(w.db(), create.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
            std::string const message = error ? error : sqlite3_errmsg(w.db());
            sqlite3_free(error);
            int const code = sqlite3_extended_errcode(w.db());
            sqlite3_exec(w.db(), "ROLLBACK", nullptr, nullptr, nullptr);
            refuse(file, reasonOf(code, message));
        }
    }
}

}  // namespace

std::shared_ptr<RepositoryFile> RepositoryFile::open(RepositorySettings const& settings) {
    auto impl = std::make_unique<Impl>();
    impl->settings = settings;
    if (settings.file == ":memory:") {
        impl->memory = true;
        impl->name = "file:kivo-repository-" + std::to_string(memoryDatabases.fetch_add(1)) + "?mode=memory&cache=shared";
    } else {
        namespace fs = std::filesystem;
        if (settings.file.empty()) refuse(settings.file, "no file name given");
        std::error_code error;
        fs::path const path(settings.file);
        if (fs::is_directory(path, error)) refuse(settings.file, "it is a directory");
        if (path.has_parent_path() && !fs::exists(path.parent_path(), error)) {
            fs::create_directories(path.parent_path(), error);
            if (error) refuse(settings.file, "its directory cannot be made (" + error.message() + ")");
        }
        impl->name = settings.file;
    }
    impl->writer = impl->connect(false);
    prepare(*impl);
    return std::shared_ptr<RepositoryFile>(new RepositoryFile(std::move(impl)));
}

RepositoryFile::RepositoryFile(std::unique_ptr<Impl> impl) : _impl(std::move(impl)) {}

RepositoryFile::~RepositoryFile() {
    // Readers first: the last connection to close checkpoints the log into
    // the file and removes it.
    _impl->idle.clear();
    _impl->writer.reset();
}

std::string const& RepositoryFile::file() const { return _impl->settings.file; }

void RepositoryFile::transaction(std::function<void()> const& body) {
    _impl->write([&](Connection&) { body(); });
}

// ---------------------------------------------------------------------------
// Schema rows

bool RepositoryFile::initialised() const {
    return _impl->read([](Connection& c) {
        Query q = c.query("SELECT value FROM meta WHERE name = 'initialised'");
        return q.next() && q.text(0) == "1";
    });
}

void RepositoryFile::setInitialised() {
    _impl->write([](Connection& c) {
        c.query("INSERT OR REPLACE INTO meta(name, value) VALUES('initialised', '1')").run();
    });
}

std::vector<KVOString> RepositoryFile::namespaces() const {
    return _impl->read([](Connection& c) {
        std::vector<KVOString> out;
        Query q = c.query("SELECT name FROM namespaces ORDER BY seq");
        while (q.next()) out.emplace_back(std::string(q.text(0)));
        return out;
    });
}

void RepositoryFile::addNamespace(KVOString const& nameSpace) {
    _impl->write([&](Connection& c) {
        c.query("INSERT OR IGNORE INTO namespaces(key, name) VALUES(?1, ?2)")
            .bindText(1, om::nameSpaceKey(nameSpace))
            .bindText(2, nameSpace.str())
            .run();
    });
}

namespace {

void putRow(RepositoryFile::Impl& impl, Kind kind, KVOString const& nameSpace, KVOString const& name,
            KVOString const& superClass, std::string const& mof) {
    impl.write([&](Connection& c) {
        c.query("INSERT INTO schema_rows(ns, kind, key, name, super, mof) VALUES(?1, ?2, ?3, ?4, ?5, ?6) "
                "ON CONFLICT(ns, kind, key) DO UPDATE SET name = excluded.name, super = excluded.super, "
                "mof = excluded.mof")
            .bindText(1, om::nameSpaceKey(nameSpace))
            .bind(2, kind)
            .bindText(3, om::nameKey(name))
            .bindText(4, name.str())
            .bindText(5, superClass.str())
            .bindBlob(6, mof)
            .run();
    });
}

void deleteRow(RepositoryFile::Impl& impl, Kind kind, KVOString const& nameSpace, KVOString const& name) {
    impl.write([&](Connection& c) {
        c.query("DELETE FROM schema_rows WHERE ns = ?1 AND kind = ?2 AND key = ?3")
            .bindText(1, om::nameSpaceKey(nameSpace))
            .bind(2, kind)
            .bindText(3, om::nameKey(name))
            .run();
    });
}

std::vector<SchemaRow> rows(RepositoryFile::Impl& impl, Kind kind, KVOString const& nameSpace) {
    return impl.read([&](Connection& c) {
        std::vector<SchemaRow> out;
        Query q = c.query("SELECT name, super, mof FROM schema_rows WHERE ns = ?1 AND kind = ?2 ORDER BY seq");
        q.bindText(1, om::nameSpaceKey(nameSpace)).bind(2, kind);
        while (q.next())
            out.push_back({KVOString(std::string(q.text(0))), KVOString(std::string(q.text(1))), std::string(q.blob(2))});
        return out;
    });
}

}  // namespace

void RepositoryFile::putQualifier(KVOString const& nameSpace, KVOString const& name, std::string const& mof) {
    putRow(*_impl, kQualifier, nameSpace, name, KVOString(), mof);
}

void RepositoryFile::deleteQualifier(KVOString const& nameSpace, KVOString const& name) {
    deleteRow(*_impl, kQualifier, nameSpace, name);
}

void RepositoryFile::putClass(KVOString const& nameSpace, KVOString const& name, KVOString const& superClass,
                              std::string const& mof) {
    putRow(*_impl, kClass, nameSpace, name, superClass, mof);
}

void RepositoryFile::deleteClass(KVOString const& nameSpace, KVOString const& name) {
    deleteRow(*_impl, kClass, nameSpace, name);
}

std::vector<SchemaRow> RepositoryFile::qualifiers(KVOString const& nameSpace) const {
    return rows(*_impl, kQualifier, nameSpace);
}

std::vector<SchemaRow> RepositoryFile::classes(KVOString const& nameSpace) const {
    return rows(*_impl, kClass, nameSpace);
}

}  // namespace kivo::repo
