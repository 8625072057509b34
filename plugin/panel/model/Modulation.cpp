// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/Modulation.h"

#include "host/parameters/ModulationRoutes.h"
#include "plugin/panel/model/ControlModel.h"

#include <algorithm>
#include <cmath>

namespace orphia::panel {

namespace {

using host::ModulationRoutes;

enum Source : unsigned { Follower, Lfo, Envelope, Velocity, Key, Pressure, Wheel, Brightness };

struct Destination {
    std::string_view label;
    /// The engine's name; empty where it depends on the effect.
    std::string_view parameter;
};

constexpr std::array<std::string_view, Modulation::sourceCount> sourceLabels = {
    "Voice level", "LFO", "Envelope", "Velocity", "Key", "Pressure", "Mod wheel", "Brightness"};

constexpr std::array<Destination, Modulation::destinationCount> destinations = {{
    {"LFO Rate", "LFO_RateUnSynced"},
    {"LFO Amount", "LFO_Amp"},
    {"FX 1 First", ""},
    {"FX 2 First", ""},
    {"FX 3 First", ""},
    {"FX 1 Second", ""},
    {"FX 2 Second", ""},
    {"FX 3 Second", ""},
    {"Attack", "Attack"},
    {"Release", "Release"},
    {"Osc 1 Pitch", "Carrier_Oscillators_Osc1Coarse"},
    {"Osc 2 Pitch", "Carrier_Oscillators_Osc2Coarse"},
    {"Osc 2 Fine", "Carrier_Oscillators_Osc2Fine"},
    {"Osc 1 Shape", "Carrier_Oscillators_Osc1Shape"},
    {"Osc 2 Shape", "Carrier_Oscillators_Osc2Shape"},
    {"FM", "Carrier_Oscillators_FMAmount"},
    {"Osc 1 Volume", "Carrier_Oscillators_Osc1Volume"},
    {"Osc 2 Volume", "Carrier_Oscillators_Osc2Volume"},
    {"Bands Attack", "BodeVocoder_AnalyzerRectifiers_Attack"},
    {"Bands Release", "BodeVocoder_AnalyzerRectifiers_Release"},
    {"Vocoder Mix", "BodeVocoder_Wet"},
    {"Noise/Carrier", "BodeVocoder_NoiseCarrierBalance_NoiseCarrierBalance"},
    {"Bands Shift", "BodeVocoder_SynthesizerFilterBank_Shift"},
    {"Bands Width", "BodeVocoder_SynthesizerFilterBank_Width"},
    {"Carrier Level", "BodeVocoder_CarrierPreamp_CarrierLevel"},
    {"Voice Level", "BodeVocoder_Preamp_ProgramLevel"},
    {"Master Volume", "MasterVolume"},
    {"Freeze", "BodeVocoder_PatchBay_SampleHold"},
    {"Ensemble", "Carrier_EnsembleAmount"},
    {"Follower Gain", "EnvFollower_Input Gain"},
}};

struct Ids {
    std::array<std::optional<std::uint32_t>, Modulation::destinationCount> parameters;
    std::uint32_t follower = EngineId("EnvFollower_Enable");
    std::uint32_t lfo = EngineId("LFO_Enable");
    std::uint32_t controls = EngineId("Controls_Enable");
    std::uint32_t lfoValue = EngineId("LFO_CurrentValueLFeedback");
    std::uint32_t envelopeStage = EngineId("Carrier_Oscillators_ADSR_OutState");
    std::uint32_t envelopePhase = EngineId("Carrier_Oscillators_ADSR_OutStatePhase");
    std::uint32_t sustain = EngineId("Carrier_Oscillators_ADSR_Sustain");
    std::uint32_t pressure = EngineId("VST3_AfterTouch");
    std::uint32_t wheel = EngineId("VST3_CtrlModWheel");
    std::uint32_t brightness = EngineId("MPE_GlobalBrightness");

