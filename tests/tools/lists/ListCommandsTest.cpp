// SPDX-License-Identifier: GPL-3.0-or-later
// The commands that only tell: params, presets and info.
#include "tools/CommandTest.h"

#include <regex>
#include <string>

namespace orphia::test {

namespace {

class ListCommandsTest : public CommandTest {
protected:
    std::string Tell(const std::string& arguments) const {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        return outcome.out;
    }

    static auto LineCount(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }
};

TEST_F(ListCommandsTest, TheDocumentOfTheParametersIsThatOfTheEngine) {
    const std::string document = ReadText(std::filesystem::path(ORPHIA_EXAMPLES) / "../docs/parameters.md");
    // Not EXPECT_EQ, which would print both.
    EXPECT_TRUE(Tell("params --markdown") == document)
        << "an id, a name or a range has changed. Ids and names must not, as hosts and presets hold them; "
           "for anything else: orphia params --markdown >docs/parameters.md";
}

TEST_F(ListCommandsTest, ParametersAreFoundByPartsOfTheirNames) {
    EXPECT_EQ(LineCount(Tell("params")), 2359 + 1);
    EXPECT_EQ(LineCount(Tell("params osc1waveform")), 1 + 1);
    const std::string cutoffs = Tell("params 'modulator*CUTOFF'");
    EXPECT_EQ(LineCount(cutoffs), 5 + 1) << cutoffs;
    EXPECT_TRUE(std::regex_search(
        cutoffs,
        std::regex(R"(ParamEq_Cutoff3 +curve +control +[0-9]+ Hz \.\. [0-9]+ Hz \.\. [0-9]+ Hz +Hz)")))
        << cutoffs;
    ExpectFailure("params nosuchname", 2, "no parameter has 'nosuchname'");
}

TEST_F(ListCommandsTest, PresetsAreListedAndShown) {
    EXPECT_TRUE(std::regex_search(Tell("presets"), std::regex("\ndefault +[A-Z]")));
    WriteText(folder / "mine.json", R"({"format": "orphia-preset", "version": 1, "name": "Mine",
        "description": "For a test.", "parameters": {"MasterVolume": "-3 dB"}, "samples": {"2": "a.wav"}})");
    const std::string shown = Tell("presets mine.json");
    EXPECT_TRUE(shown.starts_with("Mine\nFor a test.\n")) << shown;
    EXPECT_NE(shown.find("MasterVolume  -3 dB"), std::string::npos) << shown;
    EXPECT_TRUE(std::regex_search(shown, std::regex("sample 2 .*/a\\.wav"))) << shown;
    ExpectFailure("presets no-such", 2, "unknown preset 'no-such'");
    ExpectFailure("presets missing.json", 1, "missing.json");
}

TEST_F(ListCommandsTest, InfoMeasuresTheEngine) {
    const std::string told = Tell("info --rate 96000");
    EXPECT_NE(told.find("block       96 frames, 1.000 ms\nlatency     96 frames"), std::string::npos) << told;
    EXPECT_NE(told.find("interface 8\n"), std::string::npos) << told;
    EXPECT_NE(told.find("parameters  2359\n"), std::string::npos) << told;
    std::smatch found;
    ASSERT_TRUE(std::regex_search(told, found, std::regex("memory      ([0-9.]+) MiB"))) << told;
    EXPECT_GT(std::stod(found[1]), 0.1);
    EXPECT_TRUE(std::regex_search(told, std::regex("creation    [0-9.]+ ms"))) << told;
    ExpectFailure("info --engine missing.so", 1, "there is no such file");
    ExpectFailure("info --rate 7999", 2, "--rate");
}

} // namespace

} // namespace orphia::test
