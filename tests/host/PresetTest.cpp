// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/Preset.h"

#include "TestFiles.h"
#include "host/Errors.h"
#include "host/ParameterText.h"
#include "host/PendingFile.h"

#include <gtest/gtest.h>

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

TEST_F(PresetTest, WhatIsWrittenReadsBackExactly) {
    const Preset preset{"Glass \"1\"\n\u00e4",
                        "brittle",
                        {{catalog.Find("Wet").id, Scale::Value, 0.3F},
                         {catalog.Find("Attack").id, Scale::Value, 0.00123456F},
                         {catalog.Find("Release").id, Scale::Position, 1.0F / 3.0F},
                         {catalog.Find("Analysis3_Synthesis7").id, Scale::Value, -0.7F},
                         {catalog.Find("HFMode").id, Scale::Value, 1.0F}},
                        {}};
    std::vector<std::string> warnings;
    const Preset read = ParsePreset(FormatPreset(preset, catalog), catalog, warnings);
    EXPECT_EQ(read.name, preset.name);
    EXPECT_EQ(read.description, preset.description);
    EXPECT_EQ(read.settings, preset.settings);
    EXPECT_TRUE(warnings.empty());
}

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
