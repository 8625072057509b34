// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/standalone/Player.h"

#include <cstdio>
#include <utility>

namespace orphia::standalone {

namespace {

constexpr int millisecondsPerLook = 500;
/// A device that has not come for so long is taken for gone.
constexpr int mostIdleLooks = 6;
constexpr int looksPerMemory = 20;

} // namespace

Player::Player(const std::string& firstState)
    : manager([this](std::uint32_t frame, const std::uint8_t* bytes, std::size_t count) {
          sound.Take(frame, bytes, count);
      }) {
    // A preset leaves the controllers as they were.
    for (const std::string& state : {Settings::Read(settings.lastState).value_or(""), firstState}) {
        if (!state.empty()) {
            instrument.LoadState(state);
        }
    }
    OpenDevices();
    startTimer(millisecondsPerLook);
}

Player::~Player() {
    stopTimer();
    Remember();
    manager.removeAudioCallback(&sound);
    manager.closeAudioDevice();
}

/// The input is open from the first start on: without a voice nothing is heard.
void Player::OpenDevices() {
    const auto chosen = Settings::Read(settings.devices);
    const std::unique_ptr<juce::XmlElement> xml =
        chosen ? juce::parseXML(juce::String::fromUTF8(chosen->c_str())) : nullptr;
    manager.initialise(2, 2, xml.get(), true);
    manager.addAudioCallback(&sound);
    manager.addMidiInputDeviceCallback({}, &sound);
    ownPort = juce::MidiInput::createNewDevice("Orphia VX", &sound);
    if (ownPort != nullptr) {
        ownPort->start();
    }
    OpenMidi();
}

/// What is plugged in later plays too; what the user has switched off stays so.
void Player::OpenMidi() {
    const juce::Array<juce::MidiDeviceInfo> present = juce::MidiInput::getAvailableDevices();
    for (const juce::MidiDeviceInfo& device : present) {
        if (!knownMidi.contains(device)) {
            manager.setMidiInputDeviceEnabled(device.identifier, true);
        }
    }
    knownMidi = present;
}

juce::String Player::Status() const {
    const juce::AudioIODevice* const device = manager.getCurrentAudioDevice();
    if (!instrument.IsUsable()) {
        return "The engine's library is missing: it belongs beside this program";
    }
    if (device == nullptr || idleLooks > 2) {
        return "No sound device. Start a JACK server, or choose one with \"Sound\"";
    }
    return "Speak into the input and hold keys, of a MIDI keyboard or a row of letters.  " +
           device->getTypeName() + ", " + device->getName();
}

void Player::Remember() {
    const std::string state = instrument.SaveState();
    if (state != writtenState && Settings::Write(settings.lastState, state)) {
        writtenState = state;
    }
    if (const std::unique_ptr<juce::XmlElement> xml = manager.createStateXml()) {
        const std::string text = xml->toString().toStdString();
        if (text != Settings::Read(settings.devices).value_or("")) {
            Settings::Write(settings.devices, text);
        }
    }
}

void Player::timerCallback() {
    for (const std::string& message : instrument.TakeMessages()) {
        std::fprintf(stderr, "orphia-vx: %s\n", message.c_str());
    }
    idleLooks = sound.Calls() == lastCalls ? idleLooks + 1 : 0;
    lastCalls = sound.Calls();
    if (idleLooks == 0) {
        isGone = false;
    }
    if (idleLooks >= mostIdleLooks) {
        idleLooks = 3;
        if (!std::exchange(isGone, true)) {
            std::fprintf(stderr, "orphia-vx: no sound device plays; it is looked for\n");
        }
        manager.closeAudioDevice();
        for (juce::AudioIODeviceType* const type : manager.getAvailableDeviceTypes()) {
            type->scanForDevices();
        }
        manager.restartLastAudioDevice();
        if (manager.getCurrentAudioDevice() == nullptr) {
            manager.initialiseWithDefaultDevices(2, 2);
        }
    }
    if (++looks % looksPerMemory == 0) {
        Remember();
        OpenMidi();
    }
}

} // namespace orphia::standalone
