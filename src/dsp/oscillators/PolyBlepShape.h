// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"
#include "dsp/oscillators/PolyBlepReset.h"
#include "support/platform/Types.h"

#include <algorithm>
#include <string>
#include <vector>

namespace Velmora::dsp {

/// What the band-limited shapes share: they read the outputs of a PolyBlepPhaseGen and give one waveform
/// in -1..1.
///
/// Inputs: 0 phase, 1 increment per sample, 2 reset flags, 3 samples to wrap, 4 samples since wrap, and for
/// shapes with a width 5 pulse width. Inputs 2 to 4 are read only with "HSSlave" on, input 5 only with
/// "PWMOn" on; they may be null or absent. Without "FMOn" the first increment holds for the whole block.
/// Output 0 may be the buffer of an input. "Off" gives 0; with "AAOn" off the plain waveform comes out.
class PolyBlepShape : public UnitModule {
public:
    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;

protected:
    using Float4 = simd::Float4;

    /// The ids that all shapes have, each in its own order.
    struct FlagIds {
        u32 on;
        u32 hsSlave;
        u32 hsPhase0;
        u32 aaOn;
        u32 fmOn;
    };

    PolyBlepShape(std::string moduleName, u32 inputCount, const std::vector<std::string>& parameterNames);

    bool ReadFlag(u32 id) { return Value(id) >= 0.5F; }
    void ReadFlags(const FlagIds& ids);

    /// Renders a block with the loop that the flags ask for. waveAt(n) gives the wave of the four frames from
    /// n on: its Value at phases, its Correction away from resets, and its CorrectionNearReset.
    template <class WaveAt>
    void Render(const ProcessContext& context, WaveAt waveAt);

private:
    template <class WaveAt>
    static void RenderPlain(const ProcessContext& context, WaveAt waveAt);
    template <bool Sync, bool Fm, class WaveAt>
    void RenderAntiAliased(const ProcessContext& context, WaveAt waveAt);

    /// Forgets the last reset, so that no stale jump is corrected.
    void ForgetReset();
    /// The phase just before the last reset as each of four frames sees it.
    Float4 FollowResets(const float* flags, const float* samplesSince, Float4 phases, Float4 increments);
    static bool HasResetInputs(const ProcessContext& context);

    bool isOn = false;
    bool isSlave = false;
    bool isAntiAliased = false;
    bool isModulated = false;
    float startPhase = 0.0F;
    /// Just before the last reset.
    float lastPhase = 0.0F;
    /// Of the last frame.
    float previousPhase = 0.0F;
};

template <class WaveAt>
void PolyBlepShape::Render(const ProcessContext& context, WaveAt waveAt) {
    if (!isOn || context.numFrames == 0) {
        std::fill_n(context.outputs[0], context.numFrames, 0.0F);
    } else if (!isAntiAliased) {
        RenderPlain(context, waveAt);
    } else if (isSlave && HasResetInputs(context)) {
        isModulated ? RenderAntiAliased<true, true>(context, waveAt)
                    : RenderAntiAliased<true, false>(context, waveAt);
    } else {
        isModulated ? RenderAntiAliased<false, true>(context, waveAt)
                    : RenderAntiAliased<false, false>(context, waveAt);
    }
}

template <class WaveAt>
void PolyBlepShape::RenderPlain(const ProcessContext& context, WaveAt waveAt) {
    for (u32 n = 0; n < context.numFrames; n += 4) {
        waveAt(n)
            .Value(Float4::load_unaligned(context.inputs[0] + n))
            .store_unaligned(context.outputs[0] + n);
    }
}

template <bool Sync, bool Fm, class WaveAt>
void PolyBlepShape::RenderAntiAliased(const ProcessContext& context, WaveAt waveAt) {
    const float* phases = context.inputs[0];
    const float* increments = context.inputs[1];
    polyblep::Motion motion{Float4(increments[0])};
    for (u32 n = 0; n < context.numFrames; n += 4) {
        const Float4 phase = Float4::load_unaligned(phases + n);
        if constexpr (Fm) {
            motion = polyblep::Motion(Float4::load_unaligned(increments + n));
        }
        const auto& wave = waveAt(n);
        Float4 y = wave.Value(phase);
        if constexpr (Sync) {
            const Float4 to = Float4::load_unaligned(context.inputs[3] + n);
            const Float4 since = Float4::load_unaligned(context.inputs[4] + n);
            const Float4 last =
                FollowResets(context.inputs[2] + n, context.inputs[4] + n, phase, motion.increment);
            const bool isNear = xsimd::any(xsimd::min(to, since) < Float4(polyblep::kernelReach));
            y += isNear ? wave.CorrectionNearReset({phase, motion, to, since, last, Float4(startPhase)})
                        : wave.Correction(phase, motion);
            // Where FM bends the run, what was foreseen can miss a little.
            y = xsimd::min(xsimd::max(y, Float4(-1.0F)), Float4(1.0F));
        } else {
            y += wave.Correction(phase, motion);
        }
        y.store_unaligned(context.outputs[0] + n);
    }
}

} // namespace Velmora::dsp
