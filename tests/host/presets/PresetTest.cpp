// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/presets/Preset.h"

#include "host/common/Errors.h"
#include "host/common/PendingFile.h"
#include "host/parameters/ParameterText.h"
#include "host/presets/PresetLibrary.h"
#include "rigs/TestFiles.h"
#include "support/platform/Platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace orphia::host {

namespace {

using Scale = ParameterSetting::Scale;

class PresetTest : public testing::Test {
protected:
    std::string Refusal(const std::string& text) const {
        try {
            std::vector<std::string> ignored;
            ParsePreset(text, catalog, ignored);
            return "taken";
        } catch (const FileError& error) {
            return error.what();
        }
    }
    static std::string File(const std::string& parameters) {
        return "{\n\"format\": \"orphia-preset\",\n\"version\": 1,\n\"parameters\": {\n" + parameters +
               "}\n}\n";
    }

    ParameterCatalog catalog;
};

TEST_F(PresetTest, NumbersAndTruthValuesAreTakenAndUnknownNamesAndOutputsIgnoredWithAWarning) {
    std::vector<std::string> warnings;
    const Preset preset = ParsePreset(File(R"("BodeVocoder_Wett": 7, "BodeVocoder_HissLED": 1, "Wet": 1,
        "BodeVocoder_Wet": 0.5, "BodeVocoder_HFChannel_HFMode": true)"),
                                      catalog, warnings);
    ASSERT_EQ(preset.settings.size(), 2U);
    EXPECT_EQ(preset.settings[0].number, 0.5F);
    EXPECT_EQ(preset.settings[1].number, 1.0F);
    ASSERT_EQ(warnings.size(), 3U);
    EXPECT_NE(warnings[0].find("'BodeVocoder_Wett' ignored (similar: BodeVocoder_Wet"), std::string::npos)
        << warnings[0];
    EXPECT_NE(warnings[1].find("output"), std::string::npos) << warnings[1];
}

TEST_F(PresetTest, DamagedFilesAreRefusedWithLineAndReason) {
    EXPECT_EQ(Refusal(File("\"BodeVocoder_Wet\": 1")), "taken");
    EXPECT_EQ(Refusal(File("\"BodeVocoder_Wet\": 1,\n\"BodeVocoder_AnalyzerRectifiers_Attack\": \"9 s\"")),
              "line 6: BodeVocoder_AnalyzerRectifiers_Attack: '9 s' is outside 1 ms .. 1 s");
    const std::pair<std::string, const char*> cases[] = {
        {File("\"BodeVocoder_Wet\": 1,\n1"), "line 6: "},
        {File("\"BodeVocoder_Wet\": [1]"), "line 5"},
        {File("\"BodeVocoder_Wet\": 1, \"BodeVocoder_Wet\": 0"), "twice"},
        {R"({"format": "orphia-preset", "version": 2, "parameters": {}})", "newer"},
        {File("\"Carrier_GlideTime\": \"0 s\""), "another instrument"}};
    for (const auto& [text, reason] : cases) {
        EXPECT_NE(Refusal(text).find(reason), std::string::npos) << Refusal(text);
    }
    for (const char* text :
         {"", "[]", "7", "null", "{}", R"({"format": "other", "version": 1, "parameters": {}})",
          R"({"format": 1, "version": 1, "parameters": {}})",
          R"({"format": "orphia-preset", "parameters": {}})",
          R"({"format": "orphia-preset", "version": "1", "parameters": {}})",
          R"({"format": "orphia-preset", "version": 0, "parameters": {}})",
          R"({"format": "orphia-preset", "version": 1})",
          R"({"format": "orphia-preset", "version": 1, "parameters": []})",
          R"({"format": "orphia-preset", "version": 1, "name": 3, "parameters": {}})"}) {
        EXPECT_TRUE(Refusal(text).starts_with("line 1: ")) << text << ": " << Refusal(text);
    }
}

/// Whatever a disk does to a preset, it is either read or refused.
TEST_F(PresetTest, EveryTruncationIsRefused) {
    const std::string_view whole = DefaultPresetText(EngineTree::Vocoder);
    const std::string text(whole.substr(0, whole.rfind('}')));
    for (std::size_t length = 0; length <= text.size(); length += 7) {
        EXPECT_TRUE(Refusal(text.substr(0, length)).starts_with("line ")) << length;
    }
    EXPECT_TRUE(Refusal(std::string(100000, '[')).starts_with("line 1"));
    EXPECT_TRUE(Refusal("{\"\xff\xfe\": 1}").starts_with("line 1"));
}

TEST_F(PresetTest, TheDefaultPresetsNameEveryControlOnce) {
    for (const EngineTree tree : {EngineTree::Vocoder, EngineTree::Instrument}) {
        const ParameterCatalog whole(tree);
        std::multiset<std::uint32_t> ids;
        for (const ParameterSetting& setting : DefaultPreset(whole).settings) {
            ids.insert(setting.id);
        }
        for (const ParameterInfo& info : whole.Parameters()) {
            // Some routes belong to the sound; effects, none of which is chosen, start as they are.
            const bool isOpen = info.role == ParameterRole::Route || info.name.starts_with("FX");
            EXPECT_TRUE(ids.count(info.id) == (info.role == ParameterRole::Control) || isOpen) << info.name;
        }
    }
}

TEST_F(PresetTest, SamplesAreRelativeToTheFolderWithinAndBesideIt) {
    const ParameterCatalog& instrument = ParameterCatalog::OfInstrument();
    const auto text = [](const std::string& samples) {
        return R"({"format": "orphia-preset", "version": 1, "parameters": {}, "samples": )" + samples + "}";
    };
    const auto read = [&](const std::string& samples) {
        std::vector<std::string> warnings;
        return ParsePreset(text(samples), instrument, warnings, "/a/presets");
    };
    const Preset preset = read(R"({"1": "one.wav", "2": "../two.wav", "12": "/other/three.wav"})");
    const std::map<std::uint32_t, std::filesystem::path> paths = {
        {0, "/a/presets/one.wav"}, {1, "/a/two.wav"}, {11, "/other/three.wav"}};
    EXPECT_EQ(preset.samples, paths);
    EXPECT_EQ(FormatPreset(preset, instrument, "/a/presets").find("/a/"), std::string::npos);
    EXPECT_NE(FormatPreset(preset, instrument, "/b/c/d/").find("/a/presets/one.wav"), std::string::npos);
    std::vector<std::string> warnings;
    EXPECT_EQ(ParsePreset(FormatPreset(preset, instrument, "/b/presets"), instrument, warnings).samples,
              paths);
    EXPECT_TRUE(read("{}").samples->empty());
    for (const char* samples : {"[]", R"({"0": "a"})", R"({"13": "a"})", R"({"1x": "a"})", R"({"1": 2})",
                                R"({"1": ""})", R"({"": "a"})"}) {
        EXPECT_THROW(read(samples), FileError) << samples;
    }
}

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
    ASSERT_FALSE(plain.Entries().empty());
    const std::string id = plain.Entries().front().id;
    test::WriteText(folder / (id + ".json"), Text("Mine", R"("MasterVolume": "-5 dB")"));
    const PresetLibrary library(folder.Path());
    EXPECT_EQ(library.Entries().size(), plain.Entries().size());
    EXPECT_EQ(library.Find(id).name, "Mine");
    EXPECT_EQ(PresetLibrary(folder / "nowhere").Entries().size(), plain.Entries().size());
}

