// SPDX-License-Identifier: GPL-3.0-or-later
// How the commands sound that render: render, play, vocode and sample.
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
        WriteText(folder / "song.mid", Text(OneNote(800)));
        WriteText(folder / "short.mid", Text(OneNote(200)));
    }

    static Bytes OneNote(std::uint32_t length) {
        return Song(0, 500, {"on57 +" + std::to_string(length) + " off57 end"});
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

TEST_F(RenderCommandsTest, ALoopBeginsAnew) {
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
    WriteText(folder / "song.mid",
              Text(Song(0, 500, {"tempo50000 on57 +2000 tempo1000000 +1000 off57 end"})));
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
    WriteText(folder / "keys.mid", Text(Song(0, 500, {"on36 +300 off36 +300 on38 +300 off38 end"})));
    const Sound keys = Render("render --midi keys.mid --monitor modulator --slots low.wav,,high.wav");
    EXPECT_NEAR(CentsOff(keys, 0.05, 0.3, 300.0), 0.0, 5.0);
    EXPECT_NEAR(CentsOff(keys, 0.65, 0.9, 700.0), 0.0, 5.0);
    WriteSound(folder / "hum.wav", Sine(220.0, 1.0));
    const std::string run = "render --voice hum.wav --tail 0 --monitor carrier --set EnsembleAmount=0 "
                            "--set Osc1Waveform=triangle --set 'Osc2Volume=-70 dB' ";
    EXPECT_NEAR(CentsOff(Render(run + "--set Carrier_PitchTrack=on"), 0.5, 0.95, 220.0), 0.0, 20.0);
    EXPECT_EQ(Render(run, "warning: without --midi no note is played").Rms(), 0.0);
    WriteText(folder / "empty.mid", Text(Song(0, 480, {"+480 end"})));
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
    const std::string loud = runs[0] + " --set CarrierLevel=0 --set ProgramLevel=0 --set MasterVolume=0";
    EXPECT_GT(Render(loud + " --no-limiter").Peak(), 1.1);
    EXPECT_LE(Render(loud).Peak(), 0.8913);
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

TEST_F(RenderCommandsTest, ASampleHasLengthAndPitchAfterStretchTranspositionAndRate) {
    WriteSound(folder / "tone.wav", Sine(440.0, 0.5));
    const std::tuple<const char*, double, double> cases[] = {
        {"", 0.5, 440.0},
        {"--stretch 2", 1.0, 440.0},
        {"--stretch 0.5", 0.25, 440.0},
        {"--transpose 12", 0.25, 880.0},
        {"--transpose -7.5", 0.5 * std::exp2(7.5 / 12.0), 440.0 * std::exp2(-7.5 / 12.0)},
        {"--transpose 12 --stretch 2", 0.5, 880.0},
        {"--rate 48000", 0.5, 440.0},
        {"--trim 0.1:80%", 0.3, 440.0},
        {"--trim :100ms --repeat", 0.2, 440.0},
        {"--loop --set 'Release=2 ms'", 1.0, 440.0},
        {"--loop --loop-range 0.1:0.3 --crossfade 20ms --seconds 0.9 --set 'Release=2 ms'", 0.902, 440.0},
        {"--seconds 0.2 --set 'Release=2 ms'", 0.202, 440.0}};
    for (const auto& [arguments, seconds, hertz] : cases) {
        SCOPED_TRACE(arguments);
        const Sound sound = Render(std::string("sample tone.wav ") + arguments);
        // When the last of it is heard; a stretched one fades at its end, then the monitor's preamp rests.
        const auto last = std::find_if(sound.samples.rbegin(), sound.samples.rend(),
                                       [&](float sample) { return std::abs(sample) > 0.1F * sound.Peak(); });
        const double end = static_cast<double>(sound.samples.rend() - last) / 2.0 / sound.sampleRate;
        EXPECT_TRUE(end > seconds - 0.025 && end < seconds + 0.004) << end;
        EXPECT_NEAR(sound.Seconds(), seconds + 0.098, 0.102);
        const std::vector<float> middle = sound.Left(0.4 * seconds, 0.9 * seconds);
        EXPECT_NEAR(Cents(MeasurePitch(middle, hertz, sound.sampleRate), hertz), 0.0, 2.0);
    }
}

} // namespace

} // namespace orphia::test
