// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"
#include "support/platform/Types.h"

#include <string>

namespace Velmora::dsp {

/// Measures the power of a signal with the ballistics of a VU meter: 99 % of a step in 300 ms.
///
/// Input 0: the signal; while it is null or absent, the meter rests. No output: the reading is the parameter
/// "Output", written once per block. A sine of amplitude 1 reads 0 dB minus the calibration.
class VuMeter final : public UnitModule {
public:
    enum Parameter : u32 {
        Calibration, ///< 0, 1, 2: the level that reads 0 VU is -18, -14 or -8 dB
        Output,      ///< read-back in dB, -20 to 3
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;

    explicit VuMeter(std::string moduleName = "VuMeter");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;

    /// Silence, or no input at all, leaves it as it is.
    bool IsAtRest() const { return state == 0.0; }

private:
    double LastPower(const float* samples, u32 numFrames);
    void FollowQuads(const float* samples, u32 numFrames);

    /// One-pole lowpass y = b0 q + s, s = b1 q - a1 y of the squared samples q.
    double b0 = 0.0;
    double b1 = 0.0;
    double a1 = 0.0;
    double state = 0.0;
    float calibrationDb = -18.0F;
};

} // namespace Velmora::dsp
