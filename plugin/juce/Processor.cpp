// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/juce/Processor.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace orphia::plugin {

namespace {

constexpr int looksPerSecond = 20;

juce::String Utf8(std::string_view text) {
    return juce::String::fromUTF8(text.data(), static_cast<int>(text.size()));
}

/// Where a host tells only time and tempo, that was the tempo from the start. LV2 has beats of its time
/// signature.
std::optional<double> BeatOf(const juce::AudioPlayHead::PositionInfo& position, double rate, bool isLv2) {
    if (const auto beat = position.getPpqPosition()) {
        const auto signature = position.getTimeSignature();
        return *beat * (isLv2 && signature ? 4.0 / std::max(signature->denominator, 1) : 1.0);
    }
    const auto frames = position.getTimeInSamples();
    const auto tempo = position.getBpm();
    return frames && tempo ? std::optional(static_cast<double>(*frames) / rate * *tempo / 60.0)
                           : std::nullopt;
}

} // namespace

Processor::Processor(PluginInstrument::Kind ofKind)
    : AudioProcessor(BusesProperties()
                         .withInput("Voice", juce::AudioChannelSet::stereo())
                         .withOutput("Output", juce::AudioChannelSet::stereo())),
      kind(ofKind), instrument(ofKind), programs(instrument.Programs()) {
    // The list of an LV2 is in its bundle, the same on each machine.
    if (wrapperType == wrapperType_LV2) {
        std::erase_if(programs, [](const PluginInstrument::Program& program) { return !program.isFactory; });
    }
    events.reserve(PluginBlock::mostEvents);
    AddParameters();
    startTimerHz(looksPerSecond);
}

Processor::~Processor() { stopTimer(); }

/// Groups have the order of the panel; each begins where its name comes first. The description of an LV2 has
/// them in the order of their addresses: that is the same here, so that each build describes the same.
void Processor::AddParameters() {
    using Group = juce::AudioProcessorParameterGroup;
    juce::StringArray names;
    for (const PluginParameter& parameter : PluginParameters::Get().All()) {
        names.addIfNotAlreadyThere(Utf8(parameter.group));
    }
    std::vector<std::unique_ptr<Group>> groups(static_cast<std::size_t>(names.size()));
    std::generate(groups.begin(), groups.end(), [] { return std::make_unique<Group>(); });
    std::sort(groups.begin(), groups.end());
    const auto groupOf = [&](const juce::String& name) -> Group& {
        return *groups[static_cast<std::size_t>(names.indexOf(name))];
    };
    for (const juce::String& name : names) {
        groupOf(name) = Group(name.removeCharacters(" "), name, "|");
    }
    for (const PluginParameter& parameter : PluginParameters::Get().All()) {
        auto owned = std::make_unique<HostParameter>(instrument, parameter);
        parameters.push_back(owned.get());
        if (parameter.id == PluginParameters::bypass) {
            bypass = owned.get();
        }
        groupOf(Utf8(parameter.group)).addChild(std::move(owned));
    }
    for (auto& group : groups) {
        addParameterGroup(std::move(group));
    }
}

const juce::String Processor::getName() const {
    return kind == PluginInstrument::Kind::Effect ? "Orphia VX Effect" : "Orphia VX";
}

bool Processor::isBusesLayoutSupported(const BusesLayout& layout) const {
    const juce::AudioChannelSet voice = layout.getChannelSet(true, 0);
    return layout.getMainOutputChannelSet() == juce::AudioChannelSet::stereo() &&
           (voice.isDisabled() || voice == juce::AudioChannelSet::mono() ||
            voice == juce::AudioChannelSet::stereo());
}

void Processor::prepareToPlay(double sampleRate, int) {
    instrument.Activate(sampleRate);
    next.reset();
    setLatencySamples(static_cast<int>(instrument.LatencyFrames()));
}

void Processor::releaseResources() { instrument.Deactivate(); }

void Processor::reset() { instrument.Reset(); }

