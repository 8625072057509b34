// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/midi/MidiFile.h"

#include "host/common/Errors.h"
#include "rigs/MidiSong.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace orphia::host {

namespace {

using test::At;
using test::Bytes;
using test::End;
using test::Song;
using test::Tempo;
using test::operator+;

std::string Refusal(const Bytes& bytes) {
    try {
        MidiFile::Parse(bytes);
        return "taken";
    } catch (const FileError& error) {
        return error.what();
    }
}

Bytes OneTrack(const Bytes& events, std::uint32_t division = 480) {
    return Song(0, division, {events + End()});
}

std::string Listed(const MidiFile& file) {
    std::ostringstream list;
    for (const auto& [seconds, m] : file.Events()) {
        list << int{m.status} << ' ' << int{m.data1} << ' ' << int{m.data2} << ';';
    }
    return list.str();
}

TEST(MidiFile, RunningStatusAndSkippedMessagesLeaveTheNotes) {
    const Bytes track = At(0, {0x90, 60, 100}) + At(5, {62, 90}) + At(0, {0xF0, 3, 1, 2, 0xF7}) +
                        At(0, {0xFF, 1, 2, 'h', 'i'}) + At(0, {60, 0}) + At(0, {0xF7, 1, 0xF3}) +
                        At(1, {0xC3, 7}) + At(0, {8}) + At(0, {0xD3, 9}) + At(0, {0xE3, 1, 2});
    const MidiFile file = MidiFile::Parse(OneTrack(track));
    EXPECT_EQ(Listed(file), "144 60 100;144 62 90;144 60 0;195 7 0;195 8 0;211 9 0;227 1 2;");
}

TEST(MidiFile, TheTempoOfOneTrackTimesAllOthers) {
    // 120 up to beat 2, then 60, then 240 from beat 4 on.
    const Bytes tempo = Tempo(960, 1'000'000) + Tempo(960, 250'000) + End(480);
    const Bytes notes = At(480, {0x90, 60, 1}) + At(480, {0x90, 61, 1}) + At(480, {0x90, 62, 1}) +
                        At(1440, {0x90, 63, 1}) + End();
    const MidiFile file = MidiFile::Parse(Song(1, 480, {tempo, notes}));
    const std::vector<double> expected{0.5, 1.0, 2.0, 3.5};
    ASSERT_EQ(file.Events().size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_DOUBLE_EQ(file.Events()[i].seconds, expected[i]) << i;
        EXPECT_DOUBLE_EQ(file.Tempo().SecondsAt(file.Tempo().BeatAt(expected[i])), expected[i]);
    }
    EXPECT_DOUBLE_EQ(file.Seconds(), 3.5);
    EXPECT_DOUBLE_EQ(file.Tempo().BeatAt(2.5), 3.5);
    EXPECT_DOUBLE_EQ(file.Tempo().BeatAt(13.0), 44.0);
    EXPECT_DOUBLE_EQ(file.Tempo().TempoAt(0.999), 120.0);
    EXPECT_DOUBLE_EQ(file.Tempo().TempoAt(1.0), 60.0);
    EXPECT_DOUBLE_EQ(file.Tempo().TempoAt(99.0), 240.0);
    EXPECT_DOUBLE_EQ(file.Tempo().BeatAt(-1.0), -2.0);
}

TEST(MidiFile, TracksAreMergedByTimeAndEachKeepsItsOrder) {
    const Bytes a = At(0, {0x90, 1, 1}) + At(10, {0x90, 2, 1}) + At(0, {0x80, 2, 0}) + End();
    const Bytes b = At(0, {0x91, 3, 1}) + At(10, {0x91, 4, 1}) + At(90, {0x91, 5, 1}) + End(380);
    const MidiFile file = MidiFile::Parse(Song(1, 480, {a, b}));
    EXPECT_EQ(Listed(file), "144 1 1;145 3 1;144 2 1;128 2 0;145 4 1;145 5 1;");
    EXPECT_DOUBLE_EQ(file.Seconds(), 0.5) << "the longest track counts";
}

TEST(MidiFile, FilmFramesMakeTimeIndependentOfTempo) {
    const std::pair<std::uint32_t, double> rates[] = {
        {0xE8, 24.0}, {0xE7, 25.0}, {0xE3, 30.0 / 1.001}, {0xE2, 30.0}};
    for (const auto& [upperByte, framesPerSecond] : rates) {
        const Bytes track = Tempo(0, 1'000'000) + At(80, {0x90, 60, 1}) + Tempo(0, 250'000) + End(80);
        const MidiFile file = MidiFile::Parse(Song(0, upperByte << 8U | 80U, {track}));
        const double frame = 1.0 / framesPerSecond;
        EXPECT_DOUBLE_EQ(file.Events()[0].seconds, frame);
        EXPECT_DOUBLE_EQ(file.Seconds(), 2.0 * frame);
        EXPECT_DOUBLE_EQ(file.Tempo().BeatAt(2.0 * frame), frame + 4.0 * frame);
    }
}

TEST(MidiFile, WhatDoesNoHarmIsTaken) {
    const Bytes note = At(0, {0x90, 60, 1});
    const Bytes unended = Song(0, 96, {note});
    EXPECT_EQ(Refusal(unended), "taken") << "a track without an end mark";
    EXPECT_EQ(Refusal(unended + Bytes{1, 2, 3}), "taken") << "something behind the last track";
    EXPECT_EQ(Refusal(test::Chunk("MThd", {0, 1, 0, 1, 0, 96, 9, 9}) + test::Chunk("XYZ ", {1, 2, 3}) +
                      test::Chunk("MTrk", note + End() + Bytes{0xF4, 0xF4})),
              "taken")
        << "longer header, other chunk, bytes behind the end";
}

TEST(MidiFile, MalformedFilesAreRefusedWithPlaceAndReason) {
    const Bytes note = At(0, {0x90, 60, 1});
    Bytes announced = Song(1, 96, {note + End()});
    announced[11] = 3;
    Bytes huge = Song(0, 96, {note});
    huge[18] = huge[19] = 0xFF; // a chunk of almost 4 GB
    const struct {
        Bytes bytes;
        const char* reason;
    } cases[] = {
        {announced, "3 tracks announced, 1 found"},
        {huge, "bytes wanted"},
        {{}, "byte 0: no standard MIDI file"},
        {{'R', 'I', 'F', 'F', 0, 0, 0, 0}, "byte 0: no standard MIDI file"},
        {test::Chunk("MThd", {0, 0, 0, 1}), "header is too short"},
        {Song(2, 96, {note}), "format 2"},
        {Song(7, 96, {note}), "format 7"},
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
        {Song(0, 1, {Tempo(0, 0xFFFFFF) + At(0x0FFFFFFF, {0x90, 1, 1}) + End()}), "at most 21600 s"},
    };
    for (const auto& each : cases) {
        const std::string refusal = Refusal(each.bytes);
        EXPECT_NE(refusal.find(each.reason), std::string::npos) << "'" << refusal << "' for '" << each.reason;
    }
}

Bytes Rich() {
    return Song(1, 480,
                {Tempo(0, 500'000) + At(7, {0xFF, 3, 4, 'n', 'a', 'm', 'e'}) + Tempo(900, 400'000) + End(),
                 At(0, {0x90, 60, 100}) + At(0x3FFF, {60, 0}) + At(0, {0xF0, 3, 1, 2, 0xF7}) +
                     At(3, {0xE0, 0, 64}) + At(0, {0xC0, 5}) + End(100)});
}

TEST(MidiFile, EveryTruncationIsRefused) {
    const Bytes whole = Rich();
    ASSERT_EQ(Refusal(whole), "taken");
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_TRUE(Refusal(part).starts_with("byte ")) << length << ": " << Refusal(part);
    }
}

/// Whatever the bytes are, they are read or refused, and what is read is in order.
TEST(MidiFile, GarbageIsReadInOrderOrRefused) {
    std::mt19937 random(5);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    int taken = 0;
    for (int round = 0; round < 8000; ++round) {
        Bytes bytes = Rich();
        for (std::size_t change = 1 + below(4); change > 0; --change) {
            // The last rounds leave the headers alone, so that the tracks are reached.
            const std::size_t first = round < 4000 ? 0 : 22;
            bytes[first + below(bytes.size() - first)] = static_cast<std::uint8_t>(random());
        }
        try {
            const MidiFile file = MidiFile::Parse(bytes);
            ++taken;
            double before = 0.0;
            for (const MidiEvent& event : file.Events()) {
                ASSERT_GE(event.seconds, before) << round;
                ASSERT_LE(event.seconds, file.Seconds()) << round;
                ASSERT_LT(event.message.data1 | event.message.data2, 128) << round;
                before = event.seconds;
            }
        } catch (const FileError& error) {
            ASSERT_NE(std::string(error.what()), "");
        }
    }
    EXPECT_GT(taken, 1000) << "the garbage is too harmful to test anything";
}

} // namespace

} // namespace orphia::host
