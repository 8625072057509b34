// SPDX-License-Identifier: GPL-3.0-or-later
// The plug-in for DPF, without an editor: an LV2 with control ports, or a VST3.
#include "DistrhoPlugin.hpp"
#include "plugin/core/PluginInstrument.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

START_NAMESPACE_DISTRHO

namespace {

using orphia::plugin::PluginInstrument;
using orphia::plugin::PluginParameter;
using orphia::plugin::PluginParameters;

/// From which ratio of its ends on a range is shown by octaves.
constexpr float leastOctaves = 8.0F;

const std::vector<PluginParameter>& All() { return PluginParameters::Get().All(); }

#ifdef DISTRHO_PLUGIN_TARGET_VST3
constexpr bool isVst3 = true;
#else
constexpr bool isVst3 = false;
#endif

/// The first parameter of a VST3 is told to hosts as 0, wherever it is; so it is the bypass, the last of
/// ours.
const PluginParameter& At(std::uint32_t index) {
    return All()[(index + (isVst3 ? All().size() - 1 : 0)) % All().size()];
}

/// The groups of the parameters, in their order.
const std::vector<std::string>& Groups() {
    static const std::vector<std::string> groups = [] {
        std::vector<std::string> names;
        for (const PluginParameter& parameter : All()) {
            if (std::find(names.begin(), names.end(), parameter.group) == names.end()) {
                names.emplace_back(parameter.group);
            }
        }
        return names;
    }();
    return groups;
}

/// Ports have real values, but for switches, which are 0 and 1.
float ToPort(const PluginParameter& parameter, float position) {
    return parameter.isSwitch ? std::round(position)
                              : PluginParameters::Get().ToValue(parameter.id, position);
}

float ToPosition(const PluginParameter& parameter, float port) {
    return parameter.isSwitch ? std::round(port) : PluginParameters::Get().ToPosition(parameter.id, port);
}

/// A bend that is full comes to a VST3 as one step more than there are.
std::optional<orphia::host::MidiMessage> MessageOf(const MidiEvent& midi) {
    const uint8_t* const bytes = midi.size > MidiEvent::kDataSize ? midi.dataExt : midi.data;
    auto message = orphia::plugin::ChannelMessage(bytes, midi.size);
    if (isVst3 && message && midi.size > 2 && bytes[2] > 0x7F) {
        message->data1 = message->data2 = 0x7F;
    }
    return message;
}

/// Of a beat of the time signature. A VST3 is told bars of whole quarters, rounded down.
double QuartersPerBeat(const TimePosition& time) {
    const double ofNote = 4.0 / static_cast<double>(time.bbt.beatType);
    const auto beatsPerBar = static_cast<double>(time.bbt.beatsPerBar);
    return isVst3 ? std::floor(ofNote * beatsPerBar) / beatsPerBar : ofNote;
}

/// Those that are built in: a list that is the same on each machine, as it goes into bundles.
std::uint32_t ProgramCount() {
    static const std::uint32_t count = [] {
        PluginInstrument::Options options;
        options.presetFolder.emplace();
        return static_cast<std::uint32_t>(PluginInstrument(options).Programs().size());
    }();
    return count;
}

PluginInstrument::Options OptionsOf(bool isDummy) {
    PluginInstrument::Options options;
    options.kind = ORPHIA_IS_EFFECT ? PluginInstrument::Kind::Effect : PluginInstrument::Kind::Instrument;
    if (isDummy) {
        options.presetFolder.emplace();
    }
    return options;
}

} // namespace

class DpfPlugin final : public Plugin {
public:
    DpfPlugin()
        : Plugin(static_cast<std::uint32_t>(All().size()), ProgramCount(), 1),
          instrument(OptionsOf(isDummyInstance())) {
        events.reserve(orphia::plugin::PluginBlock::mostEvents);
        if (isDummyInstance()) {
            fresh = instrument.SaveState();
        }
    }

protected:
    const char* getLabel() const override { return ORPHIA_IS_EFFECT ? "OrphiaVXEffect" : "OrphiaVX"; }
    const char* getDescription() const override {
        return "A sixteen-band analogue vocoder with its carrier, a synthesizer, and effects: a voice "
               "speaks, keys sing.";
    }
    const char* getMaker() const override { return DISTRHO_PLUGIN_BRAND; }
    const char* getLicense() const override { return "GPL-3.0-or-later"; }
    uint32_t getVersion() const override { return d_version(ORPHIA_VERSION); }
    int64_t getUniqueId() const override { return d_cconst('O', 'v', 'x', ORPHIA_IS_EFFECT ? 'e' : 'i'); }

    void initAudioPort(bool isInput, uint32_t index, AudioPort& port) override {
        Plugin::initAudioPort(isInput, index, port);
        port.groupId = kPortGroupStereo;
        if (isInput) {
            port.name = index == 0 ? "Voice Left" : "Voice Right";
            port.hints = ORPHIA_IS_EFFECT ? 0 : kAudioPortIsSidechain;
        } else {
            port.name = index == 0 ? "Left" : "Right";
        }
    }

