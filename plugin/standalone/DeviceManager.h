// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/standalone/JackDevice.h"

#include <memory>
#include <utility>

namespace orphia::standalone {

/// The devices of this program: JACK by our own client, and ALSA.
class DeviceManager final : public juce::AudioDeviceManager {
public:
    explicit DeviceManager(MidiSink keysOfJack) : sink(std::move(keysOfJack)) {}

    void createAudioDeviceTypes(juce::OwnedArray<juce::AudioIODeviceType>& types) override {
        types.add(new JackDeviceType(sink));
        if (juce::AudioIODeviceType* const alsa = juce::AudioIODeviceType::createAudioIODeviceType_ALSA()) {
            types.add(alsa);
        }
    }

private:
    MidiSink sink;
};

} // namespace orphia::standalone
