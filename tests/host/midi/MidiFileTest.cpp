// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/midi/MidiFile.h"

#include "rigs/MidiSong.h"
#include "rigs/TestFiles.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace orphia::host {

namespace {

using test::Bytes;
using test::Song;

/// Its events as "seconds status data data;", then its length; or why it is refused.
std::string Told(const Bytes& bytes) {
    std::ostringstream list;
    const std::string refusal = test::Refusal([&] {
        const MidiFile file = MidiFile::Parse(bytes);
        for (const auto& [seconds, m] : file.Events()) {
            list << seconds << ' ' << int{m.status} << ' ' << int{m.data1} << ' ' << int{m.data2} << "; ";
        }
        list << file.Seconds();
    });
    return refusal == "taken" ? list.str() : refusal;
}

TEST(MidiFile, IsReadAsTheStandardSaysOrRefusedWithPlaceAndReason) {
    bool isRefused = false;
    int count = 0;
    for (const auto& row : test::Table("host/midi/songs.txt")) {
        isRefused = isRefused || row[0] == "refused:";
        if (row.size() < 3) {
            continue;
        }
        Bytes bytes;
        if (row[2] == "raw") {
            bytes = test::Hex(row.size() > 3 ? row[3] : "");
        } else {
            std::size_t end = 0;
            const auto format = static_cast<unsigned>(std::stoul(row[2], &end));
            const auto division = static_cast<unsigned>(std::stoul(row[2].substr(end), nullptr, 0));
            bytes = Song(format, division, {row.begin() + 3, row.end()});
        }
        EXPECT_PRED2(test::Has, Told(bytes), row[1]) << row[0];
        EXPECT_TRUE(isRefused || Told(bytes) == row[1]) << row[0];
        ++count;
    }
    EXPECT_EQ(count, 29);
    const Bytes whole = Song(1, 480,
                             {"tempo500000 +7 FF03046E616D65 +900 tempo400000 end",
                              "on60 +16383 3C00 F0030102F7 +3 bend8192 C005 +100 end"});
    ASSERT_FALSE(Told(whole).starts_with("byte "));
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_TRUE(Told(part).starts_with("byte ")) << length << ": " << Told(part);
    }
}

TEST(MidiFile, TempoLeadsFromSecondsToBeatsAndBack) {
    TempoMap tempo;
    tempo.ChangeAtBeat(2.0, 90.0);
    tempo.ChangeAtSecond(1.0, 60.0);
    tempo.ChangeAtSecond(3.0, 240.0);
    for (const double seconds : {-1.0, 0.999, 1.0, 2.5, 3.0, 13.0}) {
        EXPECT_DOUBLE_EQ(tempo.SecondsAt(tempo.BeatAt(seconds)), seconds);
    }
    EXPECT_DOUBLE_EQ(tempo.BeatAt(-1.0), -2.0);
    EXPECT_DOUBLE_EQ(tempo.BeatAt(13.0), 44.0);
    EXPECT_EQ(tempo.TempoAt(2.5), 60.0);
    const Bytes film = Song(0, 0xE750, {"+80 tempo250000 +80 end"});
    EXPECT_DOUBLE_EQ(MidiFile::Parse(film).Tempo().BeatAt(0.08), 0.04 * 2.0 + 0.04 * 4.0);
}

} // namespace

} // namespace orphia::host
