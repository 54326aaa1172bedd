// The inside of RepositoryFile, shared with DiskInstanceStore: SQLite
// connections with cached prepared statements, the one writer and its
// transactions, and the pool of read connections.
//
// Who calls it: RepositoryFile.cpp and DiskInstanceStore.cpp only; nothing
// outside server/repository includes it.
//
// Threading: a Connection is used by one thread at a time. The writer
// connection belongs to the thread inside write() (writerMutex); a read
// connection to the thread that leased it. write() on a thread already inside
// one joins it as a savepoint: the inner body's writes are undone alone when
// it raises, and commit with the outermost body. read() on the thread inside
// write() reads through the writer, so it sees that transaction's own writes.
#pragma once

#include "repository/RepositoryFile.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace kivo::repo {

// Raises KivoBaseException CIM_ERR_FAILED "repository FILE: WHAT".
[[noreturn]] void failed(std::string const& file, std::string const& what);

class Connection;

// One use of a prepared statement: bind, step through the rows, read the
// columns. Resets the statement (ending its read) when it goes.
class Query {
public:
    Query(Query&& other) noexcept;
    Query& operator=(Query&&) = delete;
    ~Query();

    Query& bind(int index, std::int64_t value);
    Query& bindText(int index, std::string_view text);
    Query& bindBlob(int index, std::string_view bytes);
    // Steps to the next row: true on a row, false at the end. Raises
    // CIM_ERR_FAILED naming the file on any error (a constraint too).
    bool next();
    // Steps once and expects the end (INSERT, UPDATE, DELETE).
    void run();

    std::int64_t integer(int column) const;
    std::string_view text(int column) const;
    std::string_view blob(int column) const;

private:
    friend class Connection;
    // `busy` is the cached statement's flag, cleared at the end; null for a
    // statement prepared for this use alone, finalised at the end.
    Query(Connection& connection, sqlite3_stmt* statement, bool* busy);
    Connection* _connection;
    sqlite3_stmt* _statement;
    bool* _busy;
};

// An open SQLite connection with its cache of prepared statements.
class Connection {
public:
    Connection(sqlite3* db, std::string file);
    ~Connection();
    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;

    sqlite3* db() const { return _db; }
    std::string const& file() const { return _file; }
    // Runs statements without results; raises CIM_ERR_FAILED on error.
    void exec(char const* sql);
    // A use of the statement `sql` (prepared once per connection).
    Query query(char const* sql);
    // Rows changed by the last INSERT, UPDATE or DELETE.
    int changes() const;

    [[noreturn]] void fail(std::string const& doing) const;

private:
    friend class Query;
    struct Cached {
        sqlite3_stmt* statement = nullptr;
        bool busy = false;
    };
    sqlite3* const _db;
    std::string const _file;
    std::unordered_map<std::string, Cached> _cache;  // keyed by the SQL text
};

struct RepositoryFile::Impl {
    RepositorySettings settings;
    std::string name;  // what SQLite opens: the file, or a shared in-memory URI
    bool memory = false;

    // ---- The writer ----
    std::mutex writerMutex;                  // held by the thread inside write()
    std::atomic<std::thread::id> owner{};    // that thread; written under writerMutex
    std::unique_ptr<Connection> writer;      // guarded by writerMutex
    // Per level of write() (outermost first): what undoes the in-memory
    // effects of that level's writes when it rolls back. Guarded by writerMutex.
    std::vector<std::vector<std::function<void()>>> undo;

    // ---- Readers ----
    std::mutex poolMutex;
    std::vector<std::unique_ptr<Connection>> idle;  // guarded by poolMutex
    static constexpr std::size_t kIdleReaders = 8;

    // Runs body(writer) as one transaction (a savepoint when nested); see the
    // header's comment. What body raises passes on, after the rollback.
    void write(std::function<void(Connection&)> const& body);
    // Registers `undo` to run if the current write() level rolls back (kept
    // by the enclosing level when this one is released). Caller is inside write().
    void onRollback(std::function<void()> undoIt);
    bool writing() const { return owner.load() == std::this_thread::get_id(); }

    // Runs body(connection) on a read connection (the writer when this thread
    // is inside write()). A statement stepping in body keeps its view of the
    // file until it is reset.
    template <class F>
    decltype(auto) read(F&& body) {
        if (writing()) return body(*writer);
        Lease lease(*this);
        return body(*lease.connection);
    }

    // Opens one more connection to the file (read-only for readers).
    std::unique_ptr<Connection> connect(bool readOnly);

private:
    struct Lease {
        explicit Lease(Impl& impl);
        ~Lease();
        Impl& impl;
        std::unique_ptr<Connection> connection;
    };
};

}  // namespace kivo::repo
