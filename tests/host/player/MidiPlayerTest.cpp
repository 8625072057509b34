// SPDX-License-Identifier: GPL-3.0-or-later
// A song on the carrier alone, which the monitor lets through: songs.txt has a line for each.
#include "host/player/MidiPlayer.h"

#include "rigs/InstrumentRig.h"
#include "rigs/MidiSong.h"
#include "rigs/SoundChecks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace orphia::host {

namespace {

using test::Sound;

/// One smooth oscillator, at once there and at once gone.
const test::Settings plain = {"OutputSelection=carrier",
                              "Osc1Waveform=triangle",
                              "Osc2Volume=-70 dB",
                              "EnsembleAmount=0",
                              "Sustain=1",
                              "Attack=2 ms",
                              "Release=10 ms",
                              "Modulations_Dst17_Src4_Amount=0",
                              "Modulations_Dst18_Src4_Amount=0"};

MidiFile Song(const std::string& track) { return MidiFile::Parse(test::Song(0, 480, {track + " end"})); }

Sound Play(const std::string& track, double seconds, const test::Settings& settings = {},
           std::size_t pieceBlocks = 1000) {
    const MidiFile file = Song(track);
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

TEST(MidiPlayer, SongsSoundAsTheyAreWritten) {
    const auto rows = test::Table("host/player/songs.txt");
    EXPECT_EQ(rows.size(), 41U);
    for (const auto& row : rows) {
        SCOPED_TRACE(row[0]);
        test::Settings settings;
        std::transform(row.begin() + 3, row.end(), std::back_inserter(settings),
                       [](const std::string& setting) { return setting.c_str(); });
        ExpectSound(Play(row[1], std::max(0.6, Song(row[1]).Seconds() + 0.05), settings), row[2]);
    }
}

TEST(MidiPlayer, NoEventIsLostWhenABlockOverflowsWhateverIsAskedForAtOnce) {
    std::string track;
    for (int i = 0; i < 400; ++i) {
        track += "on60 off60 ";
    }
    track += "on69 +480 off69 +40 on60 +101 bend16383 +57 cc7=20 +30 off60";
    const Sound sound = Play(track, 0.8);
    ExpectSound(sound, "key 0.2 0.45 69 -0.4~0.4 level 0.53 0.54 -200~-90 level 0.76 0.8 -200~-90");
    for (const std::size_t blocks : {1U, 7U}) {
        EXPECT_EQ(Play(track, 0.8, {}, blocks).samples, sound.samples) << blocks << " blocks";
    }
}

TEST(MidiPlayer, TheSongGoesOnAtAnotherRate) {
    const MidiFile file = Song("on60 +480 off60 on69 +480 off69");
    const auto instrument = test::Ready(plain);
    MidiPlayer player(file, *instrument);
    std::vector<float> before(std::size_t{44} * 2 * 300); // 0.2993 s
    player.Process(before);
    instrument->SetSampleRate(96000);
    Sound sound{96000, 2, std::vector<float>(96000 * 2)};
    player.Process(sound.samples);
    ExpectSound(sound, "level 0 0.19 -200~-100 key 0.25 0.65 69 -0.4~0.4 level 0.75 1 -200~-100");
    EXPECT_TRUE(player.IsDone());
}

} // namespace

} // namespace orphia::host
