// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/vectors/AlignedBuffer.h"
#include "dsp/vectors/FrameLanes.h"
#include "support/platform/Types.h"

#include <array>
#include <type_traits>

namespace Velmora::dsp {

/// What the response of a band follows from.
struct ParamEqShape {
    enum Mode : i32 { LowPass, BandPass, HighPass, LowShelf, Bell, HighShelf, ModeCount };

    i32 mode = LowPass;
    /// Linear, above 0; the square root of a shelf's gain at its extreme and of a bell's at its centre.
    float gain = 1.0F;
    /// Of the sample rate, above 0 and below 0.5.
    float frequency = 0.001F;
    /// Above 0.
    float inverseQ = 1.0F;

    bool operator==(const ParamEqShape&) const = default;
};

/// One band of the equaliser: a state-variable filter of two trapezoidal integrators, whose three outputs
/// are mixed. The structure keeps its states meaningful while the coefficients move, which they do in
/// straight lines from the values of the last block to those of this one.
class ParamEqBand {
public:
    template <class T>
    class Pass;

    void Allocate(u32 maxBlockSize);
    void Clear();
    /// The next update takes its values at once.
    void Arrive() { jumps = true; }

    /// Prepares a block of numFrames, which may not be 0; a Pass then renders it.
    void Update(const ParamEqShape& next, u32 numFrames);

private:
    /// Damping, integrator gain and the weights of the three outputs follow from the shape; `LoopGain`, which
    /// resolves the loop without delay that the integrators form, follows from the first two in each frame.
    enum Value : u32 { Damping, Integrator, LowMix, BandMix, HighMix, LoopGain, ValueCount };
    static constexpr u32 rampedCount = LoopGain;

    void SetCurrent();
    void SetMix();
    void RenderRamps(u32 numFrames);
    void RenderRamp(u32 value, u32 numFrames);
    void RenderLoopGain(u32 numFrames);
    void Fill(u32 value);
    void FinishBlock();

    ParamEqShape shape;
    float tangent = 0.0F;
    std::array<float, ValueCount> previous{};
    std::array<float, ValueCount> current{};
    /// The buffer holds `current` throughout.
    std::array<bool, ValueCount> isFlat{};
    BlockPool ramps;
    u32 bufferLength = 0;
    bool jumps = true;
    bool isMoving = false;
    /// Of the two integrators, per channel.
    std::array<double, 2> state1{};
    std::array<double, 2> state2{};
};

/// A band at work on one block of channel 0 (T is double) or of both (T is Double2). Lives on the stack, so
/// that coefficients and states need not go through memory with each frame.
template <class T>
class ParamEqBand::Pass {
public:
    Pass() = default;
    explicit Pass(ParamEqBand& owner) : band(&owner), isMoving(owner.isMoving) {
        if constexpr (isPair) {
            s1 = Lanes(owner.state1[0], owner.state1[1]);
            s2 = Lanes(owner.state2[0], owner.state2[1]);
        } else {
            s1 = owner.state1[0];
            s2 = owner.state2[0];
        }
        const auto& c = owner.current;
        settled = {c[Damping], c[Integrator], c[LoopGain], c[LowMix], c[BandMix], c[HighMix]};
        for (u32 value = 0; value < ValueCount; ++value) {
            buffers[value] = owner.ramps[value];
        }
    }

    /// Filters four frames, of which the first is frame n of the block.
    void Run(FrameQuad<T>& quad, u32 n) {
        if (isMoving) {
            quad.frame0 = Tick(quad.frame0, At(n));
            quad.frame1 = Tick(quad.frame1, At(n + 1));
            quad.frame2 = Tick(quad.frame2, At(n + 2));
            quad.frame3 = Tick(quad.frame3, At(n + 3));
        } else {
            StepFrames(quad, [this](T x) { return Tick(x, settled); });
        }
    }

    bool IsMoving() const { return isMoving; }
    /// The states are where this pass found them.
    bool IsWhereItBegan() const {
        std::array<double, 2> now1 = band->state1;
        std::array<double, 2> now2 = band->state2;
        Store(now1, now2);
        return now1 == band->state1 && now2 == band->state2;
    }
    /// Gives the states back. The values of this block are those that the next one starts from.
    void Finish() {
        Store(band->state1, band->state2);
        band->FinishBlock();
    }

private:
    static constexpr bool isPair = std::is_same_v<T, Double2>;

    void Store(std::array<double, 2>& first, std::array<double, 2>& second) const {
        if constexpr (isPair) {
            SplitLanes(s1, first[0], first[1]);
            SplitLanes(s2, second[0], second[1]);
        } else {
            first[0] = s1;
            second[0] = s2;
        }
    }

    struct Coefficients {
        Coefficients() = default;
        Coefficients(double damping, double integrator, double loopGain, double lowMix, double bandMix,
                     double highMix)
            : feedback(2.0 * damping + integrator), g(integrator), d(loopGain), dg(loopGain * integrator),
              low(lowMix), band(bandMix), high(highMix) {}

        T feedback;
        T g;
        T d;
        /// Keeps one multiplication out of the loop that the states form.
        T dg;
        T low;
        T band;
        T high;
    };

    Coefficients At(u32 n) const {
        return {buffers[Damping][n], buffers[Integrator][n], buffers[LoopGain][n],
                buffers[LowMix][n],  buffers[BandMix][n],    buffers[HighMix][n]};
    }

    T Tick(T x, const Coefficients& c) {
        const T rest = (x - s2) - c.feedback * s1;
        const T high = rest * c.d;
        const T step = rest * c.dg;
        const T middle = s1 + step;
        s1 = middle + step;
        const T rise = middle * c.g;
        const T low = s2 + rise;
        s2 = low + rise;
        return middle * c.band + low * c.low + high * c.high;
    }

    Coefficients settled;
    T s1;
    T s2;
    ParamEqBand* band = nullptr;
    bool isMoving = false;
    std::array<const float*, ValueCount> buffers;
};

} // namespace Velmora::dsp
