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

using test::At;
using test::Bytes;
using test::Chunk;
using test::End;
using test::Song;
using test::Tempo;
using test::operator+;

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

/// A tick is a millisecond at 120 beats a minute.
Bytes OneTrack(const Bytes& events, std::uint32_t division = 500) {
    return Song(0, division, {events + End()});
}

const Bytes note = At(0, {0x90, 60, 1});

Bytes Rich() {
    return Song(1, 480,
                {Tempo(0, 500'000) + At(7, {0xFF, 3, 4, 'n', 'a', 'm', 'e'}) + Tempo(900, 400'000) + End(),
                 At(0, {0x90, 60, 100}) + At(0x3FFF, {60, 0}) + At(0, {0xF0, 3, 1, 2, 0xF7}) +
                     At(3, {0xE0, 0, 64}) + At(0, {0xC0, 5}) + End(100)});
}

TEST(MidiFile, IsReadAsTheStandardSays) {
    const auto film = [](std::uint32_t upperByte) {
        return Song(0, upperByte << 8U | 80U, {Tempo(0, 250'000) + At(80, {0x90, 60, 1}) + End(80)});
    };
    const struct {
        const char* what;
        Bytes bytes;
        const char* told;
    } cases[] = {
        {"running status, messages that are skipped",
         OneTrack(At(0, {0x90, 60, 100}) + At(5, {62, 90}) + At(0, {0xF0, 3, 1, 2, 0xF7}) +
                  At(0, {0xFF, 1, 2, 'h', 'i'}) + At(0, {60, 0}) + At(0, {0xF7, 1, 0xF3}) + At(1, {0xC3, 7}) +
                  At(0, {8}) + At(0, {0xD3, 9}) + At(0x3FFF, {0xE3, 1, 2})),
         "0 144 60 100; 0.005 144 62 90; 0.005 144 60 0; 0.006 195 7 0; 0.006 195 8 0; 0.006 211 9 0; "
         "16.389 227 1 2; 16.389"},
        {"a tempo of one track for all: 120 up to beat 2, then 60, from beat 4 on 240",
         Song(1, 480,
              {Tempo(960, 1'000'000) + Tempo(960, 250'000) + End(480),
               At(480, {0x90, 60, 1}) + At(480, {61, 1}) + At(480, {62, 1}) + At(1440, {63, 1}) + End()}),
         "0.5 144 60 1; 1 144 61 1; 2 144 62 1; 3.5 144 63 1; 3.5"},
        {"tracks by time, each in its order; the longest counts",
         Song(1, 500,
              {At(0, {0x90, 1, 1}) + At(10, {2, 1}) + At(0, {0x80, 2, 0}) + End(),
               At(0, {0x91, 3, 1}) + At(10, {4, 1}) + At(90, {5, 1}) + End(380)}),
         "0 144 1 1; 0 145 3 1; 0.01 144 2 1; 0.01 128 2 0; 0.01 145 4 1; 0.1 145 5 1; 0.48"},
        {"24 film frames a second, in spite of the tempo", film(0xE8), "0.0416667 144 60 1; 0.0833333"},
        {"25", film(0xE7), "0.04 144 60 1; 0.08"},
        {"29.97", film(0xE3), "0.0333667 144 60 1; 0.0667333"},
        {"30", film(0xE2), "0.0333333 144 60 1; 0.0666667"},
        {"no end mark, and more behind the track", Song(0, 96, {note}) + Bytes{1, 2, 3}, "0 144 60 1; 0"},
        {"a longer header, another chunk, bytes behind the end",
         Chunk("MThd", {0, 1, 0, 1, 0, 96, 9, 9}) + Chunk("XYZ ", {1, 2, 3}) +
             Chunk("MTrk", note + End() + Bytes{0xF4, 0xF4}),
         "0 144 60 1; 0"},
        {"six hours", Song(0, 1, {Tempo(0, 1'000'000) + End(21600)}), "21600"},
    };
    for (const auto& [what, bytes, told] : cases) {
        EXPECT_EQ(Told(bytes), told) << what;
    }
}

TEST(MidiFile, TempoLeadsFromSecondsToBeatsAndBack) {
    TempoMap tempo;
    tempo.ChangeAtBeat(2.0, 90.0);
    tempo.ChangeAtSecond(1.0, 60.0);
    tempo.ChangeAtSecond(3.0, 240.0);
    const struct {
        double seconds, beat, tempo;
    } places[] = {{-1.0, -2.0, 120.0}, {0.999, 1.998, 120.0}, {1.0, 2.0, 60.0},
                  {2.5, 3.5, 60.0},    {3.0, 4.0, 240.0},     {13.0, 44.0, 240.0}};
    for (const auto& place : places) {
        EXPECT_DOUBLE_EQ(tempo.BeatAt(place.seconds), place.beat);
        EXPECT_DOUBLE_EQ(tempo.SecondsAt(place.beat), place.seconds);
        EXPECT_EQ(tempo.TempoAt(place.seconds), place.tempo) << place.seconds;
    }
    const Bytes film = Song(0, 0xE750, {Tempo(80, 250'000) + End(80)});
    EXPECT_DOUBLE_EQ(MidiFile::Parse(film).Tempo().BeatAt(0.08), 0.04 * 2.0 + 0.04 * 4.0);
}

TEST(MidiFile, MalformedFilesAreRefusedWithPlaceAndReason) {
    Bytes announced = Song(1, 96, {note + End()});
    announced[11] = 3;
    Bytes huge = Song(0, 96, {note});
    huge[18] = huge[19] = 0xFF; // a chunk of almost 4 GB
    const std::pair<Bytes, const char*> cases[] = {
        {announced, "3 tracks announced, 1 found"},
        {huge, "bytes wanted"},
        {{}, "byte 0: no standard MIDI file"},
        {{'R', 'I', 'F', 'F', 0, 0, 0, 0}, "byte 0: no standard MIDI file"},
        {Chunk("MThd", {0, 0, 0, 1}), "header is too short"},
        {Song(2, 96, {note}), "format 2"},
        {Song(0, 96, {}), "no track"},
        {Song(0, 0, {note}), "no ticks"},
        {Song(0, 0xE800, {note}), "0 ticks a frame"},
        {Song(0, 0x8001, {note}), "128 frames"},
        {OneTrack(At(0, {60, 1})), "byte 23: a data byte where a message should begin"},
        {OneTrack(At(0, {0x90, 60, 0x90})), "cut short"},
        {OneTrack(At(0, {0xF8})), "status F8"},
        {OneTrack(Bytes{0x80, 0x80, 0x80, 0x80, 0x00, 0x90, 60, 1}), "more than four bytes"},
        {OneTrack(At(0, {0xFF, 0x51, 2, 1, 1})), "three bytes"},
        {OneTrack(Tempo(0, 0)), "tempo without end"},
        {OneTrack(At(0, {0xFF, 1, 0xFF, 0xFF, 0xFF, 0x7F})), "268435455 bytes wanted"},
        {OneTrack(At(0, {0xF0, 0x87, 0x68, 1, 2})), "1000 bytes wanted"},
        {Song(0, 1, {Tempo(0, 1'000'000) + End(21601)}), "lasts 21601 s; at most 21600 s"},
    };
    for (const auto& [bytes, reason] : cases) {
        EXPECT_PRED2(test::Has, Told(bytes), reason);
    }
    const Bytes whole = Rich();
    ASSERT_FALSE(Told(whole).starts_with("byte "));
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_TRUE(Told(part).starts_with("byte ")) << length << ": " << Told(part);
    }
}

} // namespace

} // namespace orphia::host