void Processor::setNonRealtime(bool isOffline) noexcept {
    AudioProcessor::setNonRealtime(isOffline);
    instrument.SetOffline(isOffline);
}

void Processor::Gather(const juce::MidiBuffer& messages) {
    events.clear();
    for (const juce::MidiMessageMetadata message : messages) {
        const auto what = ChannelMessage(message.data, static_cast<std::size_t>(message.numBytes));
        if (what && events.size() < PluginBlock::mostEvents) {
            events.push_back({static_cast<std::uint32_t>(std::max(message.samplePosition, 0)), *what});
        }
    }
}

/// Null without a transport of the host. LV2 tells only changes.
const host::Transport* Processor::FollowHost(int frames) {
    const auto position = getPlayHead() != nullptr ? getPlayHead()->getPosition()
                                                   : juce::Optional<juce::AudioPlayHead::PositionInfo>();
    const bool isLv2 = wrapperType == wrapperType_LV2;
    transport = isLv2 ? next : std::nullopt;
    if (const auto beat = position ? BeatOf(*position, getSampleRate(), isLv2) : std::nullopt) {
        transport = host::Transport{position->getBpm().orFallback(120.0), *beat, position->getIsPlaying()};
    }
    next = transport;
    if (next && next->isPlaying) {
        next->beat += frames / getSampleRate() * next->tempo / 60.0;
    }
    return transport ? &*transport : nullptr;
}

void Processor::processBlock(juce::AudioBuffer<float>& sound, juce::MidiBuffer& messages) {
    const juce::ScopedNoDenormals noDenormals;
    Gather(messages);
    messages.clear();
    instrument.Process({sound.getArrayOfReadPointers(),
                        static_cast<std::uint32_t>(getChannelCountOfBus(true, 0)),
                        sound.getArrayOfWritePointers(), static_cast<std::uint32_t>(sound.getNumSamples()),
                        events, FollowHost(sound.getNumSamples())});
}

int Processor::getNumPrograms() { return static_cast<int>(programs.size()); }

int Processor::getCurrentProgram() {
    const auto index = instrument.CurrentProgram();
    return index && *index < programs.size() ? static_cast<int>(*index) : 0;
}

void Processor::setCurrentProgram(int index) {
    if (index >= 0 && index < getNumPrograms()) {
        instrument.LoadProgram(static_cast<std::uint32_t>(index));
        setLatencySamples(static_cast<int>(instrument.LatencyFrames()));
    }
}

const juce::String Processor::getProgramName(int index) {
    return index >= 0 && index < getNumPrograms() ? Utf8(programs[static_cast<std::size_t>(index)].name)
                                                  : juce::String();
}

void Processor::getStateInformation(juce::MemoryBlock& state) {
    const std::string text = instrument.SaveState();
    state.replaceAll(text.data(), text.size());
}

void Processor::setStateInformation(const void* state, int size) {
    instrument.LoadState({static_cast<const char*>(state), static_cast<std::size_t>(std::max(size, 0))});
    setLatencySamples(static_cast<int>(instrument.LatencyFrames()));
}

juce::AudioProcessorEditor* Processor::createEditor() { return MakeEditor(*this, instrument); }

void Processor::timerCallback() {
    for (HostParameter* const parameter : parameters) {
        parameter->TellHost(getActiveEditor() != nullptr);
    }
    if (instrument.HasNews()) {
        TellHost();
    }
    for (const std::string& message : instrument.TakeMessages()) {
        std::fprintf(stderr, "Orphia VX: %s\n", message.c_str());
    }
}

void Processor::TellHost() {
    instrument.TakeChangedParameters();
    if (instrument.TakeLatencyChange()) {
        setLatencySamples(static_cast<int>(instrument.LatencyFrames()));
    }
    if (instrument.TakeProgramChange()) {
        updateHostDisplay(ChangeDetails().withProgramChanged(true));
    }
}

} // namespace orphia::plugin
