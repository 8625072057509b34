// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/FuzzTargets.h"
#include "fuzz/Require.h"
#include "host/common/Errors.h"
#include "host/player/MidiPlayer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

namespace {

using namespace orphia::host;
using orphia::fuzz::Require;

std::optional<MidiFile> Parse(std::span<const std::uint8_t> bytes) {
    try {
        return MidiFile::Parse(bytes);
    } catch (const FileError& refusal) {
        Require(!std::string_view(refusal.what()).empty(), "a refusal without a reason");
        return std::nullopt;
    }
}

void CheckEvents(const MidiFile& song) {
    Require(song.Seconds() >= 0.0 && song.Seconds() <= MidiFile::maxSeconds, "a song of no length");
    Require(song.Events().size() <= MidiFile::maxEvents, "more events than there may be");
    double last = 0.0;
    for (const MidiEvent& event : song.Events()) {
        Require(event.seconds >= last && event.seconds <= song.Seconds(), "an event out of order");
        Require(event.message.Kind() >= 0x80 && event.message.Kind() <= 0xE0, "no message of a channel");
        Require((event.message.data1 | event.message.data2) < 0x80, "a data byte above 127");
        last = event.seconds;
    }
}

void CheckTempo(const MidiFile& song) {
    double lastBeat = 0.0;
    constexpr int steps = 16;
    for (int step = 0; step <= steps; ++step) {
        const double seconds = song.Seconds() * step / steps;
        const double beat = song.Tempo().BeatAt(seconds);
        const double tempo = song.Tempo().TempoAt(seconds);
        Require(std::isfinite(tempo) && tempo > 0.0, "no tempo");
        Require(std::isfinite(beat) && beat >= lastBeat, "the beat goes back");
        Require(std::abs(song.Tempo().SecondsAt(beat) - seconds) <= 1e-6 * (1.0 + seconds),
                "beats and seconds are apart");
        lastBeat = beat;
    }
}

/// Its first seconds, on an instrument that takes all and computes no sound.
void Play(const MidiFile& song) {
    static Instrument instrument(EngineLibrary::Load(ORPHIA_SILENT_ENGINE), 44100);
    constexpr int blocks = 400;
    instrument.Reset();
    MidiPlayer player(song, instrument);
    std::array<float, 4096> output{};
    const std::size_t block = std::size_t{instrument.FramesPerBlock()} * 2;
    for (int i = 0; i < blocks && !player.IsDone(); ++i) {
        player.Process(std::span(output).first(block));
    }
    const float gain = instrument.Controls().Gain();
    Require(gain >= 0.0F && gain <= 1.0F, "a gain that no volume has");
}

} // namespace

void orphia::fuzz::MidiReader(const std::uint8_t* data, std::size_t size) {
    if (const auto song = Parse({data, size})) {
        CheckEvents(*song);
        CheckTempo(*song);
        Play(*song);
    }
}
