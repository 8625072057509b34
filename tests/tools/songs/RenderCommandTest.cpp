// SPDX-License-Identifier: GPL-3.0-or-later
#include "rigs/MeasurePitch.h"
#include "rigs/MidiSong.h"
#include "tools/CommandTest.h"

#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace orphia::test {

namespace {

/// A tick of these songs is a millisecond.
class RenderCommandTest : public CommandTest {
protected:
    RenderCommandTest() {
        WriteSound(folder / "voice.wav", Syllables(0.5));
        WriteText(folder / "song.mid", Text(OneNote(57, 800)));
    }

    static Bytes OneNote(std::uint8_t key, std::uint32_t length) {
        return Song(0, 500, {At(0, {0x90, key, 100}) + At(length, {0x80, key, 0}) + End()});
    }

    Sound Render(const std::string& arguments, const std::string& warning = "") const {
        const Outcome outcome = Run("render -o out.wav --bits float " + arguments);
        EXPECT_EQ(outcome.status, 0) << arguments << "\n" << outcome.err;
        EXPECT_EQ(outcome.err.empty(), warning.empty()) << outcome.err;
        EXPECT_NE(outcome.err.find(warning), std::string::npos) << outcome.err;
        return ReadSound(folder / "out.wav");
    }

    static double Pitch(const Sound& sound, double from, double to, double expected) {
        std::vector<float> left;
        for (auto n = static_cast<std::size_t>(from * sound.sampleRate);
             n < static_cast<std::size_t>(to * sound.sampleRate); ++n) {
            left.push_back(sound.samples.at(2 * n));
        }
        return MeasurePitch(left, expected, sound.sampleRate);
    }
};

/// A plain tone of the carrier, at an even level from 50 ms on.
const std::string tone =
    "--midi song.mid --monitor carrier --tail 0 --set Osc1Waveform=triangle --set 'Osc2Volume=-70 dB' "
    "--set EnsembleAmount=0 --set 'Release=2 ms' --set Carrier_Oscillators_ADSR_Sustain=1 --set "
    "MasterVolume=0 ";

TEST_F(RenderCommandTest, TheLongerOneOfVoiceAndSongGivesTheLengthAndATailGoesOn) {
    WriteText(folder / "short.mid", Text(OneNote(57, 200)));
    const std::tuple<const char*, std::size_t> runs[] = {
        {"--midi song.mid --tail 0", 35280},
        {"--midi short.mid --tail 0", 22050},
        {"--midi song.mid --tail 0.25 --loop", 35280 + 11025},
        {"--midi short.mid --tail 0 --loop", 8820},
        {"--midi song.mid --tail 0 --rate 8000", 6400},
        {"--midi song.mid --tail 0 --rate 96000 --loop", 76800}};
    for (const auto& [arguments, frames] : runs) {
        EXPECT_EQ(Render(std::string("--voice voice.wav ") + arguments).Frames(), frames) << arguments;
    }
    const std::string both = "--voice voice.wav --midi song.mid --tail 0 ";
    const double looped = Render(both + "--loop").Rms(0.55, 0.75);
    EXPECT_GT(looped, 0.01) << "the voice begins anew";
    EXPECT_LT(Render(both).Rms(0.6, 0.8), looped / 20.0) << "the voice is over";
    const double untilSilent = Render("--voice voice.wav --midi song.mid --loop").Seconds();
    EXPECT_GT(untilSilent, 0.8);
    EXPECT_LT(untilSilent, 2.0) << "the loop ends with the song";
}

TEST_F(RenderCommandTest, WithoutATailItRendersUntilTheLastEchoIsSilent) {
    WriteText(folder / "short.mid", Text(OneNote(57, 300)));
    const std::string run =
        "--voice voice.wav --midi short.mid --set 'Carrier_Oscillators_ADSR_Release=2 ms' "
        "--set 'Synth_Master_Volume=-6 dB' ";
    const double dry = Render(run).Seconds();
    EXPECT_LT(dry, 1.2);
    const Sound echoed = Render(run + "--set FX1_ModuleType=delay --set 'FX1_Delay_Time=1900 ms' "
                                      "--set FX1_Delay_Feedback=0 --set FX1_Delay_Offset=0");
    EXPECT_NEAR(echoed.Seconds(), dry + 1.9, 0.4);
    EXPECT_LT(echoed.Rms(dry, 1.85), 1e-4) << "the pause before the echo";
    EXPECT_GT(echoed.Rms(1.95, 2.2), 1e-3);
    EXPECT_LT(echoed.Rms(echoed.Seconds() - 0.002), 1e-4);
    const Sound endless = Render(run + "--rate 8000 --set FX1_ModuleType=delay --set 'FX1_Delay_Time=500 ms' "
                                       "--set FX1_Delay_Feedback=1",
                                 "warning: the sound was cut");
    EXPECT_NEAR(endless.Seconds(), 30.5, 0.1);
}

TEST_F(RenderCommandTest, ParametersMoveInTimeByJumpsAndLines) {
    // 60 beats a minute from the second bar on, which begins at 0.2 s.
    WriteText(folder / "song.mid", Text(Song(0, 500,
                                             {Tempo(0, 50'000) + At(0, {0x90, 57, 100}) +
                                              Tempo(2000, 1'000'000) + At(1000, {0x80, 57, 0}) + End()})));
    WriteText(folder / "moves.csv", "time,parameter,value,move\r\n"
                                    "0.5,MasterVolume,-20 dB,jump\r\n"
                                    "\n"
                                    "2:2.1,\"MasterVolume\",0 dB\n"
                                    "2:2.5,Synth_Master_Volume,-6 dB\n"
                                    "1.45,MasterVolume,0 dB\n"
                                    "1.9,MasterVolume,-40 dB,linear");
    const Sound plain = Render(tone);
    const Sound moved = Render(tone + "--automation moves.csv");
    ASSERT_EQ(moved.Frames(), plain.Frames());
    const auto change = [&](double from, double to) {
        return 20.0 * std::log10(moved.Rms(from, to) / plain.Rms(from, to));
    };
    EXPECT_NEAR(change(0.1, 0.495), 0.0, 0.01);
    EXPECT_NEAR(change(0.6, 1.29), -20.0, 0.05);
    EXPECT_NEAR(change(1.4, 1.45), 0.0, 0.05) << "bar 2, beat 2.1 is at 1.3 s";
    // Then down in a line of the knob, whose decibels lie closest at its top.
    double before = 0.0;
    double step = 0.0;
    for (const double time : {1.48, 1.58, 1.68, 1.78, 1.88}) {
        const double level = change(time - 0.01, time + 0.01) + (time > 1.7 ? 6.0 : 0.0);
        EXPECT_LT(level - before, step) << time;
        step = level - before;
        before = level;
    }
    EXPECT_LT(before, -30.0);
    EXPECT_NEAR(change(1.95, 2.1), -46.0, 0.5);
}

TEST_F(RenderCommandTest, FaultyAutomationsAreRefusedWithTheirLine) {
    const std::string head = "time,parameter,value,move\n0,Wet,1\n";
    const std::pair<std::string, std::string> faults[] = {
        {"", "line 1: the first line must be"},
        {"parameter,time,value\n", "line 1: the first line must be"},
        {head + "1,Wet", "line 3: 2 fields"},
        {head + "1,Wet,1,jump,5", "line 3: 5 fields"},
        {head + "\n1,Wett,1", "line 4: unknown parameter 'Wett' (similar: Wet"},
        {head + "1,Wet,2", "line 3: BodeVocoder_Wet: '2' is outside 0 .. 1"},
        {head + "1,Wet,3 dB", "line 3: BodeVocoder_Wet"},
        {head + "1,HissLED,1", "line 3: BodeVocoder_HissLED is an output"},
        {head + "-1,Wet,1", "line 3: time '-1'"},
        {head + "nan,Wet,1", "line 3: time 'nan'"},
        {head + "0:1,Wet,1", "line 3: time '0:1'"},
        {head + "1:5,Wet,1", "line 3: time '1:5'"},
        {head + "1:2:3,Wet,1", "line 3: time '1:2:3'"},
        {head + "2,Wet,1\n1,Wet,0", "line 4: time '1' lies before"},
        {head + "1,Wet,0,slow", "line 3: move 'slow'"},
        {head + "1,Osc1Waveform,2,linear", "line 3: Carrier_Oscillators_Osc1Waveform has steps"},
        {head + "1,\"Wet,0", "line 3: a quote is not closed"},
        {head + "1,\"Wet\"x,0", "line 3: behind a closing quote"}};
    for (const auto& [text, reason] : faults) {
        WriteText(folder / "bad.csv", text);
        ExpectFailure("render --midi song.mid --monitor carrier -o out.wav --automation bad.csv", 1,
                      "bad.csv: " + reason);
    }
}

TEST_F(RenderCommandTest, EqualRunsGiveEqualFilesAndASavedPresetTheSameSound) {
    const std::string run = "render --voice voice.wav --midi song.mid ";
    for (const char* rest : {"-o a.wav --save-preset mine.json --set Shift=0.3 --set FX1_ModuleType=phaser",
                             "-o b.wav --preset mine.json", "-o c.wav --preset mine.json --seed 2"}) {
        const Outcome outcome = Run(run + rest);
        ASSERT_EQ(outcome.status, 0) << rest << outcome.err;
    }
    EXPECT_EQ(ReadText(folder / "a.wav"), ReadText(folder / "b.wav"));
    EXPECT_NE(ReadText(folder / "a.wav"), ReadText(folder / "c.wav"));
}

TEST_F(RenderCommandTest, SlotsArePlayedByTheirKeys) {
    WriteSound(folder / "low.wav", Sine(300.0, 0.5));
    WriteSound(folder / "high.wav", Sine(700.0, 0.5));
    WriteText(folder / "keys.mid", Text(Song(0, 500,
                                             {At(0, {0x90, 36, 100}) + At(300, {0x80, 36, 0}) +
                                              At(300, {0x90, 38, 100}) + At(300, {0x80, 38, 0}) + End()})));
    const Sound sound = Render("--midi keys.mid --monitor modulator --slots low.wav,,high.wav");
    EXPECT_NEAR(Cents(Pitch(sound, 0.05, 0.3, 300.0), 300.0), 0.0, 5.0);
    EXPECT_NEAR(Cents(Pitch(sound, 0.65, 0.9, 700.0), 700.0), 0.0, 5.0);
}

TEST_F(RenderCommandTest, AVoiceAloneIsSungWithItsOwnPitch) {
    WriteSound(folder / "hum.wav", Sine(220.0, 1.0));
    const std::string run = "--voice hum.wav --tail 0 --monitor carrier --set EnsembleAmount=0 "
                            "--set Osc1Waveform=triangle --set 'Osc2Volume=-70 dB' ";
    const Sound sung = Render(run + "--set Carrier_PitchTrack=on");
    EXPECT_NEAR(Cents(Pitch(sung, 0.5, 0.95, 220.0), 220.0), 0.0, 20.0);
    EXPECT_EQ(Render(run, "warning: without --midi no note is played").Rms(), 0.0);
}

TEST_F(RenderCommandTest, BadUsageIsStatusTwoAndBadFilesAreStatusOne) {
    WriteText(folder / "text.wav", "no audio at all, but long enough to look at");
    const std::string run = "render --voice voice.wav --midi song.mid -o out.wav ";
    ExpectFailure("render --voice voice.wav --midi song.mid", 2, "needs -o");
    ExpectFailure("render -o out.wav", 2, "needs --voice, --midi or both");
    ExpectFailure("render --midi song.mid -o out.wav", 2, "give --voice, or --slots");
    ExpectFailure("render --midi song.mid -o out.wav --set ExternalInput=off", 2, "there are none");
    ExpectFailure("render --voice voice.wav --loop -o out.wav", 2, "--loop");
    ExpectFailure(run + "--slots voice.wav", 2, "exclude each other");
    ExpectFailure("render --midi song.mid -o out.wav --slots a,b,c,d,e,f,g --slots h,i,j,k,l,m", 2,
                  "13 files");
    ExpectFailure(run + "--monitor vocoder", 2, "--monitor");
    ExpectFailure(run + "--set Panic=1", 2, "Panic");
    ExpectFailure(run + "--preset clasic", 2, "unknown preset 'clasic'");
    ExpectFailure("render --voice text.wav --midi song.mid -o out.wav", 1, "text.wav");
    ExpectFailure("render --voice voice.wav --midi text.wav -o out.wav", 1, "text.wav");
    ExpectFailure("render --slots text.wav --midi song.mid -o out.wav", 1, "text.wav: ");
    ExpectFailure(run + "--preset missing.json", 1, "missing.json");
    ExpectFailure(run + "--automation missing.csv", 1, "missing.csv: cannot be opened");
    ExpectFailure(run + "--engine text.wav", 1, "text.wav cannot be used as the engine");
}

class PlayCommandTest : public CommandTest {
protected:
    PlayCommandTest() {
        WriteText(folder / "song.mid", Text(Song(0, 480, {At(0, {0x90, 69, 100}) + End(96)})));
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

TEST_F(PlayCommandTest, ASongWithoutNotesIsSilentWithAWarning) {
    WriteText(folder / "empty.mid", Text(Song(0, 480, {End(480)})));
    const Outcome outcome = Run("play empty.mid -o out.wav");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "orphia: warning: empty.mid holds no notes\n");
    EXPECT_EQ(ReadSound(folder / "out.wav").Rms(), 0.0);
}

TEST_F(PlayCommandTest, BadUsageIsStatusTwoAndBadFilesAreStatusOne) {
    const std::string run = "play song.mid -o out.wav ";
    ExpectFailure("play -o out.wav", 2, "MIDIFILE");
    ExpectFailure(run + "more.mid", 2, "more.mid");
    ExpectFailure(run + "--meters", 2, "--meters");
    ExpectFailure("play song.mid -o song.mid", 2, "unknown output format");
    ExpectFailure(run + "--save-preset song.mid", 2, "would replace");
    WriteText(folder / "cut.mid", ReadText(folder / "song.mid").substr(0, 26));
    ExpectFailure("play cut.mid -o out.wav", 1, "cut.mid: byte 22: ");
}

} // namespace

} // namespace orphia::test
