// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"
#include "support/platform/Types.h"

#include <string>

namespace Velmora::dsp {

/// The gate on the external input: opens when the level stays above a threshold for longer than the hold
/// time, and closes when it stays below for as long. A shorter sound never opens it, a shorter pause never
/// closes it.
///
/// Inputs: 0 left, 1 right, or one alone; a null one does not count. No output: the result is the parameter
/// "Output", written once per block.
class InputDetector final : public UnitModule {
public:
    enum Parameter : u32 {
        Threshold, ///< dB, -120 to 0, of the rectified and smoothed mean of the channels
        Hold,      ///< seconds, 0.001 to 1
        Output,    ///< read-back: 1 open, 0 closed
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;

    explicit InputDetector(std::string moduleName = "InputDetector");

    void OnInitialize(float rateHz, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;

    bool IsOpen() const { return parameters[Output].PeekNormalized() > 0.5F; }

private:
    template <class Level>
    bool Follow(bool isOpen, u32 numFrames, Level levelAt);

    float sampleRate = 44100.0F;
    float coefficient = 0.0F;
    float thresholdGain = 0.0F;
    float envelope = 0.0F;
    u32 holdSamples = 0;
    /// Frames for which the level has contradicted the gate. Wide enough never to wrap.
    u64 counter = 0;
};

} // namespace Velmora::dsp
