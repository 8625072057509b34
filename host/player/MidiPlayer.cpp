// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/player/MidiPlayer.h"

#include "host/midi/HeldNotes.h"

#include <algorithm>
#include <cmath>

namespace orphia::host {

namespace {

constexpr unsigned controllerKind = 0xB0;
constexpr std::uint8_t pedal = 64;
constexpr std::uint8_t allNotesOff = 123;

std::uint32_t PlayedChannels(const MidiFile& file) {
    std::uint32_t channels = 0;
    for (const MidiEvent& event : file.Events()) {
        channels |= HeldNotes::IsNoteOn(event.message) ? 1U << event.message.Channel() : 0U;
    }
    return channels;
}

} // namespace

MidiPlayer::MidiPlayer(const MidiFile& song, Instrument& target)
    : file(song), instrument(target), adapter(target, BlockAdapter::Mode::WholeBlocks),
      rate(target.SampleRate()),
      noteCount(static_cast<std::size_t>(
          std::count_if(song.Events().begin(), song.Events().end(),
                        [](const MidiEvent& event) { return HeldNotes::IsNoteOn(event.message); }))) {
    instrument.Controls().Restart();
    instrument.Controls().SetPlayedChannels(PlayedChannels(song));
}

std::uint64_t MidiPlayer::SongFrames() const {
    return static_cast<std::uint64_t>(std::ceil(file.Seconds() * instrument.SampleRate()));
}

void MidiPlayer::Process(std::span<const float> voice, std::span<float> output) {
    const std::size_t block = std::size_t{instrument.FramesPerBlock()} * 2;
    for (std::size_t start = 0; start < output.size(); start += block) {
        const std::size_t count = std::min(block, output.size() - start);
        ProcessBlock(voice.empty() ? voice : voice.subspan(start, count), output.subspan(start, count));
    }
}

void MidiPlayer::ProcessBlock(std::span<const float> voice, std::span<float> output) {
    FollowRate();
    const double start = SecondsAt(framesDone);
    const double end = SecondsAt(framesDone + instrument.FramesPerBlock());
    while (nextEvent < file.Events().size() && file.Events()[nextEvent].seconds < end) {
        pending.push_back(file.Events()[nextEvent++].message);
    }
    if (!finished && file.Seconds() < end) {
        QueueEnd();
    }
    while (!pending.empty() && instrument.Send(pending.front())) {
        pending.pop_front();
    }
    instrument.SetTransport({file.Tempo().TempoAt(start), file.Tempo().BeatAt(start), true});
    adapter.Process(voice, output);
    framesDone += instrument.FramesPerBlock();
}

/// The song goes on from where it is.
void MidiPlayer::FollowRate() {
    if (instrument.SampleRate() != rate) {
        secondsBefore = SecondsAt(framesDone);
        framesDone = 0;
        rate = instrument.SampleRate();
    }
}

double MidiPlayer::SecondsAt(std::uint64_t frame) const {
    return secondsBefore + static_cast<double>(frame) / rate;
}

void MidiPlayer::QueueEnd() {
    for (unsigned channel = 0; channel < HeldNotes::channelCount; ++channel) {
        const auto status = static_cast<std::uint8_t>(controllerKind | channel);
        pending.push_back({status, allNotesOff, 0});
        pending.push_back({status, pedal, 0});
    }
    finished = true;
}

} // namespace orphia::host
