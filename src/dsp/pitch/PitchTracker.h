// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"
#include "dsp/pitch/RealFft.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "support/platform/Types.h"

#include <string>
#include <vector>

namespace Velmora::dsp {

/// Finds the fundamental frequency of a voice: the signal is cut into windows that follow one another, and
/// at the end of each a normalised square-difference function, computed through a real transform, tells the
/// lag at which the window resembles itself most.
///
/// Inputs: 0 and 1, of which the mean is taken; an absent or null second one leaves the first alone, a null
/// first one is silence. A fault counts as silence. Output 0: the pitch in Hz,
/// constant over a window and late by one, 0 where none is found; may be the buffer of an input.
///
/// Initialize prepares all lengths of the window; a change of it neither allocates nor locks.
class PitchTracker final : public UnitModule {
public:
    enum Parameter : u32 {
        /// Samples at 44100 Hz, 2 to 2048: the window is as long in time at other rates, to the nearest power
        /// of two. A change clears the state. Below four samples no pitch is found.
        AnalysisWindowSize,
        /// The likeness of neighbouring periods, 0 to 1, from which on a pitch counts.
        ConfidenceThreshold,
        /// Hz, 0 to 20000; written at the end of each window.
        DetectedPitch,
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;

    explicit PitchTracker(std::string moduleName = "PitchTracker");

    void OnInitialize(float sampleRateHz, u32 maxBlockSize) override;
    /// Clears the window and the pitch.
    void OnReset(bool hard) override;
    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;

private:
    class Input;

    void ChooseWindow();
    void Store(const Input& first, const Input& second, u32 frame, u32 count);
    void Analyse();
    void Autocorrelate();
    void SumEnergy();
    void Normalise();
    float MeasurePitch() const;

    float sampleRate = 1.0F;
    float threshold = 0.0F;
    float pitch = 0.0F;

    /// Samples in the window, a power of two.
    u32 windowLength = 0;
    /// Samples in the window so far.
    u32 position = 0;
    /// Of twice 4, 8, 16, ... samples.
    std::vector<RealFft> transforms;
    /// The window and as many zeros, so that its end does not wrap round to its beginning; during an analysis
    /// the spectrum, the autocorrelation, the square-difference function.
    AlignedBuffer data;
    AlignedBuffer squares;
    /// The energy that belongs to each lag, then the tapered function.
    AlignedBuffer norm;
    /// Falls linearly from 1 towards 0, as the number of samples that a lag compares.
    AlignedBuffer taper;
};

} // namespace Velmora::dsp
