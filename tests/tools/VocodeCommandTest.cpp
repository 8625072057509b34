// SPDX-License-Identifier: GPL-3.0-or-later
#include "CommandTest.h"

#include <algorithm>
#include <sstream>
#include <string>

namespace orphia::test {

namespace {

class VocodeCommandTest : public CommandTest {
protected:
    VocodeCommandTest() {
        WriteSound(folder / "voice.wav", Syllables(0.5));
        WriteSound(folder / "chord.wav", Chord(0.3));
    }
};

TEST_F(VocodeCommandTest, WritesASoundAndASummary) {
    const Outcome outcome = Run("vocode voice.wav chord.wav -o out.wav");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    for (const char* line : {"output    out.wav\n", "duration  0.500 s\n", "peak      -", " dBFS\n",
                             "loudness  -", " LUFS\n", "speed     ", " x real time\n"}) {
        EXPECT_NE(outcome.out.find(line), std::string::npos) << line << "\n" << outcome.out;
    }
    const Sound sound = ReadSound(folder / "out.wav");
    EXPECT_EQ(sound.Frames(), 22050U);
    EXPECT_EQ(sound.sampleRate, 44100);
    EXPECT_GT(sound.Rms(), 0.01);
    EXPECT_EQ(folder.Names().size(), 3U);
}

TEST_F(VocodeCommandTest, EqualRunsGiveEqualFilesAndTheSeedMatters) {
    for (const char* run : {"-o a.wav", "-o b.wav", "-o c.wav --seed 2"}) {
        ASSERT_EQ(Run(std::string("vocode voice.wav chord.wav --bits float ") + run).status, 0);
    }
    EXPECT_EQ(ReadText(folder / "a.wav"), ReadText(folder / "b.wav"));
    EXPECT_NE(ReadText(folder / "a.wav"), ReadText(folder / "c.wav"));
}

TEST_F(VocodeCommandTest, ASavedPresetGivesTheSameSoundAgain) {
    ASSERT_EQ(Run("vocode voice.wav chord.wav -o a.wav --set Shift=0.4 --set 'Release=60 ms' --set HFMode=on "
                  "--save-preset mine.json")
                  .status,
              0);
    EXPECT_NE(ReadText(folder / "mine.json").find(R"("BodeVocoder_AnalyzerRectifiers_Release": "60 ms")"),
              std::string::npos);
    ASSERT_EQ(Run("vocode voice.wav chord.wav -o b.wav --preset mine.json").status, 0);
    ASSERT_EQ(Run("vocode voice.wav chord.wav -o c.wav").status, 0);
    EXPECT_EQ(ReadText(folder / "a.wav"), ReadText(folder / "b.wav"));
    EXPECT_NE(ReadText(folder / "a.wav"), ReadText(folder / "c.wav"));
}

TEST_F(VocodeCommandTest, TheCarrierEndsOrLoopsAndTheTailGoesOn) {
    ASSERT_EQ(Run("vocode voice.wav chord.wav -o once.wav --tail 0.25 --set NoiseCarrierBalance=1").status,
              0);
    ASSERT_EQ(Run("vocode voice.wav chord.wav -o loop.wav --loop-carrier --set NoiseCarrierBalance=1").status,
              0);
    EXPECT_EQ(ReadSound(folder / "once.wav").Frames(), 33075U);
    EXPECT_EQ(ReadSound(folder / "loop.wav").Frames(), 22050U);
    // From 0.35 s on the carrier is over, and the second syllable goes on to 0.48 s.
    const double looped = ReadSound(folder / "loop.wav").Rms(0.35, 0.47);
    EXPECT_GT(looped, 0.01);
    EXPECT_LT(ReadSound(folder / "once.wav").Rms(0.35, 0.47), looped / 10.0);
}

TEST_F(VocodeCommandTest, FilesOfOtherRatesAndFormatsAreTaken) {
    WriteSound(folder / "mono.flac", Sine(500.0, 0.5, 22050, 1), SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    WriteSound(folder / "fast.wav", Chord(0.5, 96000));
    ASSERT_EQ(Run("vocode mono.flac fast.wav -o a.flac").status, 0);
    EXPECT_EQ(ReadSound(folder / "a.flac").sampleRate, 96000);
    EXPECT_EQ(ReadSound(folder / "a.flac").Frames(), 48000U);
    ASSERT_EQ(Run("vocode mono.flac mono.flac -o b.ogg").status, 0);
    EXPECT_EQ(ReadSound(folder / "b.ogg").sampleRate, 44100);
    ASSERT_EQ(Run("vocode fast.wav voice.wav -o c.wav --rate 8000 --bits 16").status, 0);
    EXPECT_EQ(ReadSound(folder / "c.wav").sampleRate, 8000);
    EXPECT_EQ(ReadSound(folder / "c.wav").Frames(), 4000U);
}

TEST_F(VocodeCommandTest, MetersAreALinePerTenthOfASecond) {
    const Outcome outcome = Run("vocode voice.wav chord.wav -o out.wav --meters");
    ASSERT_EQ(outcome.status, 0);
    int lines = 0;
    bool showsHiss = false;
    std::istringstream text(outcome.out);
    for (std::string line; std::getline(text, line);) {
        lines += line.find(" s |") != std::string::npos ? 1 : 0;
        showsHiss = showsHiss || line.find("HISS") != std::string::npos;
    }
    EXPECT_NEAR(lines, 5, 1) << outcome.out;
    EXPECT_TRUE(showsHiss) << outcome.out;
}

TEST_F(VocodeCommandTest, ListsWhatCanBeSet) {
    const Outcome controls = Run("vocode --list-parameters");
    EXPECT_EQ(controls.status, 0);
    EXPECT_NE(controls.out.find("BodeVocoder_AnalyzerRectifiers_Attack "), std::string::npos);
    EXPECT_EQ(controls.out.find("Biquad"), std::string::npos);
    const Outcome all = Run("vocode --list-parameters --all");
    EXPECT_EQ(all.status, 0);
    EXPECT_EQ(std::count(all.out.begin(), all.out.end(), '\n'), 615);
    EXPECT_TRUE(Run("--version").out.starts_with("orphia "));
    EXPECT_EQ(Run("--help").status, 0);
}

TEST_F(VocodeCommandTest, LoudResultsAreClippedWithAWarning) {
    const Outcome outcome =
        Run("vocode voice.wav chord.wav -o a.wav --set ProgramLevel=0 --set CarrierLevel=0");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(outcome.err.starts_with("orphia: warning: ")) << outcome.err;
    EXPECT_NE(outcome.err.find("clipped"), std::string::npos) << outcome.err;
}

TEST_F(VocodeCommandTest, BadUsageIsStatusTwo) {
    const std::string run = "vocode voice.wav chord.wav -o out.wav ";
    std::filesystem::create_symlink("voice.wav", folder / "link.wav");
    ExpectFailure("", 2, "subcommand");
    ExpectFailure("vocoder", 2, "unknown command 'vocoder'");
    ExpectFailure("vocode voice.wav chord.wav", 2, "-o");
    ExpectFailure("vocode voice.wav -o out.wav", 2, "CARRIER");
    ExpectFailure(run + "more.wav", 2, "more.wav");
    ExpectFailure(run + "--foo", 2, "--foo");
    ExpectFailure(run + "--set", 2, "--set");
    ExpectFailure(run + "--set Atack=1", 2, "similar: Attack");
    ExpectFailure(run + "--set \"At\ntack=1\"", 2, "unknown parameter");
    ExpectFailure(run + "--set Attack=2", 2, "1 ms .. 1 s");
    ExpectFailure(run + "--set FcHP=2000", 2, "ambiguous");
    ExpectFailure(run + "--set BuzzLED=1", 2, "output of the engine");
    ExpectFailure(run + "--rate 7999", 2, "--rate");
    ExpectFailure(run + "--rate much", 2, "--rate");
    ExpectFailure(run + "--tail -1", 2, "--tail");
    ExpectFailure(run + "--seed -1", 2, "--seed");
    ExpectFailure(run + "--bits 12", 2, "--bits");
    ExpectFailure(run + "--all", 2, "--list-parameters");
    ExpectFailure("vocode voice.wav chord.wav -o out.mp3", 2, ".flac");
    ExpectFailure("vocode voice.wav chord.wav -o voice.wav", 2, "both input and output");
    ExpectFailure("vocode voice.wav chord.wav -o ./chord.wav", 2, "both input and output");
    ExpectFailure("vocode link.wav chord.wav -o voice.wav", 2, "both input and output");
    ExpectFailure(run + "--save-preset voice.wav", 2, "would replace");
}

TEST_F(VocodeCommandTest, FilesThatCannotBeUsedAreStatusOne) {
    WriteText(folder / "empty.wav", "");
    WriteText(folder / "text.wav", "no audio at all, but long enough to look at");
    WriteText(folder / "kept.wav", "kept");
    WriteText(folder / "broken.json", "{\n\"format\": ");
    std::filesystem::create_directory(folder / "folder.wav");
    const std::string run = "vocode voice.wav chord.wav -o out.wav ";
    ExpectFailure("vocode missing.wav chord.wav -o out.wav", 1, "missing.wav");
    ExpectFailure("vocode voice.wav empty.wav -o out.wav", 1, "empty.wav: is empty");
    ExpectFailure("vocode text.wav chord.wav -o out.wav", 1, "text.wav");
    ExpectFailure("vocode folder.wav chord.wav -o out.wav", 1, "directory");
    ExpectFailure("vocode voice.wav chord.wav -o folder.wav", 1, "directory");
    ExpectFailure("vocode voice.wav chord.wav -o nowhere/out.wav", 1, "nowhere/out.wav");
    ExpectFailure(run + "--preset missing.json", 1, "missing.json");
    ExpectFailure(run + "--preset broken.json", 1, "broken.json: line 2: ");
    ExpectFailure(run + "--save-preset nowhere/a.json", 1, "nowhere/a.json");
    ExpectFailure("vocode voice.wav text.wav -o kept.wav", 1, "text.wav");
    EXPECT_EQ(ReadText(folder / "kept.wav"), "kept");
}

TEST_F(VocodeCommandTest, ARunThatBreaksOffLeavesNothing) {
    WriteSound(folder / "cut.flac", Chord(3.0), SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    std::filesystem::resize_file(folder / "cut.flac",
                                 std::filesystem::file_size(folder / "cut.flac") * 3 / 4);
    ExpectFailure("vocode cut.flac chord.wav -o out.wav --save-preset new.json", 1, "cut.flac: is damaged");
}

} // namespace

} // namespace orphia::test
