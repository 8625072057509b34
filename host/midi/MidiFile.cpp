// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/midi/MidiFile.h"

#include "host/common/Errors.h"
#include "host/common/Files.h"
#include "host/common/Paths.h"
#include "host/midi/MidiTracks.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace orphia::host {

namespace {

constexpr std::size_t headerLength = 6;
constexpr std::uint32_t songsFormat = 2;

/// What a tick lasts: a part of a quarter note, or of a second.
struct Division {
    double ticksPerBeat = 0.0;
    double ticksPerSecond = 0.0;

    bool CountsBeats() const { return ticksPerBeat > 0.0; }
};

struct Header {
    std::uint32_t trackCount = 0;
    Division division;
};

struct Chunk {
    std::string_view name;
    ByteReader data;
};

Chunk TakeChunk(ByteReader& file) {
    const std::span<const std::uint8_t> name = file.Take(4);
    const std::uint32_t length = file.TakeNumber(4);
    const std::size_t start = file.Offset();
    return {{reinterpret_cast<const char*>(name.data()), name.size()}, ByteReader(file.Take(length), start)};
}

/// The upper byte is negative, minus the film frames per second, or the whole is ticks per quarter note.
Division ParseDivision(const ByteReader& reader, std::uint32_t word) {
    const std::uint32_t ticks = word & 0xFFU;
    if ((word & 0x8000U) == 0) {
        if (word == 0) {
            reader.Refuse("a quarter note of no ticks");
        }
        return {static_cast<double>(word), 0.0};
    }
    const std::uint32_t frames = 256U - (word >> 8U);
    const bool isKnown = frames == 24 || frames == 25 || frames == 29 || frames == 30;
    if (!isKnown || ticks == 0) {
        reader.Refuse(fmt::format("a division of {} frames a second and {} ticks a frame", frames, ticks));
    }
    // 29 stands for the rate of colour television.
    const double rate = frames == 29 ? 30.0 / 1.001 : static_cast<double>(frames);
    return {0.0, rate * ticks};
}

Header TakeHeader(ByteReader& file) {
    constexpr std::string_view headerName = "MThd";
    if (file.Left() < headerName.size()) {
        file.Refuse("no standard MIDI file");
    }
    ByteReader ahead = file;
    const auto name = ahead.Take(headerName.size());
    if (!std::equal(name.begin(), name.end(), headerName.begin())) {
        file.Refuse("no standard MIDI file");
    }
    Chunk chunk = TakeChunk(file);
    if (chunk.data.Left() < headerLength) {
        chunk.data.Refuse("the header is too short");
    }
    const std::uint32_t format = chunk.data.TakeNumber(2);
    if (format >= songsFormat) {
        chunk.data.Refuse(fmt::format("a file of format {}; only 0 and 1 are read", format));
    }
    Header header;
    header.trackCount = chunk.data.TakeNumber(2);
    header.division = ParseDivision(chunk.data, chunk.data.TakeNumber(2));
    if (header.trackCount == 0) {
        chunk.data.Refuse("no track");
    }
    return header;
}

/// Chunks of other kinds lie between the tracks; what follows the last one is not looked at.
MidiTracks TakeTracks(ByteReader& file, std::uint32_t trackCount) {
    MidiTracks tracks;
    for (std::uint32_t taken = 0; taken < trackCount;) {
        if (file.Left() == 0) {
            file.Refuse(fmt::format("{} tracks announced, {} found", trackCount, taken));
        }
        const Chunk chunk = TakeChunk(file);
        if (chunk.name == "MTrk") {
            tracks.AddTrack(chunk.data);
            ++taken;
        }
    }
    return tracks;
}

/// Both lists are in order within a track only.
void SortByTime(MidiTracks& tracks) {
    const auto earlier = [](const auto& a, const auto& b) { return a.tick < b.tick; };
    std::stable_sort(tracks.events.begin(), tracks.events.end(), earlier);
    std::stable_sort(tracks.tempoChanges.begin(), tracks.tempoChanges.end(), earlier);
}

TempoMap MakeTempoMap(const std::vector<MidiTracks::TempoChange>& changes, const Division& division) {
    TempoMap map;
    for (const MidiTracks::TempoChange& change : changes) {
        const double tempo = 60e6 / change.microsecondsPerQuarter;
        const auto tick = static_cast<double>(change.tick);
        if (division.CountsBeats()) {
            map.ChangeAtBeat(tick / division.ticksPerBeat, tempo);
        } else {
            map.ChangeAtSecond(tick / division.ticksPerSecond, tempo);
        }
    }
    return map;
}

} // namespace

MidiFile MidiFile::Parse(std::span<const std::uint8_t> bytes) {
    ByteReader reader(bytes);
    const Header header = TakeHeader(reader);
    MidiTracks tracks = TakeTracks(reader, header.trackCount);
    SortByTime(tracks);

    MidiFile file;
    file.tempo = MakeTempoMap(tracks.tempoChanges, header.division);
    const auto secondsAt = [&](std::uint64_t tick) {
        const auto ticks = static_cast<double>(tick);
        return header.division.CountsBeats() ? file.tempo.SecondsAt(ticks / header.division.ticksPerBeat)
                                             : ticks / header.division.ticksPerSecond;
    };
    file.seconds = secondsAt(tracks.endTick);
    if (!(file.seconds <= maxSeconds)) {
        throw FileError(fmt::format("lasts {:.0f} s; at most {:.0f} s are read", file.seconds, maxSeconds));
    }
    file.events.reserve(tracks.events.size());
    for (const MidiTracks::Event& event : tracks.events) {
        file.events.push_back({secondsAt(event.tick), event.message});
    }
    return file;
}

MidiFile MidiFile::FromEvents(std::vector<MidiEvent> events, TempoMap tempo, double seconds) {
    const auto isTime = [](double time) { return time >= 0.0 && time <= maxSeconds; };
    const auto odd = std::find_if_not(events.begin(), events.end(),
                                      [&isTime](const MidiEvent& event) { return isTime(event.seconds); });
    if (!isTime(seconds) || odd != events.end()) {
        throw UsageError(fmt::format("time {} s is outside 0 .. {:.0f} s",
                                     odd != events.end() ? odd->seconds : seconds, maxSeconds));
    }
    if (events.size() > maxEvents) {
        throw UsageError(fmt::format("{} events; at most {} are played", events.size(), maxEvents));
    }
    std::stable_sort(events.begin(), events.end(),
                     [](const MidiEvent& a, const MidiEvent& b) { return a.seconds < b.seconds; });
    MidiFile file;
    file.tempo = std::move(tempo);
    file.seconds = events.empty() ? seconds : std::max(seconds, events.back().seconds);
    file.events = std::move(events);
    return file;
}

MidiFile MidiFile::Read(const std::filesystem::path& path) {
    try {
        const std::string text = ReadWholeFile(path, maxFileSize, "a MIDI file");
        return Parse({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    } catch (const FileError& error) {
        throw FileError(fmt::format("{}: {}", TextOf(path), error.what()));
    }
}

} // namespace orphia::host
