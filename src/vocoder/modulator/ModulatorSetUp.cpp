// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/modulator/ModulatorSetUp.h"

#include <array>
#include <string>
#include <string_view>

namespace Velmora::Processor::ModulatorSetUp {

namespace {

using dsp::ADSR;
using dsp::Compressor;
using dsp::ModuleParam;
using dsp::SlotParameter;
using Equaliser = dsp::ParamEq<5>;
using Sampler = dsp::Simpler<12, 1>;

constexpr u32 sampleCount = 12;
constexpr i32 linear = 1;
constexpr i32 exponential = 4;
constexpr i32 bipolarExponential = 5;
constexpr float shape2 = 0.5F;
constexpr float noShape = 1.0F;

struct Range {
    u32 id;
    i32 mapping;
    float minimum;
    float maximum;
    float shape = noShape;
    bool runsBackwards = false;
};

template <class M>
void Declare(M& module, const Range& range) {
    module.FindParameter(range.id)->Redeclare(range.mapping, range.minimum, range.maximum, range.shape,
                                              shape2, range.runsBackwards);
}

template <class M>
void DeclareWithValue(M& module, const Range& range, float value) {
    Declare(module, range);
    module.SetParameterValue(range.id, value);
}

void AddPerSample(std::vector<ModuleParam>& records, std::string_view prefix, std::string_view key,
                  const ModuleParam& pattern) {
    for (u32 n = 1; n <= sampleCount; ++n) {
        records.push_back(pattern);
        records.back().name = std::string(prefix).append(std::to_string(n)).append("_").append(key);
    }
}

void AddStepped(std::vector<ModuleParam>& records, const std::string& name, u32 steps, float start = 0.0F) {
    records.push_back(ModuleParam::Stepped(name, steps, 0.0F, 1.0F));
    records.back().SetValue(start);
}

} // namespace

std::vector<ModuleParam> OwnParameters() {
    std::vector<ModuleParam> records;
    const ModuleParam onOff = ModuleParam::Stepped({}, 2, 0.0F, 1.0F);
    AddPerSample(records, "Sample", "Path", ModuleParam());
    AddPerSample(records, "Sample", "LoopOn", onOff);
    AddPerSample(records, "Sample", "Loaded", onOff);
    records.emplace_back("Sampler_PlayheadPosition");
    AddStepped(records, "Legato", 2);
    AddStepped(records, "KeyboardSampleOctave", 9, 3.0F);
    AddStepped(records, "SamplerPlayMode", 2);
    AddStepped(records, "CycleDirection", 4);
    AddStepped(records, "StopSampler", 2);
    AddStepped(records, "IsPlayingSample", 2);
    AddStepped(records, "CycleReset", 2);
    AddStepped(records, "CycleLockedSample", 13, 12.0F);
    AddStepped(records, "SlotGUITrigger", 2);
    AddStepped(records, "CycleNextSlotFromGUI", 12);
    AddStepped(records, "CycleNextPlayingSlot", 12);
    AddPerSample(records, "Slot", "Sample", ModuleParam::Stepped({}, 12, 0.0F, 1.0F));
    AddStepped(records, "SelectedSlot", 12);
    AddStepped(records, "CurrentSlot", 12);
    AddStepped(records, "SelectedSlotIsCurrentSlot", 2);
    AddStepped(records, "ExternalInput", 2);
    records.push_back(ModuleParam::Mapped("ExternalInputGain", linear, -36.0F, 24.0F, noShape));
    AddStepped(records, "ExternalSignalHasBeenDetectedAtLeastOnce", 2);
    AddStepped(records, "ParamEQOn", 2);
    AddStepped(records, "CompressorOn", 2);
    AddStepped(records, "CompressorAmount", 2);
    return records;
}

void SetUpSampler(Sampler& sampler) {
    struct Renamed {
        SlotParameter parameter;
        const char* key;
    };
    constexpr std::array renamed = {Renamed{SlotParameter::TrimStart, "TrimStart"},
                                    Renamed{SlotParameter::TrimStop, "TrimStop"},
                                    Renamed{SlotParameter::LoopStart, "LoopStart"},
                                    Renamed{SlotParameter::LoopStop, "LoopStop"},
                                    Renamed{SlotParameter::Gain, "Gain"},
                                    Renamed{SlotParameter::CrossFade, "CrossFade"},
                                    Renamed{SlotParameter::TimeStretchOn, "TimeStretchOn"},
                                    Renamed{SlotParameter::TimeStretchFactor, "TimeStretchFactor"},
                                    Renamed{SlotParameter::TimeStretchBars, "TimeStretchBars"},
                                    Renamed{SlotParameter::TimeStretchSync, "TimeStretchSync"}};
    for (u32 slot = 0; slot < sampleCount; ++slot) {
        for (const Renamed& entry : renamed) {
            sampler.FindParameter(Sampler::SlotId(entry.parameter, slot))->name =
                "Sample" + std::to_string(slot + 1) + "_" + entry.key;
        }
        Declare(sampler, {Sampler::SlotId(SlotParameter::Gain, slot), linear, -36.0F, 24.0F});
        Declare(sampler,
                {Sampler::SlotId(SlotParameter::TimeStretchFactor, slot), exponential, 0.125F, 4.0F, 2.5F});
        sampler.SetParameterValue(Sampler::SlotId(SlotParameter::CrossFade, slot), 0.5F);
    }
    sampler.SetParameterNormalized(Sampler::keyTrack, 0.0F);
}

void SetUpEnvelope(ADSR& envelope) {
    Declare(envelope, {ADSR::attack, exponential, 0.002F, 20.0F, 5.0F});
    Declare(envelope, {ADSR::release, exponential, 0.002F, 20.0F, 4.0F});
    envelope.SetParameterValue(ADSR::attackCurve, 0.0F);
    envelope.SetParameterNormalized(ADSR::decay, 0.0F);
    envelope.SetParameterNormalized(ADSR::sustain, 1.0F);
    envelope.SetParameterValue(ADSR::releaseCurve, -4.0F);
    envelope.SetParameterNormalized(ADSR::controlRate, 0.0F);
}

void SetUpEqualiser(Equaliser& equaliser) {
    // A shelf at either end, three bells between.
    constexpr std::array modes = {3.0F, 4.0F, 4.0F, 4.0F, 5.0F};
    constexpr std::array<float, 5> lowest = {50.0F, 40.0F, 40.0F, 40.0F, 1000.0F};
    constexpr std::array<float, 5> highest = {500.0F, 20000.0F, 20000.0F, 20000.0F, 10000.0F};
    for (u32 band = 0; band < modes.size(); ++band) {
        equaliser.SetParameterNormalized(Equaliser::OnId(band), 1.0F);
        equaliser.SetParameterValue(Equaliser::ModeId(band), modes[band]);
        Declare(equaliser, {Equaliser::CutoffId(band), exponential, lowest[band], highest[band], 6.0F});
        Declare(equaliser, {Equaliser::GainId(band), linear, -15.0F, 15.0F});
        const bool isShelf = band == 0 || band + 1 == modes.size();
        Declare(equaliser, isShelf ? Range{Equaliser::QId(band), linear, 0.1F, 2.0F}
                                   : Range{Equaliser::QId(band), exponential, 0.1F, 15.0F, 5.0F});
    }
    equaliser.SetParameterNormalized(Equaliser::Stereo, 1.0F);
}

void SetUpCompressor(Compressor& compressor) {
    Declare(compressor, {Compressor::Threshold, linear, -40.0F, -10.0F, noShape, true});
    Declare(compressor, {Compressor::Ratio, exponential, 1.0F, 100.0F, 3.0F});
    Declare(compressor, {Compressor::Attack, linear, 0.3F, 15.0F, noShape, true});
    Declare(compressor, {Compressor::Release, linear, 8.0F, 400.0F});
    DeclareWithValue(compressor, {Compressor::OutputGain, bipolarExponential, -36.0F, 36.0F, 2.0F}, 0.0F);
    DeclareWithValue(compressor, {Compressor::InputGain, linear, -18.0F, 18.0F}, 0.0F);
    DeclareWithValue(compressor, {Compressor::KneeWidth, linear, 0.0F, 50.0F}, 35.0F);
    compressor.SetParameterValue(Compressor::Wet, 1.0F);
    compressor.SetParameterValue(Compressor::Makeup, 1.0F);
}

void SetUpInput(dsp::PitchTracker& tracker, dsp::InputDetector& gate) {
    tracker.SetParameterValue(dsp::PitchTracker::ConfidenceThreshold, 0.75F);
    Declare(gate, {dsp::InputDetector::Threshold, linear, -70.0F, 6.0F});
    gate.SetParameterValue(dsp::InputDetector::Hold, 0.05F);
}

} // namespace Velmora::Processor::ModulatorSetUp
