// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/standalone/Headless.h"

#include "host/audio/AudioFileWriter.h"
#include "host/common/Errors.h"
#include "host/presets/NeutralStart.h"
#include "host/presets/PresetLibrary.h"
#include "plugin/standalone/DeviceManager.h"
#include "plugin/standalone/LiveSound.h"
#include "plugin/standalone/Settings.h"

#include <alsa/asoundlib.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace orphia::standalone {

namespace {

volatile std::sig_atomic_t stopSignal = 0;

void WatchStopSignals() {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(number, [](int received) { stopSignal = received; });
    }
}

/// JACK when its server runs, else the first one of ALSA. A device tells its type when it is lost, so the
/// types have to outlive it.
std::unique_ptr<juce::AudioIODevice> OpenDevice(const juce::OwnedArray<juce::AudioIODeviceType>& types) {
    std::string reason = "there is neither a JACK server nor a sound card";
    for (juce::AudioIODeviceType* const type : types) {
        type->scanForDevices();
        const juce::StringArray outputs = type->getDeviceNames(false);
        const juce::StringArray inputs = type->getDeviceNames(true);
        if (outputs.isEmpty()) {
            continue;
        }
        const auto nameOf = [type](const juce::StringArray& names, bool isInput) {
            return names.isEmpty() ? juce::String() : names[type->getDefaultDeviceIndex(isInput)];
        };
        std::unique_ptr<juce::AudioIODevice> device(
            type->createDevice(nameOf(outputs, false), nameOf(inputs, true)));
        if (device == nullptr) {
            continue;
        }
        juce::BigInteger both;
        both.setRange(0, 2, true);
        const juce::Array<double> rates = device->getAvailableSampleRates();
        const double rate = rates.contains(48000.0) || rates.isEmpty() ? 48000.0 : rates.getFirst();
        const juce::String error = device->open(both, both, rate, device->getDefaultBufferSize());
        if (error.isEmpty()) {
            return device;
        }
        reason = error.toStdString();
    }
    throw host::FileError("no sound device can be opened: " + reason);
}

void PrepareSound(plugin::PluginInstrument& instrument, const Job& job) {
    if (!instrument.IsUsable()) {
        const auto messages = instrument.TakeMessages();
        throw host::EngineError(messages.empty() ? "the engine cannot be used" : messages.front());
    }
    // Controllers are those of the last time, the sound is that of the preset.
    if (const auto last = Settings::Read(Settings().lastState)) {
        instrument.LoadState(*last);
        instrument.TakeMessages();
    }
    const std::string preset = job.preset.empty() ? "default" : job.preset;
    if (!instrument.LoadState(StateOfPreset(preset))) {
        throw host::FileError(preset + ": it cannot be loaded");
    }
    if (!job.voice.empty()) {
        const host::ParameterCatalog& catalog = host::ParameterCatalog::OfInstrument();
        instrument.SetPosition(catalog.Find("Modulator_ExternalInput").id, 1.0F);
    }
}

/// Does something now and then, until it says that all is done.
class Pump final : public juce::Timer {
public:
    explicit Pump(std::function<bool()> work) : step(std::move(work)) { startTimer(20); }

    void timerCallback() override {
        bool isOver = true;
        try {
            isOver = step();
        } catch (...) {
            failure = std::current_exception();
        }
        if (isOver) {
            stopTimer();
            juce::MessageManager::getInstance()->stopDispatchLoop();
        }
    }
    void Rethrow() const {
        if (failure) {
            std::rethrow_exception(failure);
        }
    }

private:
    std::function<bool()> step;
    std::exception_ptr failure;
};

void TellUser(plugin::PluginInstrument& instrument) {
    for (const std::string& message : instrument.TakeMessages()) {
        std::fprintf(stderr, "orphia-vx: %s\n", message.c_str());
    }
}

void SayNothing(const char*, int, const char*, int, const char*, ...) {}

} // namespace

void HushAlsa() { snd_lib_error_set_handler(SayNothing); }

std::string StateOfPreset(const std::string& pathOrName) {
    const host::ParameterCatalog& catalog = host::ParameterCatalog::OfInstrument();
    plugin::PluginState state;
    std::vector<std::string> warnings;
    state.preset = host::PresetLibrary().Open(pathOrName, catalog, warnings);
    for (const std::string& warning : warnings) {
        std::fprintf(stderr, "orphia-vx: %s\n", warning.c_str());
    }
    return plugin::FormatState(state);
}

int RunHeadless(const Job& job) {
    if (!job.output.empty()) {
        host::AudioFileWriter::CheckFormat(job.output, std::nullopt);
    }
    WatchStopSignals();
    const juce::ScopedJuceInitialiser_GUI juce;
    plugin::PluginInstrument instrument;
    PrepareSound(instrument, job);

    LiveSound* target = nullptr;
    DeviceManager manager([&target](std::uint32_t frame, const std::uint8_t* bytes, std::size_t count) {
        target->Take(frame, bytes, count);
    });
    juce::OwnedArray<juce::AudioIODeviceType> types;
    manager.createAudioDeviceTypes(types);
    const std::unique_ptr<juce::AudioIODevice> device = OpenDevice(types);
    HushAlsa();
    const auto rate = static_cast<std::uint32_t>(device->getCurrentSampleRate());
    Song song(job.voice, job.midi, rate);
    std::optional<host::AudioFileWriter> writer;
    if (!job.output.empty()) {
        writer.emplace(job.output, rate, std::nullopt);
        song.Record();
    }
    LiveSound sound(instrument, &song);
    target = &sound;
    const auto port = juce::MidiInput::createNewDevice("Orphia VX", &sound);
    if (port != nullptr) {
        port->start();
    }
    std::fprintf(stderr, "orphia-vx: plays on %s at %u Hz; Ctrl-C ends it\n",
                 device->getTypeName().toRawUTF8(), rate);
    std::vector<float> samples;
    device->start(&sound);
    Pump pump([&] {
        TellUser(instrument);
        if (writer) {
            song.Take(samples);
            writer->Write(samples);
        }
        return stopSignal != 0 || song.IsDone() || sound.HasFailed();
    });
    juce::MessageManager::getInstance()->runDispatchLoop();
    pump.stopTimer();
    pump.Rethrow();
    device->stop();
    device->close();
    if (writer) {
        song.Take(samples);
        writer->Write(samples);
        writer->Finish();
    }
    if (song.Lost() > 0) {
        std::fprintf(stderr, "orphia-vx: %llu frames are missing in the file: it was written too slowly\n",
                     static_cast<unsigned long long>(song.Lost()));
    }
    if (sound.HasFailed()) {
        throw host::FileError("the sound device has gone");
    }
    return 0;
}

} // namespace orphia::standalone
