// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"

#include <string>
#include <vector>

namespace Velmora::dsp {

/// Mono noise of six kinds, within -1..1: one white source and fixed filters that colour it. Pink is a bank
/// of one-pole low-passes two octaves apart, each 6 dB below the previous; red integrates; deep red is pink
/// and then red; blue differentiates. The morph runs from red through pink and white to blue.
///
/// Output 0 is the noise. Input 0, which may be absent or null, offsets the colour of the morph by its first
/// sample; no other kind reads it.
class NoiseGenerator final : public UnitModule {
public:
    enum Type : u32 { Blue, White, Pink, Red, DeepRed, Morph, TypeCount };

    enum Parameter : u32 { NoiseType, NoiseColor, ParameterCount };
    static constexpr u32 parameterCount = ParameterCount;

    /// Starts at a point of the white sequence that the system clock chooses.
    explicit NoiseGenerator(std::string moduleName = "NoiseGenerator");

    /// Starts the white sequence at a given point, for reproducible renders. 0 is replaced by a fixed seed.
    void Seed(u32 seed);

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    /// Clears the filters; the white sequence runs on.
    void OnReset(bool hard) override;
    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;
    /// Both channels of a stereo core at once: the same samples as from two calls of Process.
    static void ProcessPair(NoiseGenerator& left, ProcessContext& leftContext, NoiseGenerator& right,
                            ProcessContext& rightContext);

private:
    void PrepareLevels(float sampleRate);
    void PreparePink(float sampleRate);
    void PrepareRed(float sampleRate);
    void PrepareBlue(float sampleRate);

    static float NextWhite(u32& state);
    void RenderWhite(float* out, u32 count);
    void FilterPink(float* buffer, u32 count);
    void FilterRed(float* buffer, u32 count);
    void FilterDeepRed(float* buffer, u32 count);
    void FilterBlue(float* buffer, u32 count);
    void RenderMorph(float position, float* out, u32 count);
    float MorphPosition(const ProcessContext& context) const;

    void ClearStates();
    /// Not finite when any state is not.
    float SumOfStates() const;

    u32 type = White;
    /// Position of the morph, 0 to 1.
    float color = 0.0F;
    u32 rngState;

    u32 numPoles = 0;
    std::vector<float> poleCoeffs;
    std::vector<float> poleGains;
    std::vector<float> poleStates;
    float pinkGain = 0.0F;

    float redSum = 0.0F;
    float redHighPassState = 0.0F;
    float redB = 0.0F;
    float redA = 0.0F;

    float blueLast = 0.0F;
    float blueState1 = 0.0F;
    float blueState2 = 0.0F;
    float blueB0 = 0.0F;
    float blueB1 = 0.0F;
    float blueB2 = 0.0F;
    float blueA1 = 0.0F;
    float blueA2 = 0.0F;

    float redGain = 0.0F;
    float deepRedGain = 0.0F;
    float blueGain = 0.0F;

    std::vector<float> scratch;
};

} // namespace Velmora::dsp
