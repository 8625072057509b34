// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/MidiPlayer.h"

#include <algorithm>
#include <cmath>

namespace orphia::host {

namespace {

constexpr unsigned noteOffKind = 0x80;
constexpr unsigned noteOnKind = 0x90;
constexpr unsigned keyPressureKind = 0xA0;
constexpr unsigned controllerKind = 0xB0;
constexpr std::uint8_t pedal = 64;
constexpr std::uint8_t allSoundOff = 120;
/// 123 to 127: all notes off, and the choices of mode that mean it too.
constexpr std::uint8_t allNotesOff = 123;
/// From nothing to full, so that a volume may jump without a click.
constexpr float gainSeconds = 0.02F;

bool IsNoteOn(const MidiMessage& message) { return message.Kind() == noteOnKind && message.data2 > 0; }

bool EndsNotes(const MidiMessage& message) {
    return message.Kind() == controllerKind && (message.data1 == allSoundOff || message.data1 >= allNotesOff);
}

MidiMessage Message(unsigned kind, unsigned channel, unsigned data1) {
    return {static_cast<std::uint8_t>(kind | channel), static_cast<std::uint8_t>(data1), 0};
}

std::uint32_t PlayedChannels(const MidiFile& file) {
    std::uint32_t channels = 0;
    for (const MidiEvent& event : file.Events()) {
        channels |= IsNoteOn(event.message) ? 1U << event.message.Channel() : 0U;
    }
    return channels;
}

} // namespace

MidiPlayer::MidiPlayer(const MidiFile& song, CarrierSession& carrier, const ParameterCatalog& catalog)
    : file(song), session(carrier), noteCount(static_cast<std::size_t>(std::count_if(
                                        song.Events().begin(), song.Events().end(),
                                        [](const MidiEvent& event) { return IsNoteOn(event.message); }))),
      controls(carrier, catalog, PlayedChannels(song)),
      gainStep(1.0F / (gainSeconds * static_cast<float>(carrier.SampleRate()))) {
    blockEvents.reserve(CarrierSession::maxEvents);
}

std::uint64_t MidiPlayer::SongFrames() const {
    return static_cast<std::uint64_t>(std::ceil(file.Seconds() * session.SampleRate()));
}

void MidiPlayer::Process(std::span<float> output) {
    const std::size_t block = std::size_t{session.FramesPerBlock()} * 2;
    for (std::size_t start = 0; start < output.size(); start += block) {
        ProcessBlock(output.subspan(start, std::min(block, output.size() - start)));
    }
}

void MidiPlayer::ProcessBlock(std::span<float> output) {
    const double rate = session.SampleRate();
    const double start = static_cast<double>(framesDone) / rate;
    const double end = static_cast<double>(framesDone + session.FramesPerBlock()) / rate;
    while (nextEvent < file.Events().size() && file.Events()[nextEvent].seconds < end) {
        Queue(file.Events()[nextEvent++].message);
    }
    if (!finished && file.Seconds() < end) {
        QueueEnd();
    }
    TakePending();
    session.ProcessBlock(blockEvents, {file.Tempo().TempoAt(start), file.Tempo().BeatAt(start)}, output);
    ApplyGain(output);
    framesDone += session.FramesPerBlock();
}

void MidiPlayer::Queue(const MidiMessage& message) {
    std::uint32_t& down = keysDown[message.Channel()][message.data1 & (keyCount - 1)];
    if (IsNoteOn(message)) {
        ++down;
    } else if ((message.Kind() == noteOnKind || message.Kind() == noteOffKind) && down > 0) {
        --down;
    }
    pending.push_back(message);
    if (EndsNotes(message)) {
        QueueNoteOffs(message.Channel());
    }
}

void MidiPlayer::QueueNoteOffs(unsigned channel) {
    for (unsigned key = 0; key < keyCount; ++key) {
        for (std::uint32_t& down = keysDown[channel][key]; down > 0; --down) {
            pending.push_back(Message(noteOffKind, channel, key));
        }
    }
}

void MidiPlayer::QueueEnd() {
    for (unsigned channel = 0; channel < MidiControls::channelCount; ++channel) {
        QueueNoteOffs(channel);
        pending.push_back(Message(controllerKind, channel, pedal));
    }
    finished = true;
}

void MidiPlayer::TakePending() {
    blockEvents.clear();
    pedalMoved = false;
    while (!pending.empty() && Take(pending.front())) {
        pending.pop_front();
    }
}

/// False when a message has to wait for the next block. Parameters act in front of all notes of a block, so a
/// pedal must not overtake notes, nor another move of the pedal.
bool MidiPlayer::Take(const MidiMessage& message) {
    if (message.Kind() <= keyPressureKind) {
        if (blockEvents.size() == CarrierSession::maxEvents) {
            return false;
        }
        blockEvents.push_back(message);
        return true;
    }
    if (controls.MovesPedal(message)) {
        if (pedalMoved || !blockEvents.empty()) {
            return false;
        }
        pedalMoved = true;
    }
    controls.Handle(message);
    return true;
}

void MidiPlayer::ApplyGain(std::span<float> output) {
    const float target = controls.Gain();
    if (framesDone == 0) {
        gain = target;
    }
    for (std::size_t n = 0; n + 1 < output.size(); n += 2) {
        gain += std::clamp(target - gain, -gainStep, gainStep);
        output[n] *= gain;
        output[n + 1] *= gain;
    }
}

} // namespace orphia::host
