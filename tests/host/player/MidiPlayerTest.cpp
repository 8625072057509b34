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

using test::Sound;

/// In tracks +960 is a second.
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

Sound Play(const std::string& track, double seconds, const Settings& settings = {},
           std::size_t pieceBlocks = 1000) {
    const MidiFile file = MidiFile::Parse(test::Song(0, 480, {track + " end"}));
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

TEST(MidiPlayer, ANoteHasItsPitchAndItsTimeWhateverIsAskedForAtOnce) {
    const char* const track = "+480 on69 +960 off69 +40 on60 +101 bend16383 +57 cc7=20 +30 off60";
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
    const MidiFile file = MidiFile::Parse(test::Song(0, 480, {"on60 +480 off60 on69 +480 off69 end"}));
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
    std::string crowd;
    for (int i = 0; i < 400; ++i) {
        crowd += "on60 off60 ";
    }
    const Sound sound = Play(crowd + "on69 +480 off69", 0.7);
    EXPECT_NEAR(CentsOff(sound, 69, 0.2, 0.45), 0.0, 0.4) << "the last of 801 events";
    EXPECT_LT(sound.Rms(0.55), 1e-5) << "note 69 ended";
}

TEST(MidiPlayer, ThePedalKeepsItsPlaceAmongTheNotesAndNothingHangs) {
    const auto rows = test::Table("host/player/pedals.txt");
    EXPECT_EQ(rows.size(), 12U);
    for (const auto& row : rows) {
        const Settings settings = row.size() > 5 ? Settings{row[5].c_str()} : Settings{};
        const double level =
            Play(row[1], std::stod(row[4]), settings).Rms(std::stod(row[3]), std::stod(row[4]));
        EXPECT_TRUE(row[2] == "heard" ? level > 1e-3 : level < 1e-5) << row[0] << ": " << level;
    }
}

TEST(MidiPlayer, TheBendHasTheRangeOfTheFileAndWithMpeOfItsChannel) {
    const auto rows = test::Table("host/player/bends.txt");
    EXPECT_EQ(rows.size(), 19U);
    for (const auto& row : rows) {
        const Settings settings = row.size() > 3 ? Settings{row[3].c_str()} : Settings{};
        EXPECT_NEAR(CentsOff(Play(row[1] + " +480 cc9", 0.5, settings), std::stod(row[2]), 0.3, 0.5), 0.0,
                    1.0)
            << row[0];
    }
}

TEST(MidiPlayer, VolumeAndExpressionAreTheSquareOfTheirValues) {
    const std::string note = " on60 +480 off60";
    const double full = Play(note, 0.5).Rms(0.1, 0.4);
    const auto ratio = [&](const std::string& before) {
        return Play(before + note, 0.5).Rms(0.1, 0.4) / full;
    };
    const double half = std::pow(64.0 / 127.0, 2);
    EXPECT_NEAR(ratio("cc7=64"), half, 1e-3);
    EXPECT_NEAR(ratio("cc7=64 cc11=64"), half * half, 1e-3);
    EXPECT_NEAR(ratio("cc7=0@9"), 1.0, 1e-3) << "of a channel without notes";
    // A jump of the volume takes 20 ms, so that it is none in the sound.
    const Sound sound = Play("on60 +241 cc7=0 +240 off60", 0.4);
    const double before = sound.Rms(0.2, 0.25);
    EXPECT_NEAR(sound.Rms(0.2585, 0.2635) / before, 0.5, 0.1);
    EXPECT_GT(sound.Rms(0.2665, 0.2695), 0.0);
    EXPECT_EQ(sound.Rms(0.2725, 0.39), 0.0);
}

TEST(MidiPlayer, WheelAndPressureReachTheModulations) {
    const Settings routes = {"Dst17_Src7_Amount=-1", "Dst17_Src6_Amount=-1"};
    const auto level = [&](const std::string& message) {
        return Play("on60 " + message + " +480 off60", 0.5, routes).Rms(0.3, 0.45);
    };
    for (const char* message : {"cc1=127", "D07F", "A03C7F"}) {
        EXPECT_LT(level(message), level("") / 100.0) << message;
    }
}

} // namespace

} // namespace orphia::host
