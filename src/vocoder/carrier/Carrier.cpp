// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/carrier/Carrier.h"

#include "dsp/framework/RunChild.h"
#include "dsp/vectors/Simd.h"
#include "engine/tuning/MtsClient.h"
#include "vocoder/carrier/VoiceFrequency.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace Velmora::Processor {

namespace {

using dsp::Chorus;
using dsp::ModuleParam;
using dsp::simd::Float4;
using engine::VoiceKiller;

constexpr i32 linearId = 1;
constexpr i32 exponentialId = 4;
constexpr float shape2 = 0.5F;
constexpr u32 ensembleDryWetId = 35;
constexpr float fadingState = 1.0F;
constexpr float mutedState = 2.0F;

std::vector<ModuleParam> Declare() {
    std::vector<ModuleParam> records;
    records.push_back(ModuleParam::Stepped("PitchTrack", 2, 0.0F, 1.0F));
    records.push_back(ModuleParam::Mapped("PitchTrackHoldNoteDuration", exponentialId, 0.0F, 2.0F, 4.0F));
    records.back().SetValue(1.0F);
    records.push_back(ModuleParam::Stepped("PitchTrackQuantize", 2, 0.0F, 1.0F));
    records.push_back(ModuleParam::Mapped("GlideTime", exponentialId, 0.0F, 10.0F, 4.0F));
    records.push_back(ModuleParam::Mapped("MasterTune", linearId, 400.0F, 480.0F, 1.0F));
    records.push_back(ModuleParam::Mapped("EnsembleAmount", linearId, 0.0F, 1.0F, 1.0F));
    return records;
}

/// What makes a general chorus the ensemble.
void SetUpEnsemble(Chorus& chorus) {
    struct Setting {
        u32 id;
        float minimum;
        float maximum;
        float value;
    };
    constexpr std::array settings = {Setting{1, 0.6F, 20.0F, 6.42F}, Setting{2, 0.0F, 10.0F, 2.72F},
                                     Setting{3, 0.1F, 5.0F, 0.678F}, Setting{4, 0.0F, 0.9F, 0.194F}};
    for (const Setting& setting : settings) {
        chorus.FindParameter(setting.id)
            ->Redeclare(linearId, setting.minimum, setting.maximum, 1.0F, shape2, false);
        chorus.SetParameterValue(setting.id, setting.value);
    }
    constexpr u32 stereoMode = 6;
    constexpr u32 voiceCount = 7;
    constexpr u32 lfoShape = 8;
    chorus.SetParameterValue(Chorus::DryWet, 0.0F);
    chorus.SetParameterValue(stereoMode, 1.0F);
    chorus.SetParameterValue(voiceCount, 3.0F);
    chorus.SetParameterValue(lfoShape, 0.0F);
}

} // namespace

Carrier::Carrier(std::string moduleName)
    : ModuleContainer(std::move(moduleName), 1, outputCount, Declare(), std::make_tuple(), std::make_tuple(),
                      std::make_tuple("Glider"), std::make_tuple("Ensemble")) {
    static_assert(FirstParameter<3>() == ensembleDryWetId);
    linkedIds.resize(AdditionalCount);
    linkedIds[EnsembleAmount].push_back(ensembleDryWetId);
    chordIntervals.reserve(trackedVoiceCount);
    trackedVoices.reserve(trackedVoiceCount);
    activeVoices.reserve(voiceSlotCount);
    SetUpEnsemble(Ensemble());
    Glide().FindParameter(VoiceGlider::time)->Redeclare(exponentialId, 0.0F, 10.0F, 4.0F, shape2, false);
    Glide().SetParameterNormalized(VoiceGlider::on, 1.0F);
}

void Carrier::Connect(ModulationsManager& modulationsManager, const VoiceManager& voiceManager,
                      const ExpressionManager& expressionManager) {
    modulations = &modulationsManager;
    voices = &voiceManager;
    expression = &expressionManager;
}

bool Carrier::SetParameterNormalized(u32 id, float value) {
    NoteHostWrite(id);
    return ModuleContainer::SetParameterNormalized(id, value);
}

bool Carrier::SetParameterValue(u32 id, float value) {
    NoteHostWrite(id);
    return ModuleContainer::SetParameterValue(id, value);
}

void Carrier::NoteHostWrite(u32 id) { masterTuneIsSet = masterTuneIsSet || id == ParameterId(MasterTune); }