    Ids() {
        for (unsigned n = 0; n < destinations.size(); ++n) {
            if (!destinations[n].parameter.empty()) {
                parameters[n] = EngineId(destinations[n].parameter);
            }
        }
    }
    static const Ids& Get() {
        static const Ids ids;
        return ids;
    }
};

} // namespace

Modulation::Modulation(const plugin::PluginInstrument& ofInstrument)
    : instrument(ofInstrument), parameters(Ids::Get().parameters) {
    static_assert(sourceLabels.size() == sourceCount);
    for (unsigned destination = 0; destination < destinationCount; ++destination) {
        labels[destination] = destinations[destination].label;
    }
    Look();
    Update(0.0F);
}

bool Modulation::IsTwoSided(unsigned source) { return source == Lfo; }
std::string_view Modulation::SourceLabel(unsigned source) { return sourceLabels[source]; }

std::optional<std::uint32_t> Modulation::SwitchOf(unsigned source) {
    const Ids& ids = Ids::Get();
    switch (source) {
    case Follower:
        return ids.follower;
    case Lfo:
        return ids.lfo;
    case Envelope:
        return std::nullopt;
    default:
        return ids.controls;
    }
}

std::optional<unsigned> Modulation::DestinationOf(std::uint32_t parameter) const {
    const auto found = std::ranges::find(parameters, std::optional(parameter));
    return found == parameters.end() ? std::nullopt
                                     : std::optional(static_cast<unsigned>(found - parameters.begin()));
}

float Modulation::Amount(unsigned source, unsigned destination) const {
    return 2.0F * instrument.Position(ModulationRoutes::AmountId(source, destination)) - 1.0F;
}

bool Modulation::ReadSource(unsigned source) {
    bool isOther = false;
    for (unsigned destination = 0; destination < destinationCount; ++destination) {
        const float amount = Amount(source, destination);
        isOther = isOther || amount != amounts[destination][source];
        amounts[destination][source] = amount;
    }
    return isOther;
}

/// The first signals of the three slots, then the second ones.
bool Modulation::ReadSlots() {
    bool isOther = false;
    for (unsigned slot = 0; slot < EffectSlots::slotCount; ++slot) {
        const unsigned type = EffectSlots::TypeIn(instrument, slot);
        if (type == types[slot]) {
            continue;
        }
        isOther = true;
        types[slot] = type;
        for (unsigned signal = 0; signal < 2; ++signal) {
            const unsigned destination = EffectDestination(slot, signal);
            const auto id = EffectSlots::SignalId(slot, type, signal);
            parameters[destination] = id;
            labels[destination] = id ? "FX " + std::to_string(slot + 1) + ' ' + EffectSlots::LabelWithin(*id)
                                     : std::string(destinations[destination].label);
        }
    }
    return isOther;
}

void Modulation::ListUsed() {
    ++generation;
    used.clear();
    for (unsigned destination = 0; destination < destinationCount; ++destination) {
        for (unsigned source = 0; source < sourceCount; ++source) {
            if (const float amount = amounts[destination][source]; std::fabs(amount) > 1e-4F) {
                used.push_back({source, destination, amount});
            }
        }
    }
}

void Modulation::Look() {
    bool isOther = ReadSlots();
    for (unsigned source = 0; source < sourceCount; ++source) {
        isOther = ReadSource(source) || isOther;
    }
    if (isOther) {
        ListUsed();
    }
}

void Modulation::Update(float voiceLevel) {
    const Ids& ids = Ids::Get();
    const plugin::PluginInstrument::Keys keys = instrument.HeldKeys();
    values[Follower] = std::clamp(voiceLevel, 0.0F, 1.0F);
    values[Lfo] = 2.0F * instrument.Position(ids.lfoValue) - 1.0F;
    const float phase = instrument.Position(ids.envelopePhase);
    const float sustain = instrument.Position(ids.sustain);
    const std::array<float, 5> stages = {0.0F, phase, 1.0F + (sustain - 1.0F) * phase, sustain,
                                         sustain * (1.0F - phase)};
    values[Envelope] =
        stages[static_cast<std::size_t>(std::lround(4.0F * instrument.Position(ids.envelopeStage)))];
    values[Velocity] = keys.velocity;
    values[Key] = static_cast<float>(keys.newest) / 127.0F;
    values[Pressure] = instrument.Position(ids.pressure);
    values[Wheel] = instrument.Position(ids.wheel);
    values[Brightness] = instrument.Position(ids.brightness);
    for (unsigned source = 0; source < sourceCount; ++source) {
        const std::optional<std::uint32_t> gate = SwitchOf(source);
        isOn[source] = !gate || instrument.Position(*gate) >= 0.5F;
    }
    const bool hasOtherEffect = ReadSlots();
    if (ReadSource(nextSource) || hasOtherEffect) {
        ListUsed();
    }
    nextSource = (nextSource + 1) % sourceCount;
}

std::optional<float> Modulation::ModulatedPosition(std::uint32_t parameter) const {
    const std::optional<unsigned> destination = DestinationOf(parameter);
    if (!destination) {
        return std::nullopt;
    }
    bool isMoved = false;
    float way = 0.0F;
    for (const Route& route : used) {
        if (route.destination == *destination && isOn[route.source]) {
            isMoved = true;
            way += route.amount * values[route.source];
        }
    }
    return isMoved ? std::optional(std::clamp(instrument.Position(parameter) + way, 0.0F, 1.0F))
                   : std::nullopt;
}

} // namespace orphia::panel
