// SPDX-License-Identifier: GPL-3.0-or-later
#include "../host/MidiSong.h"
#include "CommandTest.h"

#include <string>

namespace orphia::test {

namespace {

class PlayCommandTest : public CommandTest {
protected:
    PlayCommandTest() {
        WriteText(folder / "song.mid", Text(Song(0, 480, {At(0, {0x90, 69, 100}) + End(96)})));
    }

    Sound Play(const std::string& arguments) const {
        const Outcome outcome = Run("play -o out.wav --bits float " + arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return ReadSound(folder / "out.wav");
    }
};

TEST_F(PlayCommandTest, WritesASoundAndASummary) {
    const Outcome outcome = Run("play song.mid -o out.wav");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    for (const char* line : {"output    out.wav\n", "duration  ", "peak      -", " dBFS\n", "loudness  -",
                             "speed     ", " x real time\n"}) {
        EXPECT_NE(outcome.out.find(line), std::string::npos) << line << "\n" << outcome.out;
    }
    EXPECT_GT(ReadSound(folder / "out.wav").Rms(0.0, 0.1), 1e-3);
    EXPECT_EQ(folder.Names().size(), 2U);
}

TEST_F(PlayCommandTest, TheTailFadesOrIsAsLongAsAsked) {
    const Sound faded = Play("song.mid --set 'Release=400 ms'");
    EXPECT_LT(faded.Rms(faded.Seconds() - 0.002), 1e-4) << "there is no step at the end";
    EXPECT_GT(faded.Rms(0.1, 0.2), 1e-3) << "the note that the song left on";
    EXPECT_NEAR(faded.Seconds(), 0.6, 0.15);
    EXPECT_EQ(Play("song.mid --tail 0.25").Frames(), 4410U + 11025U);
    EXPECT_EQ(Play("song.mid --tail 0 --rate 8000").Frames(), 800U);
}

TEST_F(PlayCommandTest, EqualRunsGiveEqualFilesAndASavedPresetTheSameSound) {
    const std::string noise = "--set Osc1Waveform=3 --set 'Release=60 ms' ";
    for (const std::string& run :
         {"-o a.wav --save-preset mine.json " + noise, std::string("-o b.wav --preset mine.json"),
          "-o c.wav --seed 2 " + noise}) {
        ASSERT_EQ(Run("play song.mid " + run).status, 0) << run;
    }
    EXPECT_EQ(ReadText(folder / "a.wav"), ReadText(folder / "b.wav"));
    EXPECT_NE(ReadText(folder / "a.wav"), ReadText(folder / "c.wav"));
}

TEST_F(PlayCommandTest, ASongWithoutNotesIsSilentWithAWarning) {
    WriteText(folder / "empty.mid", Text(Song(0, 480, {End(480)})));
    const Outcome outcome = Run("play empty.mid -o out.wav");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "orphia: warning: empty.mid holds no notes\n");
    EXPECT_EQ(ReadSound(folder / "out.wav").Rms(), 0.0);
}

TEST_F(PlayCommandTest, BadUsageIsStatusTwo) {
    const std::string run = "play song.mid -o out.wav ";
    ExpectFailure("play -o out.wav", 2, "MIDIFILE");
    ExpectFailure(run + "more.mid", 2, "more.mid");
    ExpectFailure(run + "--meters", 2, "--meters");
    ExpectFailure(run + "--set Osc1Wavefrom=1", 2, "similar: Osc1Waveform");
    ExpectFailure(run + "--tail 601", 2, "--tail");
    ExpectFailure(run + "--preset no-such", 2, "unknown preset 'no-such'");
    ExpectFailure("play song.mid -o song.mid", 2, "unknown output format");
    ExpectFailure(run + "--save-preset song.mid", 2, "would replace");
}

TEST_F(PlayCommandTest, FilesThatCannotBeUsedAreStatusOne) {
    WriteText(folder / "cut.mid", ReadText(folder / "song.mid").substr(0, 26));
    WriteText(folder / "other.json",
              R"({"format": "orphia-preset", "version": 1, "parameters": {"Piano_Lid": 1}})");
    ExpectFailure("play missing.mid -o out.wav", 1, "missing.mid: cannot be opened");
    ExpectFailure("play cut.mid -o out.wav", 1, "cut.mid: byte 22: ");
    ExpectFailure("play song.mid -o nowhere/out.wav", 1, "nowhere/out.wav");
    ExpectFailure("play song.mid -o out.wav --preset other.json", 1, "another instrument");
}

} // namespace

} // namespace orphia::test
