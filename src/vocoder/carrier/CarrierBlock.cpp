// SPDX-License-Identifier: GPL-3.0-or-later
// One block of the carrier, in its order: pitches, tracked voices, voices, their sum, the ensemble.
#include "dsp/framework/RunChild.h"
#include "dsp/vectors/Simd.h"
#include "engine/tuning/MtsClient.h"
#include "vocoder/carrier/Carrier.h"
#include "vocoder/carrier/VoiceFrequency.h"

#include <algorithm>

namespace Velmora::Processor {

using dsp::simd::Float4;

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
    const bool wasSounding = hasActiveVoices;
    ListActiveVoices();
    SwitchEnsemble(wasSounding && hasActiveVoices);
    RunVoices(context);
    MixVoices(context);
    RunEnsemble(context);
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

/// A voice is mono: only killers that fade one side alone make the sides differ.
bool Carrier::VoicesAreMono() {
    return Child<1>().FindParameter(engine::VoiceKiller::Stereo)->PeekValue() > 0.5F;
}

bool Carrier::VoicesAreModulated() const {
    return std::any_of(wiring.begin(), wiring.end(), [this](const Wire& wire) {
        return wire.module == WiredModule::Voice &&
               modulations->Matrix().IsDestinationRouted(wire.destination);
    });
}

void Carrier::RunVoices(const dsp::ProcessContext& context) {
    if (!hasActiveVoices) {
        return;
    }
    constexpr u32 channelCount = voiceSlotCount * Oscillators::outputCount;
    VoiceOutputs& outputs = VoicesAreMono() ? monoOutputs : voiceOutputs;
    dsp::ProcessContext child = context.ForChild(nullptr, 0, outputs.data(), channelCount);
    if (VoicesAreModulated()) {
        child.inputs = voiceInputs.data();
        child.numInputs = static_cast<u32>(voiceInputs.size());
    }
    Child<0>().ProcessListed(child, activeVoices);
    for (const u32 voice : activeVoices) {
        modulations->WriteVoiceSource(voice, EnvelopeSource, Voice(voice).FirstEnvelopeSample());
    }
    // The fades work in place.
    child.inputs = outputs.data();
    child.numInputs = channelCount;
    Child<1>().ProcessListed(child, activeVoices);
}

void Carrier::MixVoices(const dsp::ProcessContext& context) {
    MixSide(0, context);
    if (VoicesAreMono()) {
        std::copy_n(context.outputs[0], context.numFrames, context.outputs[1]);
    } else {
        MixSide(1, context);
    }
}

void Carrier::MixSide(u32 side, const dsp::ProcessContext& context) {
    constexpr float voiceLevel = 0.5F;
    const Float4 gain(voiceLevel);
    const u32 groupedFrames = context.numFrames & ~3U;
    float* out = context.outputs[side];
    std::fill_n(out, context.numFrames, 0.0F);
    for (const u32 voice : activeVoices) {
        const float* in = voiceOutputs[voice * Oscillators::outputCount + side];
        for (u32 n = 0; n < groupedFrames; n += 4) {
            (Float4::load_aligned(out + n) + gain * Float4::load_aligned(in + n)).store_aligned(out + n);
        }
    }
}

/// The ensemble costs nothing while it is off. Switched under sound it runs dry for a while: its lines, which
/// were empty, fill before they are heard, or the wet sound glides away before it goes.
void Carrier::SwitchEnsemble(bool isUnderSound) {
    constexpr float fillSeconds = 0.015F;
    constexpr float leaveSeconds = 0.15F;
    const bool isWanted = modulations->Matrix().IsDestinationRouted(EnsembleDestination) ||
                          additional.parameters[EnsembleAmount].GetNormalized() != 0.0F;
    if (isWanted == isEnsembleWanted) {
        return;
    }
    isEnsembleWanted = isWanted;
    if (isWanted) {
        ensembleDrySeconds = isUnderSound && !isEnsembleRunning ? fillSeconds : 0.0F;
        isEnsembleRunning = true;
    } else if (isUnderSound) {
        ensembleDrySeconds = leaveSeconds;
    } else {
        StopEnsemble();
    }
}

void Carrier::StopEnsemble() {
    Ensemble().OnReset(false);
    Ensemble().needsUpdate = true;
    isEnsembleRunning = false;
    isEnsembleWanted = false;
    ensembleDrySeconds = 0.0F;
}

void Carrier::RunEnsemble(const dsp::ProcessContext& context) {
    if (!isEnsembleRunning) {
        return;
    }
    constexpr u32 ensembleInputCount = 5;
    // The mark of an active modulation, then one that keeps the mix at its dry end.
    static constexpr std::array dryModulation = {1.0F, -1.0F};
    const bool isDry = ensembleDrySeconds > 0.0F;
    const float* modulation =
        isDry ? &dryModulation[1] : modulations->Matrix().GlobalDestination(EnsembleDestination).data();
    const float* inputs[ensembleInputCount] = {context.outputs[0], context.outputs[1], modulation, nullptr,
                                               nullptr};
    dsp::ProcessContext child = context.ForChild(inputs, ensembleInputCount, context.outputs, outputCount);
    dsp::RunChild(Ensemble(), child);
    ensembleDrySeconds -= static_cast<float>(context.numFrames) / sampleRate;
    if (isDry && ensembleDrySeconds <= 0.0F && !isEnsembleWanted) {
        StopEnsemble();
    }
}

} // namespace Velmora::Processor
