// What the repository suites share: a temporary directory that goes with the
// test, and a small class to store instances of (Test_Item: keys Id uint32
// and Name string, properties Label string and Size uint64), with a maker of
// its complete instances and paths.
#pragma once

#include "objectmanager/ClassBuilder.h"
#include "objectmanager/Instances.h"

#include <cstdlib>
#include <filesystem>
#include <string>

namespace kivo_test {

class TempDir {
public:
    TempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "kivo-repo-XXXXXX").string();
        if (!mkdtemp(pattern.data())) std::abort();
        _path = pattern;
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }
    TempDir(TempDir const&) = delete;
    TempDir& operator=(TempDir const&) = delete;
    std::string file(char const* name) const { return (_path / name).string(); }

private:
    std::filesystem::path _path;
};

struct ItemModel {
    static constexpr char kNs[] = "root/test";
    kivo::om::ClassRepository repository;
    KVOSmrPtr<IKivoClass> item, other;

    ItemModel() {
        using T = KVOCIMType;
        repository.addNamespace(kNs);
        kivo::om::ClassBuilder(repository, kNs, "Test_Item")
            .key("Id", T::UInt32)
            .key("Name", T::String)
            .property("Label", T::String)
            .property("Size", T::UInt64)
            .commit();
        kivo::om::ClassBuilder(repository, kNs, "Test_Other").key("Id", T::UInt32).commit();
        item = repository.getClass(kNs, "Test_Item");
        other = repository.getClass(kNs, "Test_Other");
    }
    // A complete Test_Item; Name is "n" + id.
    KVOSmrPtr<IKivoObject> make(unsigned id, std::string const& label, std::uint64_t size = 0) const {
        return kivo::om::buildInstance(kNs, *item,
                                       {{"Id", CKivoValue::makeUnsigned(KVOCIMType::UInt32, id)},
                                        {"Name", CKivoValue::makeString("n" + std::to_string(id))},
                                        {"Label", CKivoValue::makeString(label)},
                                        {"Size", CKivoValue::makeUnsigned(KVOCIMType::UInt64, size)}});
    }
    KVOSmrPtr<IKivoInstanceName> path(unsigned id) const { return make(id, "")->getInstanceName(); }
};

}  // namespace kivo_test