void Carrier::OnInitialize(float rate, u32 maxBlockSize) {
    sampleRate = rate;
    voiceBuffers.Allocate(voiceSlotCount * Oscillators::outputCount, maxBlockSize);
    for (u32 voice = 0; voice < voiceSlotCount; ++voice) {
        const float** inputs = &voiceInputs[voice * Oscillators::InputCount];
        ConnectWires(WiredModule::Voice, inputs, [&](u32 destination) {
            return modulations->Matrix().VoiceDestination(voice, destination).data();
        });
    }
    for (u32 channel = 0; channel < voiceOutputs.size(); ++channel) {
        voiceOutputs[channel] = voiceBuffers[channel];
    }
    pitchSmoother.Prepare(rate, maxBlockSize);
}

/// Whoever resets has stopped the played voices; the tracked ones end here.
void Carrier::OnReset(bool /*hard*/) {
    for (const u32 voice : trackedVoices) {
        EndTrackedVoice(voice);
    }
    trackedVoices.clear();
    activeVoices.clear();
    hasActiveVoices = false;
    holdElapsed = 0.0F;
    pitchSmoother.Set(lowestVoiceFrequency);
}

void Carrier::SeedNoise(u32 seed) {
    for (u32 voice = 0; voice < voiceSlotCount; ++voice) {
        Voice(voice).SeedNoise(seed + 2 * voice);
    }
}

bool Carrier::UpdateParameters(dsp::ProcessContext& /*context*/) {
    if (additional.anyParameterChanged) {
        if (AdditionalChanged(PitchTrack)) {
            SwitchTracking();
        }
        if (AdditionalChanged(GlideTime)) {
            ApplyGlideTime();
        }
        if (AdditionalChanged(MasterTune) && masterTuneIsSet) {
            ApplyMasterTune();
        }
        if (AdditionalChanged(EnsembleAmount) &&
            additional.parameters[EnsembleAmount].GetNormalized() == 0.0F) {
            Ensemble().OnReset(false);
            Ensemble().needsUpdate = true;
        }
    }
    return true;
}

void Carrier::SwitchTracking() {
    holdElapsed = std::numeric_limits<float>::max();
    TrackPitch(0.0F, 0);
    // Those that still sound end here, with no release.
    for (const u32 voice : trackedVoices) {
        EndTrackedVoice(voice);
    }
    trackedVoices.clear();
    holdElapsed = 0.0F;
    for (u32 voice = firstTrackedVoice; voice < voiceSlotCount; ++voice) {
        Killer(voice).SetParameterValue(VoiceKiller::state, 0.0F);
    }
}

void Carrier::ApplyGlideTime() {
    constexpr float shortest = 1e-12F;
    const float seconds = AdditionalValue(GlideTime);
    Glide().SetParameterValue(VoiceGlider::time, seconds);
    pitchSmoother.time = std::max(seconds, shortest);
    pitchSmoother.Prepare();
}

void Carrier::ApplyMasterTune() {
    tuneRatio = AdditionalValue(MasterTune) * 0.0022727272F;
    for (const u32 voice : voices->ActiveVoices()) {
        SetVoiceFrequency(voice, expression->PitchOffset(voice));
    }
}

bool Carrier::Process(dsp::ProcessContext& context) {
    if (context.numOutputs < outputCount) {
        return false;
    }
    Retune();
    RunGlider(context);
    for (const u32 voice : voices->ActiveVoices()) {
        SetVoiceFrequency(voice, expression->PitchOffset(voice));
    }
    const float* pitch = context.InputOrNull(0);
    if (AdditionalValue(PitchTrack) > 0.5F && pitch != nullptr) {
        TrackPitch(pitch[0], context.numFrames);
    }
    ListActiveVoices();
    RunVoices(context);
    MixVoices(context);
    const bool isRouted = modulations->Matrix().IsDestinationRouted(EnsembleDestination);
    if (isRouted || additional.parameters[EnsembleAmount].GetNormalized() != 0.0F) {
        RunEnsemble(context);
    }
    return true;
}

void Carrier::Retune() {
    if (tuning == nullptr || !Glide().IsContinuousTuning()) {
        return;
    }
    const bool hasTuning = tuning->HasMaster();
    // Once more when the source has gone: then notes go back to their plain pitch.
    if (!hasTuning && !hadTuning) {
        return;
    }
    hadTuning = hasTuning;
    for (u32 voice = 0; voice < playedVoiceCount; ++voice) {
        Glide().RetuneVoice(voice, *tuning);
    }
}

