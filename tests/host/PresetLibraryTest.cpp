// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/PresetLibrary.h"

#include "TestFiles.h"
#include "host/Errors.h"
#include "support/platform/Platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>

namespace orphia::host {

namespace {

std::string Text(const std::string& name, const std::string& parameters) {
    return R"({"format": "orphia-preset", "version": 1, "name": ")" + name +
           R"(", "description": "A test.", "parameters": {)" + parameters + "}}";
}

class PresetLibraryTest : public testing::Test {
protected:
    std::string Refusal(const std::string& name) const {
        std::vector<std::string> warnings;
        try {
            PresetLibrary(folder.Path()).Open(name, ParameterCatalog::OfInstrument(), warnings);
            return "taken";
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    }

    test::TemporaryFolder folder;
};

TEST_F(PresetLibraryTest, EveryBuiltInPresetIsReadWithoutAWarning) {
    const PresetLibrary library{std::filesystem::path()};
    std::set<std::string> ids;
    for (const PresetLibrary::Entry& entry : library.Entries()) {
        std::vector<std::string> warnings;
        const Preset preset = PresetLibrary::Load(entry, ParameterCatalog::OfInstrument(), warnings);
        EXPECT_TRUE(warnings.empty()) << entry.id << ": " << warnings.front();
        EXPECT_TRUE(entry.IsBuiltIn() && ids.insert(entry.id).second) << entry.id;
        EXPECT_EQ(preset.name, entry.name);
        for (const auto& [sample, path] :
             preset.samples.value_or(std::map<std::uint32_t, std::filesystem::path>())) {
            EXPECT_TRUE(std::filesystem::exists(path)) << entry.id << ": " << path;
        }
        EXPECT_FALSE(entry.name.empty() || entry.description.empty()) << entry.id;
    }
}

TEST_F(PresetLibraryTest, ListsAndFindsTheUsersPresets) {
    test::WriteText(folder / "my-robot.json", Text("My Robot", R"("MasterVolume": "-5 dB")"));
    test::WriteText(folder / "other.json", R"({"a": 1})");
    test::WriteText(folder / "my-robot.txt", "notes");
    const PresetLibrary library(folder.Path());
    const auto own = std::count_if(library.Entries().begin(), library.Entries().end(),
                                   [](const PresetLibrary::Entry& entry) { return !entry.IsBuiltIn(); });
    EXPECT_EQ(own, 1);
    for (const char* name : {"my-robot", "My Robot", "MY_ROBOT", "myrobot"}) {
        EXPECT_EQ(library.Find(name).path, folder / "my-robot.json") << name;
    }
    std::vector<std::string> warnings;
    for (const std::string& name : {std::string("my robot"), (folder / "my-robot.json").string()}) {
        const Preset preset = library.Open(name, ParameterCatalog::OfInstrument(), warnings);
        ASSERT_EQ(preset.settings.size(), 1U) << name;
        EXPECT_EQ(preset.settings[0].number, -5.0F);
    }
    EXPECT_NE(Refusal("my-robat").find("unknown preset 'my-robat' (similar: my-robot"), std::string::npos)
        << Refusal("my-robat");
    EXPECT_NE(Refusal((folder / "other.json").string()).find("other.json: line 1"), std::string::npos);
    EXPECT_NE(Refusal((folder / "missing.json").string()).find("missing.json"), std::string::npos);
}

TEST_F(PresetLibraryTest, TheUsersFolderIsWhereTheSystemKeepsTheirData) {
    Velmora::Platform::SetEnvironment("XDG_DATA_HOME", folder.Path().string());
    const std::filesystem::path presets = PresetLibrary::UserFolder();
    EXPECT_TRUE(presets.string().starts_with(folder.Path().string())) << presets;
    std::filesystem::create_directories(presets);
    test::WriteText(presets / "mine.json", Text("Mine", ""));
    EXPECT_EQ(PresetLibrary().Find("mine").path, presets / "mine.json");
    Velmora::Platform::SetEnvironment("XDG_DATA_HOME", "relative");
    EXPECT_FALSE(PresetLibrary::UserFolder().string().starts_with("relative"));
}

TEST_F(PresetLibraryTest, AUsersPresetStandsInForABuiltInOneOfItsName) {
    const PresetLibrary plain{std::filesystem::path()};
    if (plain.Entries().empty()) {
        GTEST_SKIP() << "no preset is built in";
    }
    const std::string id = plain.Entries().front().id;
    test::WriteText(folder / (id + ".json"), Text("Mine", R"("MasterVolume": "-5 dB")"));
    const PresetLibrary library(folder.Path());
    EXPECT_EQ(library.Entries().size(), plain.Entries().size());
    EXPECT_EQ(library.Find(id).name, "Mine");
    EXPECT_EQ(PresetLibrary(folder / "nowhere").Entries().size(), plain.Entries().size());
}

} // namespace

} // namespace orphia::host
