// SPDX-License-Identifier: GPL-3.0-or-later
// The commands that play songs: render, play and vocode.
#include "rigs/MeasurePitch.h"
#include "rigs/MidiSong.h"
#include "tools/CommandTest.h"

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

namespace orphia::test {

namespace {

/// A tick of these songs is a millisecond.
class RenderCommandsTest : public CommandTest {
protected:
    RenderCommandsTest() {
        WriteSound(folder / "voice.wav", Syllables(0.5));
        WriteSound(folder / "chord.wav", Chord(0.3));
        WriteSound(folder / "mono.flac", Sine(500.0, 0.5, 22050, 1), SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
        WriteSound(folder / "fast.wav", Chord(0.5, 96000));
        WriteText(folder / "song.mid", Text(OneNote(800)));
        WriteText(folder / "short.mid", Text(OneNote(200)));
    }

    static Bytes OneNote(std::uint32_t length) {
        return Song(0, 500, {At(0, {0x90, 57, 100}) + At(length, {0x80, 57, 0}) + End()});
    }

    static double CentsOff(const Sound& sound, double from, double to, double expected) {
        return Cents(MeasurePitch(sound.Left(from, to), expected, sound.sampleRate), expected);
    }
};

/// A plain tone of the carrier, at an even level from 50 ms on.
const std::string tone =
    "render --midi song.mid --monitor carrier --tail 0 --set Osc1Waveform=triangle --set 'Osc2Volume=-70 dB' "
    "--set EnsembleAmount=0 --set 'Release=2 ms' --set Carrier_Oscillators_ADSR_Sustain=1 --set "
    "MasterVolume=0 ";

TEST_F(RenderCommandsTest, SoundsGiveLengthAndRateAndATailGoesOn) {
    const std::tuple<const char*, const char*, int, std::size_t> runs[] = {
        {"render --voice voice.wav --midi song.mid --tail 0", "a.wav", 44100, 35280},
        {"render --voice voice.wav --midi short.mid --tail 0", "a.wav", 44100, 22050},
        {"render --voice voice.wav --midi song.mid --tail 0.25 --loop", "a.wav", 44100, 35280 + 11025},
        {"render --voice voice.wav --midi short.mid --tail 0 --loop", "a.wav", 44100, 8820},
        {"render --voice voice.wav --midi song.mid --tail 0 --rate 8000", "a.wav", 8000, 6400},
        {"render --voice fast.wav --midi song.mid --tail 0", "a.wav", 96000, 76800},
        {"vocode voice.wav chord.wav --tail 0.25", "a.wav", 44100, 33075},
        {"vocode voice.wav chord.wav --loop-carrier", "a.wav", 44100, 22050},
        {"vocode mono.flac fast.wav", "a.flac", 96000, 48000},
        {"vocode mono.flac mono.flac", "a.ogg", 44100, 22050},
        {"vocode fast.wav voice.wav --rate 8000 --bits 16", "a.wav", 8000, 4000}};
    for (const auto& [arguments, name, rate, frames] : runs) {
        Tell(std::string(arguments) + " -o " + name);
        EXPECT_EQ(ReadSound(folder / name).sampleRate, rate) << arguments;
        EXPECT_EQ(ReadSound(folder / name).Frames(), frames) << arguments;
    }
    // The second syllable goes on to 0.48 s; a voice that begins anew has its first one then.
    const std::tuple<const char*, const char*, double, double> loops[] = {
        {"render --voice voice.wav --midi song.mid --tail 0", " --loop", 0.55, 0.75},
        {"vocode voice.wav chord.wav --set NoiseCarrierBalance=1", " --loop-carrier", 0.35, 0.47}};
    for (const auto& [arguments, option, from, to] : loops) {
        const double looped = Render(arguments + std::string(option)).Rms(from, to);
        EXPECT_GT(looped, 0.01) << arguments;
        EXPECT_LT(Render(arguments).Rms(from, to), looped / 10.0) << arguments;
    }
}

TEST_F(RenderCommandsTest, WithoutATailItRendersUntilTheLastEchoIsSilent) {
    const std::string run =
        "render --voice voice.wav --midi short.mid --set Carrier_Oscillators_ADSR_Release='2 ms' "
        "--set 'Synth_Master_Volume=-6 dB' --set FX1_Delay_Offset=0 ";
    const double dry = Render(run).Seconds();
    EXPECT_LT(dry, 1.2);
    const Sound echoed = Render(run + "--set FX1_ModuleType=delay --set 'FX1_Delay_Time=1900 ms' "
                                      "--set FX1_Delay_Feedback=0");
    EXPECT_NEAR(echoed.Seconds(), dry + 1.9, 0.4);
    EXPECT_LT(echoed.Rms(dry, 1.85), 1e-4) << "the pause before the echo";
    EXPECT_GT(echoed.Rms(1.95, 2.2), 1e-3);
    EXPECT_LT(echoed.Rms(echoed.Seconds() - 0.002), 1e-4);
    const Sound endless = Render(run + "--rate 8000 --set FX1_ModuleType=delay --set 'FX1_Delay_Time=500 ms' "
                                       "--set FX1_Delay_Feedback=1",
                                 "warning: the sound was cut");
    EXPECT_NEAR(endless.Seconds(), 30.5, 0.1);
}

TEST_F(RenderCommandsTest, ParametersMoveInTimeByJumpsAndLines) {
    // 60 beats a minute from the second bar on, which begins at 0.2 s.
    WriteText(folder / "song.mid", Text(Song(0, 500,
                                             {Tempo(0, 50'000) + At(0, {0x90, 57, 100}) +
                                              Tempo(2000, 1'000'000) + At(1000, {0x80, 57, 0}) + End()})));
    WriteText(folder / "moves.csv", "time,parameter,value,move\r\n0.5,MasterVolume,-20 dB,jump\r\n\n"
                                    "2:2.1,\"MasterVolume\",0 dB\n2:2.5,Synth_Master_Volume,-6 dB\n"
                                    "1.45,MasterVolume,0 dB\n1.9,MasterVolume,-40 dB,linear");
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

TEST_F(RenderCommandsTest, EqualRunsGiveEqualFilesAndASavedPresetTheSameSound) {
    for (const char* run : {"render --voice voice.wav --midi song.mid ", "vocode voice.wav chord.wav "}) {
        Tell(std::string(run) + "-o a.wav --save-preset my.json --set Shift=0.3");
        Tell(std::string(run) + "-o b.wav --preset my.json");
        Tell(std::string(run) + "-o c.wav --preset my.json --seed 2");
        EXPECT_TRUE(ReadText(folder / "a.wav") == ReadText(folder / "b.wav")) << run;
        EXPECT_TRUE(ReadText(folder / "a.wav") != ReadText(folder / "c.wav")) << run;
    }
}

TEST_F(RenderCommandsTest, KeysPlaySlotsAndAVoiceAloneIsSungWithItsOwnPitch) {
    WriteSound(folder / "low.wav", Sine(300.0, 0.5));
    WriteSound(folder / "high.wav", Sine(700.0, 0.5));
    WriteText(folder / "keys.mid", Text(Song(0, 500,
                                             {At(0, {0x90, 36, 100}) + At(300, {0x80, 36, 0}) +
                                              At(300, {0x90, 38, 100}) + At(300, {0x80, 38, 0}) + End()})));
    const Sound keys = Render("render --midi keys.mid --monitor modulator --slots low.wav,,high.wav");
    EXPECT_NEAR(CentsOff(keys, 0.05, 0.3, 300.0), 0.0, 5.0);
    EXPECT_NEAR(CentsOff(keys, 0.65, 0.9, 700.0), 0.0, 5.0);
    WriteSound(folder / "hum.wav", Sine(220.0, 1.0));
    const std::string run = "render --voice hum.wav --tail 0 --monitor carrier --set EnsembleAmount=0 "
                            "--set Osc1Waveform=triangle --set 'Osc2Volume=-70 dB' ";
    EXPECT_NEAR(CentsOff(Render(run + "--set Carrier_PitchTrack=on"), 0.5, 0.95, 220.0), 0.0, 20.0);
    EXPECT_EQ(Render(run, "warning: without --midi no note is played").Rms(), 0.0);
    WriteText(folder / "empty.mid", Text(Song(0, 480, {End(480)})));
    EXPECT_EQ(Render("play empty.mid", "orphia: warning: empty.mid holds no notes\n").Rms(), 0.0);
}

TEST_F(RenderCommandsTest, ALimiterHoldsPeaksAndChangesNoBitNorAnyTimeBelow) {
    const std::string runs[] = {"render --voice voice.wav --midi song.mid", "vocode voice.wav chord.wav",
                                "play song.mid --tail 0.1", "sample voice.wav --gain -6"};
    for (const std::string& run : runs) {
        const Sound limited = Render(run);
        EXPECT_TRUE(Render(run + " --no-limiter").samples == limited.samples) << run;
        EXPECT_LT(limited.Peak(), 0.88) << run;
    }
    for (const char* run : {"render --voice voice.wav --midi song.mid", "vocode voice.wav chord.wav"}) {
        const std::string loud = run + std::string(" --set CarrierLevel=0 --set ProgramLevel=0");
        EXPECT_GT(Render(loud + " --no-limiter").Peak(), 1.1);
        EXPECT_PRED2(Has, Tell(loud + " -o out.wav --bits float --meters"), "\nlimiter   -");
        EXPECT_LE(ReadSound(folder / "out.wav").Peak(), 0.8913);
    }
}

TEST_F(RenderCommandsTest, TheCarrierAloneHasItsOwnLevelsOverThoseOfThePreset) {
    WriteText(folder / "loud.json", R"({"format": "orphia-preset", "version": 1, "parameters": {
        "BodeVocoder_CarrierPreamp_CarrierLevel": "0 dB", "MasterVolume": "0 dB"}})");
    for (const char* run : {"play song.mid", "render --midi song.mid --monitor carrier"}) {
        const double level = Render(run).Peak();
        EXPECT_LT(level, 0.5) << run;
        EXPECT_EQ(Render(run + std::string(" --preset loud.json")).Peak(), level) << run;
        EXPECT_GT(Render(run + std::string(" --set MasterVolume=-3")).Peak(), 2 * level) << run;
    }
}

TEST_F(RenderCommandsTest, SignalsEndEveryWaitUnlessTheyAreIgnored) {
    const std::string stop = "timeout --preserve-status -k 5 -s ";
    const std::pair<std::string, int> lines[] = {
        {stop + "INT 0.2 $ORPHIA render --voice pipe.wav -o out.wav", 130},
        {stop + "TERM 0.2 $ORPHIA render --midi pipe.wav -o out.wav", 143},
        {"sleep 1 >pipe.wav &\n" + stop + "INT 0.2 $ORPHIA vocode voice.wav pipe.wav -o out.wav", 130},
        {"sleep 1 >pipe.json &\n" + stop + "HUP 0.2 $ORPHIA play song.mid --preset pipe.json -o out.wav",
         129},
        {"trap '' HUP\n$ORPHIA play song.mid --tail 60 -o out.wav &\nsleep 0.1\nkill -HUP $!\nwait $!", 0},
        {"cat voice.wav >pipe.wav &\n$ORPHIA render --voice pipe.wav --midi song.mid -o out.wav", 0}};
    for (const auto& [line, status] : lines) {
        const Outcome outcome = Shell("rm -f pipe.* out.wav\nmkfifo pipe.wav pipe.json\n" + line);
        EXPECT_EQ(outcome.status, status) << line << "\n" << outcome.err;
        EXPECT_EQ(outcome.err, "");
        EXPECT_EQ(std::filesystem::exists(folder / "out.wav"), status == 0) << line;
    }
    EXPECT_GT(ReadSound(folder / "out.wav").Rms(), 0.01) << "a pipe is a voice";
}

TEST_F(RenderCommandsTest, PrintSummaryMetersAndLists) {
    const std::string told = Tell("vocode voice.wav chord.wav -o out.wav --meters --no-limiter "
                                  "--set ProgramLevel=0 --set CarrierLevel=0",
                                  "clipped");
    for (const char* part : {"output    out.wav\n", "duration  0.500 s\n", "peak      ", " dBFS\n",
                             "loudness  ", " LUFS\n", "speed     ", " x real time\n", "HISS"}) {
        EXPECT_PRED2(Has, told, part);
    }
    EXPECT_NEAR(static_cast<double>(std::count(told.begin(), told.end(), '|')), 10.0, 2.0)
        << "five lines of meters";
    const std::string controls = Tell("vocode --list-parameters");
    EXPECT_PRED2(Has, controls, "BodeVocoder_AnalyzerRectifiers_Attack ");
    EXPECT_FALSE(Has(controls, "Biquad"));
    EXPECT_PRED2(Has, Tell("vocode --list-parameters --all"), "BodeVocoder_PatchBay_Analysis3_Synthesis7 ");
    EXPECT_PRED2(Has, Tell("play --list-parameters"), "Carrier_Oscillators_Osc1Waveform ");
    EXPECT_TRUE(Tell("--version").starts_with("orphia "));
    EXPECT_PRED2(Has, Tell("--help"), "vocode");
}

} // namespace

} // namespace orphia::test
