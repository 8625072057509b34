// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ProcessContext.h"
#include "dsp/meters/InputDetector.h"
#include "dsp/pitch/PitchTracker.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "vocoder/modulator/ModulatorParameters.h"

#include <span>

namespace Velmora::Processor {

/// The external input of the modulator: gate, gain and pitch tracker.
class ModulatorInput {
public:
    ModulatorInput(dsp::PitchTracker& pitchTracker, dsp::InputDetector& inputGate,
                   ModulatorParameters& parameters);

    void Initialize(float sampleRate, u32 maxBlockSize);
    void Reset();
    void FollowControls();

    /// Once a block, also while the sampler plays.
    void MoveGain();
    /// Outputs 0 and 1 are the gated input, output 2 the pitch, which is tracked behind a closed gate too.
    void Render(const dsp::ProcessContext& context, const float* left, const float* right);

private:
    void LatchDetection(std::span<const float> signal);

    dsp::PitchTracker& tracker;
    dsp::InputDetector& gate;
    ModulatorParameters& own;
    dsp::SmootherLPF gain{0.1};
    dsp::AlignedBuffer gains;
    /// Some sample that is not 0 has come in; stays so for the life of this object.
    bool hasDetectedSignal = false;
};

} // namespace Velmora::Processor
