// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/presets/Preset.h"

#include "host/presets/PresetLibrary.h"
#include "rigs/TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace orphia::host {

namespace {

using test::Has;

const ParameterCatalog& Vocoder() {
    static const ParameterCatalog catalog(EngineTree::Vocoder);
    return catalog;
}
const ParameterCatalog& Whole() { return ParameterCatalog::OfInstrument(); }

std::string File(const std::string& parameters, const std::string& name = "") {
    return R"({"format": "orphia-preset", "version": 1, "description": "A test.", "name": ")" + name +
           "\",\n\"parameters\": {\n" + parameters + "}}";
}

/// Whatever a disk does to a preset, it is either read or refused.
TEST(Preset, WhatIsCutOrNestedIsRefusedWithItsLine) {
    const std::string_view text = DefaultPresetText(EngineTree::Vocoder);
    std::vector<std::string> parts = {std::string(100000, '['), "{\"\xff\xfe\": 1}"};
    for (std::size_t length = 0; length < text.rfind('}'); length += 7) {
        parts.emplace_back(text.substr(0, length));
    }
    for (const std::string& part : parts) {
        std::vector<std::string> ignored;
        EXPECT_TRUE(test::Refusal([&] { ParsePreset(part, Vocoder(), ignored); }).starts_with("line "))
            << part.size();
    }
}

TEST(Preset, TheDefaultPresetsNameEveryControlOnce) {
    for (const ParameterCatalog* catalog : {&Vocoder(), &Whole()}) {
        std::multiset<std::uint32_t> ids;
        for (const ParameterSetting& setting : DefaultPreset(*catalog).settings) {
            ids.insert(setting.id);
        }
        for (const ParameterInfo& info : catalog->Parameters()) {
            // Some routes belong to the sound; effects, none of which is chosen, start as they are.
            const bool isOpen = info.role == ParameterRole::Route || info.name.starts_with("FX");
            EXPECT_TRUE(ids.count(info.id) == (info.role == ParameterRole::Control) || isOpen) << info.name;
        }
    }
}

TEST(Preset, SamplesAreRelativeToTheFolderWithinAndBesideIt) {
    // Where a path is whole with a drive alone, it needs one.
    const std::string drive = std::filesystem::path("/").is_absolute() ? "" : "C:";
    std::vector<std::string> warnings;
    const auto read = [&](const std::string& samples) {
        const std::string text = File("}, \"samples\": " + samples);
        return ParsePreset(text.substr(0, text.size() - 1), Whole(), warnings, drive + "/a/presets");
    };
    const Preset preset =
        read(R"({"1": "one.wav", "2": "../two.wav", "12": ")" + drive + R"(/other/three.wav"})");
    const std::map<std::uint32_t, std::filesystem::path> paths = {
        {0, drive + "/a/presets/one.wav"}, {1, drive + "/a/two.wav"}, {11, drive + "/other/three.wav"}};
    EXPECT_EQ(preset.samples, paths);
    EXPECT_FALSE(Has(FormatPreset(preset, Whole(), drive + "/a/presets"), "/a/"));
    EXPECT_PRED2(Has, FormatPreset(preset, Whole(), drive + "/b/c/d/"), drive + "/a/presets/one.wav");
    EXPECT_EQ(ParsePreset(FormatPreset(preset, Whole(), drive + "/b/presets"), Whole(), warnings).samples,
              paths);
    // What comes with the program is found wherever that lies.
    const std::filesystem::path beat = PresetLibrary::FactoryFolder() / ".." / "samples" / "beat.flac";
    const Preset shipped = read(R"({"1": "factory:presets/samples/beat.flac"})");
    EXPECT_EQ(shipped.samples->at(0), beat.lexically_normal());
    EXPECT_TRUE(std::filesystem::exists(shipped.samples->at(0)));
    EXPECT_NE(FormatPreset(shipped, Whole()).find("\"factory:presets/samples/beat.flac\""),
              std::string::npos);
    EXPECT_TRUE(read("{}").samples->empty());
    for (const char* samples : {"[]", R"({"0": "a"})", R"({"13": "a"})", R"({"1x": "a"})", R"({"1": 2})",
                                R"({"1": ""})", R"({"": "a"})"}) {
        EXPECT_TRUE(test::Refusal([&] { read(samples); }).starts_with("line 3: ")) << samples;
    }
}

TEST(Preset, TagsAreAnyTextsAndComeBack) {
    std::vector<std::string> warnings;
    const auto read = [&](const std::string& tags) {
        const std::string text = File("}, \"tags\": " + tags);
        return ParsePreset(text.substr(0, text.size() - 1), Vocoder(), warnings);
    };
    const std::vector<std::string> tags = {"robot", "no list has this one", ""};
    const Preset preset = read(R"(["robot", "no list has this one", ""])");
    EXPECT_EQ(preset.tags, tags);
    EXPECT_EQ(ParsePreset(FormatPreset(preset, Vocoder()), Vocoder(), warnings).tags, tags);
    EXPECT_EQ(SummaryOf(FormatPreset(preset, Vocoder())).tags, tags);
    EXPECT_FALSE(Has(FormatPreset(read("[]"), Vocoder()), "tags"));
    for (const char* wrong : {"{}", "\"robot\"", "[1]", "[[\"robot\"]]", "null"}) {
        EXPECT_TRUE(test::Refusal([&] { read(wrong); }).starts_with("line 3: \"tags\"")) << wrong;
    }
}

TEST(PresetLibrary, ListsFindsAndOpensTheUsersPresetsWhichStandInForBuiltInOnes) {
    const test::TemporaryFolder folder;
    const PresetLibrary plain{std::filesystem::path()};
    const std::string id = plain.Entries().at(1).id;
    test::WriteText(folder / "my-robot.json", File(R"("MasterVolume": "-5 dB")", "My Robot"));
    test::WriteText(folder / "other.json", R"({"a": 1})");
    test::WriteText(folder / "my-robot.txt", "notes");
    test::WriteText(folder / (id + ".json"), File(R"("MasterVolume": "-7 dB")", "Mine"));
    const PresetLibrary library(folder.Path());
    EXPECT_EQ(library.Entries().size(), plain.Entries().size() + 1);
    EXPECT_EQ(PresetLibrary(folder / "nowhere").Entries().size(), plain.Entries().size());
    EXPECT_EQ(library.Find(id).name, "Mine");
    for (const char* name : {"my-robot", "My Robot", "MY_ROBOT", "myrobot"}) {
        EXPECT_EQ(library.Find(name).path, folder / "my-robot.json") << name;
    }
    std::vector<std::string> warnings;
    const auto open = [&](const std::string& name) { return library.Open(name, Whole(), warnings); };
    EXPECT_EQ(open("my robot").settings.at(0).number, -5.0F);
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_PRED2(Has, warnings[0], "other.json: line 1");
    EXPECT_EQ(open((folder / "my-robot.json").string()).settings.at(0).number, -5.0F);
    EXPECT_PRED2(Has, test::Refusal([&] { open("my-robat"); }), "'my-robat' (similar: my-robot");
}

} // namespace

} // namespace orphia::host
