// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/standalone/LiveSound.h"

#include <algorithm>
#include <array>

namespace orphia::standalone {

namespace {

constexpr std::size_t bytesOfMessages = 65536;

} // namespace

LiveSound::LiveSound(plugin::PluginInstrument& ofInstrument, Song* playedSong)
    : instrument(ofInstrument), song(playedSong) {
    events.reserve(plugin::PluginBlock::mostEvents);
    collected.ensureSize(bytesOfMessages);
    collector.ensureStorageAllocated(bytesOfMessages);
    collector.reset(48000.0);
}

void LiveSound::Take(std::uint32_t frame, const std::uint8_t* bytes, std::size_t count) {
    const auto message = plugin::ChannelMessage(bytes, count);
    if (message && events.size() < plugin::PluginBlock::mostEvents) {
        Insert(events, {frame, *message});
    }
}

void LiveSound::handleIncomingMidiMessage(juce::MidiInput*, const juce::MidiMessage& message) {
    collector.addMessageToQueue(message);
}

/// Those of JACK are there already.
void LiveSound::Gather(int frames) {
    collected.clear();
    collector.removeNextBlockOfMessages(collected, frames);
    for (const juce::MidiMessageMetadata message : collected) {
        Take(static_cast<std::uint32_t>(message.samplePosition), message.data,
             static_cast<std::size_t>(message.numBytes));
    }
}

void LiveSound::audioDeviceIOCallbackWithContext(const float* const* voice, int voiceChannels,
                                                 float* const* output, int outputChannels, int frames,
                                                 const juce::AudioIODeviceCallbackContext&) {
    const juce::ScopedNoDenormals noDenormals;
    Gather(frames);
    std::array<float*, 2> sides{};
    for (std::size_t side = 0; side < 2; ++side) {
        const bool isThere = static_cast<int>(side) < outputChannels;
        sides[side] = isThere ? output[side] : spare.data() + side * spare.size() / 2;
    }
    for (int side = 2; side < outputChannels; ++side) {
        std::fill_n(output[side], frames, 0.0F);
    }
    plugin::PluginBlock block{voice,        static_cast<std::uint32_t>(std::clamp(voiceChannels, 0, 2)),
                              sides.data(), static_cast<std::uint32_t>(frames),
                              events,       nullptr};
    if (song != nullptr) {
        song->Play(instrument, block, events);
    } else {
        instrument.Process(block);
    }
    events.clear();
    calls.fetch_add(1, std::memory_order_relaxed);
}

void LiveSound::audioDeviceAboutToStart(juce::AudioIODevice* device) {
    const double rate = device->getCurrentSampleRate();
    collector.reset(rate);
    spare.assign(2 * static_cast<std::size_t>(std::max(device->getCurrentBufferSizeSamples(), 8192)), 0.0F);
    instrument.Activate(rate);
    hasFailed = false;
}

void LiveSound::audioDeviceStopped() { instrument.Deactivate(); }

void LiveSound::audioDeviceError(const juce::String&) { hasFailed = true; }

} // namespace orphia::standalone