TEST(PendingFile, AppearsWithCommitOnlyAndLeavesNothingWithout) {
    const test::TemporaryFolder folder;
    test::WriteText(folder / "file", "old");
    for (const bool commits : {false, true}) {
        PendingFile pending(folder / "file");
        pending.Write("something long");
        pending.Write("new");
        EXPECT_EQ(test::ReadText(folder / "file"), "old");
        if (commits) {
            pending.Commit();
        }
    }
    EXPECT_EQ(test::ReadText(folder / "file"), "new");
    EXPECT_EQ(folder.Names().size(), 1U);
}

TEST(PendingFile, FollowsLinksAndRefusesWhatIsNoFile) {
    const test::TemporaryFolder folder;
    test::WriteText(folder / "file", "old");
    std::filesystem::create_symlink("file", folder / "link");
    PendingFile pending(folder / "link");
    pending.Write("new");
    pending.Commit();
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
    EXPECT_EQ(test::ReadText(folder / "file"), "new");
    EXPECT_THROW(PendingFile(folder.Path()), FileError);
    EXPECT_THROW(PendingFile(folder / "nowhere/file"), FileError);
    EXPECT_THROW(PendingFile("/dev/null"), FileError);
    EXPECT_EQ(folder.Names().size(), 2U);
}

} // namespace

} // namespace orphia::host
