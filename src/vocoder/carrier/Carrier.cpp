// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/carrier/Carrier.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "vocoder/carrier/VoiceFrequency.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace Velmora::Processor {

namespace {

using dsp::Chorus;
using dsp::ModuleParam;

std::vector<ModuleParam> OwnRecords() {
    namespace Declare = dsp::Declare;
    return dsp::RecordsOf({Declare::Switch("PitchTrack"),
                           Declare::Exponential("PitchTrackHoldNoteDuration", 0.0F, 2.0F, 4.0F, 1.0F),
                           Declare::Switch("PitchTrackQuantize"),
                           Declare::Exponential("GlideTime", 0.0F, 10.0F, 4.0F),
                           Declare::Linear("MasterTune", 400.0F, 480.0F, 440.0F),
                           Declare::Linear("EnsembleAmount", 0.0F, 1.0F)});
}

/// What makes a general chorus the ensemble.
void SetUpEnsemble(Chorus& chorus) {
    struct Setting {
        u32 id;
        float low;
        float high;
        float value;
    };
    constexpr std::array settings = {
        Setting{Chorus::Delay, 0.6F, 20.0F, 6.42F}, Setting{Chorus::Depth, 0.0F, 10.0F, 2.72F},
        Setting{Chorus::Freq, 0.1F, 5.0F, 0.678F}, Setting{Chorus::Feedback, 0.0F, 0.9F, 0.194F}};
    for (const Setting& setting : settings) {
        chorus.FindParameter(setting.id)->Redeclare(dsp::Curve::Linear, setting.low, setting.high, 0.0F);
        chorus.SetParameterValue(setting.id, setting.value);
    }
    chorus.SetParameterValue(Chorus::DryWet, 0.0F);
    chorus.SetParameterValue(Chorus::StereoMode, 1.0F);
    chorus.SetParameterValue(Chorus::Voices, 3.0F);
    chorus.SetParameterValue(Chorus::LFOShape, 0.0F);
}

/// Takes over the parameters as they stand: many voices that start together for the first time would all do
/// it in that block.
void SettleVoice(Oscillators& voice) {
    dsp::ProcessContext none;
    voice.UpdateParameters(none);
    voice.ClearParameterChanges(false);
    dsp::ADSR& envelope = voice.Envelope();
    if (!envelope.IsGateOpen()) {
        envelope.UpdateParameters(none);
        envelope.ClearParameterChanges(false);
    }
}

} // namespace

Carrier::Carrier(std::string moduleName)
    : ModuleContainer(std::move(moduleName), 1, outputCount, OwnRecords(), std::make_tuple(),
                      std::make_tuple(), std::make_tuple("Glider"), std::make_tuple("Ensemble")) {
    linkedIds.resize(AdditionalCount);
    linkedIds[EnsembleAmount].push_back(FirstParameter<3>() + Chorus::DryWet);
    chordIntervals.reserve(trackedVoiceCount);
    trackedVoices.reserve(trackedVoiceCount);
    activeVoices.reserve(voiceSlotCount);
    SetUpEnsemble(Ensemble());
    Glide().FindParameter(engine::Glider::Time)->Redeclare(dsp::Curve::Exponential, 0.0F, 10.0F, 4.0F);
    Glide().SetParameterNormalized(engine::Glider::On, 1.0F);
}

void Carrier::Connect(ModulationsManager& modulationsManager, const engine::VoiceManager& voiceManager,
                      const engine::ExpressionManager& expressionManager) {
    modulations = &modulationsManager;
    voices = &voiceManager;
    expression = &expressionManager;
}

/// The gates of the voices follow their keys, and not the record, which tells what a host wrote last: to
/// write that once more is no order to let all go.
bool Carrier::SetParameterNormalized(u32 id, float value) {
    const bool isReadBack = id == dsp::ADSR::GateIn && value == GetParameterNormalized(id);
    return isReadBack || ModuleContainer::SetParameterNormalized(id, value);
}

void Carrier::OnInitialize(float rate, u32 maxBlockSize) {
    sampleRate = rate;
    // On cache lines, for the kernels.
    voiceBuffers.Allocate(voiceSlotCount * Oscillators::outputCount,
                          VoiceKernels::PaddedFrames(maxBlockSize));
    for (u32 voice = 0; voice < voiceSlotCount; ++voice) {
        const float** inputs = &voiceInputs[voice * Oscillators::InputCount];
        ConnectWires(WiredModule::Voice, inputs, [&](u32 destination) {
            return modulations->Matrix().VoiceDestination(voice, destination).data();
        });
    }
    for (u32 channel = 0; channel < voiceOutputs.size(); ++channel) {
        voiceOutputs[channel] = voiceBuffers[channel];
        monoOutputs[channel] = voiceBuffers[channel - channel % Oscillators::outputCount];
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
    StopEnsemble();
    holdElapsed = 0.0F;
    pitchSmoother.Set(lowestVoiceFrequency);
    for (u32 voice = 0; voice < voiceSlotCount; ++voice) {
        SettleVoice(Voice(voice));
    }
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
        if (AdditionalChanged(MasterTune)) {
            ApplyMasterTune();
        }
    }
    return true;
}

void Carrier::SetSmoothDrive(bool on) {
    for (u32 voice = 0; voice < voiceSlotCount; ++voice) {
        Voice(voice).SetSmoothDrive(on);
    }
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
        Killer(voice).LetPass();
    }
}

void Carrier::ApplyGlideTime() {
    constexpr float shortest = 1e-12F;
    const float seconds = AdditionalValue(GlideTime);
    Glide().SetParameterValue(engine::Glider::Time, seconds);
    pitchSmoother.time = std::max(seconds, shortest);
    pitchSmoother.Prepare();
}

void Carrier::ApplyMasterTune() {
    tuneRatio = AdditionalValue(MasterTune) * 0.0022727272F;
    for (const u32 voice : voices->ActiveVoices()) {
        SetVoiceFrequency(voice, expression->PitchOffset(voice));
    }
}

void Carrier::KillVoice(u32 voice) {
    if (!Killer(voice).IsMuted()) {
        Killer(voice).StartFade();
    }
}

bool Carrier::CanKill(u32 voice) {
    if (Killer(voice).IsFading()) {
        return false;
    }
    const bool isFaded = Killer(voice).IsMuted() && voices->IsKilled(voice);
    if (!isFaded && Voice(voice).IsSounding()) {
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
