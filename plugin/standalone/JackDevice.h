// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <jack/types.h>
#include <juce_audio_devices/juce_audio_devices.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>

namespace orphia::standalone {

/// Takes a message of MIDI at a frame of the block that comes next; on the audio thread.
using MidiSink = std::function<void(std::uint32_t frame, const std::uint8_t* bytes, std::size_t count)>;

/// The JACK server as a device: voice left and right, output left and right, and a port for keys, whose
/// messages come at their frames. All ports are there whatever is connected to them.
class JackDevice final : public juce::AudioIODevice, private juce::AsyncUpdater {
public:
    static constexpr const char* name = "JACK server";

    /// onLost comes on the message thread when the server has gone.
    JackDevice(MidiSink keys, std::function<void()> onLost);
    ~JackDevice() override;

    juce::StringArray getOutputChannelNames() override { return {"Left", "Right"}; }
    juce::StringArray getInputChannelNames() override { return {"Voice left", "Voice right"}; }
    juce::Array<double> getAvailableSampleRates() override;
    juce::Array<int> getAvailableBufferSizes() override;
    int getDefaultBufferSize() override { return getCurrentBufferSizeSamples(); }
    juce::String open(const juce::BigInteger& inputs, const juce::BigInteger& outputs, double sampleRate,
                      int bufferSize) override;
    void close() override;
    bool isOpen() override { return client != nullptr && isActivated; }
    void start(juce::AudioIODeviceCallback* next) override;
    void stop() override { start(nullptr); }
    bool isPlaying() override { return callback != nullptr; }
    juce::String getLastError() override { return error; }
    int getCurrentBufferSizeSamples() override;
    double getCurrentSampleRate() override;
    int getCurrentBitDepth() override { return 32; }
    juce::BigInteger getActiveOutputChannels() const override { return both; }
    juce::BigInteger getActiveInputChannels() const override { return both; }
    int getOutputLatencyInSamples() override { return 0; }
    int getInputLatencyInSamples() override { return 0; }
    int getXRunCount() const noexcept override { return xruns; }

private:
    static int Process(jack_nframes_t frames, void* device);
    void Play(jack_nframes_t frames);
    void ConnectPhysical();
    void handleAsyncUpdate() override;

    MidiSink sink;
    std::function<void()> whenLost;
    jack_client_t* client = nullptr;
    std::array<jack_port_t*, 2> voice{};
    std::array<jack_port_t*, 2> output{};
    jack_port_t* keys = nullptr;
    juce::BigInteger both;
    bool isActivated = false;
    juce::String error;
    juce::CriticalSection callbackLock;
    juce::AudioIODeviceCallback* callback = nullptr;
    std::atomic<int> xruns{0};
};

class JackDeviceType final : public juce::AudioIODeviceType {
public:
    explicit JackDeviceType(MidiSink keys) : AudioIODeviceType("JACK"), sink(std::move(keys)) {}

    void scanForDevices() override;
    juce::StringArray getDeviceNames(bool) const override { return names; }
    int getDefaultDeviceIndex(bool) const override { return 0; }
    int getIndexOfDevice(juce::AudioIODevice* device, bool) const override {
        return device != nullptr ? 0 : -1;
    }
    bool hasSeparateInputsAndOutputs() const override { return false; }
    juce::AudioIODevice* createDevice(const juce::String& output, const juce::String& input) override;

private:
    MidiSink sink;
    juce::StringArray names;
};

} // namespace orphia::standalone
