// The repository file: schema rows in their order across replaces and
// reopening, the files it refuses to start on and the exact words it uses,
// and transactions that leave nothing when their body raises.
#include "repository/RepositoryFile.h"

#include "repository/DiskInstanceStore.h"

#include "objectmanager/CimStatus.h"

#include "RepositoryTestSupport.h"

#include <gtest/gtest.h>

#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <thread>

namespace {

using kivo::repo::DiskInstanceStore;
using kivo::repo::RepositoryError;
using kivo::repo::RepositoryFile;
using kivo::repo::RepositorySettings;
using kivo::repo::SchemaRow;
using kivo_test::ItemModel;
using kivo_test::TempDir;

// "name:super:mof" of each row, in order.
std::vector<std::string> texts(std::vector<SchemaRow> const& rows) {
    std::vector<std::string> out;
    for (SchemaRow const& r : rows) out.push_back(r.name.str() + ":" + r.superClass.str() + ":" + r.mof);
    return out;
}

// The schema calls in order, then what a fresh reader and a reopened file
// answer: replaced rows keep their place, names match without regard to case,
// namespaces keep theirs apart.
TEST(RepositoryFile, SchemaRowsKeepTheirOrderAcrossReplacesAndReopening) {
    TempDir dir;
    std::string const file = dir.file("nested/dirs/repo.db");
    auto fill = [](RepositoryFile& f) {
        f.addNamespace("root/a");
        f.addNamespace("root/b");
        f.addNamespace("/ROOT/A/");  // the same namespace
        f.putQualifier("root/a", "Key", "Qualifier Key : boolean = false;");
        f.putQualifier("root/a", "Description", "d1");
        f.putQualifier("root/a", "KEY", "k2");  // replaces, keeps its place and takes the new spelling
        f.putClass("root/a", "A_Base", "", "base");
        f.putClass("root/a", "A_Mid", "A_Base", "mid");
        f.putClass("root/a", "A_Leaf", "A_Mid", "leaf");
        f.putClass("root/b", "A_Base", "", "other namespace");
        f.putClass("Root/A", "a_mid", "A_Leaf", "mid 2");  // replaced with a new superclass
        f.deleteClass("root/a", "A_LEAF");
        f.deleteQualifier("root/a", "description");
        f.deleteClass("root/a", "No_Such");  // nothing
        f.putClass("root/a", "A_Leaf", "A_Base", std::string("binary\0mof\xff", 11));  // back, at the end
        f.setInitialised();
    };
    auto check = [&](RepositoryFile const& f, char const* when) {
        EXPECT_EQ(f.namespaces(), (std::vector<KVOString>{"root/a", "root/b"})) << when;
        EXPECT_EQ(texts(f.qualifiers("root/a")), (std::vector<std::string>{"KEY::k2"})) << when;
        EXPECT_EQ(texts(f.classes("ROOT/A")),
                  (std::vector<std::string>{"A_Base::base", "a_mid:A_Leaf:mid 2",
                                            std::string("A_Leaf:A_Base:binary\0mof\xff", 25)}))
            << when;
        EXPECT_EQ(texts(f.classes("root/b")), (std::vector<std::string>{"A_Base::other namespace"})) << when;
        EXPECT_TRUE(f.qualifiers("root/none").empty()) << when;
        EXPECT_TRUE(f.initialised()) << when;
    };
    {
        std::shared_ptr<RepositoryFile> f = RepositoryFile::open({file});
        EXPECT_FALSE(f->initialised());
        fill(*f);
        check(*f, "written");
        std::thread([&] { check(*f, "from another thread"); }).join();
    }
    check(*RepositoryFile::open({file}), "reopened");
    // Each :memory: file is one database to all its connections, and its own.
    std::shared_ptr<RepositoryFile> m1 = RepositoryFile::open({":memory:"}), m2 = RepositoryFile::open({":memory:"});
    fill(*m1);
    std::thread([&] { check(*m1, "in memory, from another thread"); }).join();
    EXPECT_TRUE(m2->namespaces().empty());
}

// Files the server must not start on, each refused with its reason in the
// one form the server prints.
TEST(RepositoryFile, FilesThatAreNotRepositoriesAreRefusedWithTheirReason) {
    TempDir dir;
    auto write = [](std::string const& path, std::string const& bytes) {
        std::ofstream(path, std::ios::binary) << bytes;
    };
    auto withSql = [](std::string const& path, char const* sql) {
        sqlite3* db = nullptr;
        sqlite3_open(path.c_str(), &db);
        sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
        sqlite3_close(db);
    };
    auto repositoryWithData = [&](std::string const& path) {
        std::shared_ptr<RepositoryFile> f = RepositoryFile::open({path});
        f->transaction([&] {
            for (int i = 0; i < 300; ++i) f->putClass("root/a", "C" + std::to_string(i), "", std::string(400, 'm'));
        });
    };
    struct Case {
        char const* what;
        std::function<std::string()> make;  // answers the path to open
        std::string reason;
    };
    std::vector<Case> const cases = {
        {"a directory", [&] { std::filesystem::create_directory(dir.file("d")); return dir.file("d"); },
         "it is a directory"},
        {"garbage bytes", [&] { write(dir.file("g"), std::string(5000, '\x5a')); return dir.file("g"); },
         "it is not a repository file (file is not a database)"},
        {"a text file", [&] { write(dir.file("t"), "[Server]\nport = 5988\n"); return dir.file("t"); },
         "it is not a repository file (file is not a database)"},
        {"a truncated repository",
         [&] {
             repositoryWithData(dir.file("cut"));
             std::filesystem::resize_file(dir.file("cut"), 4096 * 3);
             return dir.file("cut");
         },
         "it is damaged ("},
        {"a newer format",
         [&] {
             RepositoryFile::open({dir.file("new")});
             withSql(dir.file("new"), "PRAGMA user_version=2");
             return dir.file("new");
         },
         "it was written by a newer format (version 2; this server reads up to version 1)"},
        {"another application's database",
         [&] {
             withSql(dir.file("other"), "CREATE TABLE t(x)");
             return dir.file("other");
         },
         "it is an SQLite database of another kind, not a repository"},
        {"a page overwritten",
         [&] {
             repositoryWithData(dir.file("page"));
             std::fstream f(dir.file("page"), std::ios::binary | std::ios::in | std::ios::out);
             f.seekp(4096 * 6);
             f << std::string(4096, '\x5a');
             return dir.file("page");
         },
         "it is damaged ("},
        {"in a file",
         [&] {
             write(dir.file("plain"), "x");
             return dir.file("plain") + "/repo.db";
         },
         "it cannot be opened (unable to open database file)"},
        {"below a file", [&] { return dir.file("plain") + "/sub/repo.db"; },
         "its directory cannot be made (Not a directory)"},
        {"a directory that cannot be written",
         [&] {
             std::filesystem::create_directory(dir.file("ro"));
             std::filesystem::permissions(dir.file("ro"), std::filesystem::perms::owner_read |
                                                              std::filesystem::perms::owner_exec);
             return dir.file("ro") + "/repo.db";
         },
         geteuid() == 0 ? "" : "it cannot be opened ("},
    };
    for (Case const& c : cases) {
        std::string const path = c.make();
        if (c.reason.empty()) continue;  // permissions do not bind root
        try {
            RepositoryFile::open({path});
            ADD_FAILURE() << c.what << ": opened";
        } catch (RepositoryError const& e) {
            std::string const expected = "repository " + path + ": " + c.reason;
            std::string const tail = "; restore it from a MOF export (--import) or move it aside to start with an empty one";
            std::string const what = e.what();
            EXPECT_EQ(what.substr(0, expected.size()), expected) << c.what;
            EXPECT_EQ(what.substr(what.size() - std::min(what.size(), tail.size())), tail) << c.what;
        }
    }
    // The overwritten page goes unnoticed without the check.
    RepositorySettings unchecked{dir.file("page")};
    unchecked.checkOnOpen = false;
    EXPECT_NO_THROW(RepositoryFile::open(unchecked));
}

// A transaction whose body raises leaves nothing, schema or instances, nor
// the quota's counts; a nested one that raises and is caught undoes only
// itself.
TEST(RepositoryFile, ATransactionThatRaisesLeavesNothing) {
    ItemModel model;
    char const* const ns = ItemModel::kNs;
    std::shared_ptr<RepositoryFile> f = RepositoryFile::open({":memory:"});
    DiskInstanceStore store(f);
    store.create(ns, *model.item, model.make(1, "kept"));
    std::uint64_t const bytes = store.bytes();
    struct Failure {};
    EXPECT_THROW(f->transaction([&] {
        f->addNamespace("root/gone");
        f->putClass(ns, "Gone", "", "x");
        store.create(ns, *model.item, model.make(2, "gone"));
        store.modify(ns, *model.item, model.make(1, "changed and gone"));
        EXPECT_TRUE(store.get(ns, *model.item, *model.path(2))) << "a transaction reads its own writes";
        throw Failure();
    }), Failure);
    EXPECT_EQ(f->namespaces().size(), 0u);
    EXPECT_TRUE(f->classes(ns).empty());
    EXPECT_FALSE(store.get(ns, *model.item, *model.path(2)));
    EXPECT_EQ(store.get(ns, *model.item, *model.path(1))->getProperty("Label")->getValue()->toString(), "kept");
    EXPECT_EQ(store.count(ns, *model.item), 1u);
    EXPECT_EQ(store.bytes(), bytes);

    f->transaction([&] {
        store.create(ns, *model.item, model.make(3, "outer"));
        EXPECT_THROW(f->transaction([&] {
            f->putClass(ns, "Inner", "", "x");
            store.remove(ns, *model.item, *model.path(1));
            throw Failure();
        }), Failure);
        EXPECT_EQ(store.count(ns, *model.item), 2u) << "the inner remove is undone";
        f->putClass(ns, "Outer", "", "y");
    });
    EXPECT_EQ(texts(f->classes(ns)), (std::vector<std::string>{"Outer::y"}));
    EXPECT_EQ(store.count(ns, *model.item), 2u);
    EXPECT_TRUE(store.get(ns, *model.item, *model.path(1)));
    EXPECT_TRUE(store.get(ns, *model.item, *model.path(3)));
}

}  // namespace
