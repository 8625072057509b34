// SPDX-License-Identifier: GPL-3.0-or-later
// A song on the carrier alone, which the monitor lets through.
#include "host/player/MidiPlayer.h"

#include "rigs/InstrumentRig.h"
#include "rigs/MeasurePitch.h"
#include "rigs/MidiSong.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace orphia::host {

namespace {

using test::At;
using test::Bytes;
using test::Sound;
using test::operator+;

constexpr std::uint32_t second = 960; // ticks, at 480 a beat and 120 beats a minute
using test::Settings;
/// One smooth oscillator, at once there and at once gone.
const Settings plain = {"OutputSelection=carrier",
                        "Osc1Waveform=triangle",
                        "Osc2Volume=-70 dB",
                        "EnsembleAmount=0",
                        "Sustain=1",
                        "Attack=2 ms",
                        "Release=10 ms",
                        "Modulations_Dst17_Src4_Amount=0",
                        "Modulations_Dst18_Src4_Amount=0"};

Sound Play(const Bytes& track, double seconds, const Settings& settings = {},
           std::size_t pieceBlocks = 1000) {
    const MidiFile file = MidiFile::Parse(test::Song(0, 480, {track + test::End()}));
    const auto instrument = test::Ready(plain);
    test::Apply(*instrument, settings);
    MidiPlayer player(file, *instrument);
    Sound sound{44100, 2, std::vector<float>(2 * static_cast<std::size_t>(seconds * 44100.0))};
    const std::size_t piece = pieceBlocks * instrument->FramesPerBlock() * 2;
    for (std::size_t at = 0; at < sound.samples.size(); at += piece) {
        player.Process(std::span(sound.samples).subspan(at, std::min(piece, sound.samples.size() - at)));
    }
    EXPECT_TRUE(player.IsDone() || player.SongFrames() > sound.Frames());
    return sound;
}

/// How far from a key, in cents, between two times.
double CentsOff(const Sound& sound, double key, double from, double to) {
    const double hertz = test::NoteHz(key);
    return test::Cents(test::MeasurePitch(sound.Left(from, to), hertz, sound.sampleRate), hertz);
}

Bytes Message(unsigned status, unsigned channel, unsigned data1, unsigned data2) {
    return test::Number((status | channel) << 16U | data1 << 8U | data2, 3);
}
Bytes On(unsigned key, unsigned channel = 0) { return Message(0x90, channel, key, 100); }
Bytes Off(unsigned key, unsigned channel = 0) { return Message(0x80, channel, key, 0); }
Bytes Controller(unsigned number, unsigned value, unsigned channel = 0) {
    return Message(0xB0, channel, number, value);
}
/// An empty text.
Bytes Wait(std::uint32_t ticks) { return At(ticks, {0xFF, 1, 0}); }
/// Fully up.
Bytes Bend(unsigned channel = 0) { return Message(0xE0, channel, 127, 127); }
Bytes Registered(unsigned number, unsigned value, unsigned channel = 0) {
    return At(0, Controller(101, 0, channel)) + At(0, Controller(100, number, channel)) +
           At(0, Controller(6, value, channel));
}

TEST(MidiPlayer, ANoteHasItsPitchAndItsTimeWhateverIsAskedForAtOnce) {
    const Bytes track = At(second / 2, On(69)) + At(second, Off(69)) + At(40, On(60)) + At(101, Bend()) +
                        At(57, Controller(7, 20)) + At(30, Off(60));
    const Sound sound = Play(track, 2.2);
    EXPECT_NEAR(CentsOff(sound, 69, 0.6, 1.4), 0.0, 0.2);
    EXPECT_LT(sound.Rms(0.0, 0.498), 1e-6) << "before its time";
    EXPECT_GT(sound.Rms(0.505, 0.52), 1e-3) << "at its time";
    EXPECT_GT(sound.Rms(1.48, 1.499), 1e-3) << "up to its end";
    EXPECT_LT(sound.Rms(1.53, 1.54), 3e-5) << "after its end";
    for (const std::size_t blocks : {1U, 7U}) {
        EXPECT_EQ(Play(track, 2.2, {}, blocks).samples, sound.samples) << blocks << " blocks";
    }
}

TEST(MidiPlayer, TheSongGoesOnAtAnotherRate) {
    const MidiFile file = MidiFile::Parse(test::Song(
        0, 480,
        {At(0, On(60)) + At(second / 2, Off(60)) + At(0, On(69)) + At(second / 2, Off(69)) + test::End()}));
    const auto instrument = test::Ready(plain);
    MidiPlayer player(file, *instrument);
    std::vector<float> before(std::size_t{44} * 2 * 300);
    player.Process(before);
    instrument->SetSampleRate(96000);
    Sound sound{96000, 2, std::vector<float>(96000 * 2)};
    player.Process(sound.samples);
    const double gone = 44 * 300 / 44100.0;
    EXPECT_NEAR(CentsOff(sound, 69, 0.55 - gone, 0.95 - gone), 0.0, 0.4);
    EXPECT_LT(sound.Rms(0.0, 0.49 - gone), 1e-5) << "what was down is over";
    EXPECT_LT(sound.Rms(1.05 - gone), 1e-5);
    EXPECT_TRUE(player.IsDone());
}

TEST(MidiPlayer, NoEventIsLostWhenABlockOverflows) {
    Bytes crowd;
    for (int i = 0; i < 400; ++i) {
        crowd = crowd + At(0, On(60)) + At(0, Off(60));
    }
    const Sound sound = Play(crowd + At(0, On(69)) + At(second / 2, Off(69)), 0.7);
    EXPECT_NEAR(CentsOff(sound, 69, 0.2, 0.45), 0.0, 0.4) << "the last of 801 events";
    EXPECT_LT(sound.Rms(0.55), 1e-5) << "note 69 ended";
}

TEST(MidiPlayer, ThePedalKeepsItsPlaceAmongTheNotesAndNothingHangs) {
    const Bytes note = At(0, On(60));
    const Bytes down = Controller(64, 64);
    const Bytes up = Controller(64, 63);
    const Bytes pedal = At(0, down);
    const Bytes held = note + At(100, down) + At(100, Off(60));
    const Bytes rest = Wait(960);
    const struct {
        const char* what;
        Bytes track;
        double from, to;
        bool isHeard;
        Settings settings = {};
    } cases[] = {
        {"off, then pedal", note + At(200, Off(60)) + pedal + rest, 0.3, 0.6, false},
        {"held by the pedal", held + At(400, up) + rest, 0.3, 0.6, true},
        {"released by the pedal", held + At(400, up) + rest, 0.7, 0.9, false},
        {"up and down at one time", held + At(200, up) + pedal + rest, 0.5, 0.8, false},
        {"another channel's pedal", held + At(200, Controller(64, 0, 3)) + rest, 0.5, 0.6, true},
        {"the end of the song", note + note + At(0, On(64, 5)) + pedal, 0.3, 0.5, false},
        {"all notes off", note + At(200, Controller(123, 0)) + rest, 0.3, 0.5, false},
        {"all notes off on another channel", note + At(200, Controller(123, 0, 1)) + rest, 0.3, 0.5, true},
        {"all sound off, in spite of the pedal", pedal + note + At(200, Controller(120, 0)) + rest, 0.3, 0.5,
         false},
        {"a number between these two", note + At(200, Controller(122, 0)) + rest, 0.3, 0.5, true},
        {"a reset lifts the pedal", pedal + note + At(50, Off(60)) + At(150, Controller(121, 0)) + rest, 0.3,
         0.5, false},
        {"a pedal in the settings ends with the song",
         note + At(50, Off(60)) + Wait(50),
         0.3,
         0.5,
         false,
         {"VST3_CtrlSustainOnOff=on"}},
    };
    for (const auto& each : cases) {
        const double level = Play(each.track, each.to, each.settings).Rms(each.from, each.to);
        EXPECT_TRUE(each.isHeard ? level > 1e-3 : level < 1e-5) << each.what << ": " << level;
    }
}

TEST(MidiPlayer, TheBendHasTheRangeOfTheFileAndWithMpeOfItsChannel) {
    const Bytes bent = At(0, On(60)) + At(0, Bend());
    const Bytes zone = Registered(6, 15);
    const Bytes member = At(0, Bend(2)) + At(0, On(60, 2));
    const struct {
        const char* what;
        Bytes track;
        double key;
        Settings settings = {};
    } cases[] = {
        {"plain", bent, 62},
        {"fully down", At(0, On(60)) + At(0, Message(0xE0, 0, 0, 0)), 58},
        {"nearly in the middle", At(0, On(60)) + At(0, Message(0xE0, 0, 0, 96)), 61},
        {"set", bent, 67, {"PitchBendRange=7"}},
        {"registered", Registered(0, 12) + bent, 72},
        {"at most two octaves", Registered(0, 30) + bent, 84},
        {"the number was another one's",
         At(0, Controller(101, 0)) + At(0, Controller(100, 0)) + At(0, Controller(99, 1)) +
             At(0, Controller(6, 12)) + bent,
         62},
        {"taken back by a reset", bent + At(0, Controller(121, 0)), 60},
        {"with MPE in the settings channel 1 leads", bent, 62, {"MPE_Enabled=on"}},
        {"a range of the members", zone + Registered(0, 12, 2) + member, 72},
        {"the bend of another channel", zone + At(0, Bend(2)) + At(0, On(60, 1)), 60},
        {"the bend of the zone", zone + At(0, Bend(0)) + At(0, On(60, 1)), 62},
        {"a zone of the last channel", Registered(6, 15, 15) + Registered(0, 12, 2) + member, 72},
        {"outside a zone of three a channel has the plain range",
         Registered(6, 3) + At(0, Bend(9)) + At(0, On(60, 9)), 62},
        {"and the zone is not bent by it", Registered(6, 3) + At(0, Bend(9)) + At(0, On(60, 3)), 60},
        {"the last member of three",
         Registered(6, 3) + Registered(0, 12, 3) + At(0, Bend(3)) + At(0, On(60, 3)), 72},
        {"the last zone takes what both want",
         zone + Registered(6, 14, 15) + At(0, Bend(0)) + At(0, On(60, 5)), 60},
        {"of two zones each has its master",
         Registered(6, 7) + Registered(6, 7, 15) + At(0, Bend(15)) + At(0, On(60, 9)), 62},
        {"no zone any more", zone + Registered(6, 0) + member, 62},
    };
    for (const auto& [what, track, key, settings] : cases) {
        EXPECT_NEAR(CentsOff(Play(track + Wait(480), 0.5, settings), key, 0.3, 0.5), 0.0, 1.0) << what;
    }
}

TEST(MidiPlayer, VolumeAndExpressionAreTheSquareOfTheirValues) {
    const Bytes note = At(0, On(60)) + At(480, Off(60));
    const double full = Play(note, 0.5).Rms(0.1, 0.4);
    const auto ratio = [&](const Bytes& before) { return Play(before + note, 0.5).Rms(0.1, 0.4) / full; };
    const double half = std::pow(64.0 / 127.0, 2);
    EXPECT_NEAR(ratio(At(0, Controller(7, 64))), half, 1e-3);
    EXPECT_NEAR(ratio(At(0, Controller(7, 64)) + At(0, Controller(11, 64))), half * half, 1e-3);
    EXPECT_NEAR(ratio(At(0, Controller(7, 0, 9))), 1.0, 1e-3) << "of a channel without notes";
    // A jump of the volume takes 20 ms, so that it is none in the sound.
    const Sound sound = Play(At(0, On(60)) + At(241, Controller(7, 0)) + At(240, Off(60)), 0.4);
    const double before = sound.Rms(0.2, 0.25);
    EXPECT_NEAR(sound.Rms(0.2585, 0.2635) / before, 0.5, 0.1);
    EXPECT_GT(sound.Rms(0.2665, 0.2695), 0.0);
    EXPECT_EQ(sound.Rms(0.2725, 0.39), 0.0);
}

TEST(MidiPlayer, WheelAndPressureReachTheModulations) {
    const Settings routes = {"Dst17_Src7_Amount=-1", "Dst17_Src6_Amount=-1"};
    const auto level = [&](const Bytes& message) {
        return Play(At(0, On(60)) + message + At(480, Off(60)), 0.5, routes).Rms(0.3, 0.45);
    };
    for (const Bytes& message : {Controller(1, 127), Bytes{0xD0, 127}, Bytes{0xA0, 60, 127}}) {
        EXPECT_LT(level(At(0, message)), level({}) / 100.0) << "status " << int{message[0]};
    }
}

} // namespace

} // namespace orphia::host
