// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/modulator/VocoderModulator.h"

#include "dsp/vectors/Silence.h"
#include "dsp/vectors/SilenceFaults.h"
#include "support/platform/FloatMode.h"

#include <tuple>
#include <utility>

namespace Velmora::Processor {

using dsp::Compressor;

VocoderModulator::VocoderModulator(std::string moduleName)
    : ModuleContainer(std::move(moduleName), inputCount, outputCount, ModulatorParameters::Records(),
                      std::make_tuple("Sampler"), std::make_tuple("ADSR"), std::make_tuple("VoiceKiller"),
                      std::make_tuple("PitchTracker"), std::make_tuple("ParamEq"),
                      std::make_tuple("Compressor"), std::make_tuple("VoiceInputGate"),
                      std::make_tuple("VuMeter")) {
    linkedIds.resize(ParameterCount);
    for (const u32 id : {Compressor::Threshold, Compressor::Ratio, Compressor::Attack, Compressor::Release}) {
        linkedIds[CompressorAmount].push_back(FirstParameter<Dynamics>() + id);
    }
}

void VocoderModulator::OnInitialize(float sampleRate, u32 maxBlockSize) {
    playback.Initialize(maxBlockSize);
    keys.Initialize(sampleRate);
    input.Initialize(sampleRate, maxBlockSize);
    tone.Initialize(sampleRate, maxBlockSize);
}

void VocoderModulator::OnReset(bool /*hard*/) {
    playback.End();
    keys.Reset();
    input.Reset();
    tone.Reset();
}

void VocoderModulator::SeedRandom(u32 seed) {
    keys.SeedRandom(seed);
    Child<Player>().SeedRandomStart(seed + 1);
}

bool VocoderModulator::UpdateParameters(dsp::ProcessContext& /*context*/) {
    if (additional.anyParameterChanged) {
        keys.FollowMode();
        playback.FollowControls();
        keys.FollowControls();
        input.FollowControls();
        tone.FollowControls();
    }
    return true;
}

bool VocoderModulator::Process(dsp::ProcessContext& context) {
    if (context.numOutputs < outputCount) {
        return false;
    }
    playback.ServeSamples();
    input.MoveGain();
    const float* left = context.InputOrNull(0);
    const float* right = context.InputOrNull(1);
    if (own.IsOn(ExternalInput) && left != nullptr) {
        input.Render(context, left, right != nullptr ? right : left);
    } else {
        playback.Render(context);
    }
    const bool isSilent = dsp::IsSilent(context.outputs[0], context.numFrames) &&
                          dsp::IsSilent(context.outputs[1], context.numFrames);
    // Sound from outside, also in a file, has any level, and is heard without the core, too.
    for (u32 side = 0; side < 2 && !isSilent; ++side) {
        dsp::AdmitInput(context.outputs[side], context.outputs[side], context.numFrames);
    }
    floor.AddTo(context.numFrames, context.outputs[0], context.outputs[1]);
    tone.Render(context, isSilent && Platform::flushesDenormals);
    keys.Advance(context.numFrames);
    return true;
}

} // namespace Velmora::Processor
