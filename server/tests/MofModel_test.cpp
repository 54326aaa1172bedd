// The model the server loads at start-up: kivo.mof and interop.mof compiled
// with the default include path, the code parts attached to the classes that
// kivo.mof declares, and the errors that stop a start-up.
#include "objectmanager/DefaultModel.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

using kivo::om::ModelLoadError;
using kivo::om::ModelSettings;
using kivo::om::ObjectManager;

std::string load(ModelSettings const& settings, ObjectManager& om) {
    try {
        kivo::om::loadDefaultModel(om, settings);
    } catch (ModelLoadError const& e) {
        return e.what();
    }
    return "";
}

TEST(MofModel, DefaultModelLoadsWithItsCodeParts) {
    ObjectManager om;
    ASSERT_EQ(load(ModelSettings{3}, om), "");
    kivo::om::ClassRepository& repo = om.repository();
    // The DMTF root is inherited, with its properties and their origin.
    KVOSmrPtr<IKivoClass> disk = repo.getClass(kivo::om::kCimv2, "KIVO_DiskDrive");
    ASSERT_TRUE(disk);
    EXPECT_EQ(disk->getSuperClassName(), "KIVO_LogicalDevice");
    for (char const* inherited : {"InstanceID", "Caption", "Description", "ElementName", "Generation"}) {
        KVOSmrPtr<IKivoProperty> p = disk->getProperty(inherited);
        ASSERT_TRUE(p) << inherited;
        EXPECT_EQ(p->getClassOrigin(), "CIM_ManagedElement") << inherited;
    }
    EXPECT_TRUE(repo.getClass(kivo::om::kCimv2, "CIM_ManagedElement"));
    EXPECT_FALSE(repo.getClass(kivo::om::kInterop, "KIVO_Namespace"));
    EXPECT_TRUE(repo.hasNamespace(kivo::om::kInterop));
    // Instances made in code, and the scale provider's.
    std::size_t devices = 0, scale = 0;
    om.enumerateInstanceNames(kivo::om::kCimv2, "KIVO_LogicalDevice")([&](auto const&) { return ++devices, true; });
    om.enumerateInstanceNames(kivo::om::kCimv2, "KIVO_ScaleItem")([&](auto const&) { return ++scale, true; });
    EXPECT_EQ(devices, 3u);
    EXPECT_EQ(scale, 3u);
}

// Schema files a start-up is given: where they are found, what they make,
// and the message that stops the start-up.
TEST(MofModel, SchemaFilesLoadOrStopWithTheCompilersMessage) {
    std::filesystem::path const dir =
        std::filesystem::temp_directory_path() / ("kivo_mof_model_" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    auto write = [&](char const* name, char const* text) { std::ofstream(dir / name) << text; };
    write("good.mof",
          "#pragma include (\"qualifiers.mof\")\n"
          "class Test_Item { [Key] string Id; };\n"
          "instance of Test_Item { Id = \"a\"; };\n");
    write("twice.mof",
          "#pragma include (\"qualifiers.mof\")\n"
          "class Test_Item { [Key] string Id; };\n"
          "instance of Test_Item { Id = \"a\"; };\ninstance of Test_Item { Id = \"a\"; };\n");
    write("bad.mof", "#pragma include (\"qualifiers.mof\")\nclass Test_Item : Test_Missing {\n};\n");
    std::vector<std::string> const path = {dir.string(), ModelSettings().schemaPath.back()};
    struct Case {
        std::string file;
        std::string error;  // "": loads; else the start of the message
    };
    Case const cases[] = {
        {"good.mof", ""},
        {(dir / "good.mof").string(), ""},
        {"bad.mof", (dir / "bad.mof").string() + ":2:"},
        {"missing.mof", "missing.mof"},
        {"twice.mof", (dir / "twice.mof").string() + ": instance of Test_Item: "},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.file);
        ObjectManager om;
        ModelSettings settings(0);
        settings.schema = {{"root/test", c.file}};
        settings.schemaPath = path;
        std::string const error = load(settings, om);
        if (c.error.empty()) {
            ASSERT_EQ(error, "");
            std::size_t n = 0;
            om.enumerateInstanceNames("root/test", "Test_Item")([&](auto const&) { return ++n, true; });
            EXPECT_EQ(n, 1u);
            EXPECT_FALSE(om.repository().hasNamespace(kivo::om::kCimv2));
        } else {
            EXPECT_EQ(error.rfind(c.error, 0), 0u) << error;
        }
    }
    std::filesystem::remove_all(dir);
}

}  // namespace
