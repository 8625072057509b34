// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/core/PluginInstrument.h"
#include "plugin/standalone/Song.h"

#include <juce_audio_devices/juce_audio_devices.h>

#include <atomic>
#include <cstdint>
#include <vector>

namespace orphia::standalone {

/// The instrument on a device: voice in, sound out, messages from wherever they come.
class LiveSound final : public juce::AudioIODeviceCallback, public juce::MidiInputCallback {
public:
    /// A song, which may be null, is played from the first block on and must outlive this.
    explicit LiveSound(plugin::PluginInstrument& instrument, Song* song = nullptr);

    /// On the audio thread: at a frame of the block that comes next.
    void Take(std::uint32_t frame, const std::uint8_t* bytes, std::size_t count);
    /// Of ALSA, on a thread of its own.
    void handleIncomingMidiMessage(juce::MidiInput* source, const juce::MidiMessage& message) override;

    void audioDeviceIOCallbackWithContext(const float* const* voice, int voiceChannels, float* const* output,
                                          int outputChannels, int frames,
                                          const juce::AudioIODeviceCallbackContext& context) override;
    void audioDeviceAboutToStart(juce::AudioIODevice* device) override;
    void audioDeviceStopped() override;
    void audioDeviceError(const juce::String& message) override;

    /// The device told that it can go on no more.
    bool HasFailed() const { return hasFailed; }
    /// How often a device came for sound.
    std::uint64_t Calls() const { return calls; }

private:
    void Gather(int frames);

    plugin::PluginInstrument& instrument;
    Song* song;
    juce::MidiMessageCollector collector;
    juce::MidiBuffer collected;
    std::vector<host::TimedEvent> events;
    std::vector<float> spare;
    std::atomic<bool> hasFailed{false};
    std::atomic<std::uint64_t> calls{0};
};

} // namespace orphia::standalone
