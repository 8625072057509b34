// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/standalone/JackDevice.h"

#include <jack/jack.h>
#include <jack/midiport.h>

#include <algorithm>
#include <utility>

namespace orphia::standalone {

namespace {

constexpr const char* clientName = "Orphia VX";

/// Says nothing when there is no server.
jack_client_t* OpenClient(const char* name) {
    jack_set_error_function([](const char*) {});
    jack_set_info_function([](const char*) {});
    return jack_client_open(name, JackNoStartServer, nullptr);
}

} // namespace

JackDevice::JackDevice(MidiSink keysTo, std::function<void()> onLost)
    : AudioIODevice(name, "JACK"), sink(std::move(keysTo)), whenLost(std::move(onLost)),
      client(OpenClient(clientName)) {
    both.setRange(0, 2, true);
    if (client == nullptr) {
        error = "no JACK server is running";
        return;
    }
    const auto add = [this](const char* portName, const char* type, unsigned long flags) {
        return jack_port_register(client, portName, type, flags, 0);
    };
    voice = {add("voice_left", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput),
             add("voice_right", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput)};
    output = {add("left", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput),
              add("right", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput)};
    keys = add("keys", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput);
    jack_set_process_callback(client, Process, this);
    jack_on_shutdown(
        client, [](void* device) { static_cast<JackDevice*>(device)->triggerAsyncUpdate(); }, this);
    jack_set_xrun_callback(
        client,
        [](void* device) {
            ++static_cast<JackDevice*>(device)->xruns;
            return 0;
        },
        this);
}

JackDevice::~JackDevice() {
    cancelPendingUpdate();
    close();
    if (client != nullptr) {
        jack_client_close(client);
    }
}

juce::Array<double> JackDevice::getAvailableSampleRates() { return {getCurrentSampleRate()}; }

juce::Array<int> JackDevice::getAvailableBufferSizes() { return {getCurrentBufferSizeSamples()}; }

int JackDevice::getCurrentBufferSizeSamples() {
    return client != nullptr ? static_cast<int>(jack_get_buffer_size(client)) : 0;
}

double JackDevice::getCurrentSampleRate() { return client != nullptr ? jack_get_sample_rate(client) : 0.0; }

juce::String JackDevice::open(const juce::BigInteger&, const juce::BigInteger&, double, int) {
    if (client == nullptr) {
        return error;
    }
    isActivated = jack_activate(client) == 0;
    if (!isActivated) {
        return "the JACK server does not let it play";
    }
    ConnectPhysical();
    return {};
}

/// The first two of each, as far as there are such.
void JackDevice::ConnectPhysical() {
    const auto connect = [this](const std::array<jack_port_t*, 2>& own, unsigned long flags, bool isInput) {
        const char** const others =
            jack_get_ports(client, nullptr, JACK_DEFAULT_AUDIO_TYPE, JackPortIsPhysical | flags);
        for (std::size_t n = 0; others != nullptr && n < own.size() && others[n] != nullptr; ++n) {
            const char* const mine = jack_port_name(own[n]);
            jack_connect(client, isInput ? others[n] : mine, isInput ? mine : others[n]);
        }
        jack_free(others);
    };
    connect(voice, JackPortIsOutput, true);
    connect(output, JackPortIsInput, false);
}

void JackDevice::close() {
    stop();
    if (isOpen()) {
        jack_deactivate(client);
    }
    isActivated = false;
}

void JackDevice::start(juce::AudioIODeviceCallback* next) {
    if (next == callback) {
        return;
    }
    if (next != nullptr) {
        next->audioDeviceAboutToStart(this);
    }
    juce::AudioIODeviceCallback* last = nullptr;
    {
        const juce::ScopedLock lock(callbackLock);
        last = std::exchange(callback, next);
    }
    if (last != nullptr) {
        last->audioDeviceStopped();
    }
}

int JackDevice::Process(jack_nframes_t frames, void* device) {
    static_cast<JackDevice*>(device)->Play(frames);
    return 0;
}

void JackDevice::Play(jack_nframes_t frames) {
    const auto buffer = [frames](jack_port_t* port) {
        return static_cast<float*>(jack_port_get_buffer(port, frames));
    };
    const std::array<const float*, 2> heard{buffer(voice[0]), buffer(voice[1])};
    const std::array<float*, 2> played{buffer(output[0]), buffer(output[1])};
    const juce::ScopedTryLock lock(callbackLock);
    if (!lock.isLocked() || callback == nullptr) {
        std::fill_n(played[0], frames, 0.0F);
        std::fill_n(played[1], frames, 0.0F);
        return;
    }
    void* const messages = jack_port_get_buffer(keys, frames);
    const std::uint32_t count = jack_midi_get_event_count(messages);
    for (std::uint32_t n = 0; n < count; ++n) {
        jack_midi_event_t event{};
        if (jack_midi_event_get(&event, messages, n) == 0) {
            sink(event.time, event.buffer, event.size);
        }
    }
    callback->audioDeviceIOCallbackWithContext(heard.data(), 2, played.data(), 2, static_cast<int>(frames),
                                               {});
}

void JackDevice::handleAsyncUpdate() {
    isActivated = false;
    error = "the JACK server has gone";
    {
        const juce::ScopedLock lock(callbackLock);
        if (callback != nullptr) {
            callback->audioDeviceError(error);
        }
    }
    // Who hears of it may delete this.
    if (const auto tell = whenLost) {
        tell();
    }
}

void JackDeviceType::scanForDevices() {
    names.clear();
    if (jack_client_t* const client = OpenClient("Orphia VX looks")) {
        names.add(JackDevice::name);
        jack_client_close(client);
    }
}

juce::AudioIODevice* JackDeviceType::createDevice(const juce::String&, const juce::String&) {
    return new JackDevice(sink, [this] { callDeviceChangeListeners(); });
}

} // namespace orphia::standalone
