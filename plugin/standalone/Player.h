// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/standalone/DeviceManager.h"
#include "plugin/standalone/LiveSound.h"
#include "plugin/standalone/Settings.h"

#include <cstdint>
#include <memory>
#include <string>

namespace orphia::standalone {

/// The instrument on the devices that the user chose, and what is remembered of both.
class Player final : private juce::Timer {
public:
    explicit Player(const std::string& firstState);
    ~Player() override;

    /// One line for the user: what plays, or what is missing.
    juce::String Status() const;

    plugin::PluginInstrument instrument;
    LiveSound sound{instrument};
    DeviceManager manager;

private:
    void OpenDevices();
    void OpenMidi();
    void Remember();
    void timerCallback() override;

    Settings settings;
    std::unique_ptr<juce::MidiInput> ownPort;
    juce::Array<juce::MidiDeviceInfo> knownMidi;
    std::string writtenState;
    std::uint64_t lastCalls = 0;
    int idleLooks = 0;
    bool isGone = false;
    int looks = 0;
};

} // namespace orphia::standalone
