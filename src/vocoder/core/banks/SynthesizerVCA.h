// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"

namespace Velmora::Processor {

/// The voltage-controlled amplifier of one band: saturates the buses, then applies the band's controls. The
/// control comes after the saturation, so the distortion depends on the level of the bus alone. A pure
/// function of its inputs: 0 carrier bus, 1 noise bus, 2 first control, 3 second control. 1 output.
class SynthesizerVCA final : public dsp::UnitModule {
public:
    static constexpr u32 parameterCount = 0;

    /// polarity is +1 or -1; neighbouring bands reach the sum in opposite phase.
    SynthesizerVCA(float vcaPolarity, std::string moduleName);

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    /// out = f(drive * bus), drive being the product of both circuit factors, the rational approximation of
    /// tanh; in place allowed.
    static void Saturate(const float* bus, float* out, u32 numFrames);
    /// The factor behind the saturated buses and controls. f is odd, so the polarity may stand here.
    float Scale() const;

private:
    float polarity;
};

} // namespace Velmora::Processor
