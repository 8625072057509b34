// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/modulator/ModulatorInput.h"

#include "dsp/framework/RunChild.h"
#include "dsp/math/Decibels.h"

#include <algorithm>
#include <array>

namespace Velmora::Processor {

using dsp::ProcessContext;
using Own = ModulatorParameters;

ModulatorInput::ModulatorInput(dsp::PitchTracker& pitchTracker, dsp::InputDetector& inputGate,
                               ModulatorParameters& parameters)
    : tracker(pitchTracker), gate(inputGate), own(parameters) {
    tracker.SetParameterValue(dsp::PitchTracker::ConfidenceThreshold, 0.75F);
    Redeclare(gate, dsp::InputDetector::Threshold, dsp::Declare::Linear({}, -70.0F, 6.0F));
    gate.SetParameterValue(dsp::InputDetector::Hold, 0.05F);
}

void ModulatorInput::Initialize(float sampleRate, u32 maxBlockSize) {
    gains.assign(dsp::RoundUpToFour(maxBlockSize), 0.0F);
    gain.Prepare(sampleRate, 1);
}

void ModulatorInput::Reset() { gain.Set(dsp::BoundedDecibelsToGain(own.Value(Own::ExternalInputGain))); }

void ModulatorInput::FollowControls() {
    if (own.Changed(Own::ExternalInput)) {
        tracker.Reset(false);
    }
    if (own.Changed(Own::ExternalInputGain)) {
        gain.SetTarget(dsp::BoundedDecibelsToGain(own.Value(Own::ExternalInputGain)));
    }
}

/// Over the longest block, whatever this one's length: short blocks move the gain faster.
void ModulatorInput::MoveGain() { gain.RenderBlock(gains.data(), static_cast<u32>(gains.size())); }

void ModulatorInput::Render(const ProcessContext& context, const float* left, const float* right) {
    const u32 frames = context.numFrames;
    const std::array<const float*, 2> inputs{left, right};
    LatchDetection({left, frames});
    ProcessContext gateContext = context.ForChild(inputs.data(), 2, nullptr, 0);
    dsp::RunChild(gate, gateContext);
    const bool isOpen = gate.GetParameterNormalized(dsp::InputDetector::Output) != 0.0F;
    for (u32 channel = 0; channel < 2; ++channel) {
        float* out = context.outputs[channel];
        if (isOpen) {
            std::transform(gains.data(), gains.data() + frames, inputs[channel], out,
                           [](float g, float x) { return g * x; });
        } else {
            std::fill_n(out, frames, 0.0F);
        }
    }
    ProcessContext trackerContext = context.ForChild(inputs.data(), 2, &context.outputs[2], 1);
    dsp::RunChild(tracker, trackerContext);
}

void ModulatorInput::LatchDetection(std::span<const float> signal) {
    hasDetectedSignal =
        hasDetectedSignal || std::any_of(signal.begin(), signal.end(), [](float x) { return x != 0.0F; });
    own.Set(Own::ExternalSignalHasBeenDetectedAtLeastOnce, hasDetectedSignal);
}

} // namespace Velmora::Processor
