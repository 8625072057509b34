// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/CommandTest.h"

#include <algorithm>
#include <string>
#include <tuple>

namespace orphia::test {

namespace {

class VocodeCommandTest : public CommandTest {
protected:
    VocodeCommandTest() {
        WriteSound(folder / "voice.wav", Syllables(0.5));
        WriteSound(folder / "chord.wav", Chord(0.3));
    }
};

TEST_F(VocodeCommandTest, WritesASoundAndASummaryWithMetersAndAWarningIfItClips) {
    const Outcome outcome = Run("vocode voice.wav chord.wav -o out.wav --meters --set ProgramLevel=0 "
                                "--set CarrierLevel=0");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(outcome.err.starts_with("orphia: warning: ")) << outcome.err;
    EXPECT_NE(outcome.err.find("clipped"), std::string::npos) << outcome.err;
    for (const char* part : {"output    out.wav\n", "duration  0.500 s\n", "peak      ", " dBFS\n",
                             "loudness  ", " LUFS\n", "speed     ", " x real time\n", "HISS"}) {
        EXPECT_NE(outcome.out.find(part), std::string::npos) << part << "\n" << outcome.out;
    }
    EXPECT_NEAR(static_cast<double>(std::count(outcome.out.begin(), outcome.out.end(), '|')), 10.0, 2.0)
        << "five lines of meters\n"
        << outcome.out;
    EXPECT_EQ(ReadSound(folder / "out.wav").Frames(), 22050U);
    EXPECT_EQ(folder.Names().size(), 3U);
}

TEST_F(VocodeCommandTest, ASavedPresetGivesTheSameSoundAgainAndTheSeedMatters) {
    for (const char* run :
         {"-o a.wav --set Shift=0.4 --set 'Release=60 ms' --set HFMode=on --save-preset my.json",
          "-o b.wav --preset my.json", "-o c.wav --preset my.json --seed 2"}) {
        ASSERT_EQ(Run(std::string("vocode voice.wav chord.wav --bits float ") + run).status, 0) << run;
    }
    EXPECT_NE(ReadText(folder / "my.json").find(R"("BodeVocoder_AnalyzerRectifiers_Release": "60 ms")"),
              std::string::npos);
    EXPECT_EQ(ReadText(folder / "a.wav"), ReadText(folder / "b.wav"));
    EXPECT_NE(ReadText(folder / "a.wav"), ReadText(folder / "c.wav"));
}

TEST_F(VocodeCommandTest, TheCarrierEndsOrLoopsAndTheTailGoesOn) {
    for (const char* run : {"-o once.wav --tail 0.25", "-o loop.wav --loop-carrier"}) {
        ASSERT_EQ(Run(std::string("vocode voice.wav chord.wav --set NoiseCarrierBalance=1 ") + run).status,
                  0);
    }
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
    const std::tuple<const char*, const char*, int> runs[] = {
        {"mono.flac fast.wav -o a.flac", "a.flac", 96000},
        {"mono.flac mono.flac -o b.ogg", "b.ogg", 44100},
        {"fast.wav voice.wav -o c.wav --rate 8000 --bits 16", "c.wav", 8000}};
    for (const auto& [arguments, name, rate] : runs) {
        const Outcome outcome = Run(std::string("vocode ") + arguments);
        ASSERT_EQ(outcome.status, 0) << arguments;
        EXPECT_EQ(outcome.err, "") << "nothing to warn of";
        const Sound sound = ReadSound(folder / name);
        EXPECT_EQ(sound.sampleRate, rate) << name;
        EXPECT_EQ(sound.Seconds(), 0.5) << name;
    }
}

TEST_F(VocodeCommandTest, ListsWhatCanBeSet) {
    const Outcome controls = Run("vocode --list-parameters");
    EXPECT_EQ(controls.status, 0);
    EXPECT_NE(controls.out.find("BodeVocoder_AnalyzerRectifiers_Attack "), std::string::npos);
    EXPECT_EQ(controls.out.find("Biquad"), std::string::npos);
    const std::string all = Run("vocode --list-parameters --all").out;
    EXPECT_NE(all.find("BodeVocoder_PatchBay_Analysis3_Synthesis7 "), std::string::npos);
    EXPECT_NE(Run("play --list-parameters").out.find("Carrier_Oscillators_Osc1Waveform "), std::string::npos);
    EXPECT_TRUE(Run("--version").out.starts_with("orphia "));
    EXPECT_EQ(Run("--help").status, 0);
}

TEST_F(VocodeCommandTest, BadUsageIsStatusTwo) {
    const std::string run = "vocode voice.wav chord.wav -o out.wav ";
    std::filesystem::create_symlink("voice.wav", folder / "link.wav");
    ExpectFailure("", 2, "subcommand");
    ExpectFailure("vocoder", 2, "unknown command 'vocoder'");
    ExpectFailure("vocode voice.wav chord.wav", 2, "-o");
    ExpectFailure(run + "--set Atack=1", 2, "similar: Attack");
    ExpectFailure(run + "--rate 7999", 2, "--rate");
    ExpectFailure(run + "--tail -1", 2, "--tail");
    ExpectFailure(run + "--seed -1", 2, "--seed");
    ExpectFailure(run + "--bits 12", 2, "--bits");
    ExpectFailure(run + "--all", 2, "--list-parameters");
    ExpectFailure("vocode voice.wav chord.wav -o out.mp3", 2, ".flac");
    ExpectFailure("vocode voice.wav chord.wav -o out.flac --bits float", 2, "out.flac");
    ExpectFailure("vocode voice.wav chord.wav -o out.ogg --bits 16", 2, "out.ogg");
    ExpectFailure("vocode voice.wav chord.wav -o out.ogg --rate 384000", 1, "out.ogg");
    ExpectFailure("vocode voice.wav chord.wav -o ./chord.wav", 2, "both input and output");
    ExpectFailure("vocode link.wav chord.wav -o voice.wav", 2, "both input and output");
    ExpectFailure(run + "--save-preset voice.wav", 2, "would replace");
}

TEST_F(VocodeCommandTest, FilesThatCannotBeUsedAreStatusOne) {
    WriteText(folder / "text.wav", "no audio at all, but long enough to look at");
    WriteText(folder / "kept.wav", "kept");
    WriteText(folder / "broken.json", "{\n\"format\": ");
    std::filesystem::create_directory(folder / "folder.wav");
    const std::string run = "vocode voice.wav chord.wav -o out.wav ";
    ExpectFailure("vocode voice.wav chord.wav -o folder.wav", 1, "directory");
    ExpectFailure("vocode voice.wav chord.wav -o nowhere/out.wav", 1, "nowhere/out.wav");
    ExpectFailure(run + "--preset broken.json", 1, "broken.json: line 2: ");
    ExpectFailure("vocode voice.wav text.wav -o kept.wav", 1, "text.wav");
    EXPECT_EQ(ReadText(folder / "kept.wav"), "kept");
    // This one breaks off on the way.
    WriteSound(folder / "cut.flac", Chord(3.0), SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    std::filesystem::resize_file(folder / "cut.flac",
                                 std::filesystem::file_size(folder / "cut.flac") * 3 / 4);
    ExpectFailure("vocode cut.flac chord.wav -o out.wav --save-preset new.json", 1, "cut.flac: is damaged");
}

} // namespace

} // namespace orphia::test
