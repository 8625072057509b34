// SPDX-License-Identifier: GPL-3.0-or-later
#include "web/native/SongEngine.h"

#include <utility>

namespace orphia::web {

void SongEngine::Insert(host::MidiFile newSong) {
    Stop();
    song = std::move(newSong);
    framesDone = 0;
}

void SongEngine::Play() {
    framesDone = 0;
    nextEvent = 0;
    isPlaying = true;
    nextEnd = endCount;
}

void SongEngine::Stop() {
    if (isPlaying) {
        isPlaying = false;
        nextEnd = 0;
    }
}

double SongEngine::Seconds() const {
    return static_cast<double>(framesDone) / static_cast<double>(instrument.SampleRate());
}

void SongEngine::SendDueEvents() {
    const auto rate = static_cast<double>(instrument.SampleRate());
    const double end = static_cast<double>(framesDone + FramesPerBlock()) / rate;
    const auto& events = song.Events();
    // What the block does not take comes in the next one.
    while (nextEvent < events.size() && events[nextEvent].seconds < end &&
           instrument.Send(events[nextEvent].message)) {
        ++nextEvent;
    }
    if (nextEvent == events.size() && song.Seconds() < end) {
        Stop();
    }
}

void SongEngine::SendEnd() {
    constexpr std::uint32_t controller = 0xB0;
    constexpr std::uint8_t allNotesOff = 123;
    constexpr std::uint8_t pedal = 64;
    while (nextEnd < endCount) {
        const auto status = static_cast<std::uint8_t>(controller | nextEnd / 2);
        if (!instrument.Send({status, nextEnd % 2 == 0 ? allNotesOff : pedal, 0})) {
            return;
        }
        ++nextEnd;
    }
}

void SongEngine::ProcessBlock(const float* const* voice, std::uint32_t voiceChannels, float* const* output) {
    if (isPlaying) {
        const double start = Seconds();
        SendDueEvents();
        instrument.SetTransport({song.Tempo().TempoAt(start), song.Tempo().BeatAt(start), true});
        framesDone += FramesPerBlock();
    }
    SendEnd();
    instrument.ProcessBlock(voice, voiceChannels, output);
}

} // namespace orphia::web
