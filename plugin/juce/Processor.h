// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/core/PluginInstrument.h"
#include "plugin/juce/HostParameter.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <optional>
#include <vector>

namespace orphia::plugin {

/// A PluginInstrument behind JUCE's wrappers for VST3 and LV2.
class Processor final : public juce::AudioProcessor, public juce::VST3ClientExtensions, private juce::Timer {
public:
    explicit Processor(PluginInstrument::Kind kind);
    ~Processor() override;

    const juce::String getName() const override;
    bool isBusesLayoutSupported(const BusesLayout& layout) const override;
    /// The voice of an instrument is a side-chain.
    bool getPluginHasMainInput() const override { return kind == PluginInstrument::Kind::Effect; }
    bool acceptsMidi() const override { return true; }
    bool producesMidi() const override { return false; }
    bool supportsMPE() const override { return true; }
    double getTailLengthSeconds() const override { return PluginInstrument::tailSeconds; }
    juce::AudioProcessorParameter* getBypassParameter() const override { return bypass; }

    void prepareToPlay(double sampleRate, int longestBlock) override;
    void releaseResources() override;
    void reset() override;
    void setNonRealtime(bool isOffline) noexcept override;
    using juce::AudioProcessor::processBlock;
    void processBlock(juce::AudioBuffer<float>& sound, juce::MidiBuffer& messages) override;

    int getNumPrograms() override;
    int getCurrentProgram() override;
    void setCurrentProgram(int index) override;
    const juce::String getProgramName(int index) override;
    void changeProgramName(int, const juce::String&) override {}

    void getStateInformation(juce::MemoryBlock& state) override;
    void setStateInformation(const void* state, int size) override;

    bool hasEditor() const override { return true; }
    juce::AudioProcessorEditor* createEditor() override;

private:
    void AddParameters();
    void Gather(const juce::MidiBuffer& messages);
    const host::Transport* FollowHost(int frames);
    void timerCallback() override;
    void TellHost();

    PluginInstrument::Kind kind;
    PluginInstrument instrument;
    std::vector<HostParameter*> parameters;
    HostParameter* bypass = nullptr;
    /// As they were when the host asked first.
    std::vector<PluginInstrument::Program> programs;
    std::vector<host::TimedEvent> events;
    std::optional<host::Transport> transport;
    /// Where the beat will be at the end of a block, for hosts that tell only what changes.
    std::optional<host::Transport> next;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(Processor)
};

/// What a window of a host shows.
juce::AudioProcessorEditor* MakeEditor(juce::AudioProcessor& processor, PluginInstrument& instrument);

} // namespace orphia::plugin
