// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"
#include "dsp/vectors/Simd.h"
#include "support/platform/Types.h"

#include <string>
#include <vector>

namespace Velmora::dsp {

/// Follows the level of a signal. A window of one sample takes the peaks, a longer one the RMS of a sliding
/// window by a running sum; an attack and release smoother of one pole follows, which reaches 99.3 % of a
/// step in the set time.
///
/// Inputs: 0 left, 1 right, read with "StereoInput" only; an absent or null right one counts as equal to the
/// left, a null left one as silence. Output 0: the envelope, 0 or above; silence brings it to exactly 0.
/// A sample that is not a number, infinite or absurdly large counts as 0.
class EnvFollower final : public UnitModule {
public:
    enum Parameter : u32 {
        /// Seconds, 0.001 to 5.
        Attack,
        Release,
        /// Milliseconds, 0 to 100; below two samples the peaks are taken. A change clears the envelope.
        RMSWindowDurationMs,
        /// Factor, 0 to 100.
        FixedLinearGain,
        /// Above 0.5 both inputs are averaged after rectification.
        StereoInput,
        /// Decibels, -120 to 0. What does not exceed it counts as silence: the RMS before the gain, peaks
        /// after.
        Threshold,
        ThresholdActive,
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;

    explicit EnvFollower(std::string moduleName = "EnvFollower");

    void OnInitialize(float sampleRateHz, u32 maxBlockSize) override;
    /// Clears window and envelope.
    void OnReset(bool hard) override;
    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;

private:
    /// A ring of squared samples, written and read four at a time.
    class DelayLineDouble {
    public:
        void SetLongestDelay(u32 samples);
        void Clear();
        void WriteFour(simd::Double2 first, simd::Double2 second);
        /// From what was written so many samples ago (1 is the newest) four onwards.
        const double* Before(u32 samples) const { return &ring[(writeIndex - samples) & mask]; }

    private:
        /// Ends with a copy of its first group, so that four neighbours can always be read.
        std::vector<double> ring;
        u32 mask = 0;
        /// Runs on; wrapped where the ring is accessed.
        u32 writeIndex = 0;
    };

    /// The mean square of the window, in both lanes, and the part of it that came in since it was last built
    /// anew, spread over the lanes.
    struct RunningSum {
        simd::Double2 sum{0.0, 0.0};
        simd::Double2 fresh{0.0, 0.0};
        u32 freshCount = 0;
    };

    void UpdateWindow();
    bool IsAtRest() const;
    void PassSilence(const ProcessContext& context);
    float StepCoefficient(float seconds) const;
    template <bool rms>
    void Follow(const ProcessContext& context);
    simd::Float4 SlideWindow(simd::Float4 x, RunningSum& window);
    double Renewed(RunningSum window) const;

    float sampleRate = 1.0F;
    float gain = 1.0F;
    bool isStereo = false;
    float envelope = 0.0F;
    bool isThresholdActive = false;
    float thresholdLevel = 0.0F;
    float attackCoefficient = 1.0F;
    float releaseCoefficient = 1.0F;

    u32 longestWindow = 1;
    u32 windowLength = 1;
    bool usesRms = false;
    double inverseWindowLength = 1.0;
    RunningSum runningSum;
    DelayLineDouble delayLine;
    /// Since the last sound; as many as count.
    u32 silentFrames = 0;
};

} // namespace Velmora::dsp
