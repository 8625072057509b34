// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/common/Public.h"
#include "host/midi/MidiMessage.h"
#include "host/midi/TempoMap.h"

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

namespace orphia::host {

struct ORPHIA_PUBLIC MidiEvent {
    double seconds = 0.0;
    MidiMessage message;
};

/// A song as a standard MIDI file of format 0 or 1 holds it: the channel messages of all tracks in one list,
/// and the tempo. Format 2 is refused, as its tracks are songs of their own. Divisions of a quarter note and
/// of film frames are read; with the latter, tempo changes move the beat and not the events.
///
/// Taken leniently: unknown chunks, text, system exclusive data, a track without an end mark, a running
/// status that is carried across these. Whatever else is malformed refuses the file.
class ORPHIA_PUBLIC MidiFile {
public:
    static constexpr std::uintmax_t maxFileSize = 64U << 20U;
    static constexpr std::size_t maxEvents = 4'000'000;
    static constexpr double maxSeconds = 6.0 * 3600.0;

    /// Throws FileError with the file's name and the reason.
    static MidiFile Read(const std::filesystem::path& path);
    /// The same from memory; FileError holds the reason only.
    static MidiFile Parse(std::span<const std::uint8_t> bytes);
    /// A song that was made and not read: events in any order, those of one time stay as they are given, and
    /// a length, which is at least the time of the last one. Throws UsageError for a time that is negative or
    /// no number, and beyond maxEvents and maxSeconds.
    static MidiFile FromEvents(std::vector<MidiEvent> events, TempoMap tempo = {}, double seconds = 0.0);

    /// In order of time; those of one time as their tracks have them, one track after the other.
    const std::vector<MidiEvent>& Events() const { return events; }
    const TempoMap& Tempo() const { return tempo; }
    /// To the end of the longest track, which may be later than the last event.
    double Seconds() const { return seconds; }

private:
    std::vector<MidiEvent> events;
    TempoMap tempo;
    double seconds = 0.0;
};

} // namespace orphia::host
