// SPDX-License-Identifier: GPL-3.0-or-later
#include "../host/MidiSong.h"
#include "CommandTest.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace orphia::test {

namespace {

/// The A above middle C from 0.5 s to 1.0 s, 120 beats a minute; then at half the tempo, up to 1.5 s.
Bytes TwoNotes() {
    return At(480, {0x90, 69, 100}) + At(480, {69, 0}) + Tempo(0, 1'000'000) + At(0, {57, 100}) +
           At(240, {57, 0}) + End();
}

class PlayCommandTest : public CommandTest {
protected:
    PlayCommandTest() {
        WriteText(folder / "song.mid", Text(Song(0, 480, {TwoNotes()})));
        WriteText(folder / "short.mid", Text(Song(0, 480, {At(0, {0x90, 69, 100}) + End(96)})));
    }

    Sound Play(const std::string& arguments) const {
        const Outcome outcome = Run("play -o out.wav --bits float " + arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return ReadSound(folder / "out.wav");
    }
};

constexpr const char* plain =
    " --set Osc1Waveform=0 --set 'Osc2Volume=-70 dB' --set EnsembleAmount=0"
    " --set Controls_Enable=off --set LFO_Enable=off --set 'Attack=2 ms' --set 'Release=10 ms'";

/// The level of a frequency between two times, on the left, relative to the whole there; 1 is a pure tone.
double Share(const Sound& sound, double hertz, double from, double to) {
    double re = 0.0;
    double im = 0.0;
    double power = 0.0;
    double count = 0.0;
    const auto end = static_cast<std::size_t>(to * sound.sampleRate);
    for (auto n = static_cast<std::size_t>(from * sound.sampleRate); n < end; ++n) {
        const double phase = 2.0 * std::numbers::pi * hertz * static_cast<double>(n) / sound.sampleRate;
        const double sample = sound.samples[2 * n];
        re += sample * std::cos(phase);
        im += sample * std::sin(phase);
        power += sample * sample;
        count += 1.0;
    }
    return 2.0 * (re * re + im * im) / (power * count);
}

TEST_F(PlayCommandTest, WritesASoundAndASummary) {
    const Outcome outcome = Run("play song.mid -o out.wav");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    for (const char* line : {"output    out.wav\n", "duration  ", "peak      -", " dBFS\n", "loudness  -",
                             "speed     ", " x real time\n"}) {
        EXPECT_NE(outcome.out.find(line), std::string::npos) << line << "\n" << outcome.out;
    }
    EXPECT_EQ(ReadSound(folder / "out.wav").sampleRate, 44100);
    EXPECT_EQ(SortedNames().size(), 3U);
}

TEST_F(PlayCommandTest, NotesHaveTheirPitchAndTheTempoMapTheirTime) {
    const Sound sound = Play("song.mid" + std::string(plain));
    EXPECT_LT(sound.Rms(0.0, 0.498), 1e-6);
    EXPECT_GT(Share(sound, 440.0, 0.55, 0.95), 0.95) << "a triangle is almost its fundamental";
    EXPECT_GT(Share(sound, 220.0, 1.05, 1.45), 0.95);
    EXPECT_GT(sound.Rms(1.49, 1.5), 0.001) << "at the old tempo it would be over";
    EXPECT_LT(sound.Rms(1.52), 1e-5);
    EXPECT_NEAR(sound.Seconds(), 1.6, 0.1) << "up to a tenth of a second of silence";
}

TEST_F(PlayCommandTest, TheTailFadesOrIsAsLongAsAsked) {
    const Sound faded = Play("short.mid --set 'Release=400 ms'");
    EXPECT_LT(faded.Rms(faded.Seconds() - 0.05), 3e-5);
    EXPECT_GT(faded.Rms(0.1, 0.2), 1e-3) << "the note that the song left on";
    EXPECT_NEAR(faded.Seconds(), 0.6, 0.15);
    EXPECT_EQ(Play("short.mid --tail 0.25").Frames(), 4410U + 11025U);
    EXPECT_EQ(Play("short.mid --tail 0 --rate 8000").Frames(), 800U);
    const Outcome endless = Run("play short.mid -o out.wav --rate 8000 --set 'Release=20 s'");
    EXPECT_EQ(endless.status, 0);
    EXPECT_NE(endless.err.find("warning: the sound was cut"), std::string::npos) << endless.err;
    EXPECT_NEAR(ReadSound(folder / "out.wav").Seconds(), 10.1, 0.01);
}

TEST_F(PlayCommandTest, EqualRunsGiveEqualFilesAndASavedPresetTheSameSound) {
    const std::string noise = "--set Osc1Waveform=3 --set 'Release=60 ms' ";
    for (const std::string& run :
         {"-o a.wav --save-preset mine.json " + noise, std::string("-o b.wav --preset mine.json"),
          "-o c.wav --seed 2 " + noise}) {
        ASSERT_EQ(Run("play song.mid --bits float " + run).status, 0) << run;
    }
    EXPECT_EQ(ReadText(folder / "a.wav"), ReadText(folder / "b.wav"));
    EXPECT_NE(ReadText(folder / "a.wav"), ReadText(folder / "c.wav"));
    EXPECT_NE(ReadText(folder / "mine.json").find(R"("Release": "60 ms")"), std::string::npos);
}

TEST_F(PlayCommandTest, ListsWhatCanBeSet) {
    const Outcome controls = Run("play --list-parameters");
    EXPECT_EQ(controls.status, 0);
    EXPECT_NE(controls.out.find("Carrier_Oscillators_Osc1Waveform "), std::string::npos);
    EXPECT_EQ(controls.out.find("Modulations_"), std::string::npos);
    EXPECT_NE(Run("play --list-parameters --all").out.find("Modulations_Dst3_Src2_Amount "),
              std::string::npos);
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
    ExpectFailure("play song.mid", 2, "-o");
    ExpectFailure("play -o out.wav", 2, "MIDIFILE");
    ExpectFailure(run + "more.mid", 2, "more.mid");
    ExpectFailure(run + "--meters", 2, "--meters");
    ExpectFailure(run + "--set Osc1Wavefrom=1", 2, "similar: Osc1Waveform");
    ExpectFailure(run + "--set Osc1Waveform=4", 2, "0 .. 3");
    ExpectFailure(run + "--set OutState=1", 2, "output of the engine");
    ExpectFailure(run + "--rate 7999", 2, "--rate");
    ExpectFailure(run + "--tail 601", 2, "--tail");
    ExpectFailure("play song.mid -o out.mp3", 2, ".flac");
    ExpectFailure("play song.mid -o song.mid", 2, "unknown output format");
    ExpectFailure(run + "--save-preset song.mid", 2, "would replace");
}

TEST_F(PlayCommandTest, FilesThatCannotBeUsedAreStatusOne) {
    WriteText(folder / "text.mid", "no song at all");
    WriteText(folder / "cut.mid", ReadText(folder / "song.mid").substr(0, 30));
    WriteText(folder / "vocoder.json",
              R"({"format": "orphia-preset", "version": 1, "parameters": {"BodeVocoder_Wet": 1}})");
    ExpectFailure("play missing.mid -o out.wav", 1, "missing.mid: cannot be opened");
    ExpectFailure("play text.mid -o out.wav", 1, "text.mid: byte 0: no standard MIDI file");
    ExpectFailure("play cut.mid -o out.wav", 1, "cut.mid: byte 22: ");
    ExpectFailure("play . -o out.wav", 1, "directory");
    ExpectFailure("play song.mid -o nowhere/out.wav", 1, "nowhere/out.wav");
    ExpectFailure("play song.mid -o out.wav --preset vocoder.json", 1, "another instrument");
}

} // namespace

} // namespace orphia::test