    void initParameter(uint32_t index, Parameter& parameter) override {
        const PluginParameter& ours = At(index);
        if (ours.id == PluginParameters::bypass) {
            parameter.initDesignation(kParameterDesignationBypass);
            return;
        }
        parameter.hints = kParameterIsAutomatable;
        parameter.name = ours.name.c_str();
        parameter.symbol = ours.symbol.c_str();
        parameter.unit = std::string(ours.unit).c_str();
        const auto group = std::find(Groups().begin(), Groups().end(), ours.group);
        parameter.groupId = static_cast<uint32_t>(group - Groups().begin());
        parameter.ranges.min = ours.isSwitch ? 0.0F : ours.minimum;
        parameter.ranges.max = ours.isSwitch ? 1.0F : ours.maximum;
        parameter.ranges.def =
            std::clamp(ToPort(ours, ours.start), parameter.ranges.min, parameter.ranges.max);
        if (ours.isSwitch) {
            parameter.hints |= kParameterIsBoolean | kParameterIsInteger;
        } else if (ours.stepCount > 0) {
            InitSteps(ours, parameter);
        } else if (ours.minimum > 0.0F && ours.maximum > leastOctaves * ours.minimum) {
            parameter.hints |= kParameterIsLogarithmic;
        }
    }

    void initPortGroup(uint32_t groupId, PortGroup& group) override {
        Plugin::initPortGroup(groupId, group);
        if (groupId < Groups().size()) {
            std::string symbol = Groups()[groupId];
            std::replace(symbol.begin(), symbol.end(), ' ', '_');
            group.name = Groups()[groupId].c_str();
            group.symbol = ("group_" + symbol).c_str();
        }
    }

    void initProgramName(uint32_t index, String& name) override {
        name = instrument.Programs()[index].name.c_str();
    }

    void initState(uint32_t, State& state) override {
        state.key = "state";
        state.label = "State";
        state.hints = kStateIsOnlyForDSP;
    }

    float getParameterValue(uint32_t index) const override {
        return ToPort(At(index), instrument.Position(At(index).id));
    }

    /// What is there already would come back rounded.
    void setParameterValue(uint32_t index, float value) override {
        if (value != getParameterValue(index)) {
            instrument.SetPosition(At(index).id, ToPosition(At(index), value));
        }
    }

    /// Where bundles are written, none inherits samples from the one in front of it.
    void loadProgram(uint32_t index) override {
        if (!fresh.empty()) {
            instrument.LoadState(fresh);
        }
        instrument.LoadProgram(index);
    }

    String getState(const char*) const override { return String(instrument.SaveState().c_str()); }

    void setState(const char*, const char* value) override {
        if (value[0] != '\0') {
            instrument.LoadState(value);
        }
        TellUser();
    }

    void activate() override {
        instrument.Activate(getSampleRate());
        setLatency(instrument.LatencyFrames());
        TellUser();
    }

    void deactivate() override { instrument.Deactivate(); }

    void run(const float** inputs, float** outputs, uint32_t frames, const MidiEvent* midi,
             uint32_t midiCount) override {
        events.clear();
        for (uint32_t n = 0; n < midiCount && events.size() < events.capacity(); ++n) {
            if (const auto message = MessageOf(midi[n])) {
                // Controllers of a VST3 lie anywhere among its notes.
                const auto isBehind = [](uint32_t frame, const auto& event) { return frame < event.frame; };
                events.insert(std::upper_bound(events.begin(), events.end(), midi[n].frame, isBehind),
                              {midi[n].frame, *message});
            }
        }
        const TimePosition& time = getTimePosition();
        orphia::host::Transport transport;
        if (time.bbt.valid) {
            const double beats = (time.bbt.bar - 1) * static_cast<double>(time.bbt.beatsPerBar) +
                                 (time.bbt.beat - 1) + time.bbt.tick / time.bbt.ticksPerBeat;
            transport = {time.bbt.beatsPerMinute, beats * QuartersPerBeat(time), time.playing};
        }
        const bool hasVoice = inputs[0] != nullptr && inputs[1] != nullptr;
        instrument.Process(
            {inputs, hasVoice ? 2U : 0U, outputs, frames, events, time.bbt.valid ? &transport : nullptr});
        setLatency(instrument.LatencyFrames());
    }

private:
    static void InitSteps(const PluginParameter& ours, Parameter& parameter) {
        const float width = (ours.maximum - ours.minimum) / static_cast<float>(ours.stepCount - 1);
        if (width == 1.0F && ours.minimum == std::round(ours.minimum)) {
            parameter.hints |= kParameterIsInteger;
        }
        if (ours.choices.empty()) {
            return;
        }
        parameter.enumValues.count = static_cast<uint8_t>(ours.stepCount);
        parameter.enumValues.restrictedMode = true;
        parameter.enumValues.values = new ParameterEnumerationValue[ours.stepCount];
        for (unsigned step = 0; step < ours.stepCount; ++step) {
            parameter.enumValues.values[step].value = ours.minimum + width * static_cast<float>(step);
            parameter.enumValues.values[step].label = ours.choices[step].c_str();
        }
    }

    void TellUser() {
        for (const std::string& message : instrument.TakeMessages()) {
            d_stderr("Orphia VX: %s", message.c_str());
        }
    }

    /// A state is saved by a call that DPF takes for a mere question.
    mutable PluginInstrument instrument;
    std::vector<orphia::host::TimedEvent> events;
    /// The state at the start, of an instance that only describes itself.
    std::string fresh;

    DISTRHO_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(DpfPlugin)
};

Plugin* createPlugin() { return new DpfPlugin(); }

END_NAMESPACE_DISTRHO
