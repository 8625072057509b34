// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/Preset.h"

#include "TestFiles.h"
#include "host/Errors.h"
#include "host/ParameterText.h"
#include "host/PendingFile.h"

#include <gtest/gtest.h>

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

TEST_F(PresetTest, WhatIsWrittenReadsBackExactly) {
    const Preset preset{"Glass \"1\"\n\u00e4",
                        {{catalog.Find("Wet").id, Scale::Value, 0.3F},
                         {catalog.Find("Attack").id, Scale::Value, 0.00123456F},
                         {catalog.Find("Release").id, Scale::Position, 1.0F / 3.0F},
                         {catalog.Find("Analysis3_Synthesis7").id, Scale::Value, -0.7F},
                         {catalog.Find("HFMode").id, Scale::Value, 1.0F}}};
    std::vector<std::string> warnings;
    const Preset read = ParsePreset(FormatPreset(preset, catalog), catalog, warnings);
    EXPECT_EQ(read.name, preset.name);
    EXPECT_EQ(read.settings, preset.settings);
    EXPECT_TRUE(warnings.empty());
}

TEST_F(PresetTest, NumbersAndTruthValuesAreValuesToo) {
    std::vector<std::string> warnings;
    const Preset preset = ParsePreset(File(R"("BodeVocoder_Wet": 0.5, "BodeVocoder_HFChannel_HFMode": true,
        "BodeVocoder_Preamp_ProgramLevel": -12)"),
                                      catalog, warnings);
    ASSERT_EQ(preset.settings.size(), 3U);
    EXPECT_EQ(preset.settings[0].number, 0.5F);
    EXPECT_EQ(preset.settings[1].number, 1.0F);
    EXPECT_EQ(preset.settings[2].number, -12.0F);
}

TEST_F(PresetTest, UnknownNamesAndOutputsAreIgnoredWithAWarning) {
    std::vector<std::string> warnings;
    const Preset preset = ParsePreset(File(R"("BodeVocoder_Wett": 7, "BodeVocoder_HissLED": 1, "Wet": 1,
        "BodeVocoder_Wet": 1)"),
                                      catalog, warnings);
    EXPECT_EQ(preset.settings.size(), 1U);
    ASSERT_EQ(warnings.size(), 3U);
    EXPECT_NE(warnings[0].find("'BodeVocoder_Wett' ignored (similar: BodeVocoder_Wet"), std::string::npos)
        << warnings[0];
    EXPECT_NE(warnings[1].find("output"), std::string::npos) << warnings[1];
}

TEST_F(PresetTest, DamagedFilesAreRefusedWithLineAndReason) {
    const std::string good = File("\"BodeVocoder_Wet\": 1");
    EXPECT_EQ(Refusal(good), "taken");
    EXPECT_EQ(Refusal(File("\"BodeVocoder_Wet\": 1,\n\"BodeVocoder_AnalyzerRectifiers_Attack\": \"9 s\"")),
              "line 6: BodeVocoder_AnalyzerRectifiers_Attack: '9 s' is outside 1 ms .. 1 s");
    EXPECT_TRUE(Refusal(File("\"BodeVocoder_Wet\": 1,\n1")).starts_with("line 6: ")) << Refusal(File("1"));
    EXPECT_NE(Refusal(File("\"BodeVocoder_Wet\": [1]")).find("line 5"), std::string::npos);
    EXPECT_NE(Refusal(File("\"BodeVocoder_Wet\": 1, \"BodeVocoder_Wet\": 0")).find("twice"),
              std::string::npos);
    EXPECT_NE(Refusal(R"({"format": "orphia-preset", "version": 2, "parameters": {}})").find("newer"),
              std::string::npos);
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

TEST_F(PresetTest, FilesThatAreNoPresetAreNamed) {
    const test::TemporaryFolder folder;
    test::WriteText(folder / "large.json", std::string((1U << 20U) + 1, ' '));
    test::WriteText(folder / "bad.json", "{\n\n?");
    for (const char* name : {"large.json", "bad.json", "missing.json", ""}) {
        std::vector<std::string> warnings;
        try {
            ReadPreset(folder / name, catalog, warnings);
            ADD_FAILURE() << name << " was read";
        } catch (const FileError& error) {
            EXPECT_TRUE(std::string(error.what()).starts_with((folder / name).string() + ": "))
                << error.what();
        }
    }
}

TEST_F(PresetTest, TheDefaultPresetsNameEveryControlOnce) {
    for (const EngineTree tree : {EngineTree::Vocoder, EngineTree::Carrier}) {
        const ParameterCatalog whole(tree);
        std::set<std::uint32_t> ids;
        for (const ParameterSetting& setting : DefaultPreset(whole).settings) {
            EXPECT_TRUE(ids.insert(setting.id).second);
        }
        for (const ParameterInfo& info : whole.Parameters()) {
            const bool isControl = info.role == ParameterRole::Control;
            // Some routes belong to the sound.
            EXPECT_TRUE(ids.contains(info.id) == isControl || info.role == ParameterRole::Route) << info.name;
        }
    }
}

TEST_F(PresetTest, APresetOfAnotherInstrumentIsRefused) {
    EXPECT_NE(Refusal(std::string(DefaultPresetText(EngineTree::Carrier))).find("another instrument"),
              std::string::npos);
}

TEST(PendingFile, AppearsWithCommitOnlyAndLeavesNothingWithout) {
    const test::TemporaryFolder folder;
    test::WriteText(folder / "file", "old");
    {
        PendingFile pending(folder / "file");
        pending.Write("lost");
    }
    EXPECT_EQ(test::ReadText(folder / "file"), "old");
    EXPECT_EQ(folder.Names().size(), 1U);
    PendingFile pending(folder / "file");
    pending.Write("something long");
    pending.Write("new");
    EXPECT_EQ(test::ReadText(folder / "file"), "old");
    pending.Commit();
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