void Carrier::RunGlider(const dsp::ProcessContext& context) {
    dsp::ProcessContext child = context.ForChild(nullptr, 0, nullptr, 0);
    dsp::RunChild(Glide(), child);
}

void Carrier::SetVoiceFrequency(u32 voice, float bendSemitones) {
    const float note = Glide().CurrentNote(voice);
    const i32 whole = std::clamp(static_cast<i32>(note), 0, static_cast<i32>(noteTable.size()) - 1);
    const float hz = SemitonesToRatio(note - static_cast<float>(whole) + bendSemitones) *
                     noteTable[static_cast<u32>(whole)] * tuneRatio;
    Voice(voice).SetParameterValue(Oscillators::frequency, LimitVoiceFrequency(hz));
}

void Carrier::ListActiveVoices() {
    const auto played = voices->ActiveVoices();
    activeVoices.assign(played.begin(), played.end());
    activeVoices.insert(activeVoices.end(), trackedVoices.begin(), trackedVoices.end());
    hasActiveVoices = !activeVoices.empty();
}

void Carrier::RunVoices(const dsp::ProcessContext& context) {
    if (!hasActiveVoices) {
        return;
    }
    constexpr u32 inputCount = voiceSlotCount * Oscillators::InputCount;
    constexpr u32 channelCount = voiceSlotCount * Oscillators::outputCount;
    dsp::ProcessContext child =
        context.ForChild(voiceInputs.data(), inputCount, voiceOutputs.data(), channelCount);
    Child<0>().ProcessListed(child, activeVoices);
    for (const u32 voice : activeVoices) {
        modulations->WriteVoiceSource(voice, EnvelopeSource, Voice(voice).FirstEnvelopeSample());
    }
    // The fades work in place.
    child.inputs = voiceOutputs.data();
    child.numInputs = channelCount;
    Child<1>().ProcessListed(child, activeVoices);
}

void Carrier::MixVoices(const dsp::ProcessContext& context) {
    constexpr float voiceLevel = 0.5F;
    const Float4 gain(voiceLevel);
    const u32 groupedFrames = context.numFrames & ~3U;
    for (u32 side = 0; side < outputCount; ++side) {
        float* out = context.outputs[side];
        std::fill_n(out, context.numFrames, 0.0F);
        for (const u32 voice : activeVoices) {
            const float* in = voiceOutputs[voice * Oscillators::outputCount + side];
            for (u32 n = 0; n < groupedFrames; n += 4) {
                (Float4::load_aligned(out + n) + gain * Float4::load_aligned(in + n)).store_aligned(out + n);
            }
        }
    }
}

void Carrier::RunEnsemble(const dsp::ProcessContext& context) {
    constexpr u32 ensembleInputCount = 5;
    const float* inputs[ensembleInputCount] = {
        context.outputs[0], context.outputs[1],
        modulations->Matrix().GlobalDestination(EnsembleDestination).data(), nullptr, nullptr};
    dsp::ProcessContext child = context.ForChild(inputs, ensembleInputCount, context.outputs, outputCount);
    dsp::RunChild(Ensemble(), child);
}

void Carrier::KillVoice(u32 voice) {
    if (Killer(voice).FindParameter(VoiceKiller::state)->GetValue() != mutedState) {
        Killer(voice).SetParameterValue(VoiceKiller::state, fadingState);
    }
}

bool Carrier::CanKill(u32 voice) {
    const float state = Killer(voice).FindParameter(VoiceKiller::state)->GetValue();
    if (state == fadingState) {
        return false;
    }
    const bool isFaded = state == mutedState && voices->IsKilled(voice);
    const bool isSilent = !Voice(voice).IsGateOpen() && !Voice(voice).IsRunning();
    if (!isFaded && !isSilent) {
        return false;
    }
    modulations->WriteVoiceSource(voice, VelocitySource, 0.0F);
    modulations->WriteVoiceSource(voice, KeySource, 0.0F);
    Voice(voice).Reset(false);
    Killer(voice).OnReset(false);
    Killer(voice).needsUpdate = true;
    ClearEnvelopeSource(voice);
    modulations->VoiceOff(static_cast<i32>(voice));
    return true;
}

void Carrier::ClearEnvelopeSource(u32 voice) { modulations->WriteVoiceSource(voice, EnvelopeSource, 0.0F); }

} // namespace Velmora::Processor
