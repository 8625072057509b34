// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/delaylines/DelayRing.h"
#include "dsp/effects/pan/StereoPanControls.h"
#include "dsp/framework/ModuleContainer.h"
#include "dsp/lfo/LFOSimple.h"
#include "dsp/vectors/AlignedBuffer.h"

#include <array>
#include <string>

namespace Velmora::dsp {

/// A stereo panner: places the sound between the sides, by hand and by an oscillator, swings its level by
/// another, and sets its width. In order: sides from channels, bass apart, mid and side, delay of one side,
/// position and level; then the bass joins in, in the middle.
///
/// Inputs: 0 left, 1 right, then those of modulationInputs; any may be null or absent. Outputs: 0 left, 1
/// right, which may be the input buffers. A sample that is not a number or absurdly loud counts as 0, a null
/// input as silence. All controls glide.
///
/// Parameters 0 to 3 are those of LFOSimple for the position, 4 to 7 those for the level.
class StereoPan final : public ModuleContainer<LFOSimple, LFOSimple> {
public:
    enum Additional : u32 {
        /// -1 left to 1 right.
        Pan,
        /// 0..1: how far the first oscillator moves the position.
        PanDepth,
        /// A StereoPanSettings::Law.
        PanLaw,
        /// Factor of the side signal, 0 mono to 2.
        Width,
        /// -1 mid alone, 0 both, 1 side alone.
        MidSide,
        /// Corner in Hz, 20 to 500, below which everything stays in the middle; off at 20.
        BassMono,
        /// ms, -30 to 30: by how much the right side is late, or below 0 the left one.
        HaasDelay,
        /// 0..1: how deep the second oscillator lowers the level.
        LevelDepth,
        /// Degrees, 0 to 180, by which the second oscillator is ahead on the right.
        StereoPhase,
        /// A StereoPanSettings::Source.
        Source,
        /// A StereoPanSettings::Polarity.
        Polarity,
        /// Time constant in ms, 1 to 200, of what the oscillators do.
        Smoothing,
        /// The pattern that the shape "Steps" of either oscillator goes through, -1..1 each.
        FirstStep,
        AdditionalCount = FirstStep + LFOSimple::stepCount
    };
    static constexpr u32 parameterCount = childParameterCount + AdditionalCount;
    static constexpr u32 ParameterId(u32 index) { return childParameterCount + index; }
    /// Of the two oscillators.
    enum ChildIndex : u32 { PanLFO, LevelLFO };
    static constexpr u32 LFOId(ChildIndex lfo, LFOSimple::Parameter id) { return firstIds[lfo] + id; }
    static constexpr auto modulationInputs = std::to_array<u32>(
        {childParameterCount + PanDepth, childParameterCount + Pan, childParameterCount + Width});
    static constexpr u32 inputCount = 2 + modulationInputs.size();
    static constexpr auto slotSignals = std::to_array<u32>({childParameterCount + Pan});

    explicit StereoPan(std::string moduleName = "StereoPan");

    void OnInitialize(float rateHz, u32 maxBlockSize) override;
    /// Clears the delays and the filter; the oscillators start anew.
    void OnReset(bool hard) override;
    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;

private:
    using Float4 = simd::Float4;
    /// Values of the oscillators per frame.
    enum Buffer : u32 { PanSwing, LeftSwing, RightSwing, BufferCount };
    enum SwingLane : u32 { PanLane, LeftLane, RightLane };
    /// Left, right and the bass that stays in the middle.
    struct Quad {
        Float4 left;
        Float4 right;
        Float4 bass;
    };

    /// Of an additional parameter, within its range; moved by a modulation input.
    float Held(u32 index);
    float Held(u32 index, const ProcessContext& context, u32 inputIndex);
    void ReadFixed(StereoPanSettings& into);
    void ReadModulated(StereoPanSettings& into, const ProcessContext& context);
    void Follow(const StereoPanSettings& now);
    void UpdateSteps();

    void RunOscillators(const ProcessContext& context);
    void StepSwing(u32 n);
    template <bool moving>
    void RenderBlock(ProcessContext& context);
    template <bool moving>
    void ShapeField(Quad& quad);
    void SplitBass(Quad& quad, Float4 share, float tangent);
    void DelaySides(Quad& quad);
    template <bool moving>
    void Place(Quad& quad) const;

    StereoPanSettings settings;
    StereoPanControls controls;
    /// The three values of the oscillators, smoothed.
    SmoothedLanes swing;
    float swingDecay = 0.0F;
    std::array<SteadyDelay, 2> delays;
    /// Of the high pass of the bass split; lanes 0 and 1: left and right.
    Float4 bandState = Float4(0.0F);
    Float4 lowState = Float4(0.0F);
    float sampleRate = 44100.0F;
    BlockPool buffers;
};

} // namespace Velmora::dsp
