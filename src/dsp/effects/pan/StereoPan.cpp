// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/pan/StereoPan.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/framework/RunChild.h"
#include "dsp/math/QuarterTurnSine.h"
#include "dsp/vectors/SilenceFaults.h"
#include "dsp/vectors/Simd.h"
#include "dsp/vectors/TransposeRows.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace Velmora::dsp {

namespace {

using simd::Float4;
using Controls = StereoPanControls;
using Settings = StereoPanSettings;

constexpr float haasFadeSeconds = 0.03F;

std::vector<ModuleParam> Records() {
    using namespace Declare;
    std::vector<ModuleParam> records = RecordsOf(
        {Linear("Pan", -1.0F, 1.0F, 0.0F), Linear("PanDepth", 0.0F, 1.0F, 0.7F),
         Choice("PanLaw", Settings::LawCount), Linear("Width", 0.0F, Settings::widestWidth, 1.0F),
         Linear("MidSide", -1.0F, 1.0F, 0.0F),
         Logarithmic("BassMono", Settings::lowestBassHz, Settings::highestBassHz, Settings::lowestBassHz),
         Linear("HaasDelay", -Settings::longestHaasMs, Settings::longestHaasMs, 0.0F),
         Linear("LevelDepth", 0.0F, 1.0F), Linear("StereoPhase", 0.0F, 180.0F),
         Choice("Source", Settings::SourceCount), Choice("Polarity", Settings::PolarityCount),
         Logarithmic("Smoothing", 1.0F, 200.0F, 5.0F)});
    // Further and further out, from side to side.
    constexpr float pattern[] = {-0.25F, 0.25F, -0.5F, 0.5F, -0.75F, 0.75F, -1.0F, 1.0F};
    for (u32 step = 0; step < LFOSimple::stepCount; ++step) {
        const std::string stepName = std::string("Step").append(std::to_string(step + 1));
        records.push_back(Linear(stepName, -1.0F, 1.0F, pattern[step % std::size(pattern)]).Record());
    }
    return records;
}

Float4 Admit(const float* input, u32 n) { return input != nullptr ? SilenceFaults(input + n) : Float4(0.0F); }

/// Gains from each channel to each side.
struct PanGains {
    Float4 left = Float4(0.0F);
    Float4 right = Float4(0.0F);
    Float4 leftToRight = Float4(0.0F);
    Float4 rightToLeft = Float4(0.0F);
};

void AddLaw(PanGains& gains, u32 law, Float4 weight, Float4 pan) {
    const Float4 one(1.0F);
    switch (law) {
    case Settings::EqualPower: {
        const Float4 way = 0.5F * (pan + one);
        const Float4 scaled = weight * std::numbers::sqrt2_v<float>;
        gains.left += scaled * QuarterTurnSine(one - way);
        gains.right += scaled * QuarterTurnSine(way);
        break;
    }
    case Settings::Balance:
        gains.left += weight * xsimd::min(one, one - pan);
        gains.right += weight * xsimd::min(one, one + pan);
        break;
    case Settings::Linear:
        gains.left += weight * (one - pan);
        gains.right += weight * (one + pan);
        break;
    default: {
        const Float4 toRight = xsimd::max(pan, Float4(0.0F));
        const Float4 toLeft = xsimd::max(-pan, Float4(0.0F));
        gains.left += weight * QuarterTurnSine(one - toRight);
        gains.right += weight * QuarterTurnSine(one - toLeft);
        gains.leftToRight += weight * QuarterTurnSine(toRight);
        gains.rightToLeft += weight * QuarterTurnSine(toLeft);
    }
    }
}

} // namespace

StereoPan::StereoPan(std::string moduleName)
    : ModuleContainer(std::move(moduleName), inputCount, 2, Records(), std::make_tuple("PanLFO"),
                      std::make_tuple("LevelLFO")) {
    // A tremolo is faster than a swing from side to side.
    Child<LevelLFO>().SetParameterValue(LFOSimple::Rate, 4.0F);
}

void StereoPan::OnInitialize(float rateHz, u32 maxBlockSize) {
    sampleRate = rateHz;
    controls.Prepare(rateHz);
    const auto longest = static_cast<u32>(std::lround(Settings::longestHaasMs * 0.001F * rateHz));
    for (SteadyDelay& delay : delays) {
        delay.Allocate(longest, std::max(1U, static_cast<u32>(haasFadeSeconds * rateHz)));
    }
    buffers.Allocate(BufferCount, maxBlockSize);
}

void StereoPan::OnReset(bool /*hard*/) {
    for (SteadyDelay& delay : delays) {
        delay.Clear();
    }
    bandState = lowState = Float4(0.0F);
}

float StereoPan::Held(u32 index) { return additional.parameters[index].Hold(AdditionalValue(index)); }

float StereoPan::Held(u32 index, const ProcessContext& context, u32 inputIndex) {
    ModuleParam& record = additional.parameters[index];
    return record.Hold(record.GetModulatedValue(context, inputIndex));
}

bool StereoPan::UpdateParameters(ProcessContext& context) {
    Settings now = settings;
    if (additional.anyParameterChanged || needsUpdate) {
        ReadFixed(now);
        UpdateSteps();
    }
    ReadModulated(now, context);
    if (needsUpdate || now != settings) {
        Follow(now);
    }
    if (needsUpdate) {
        controls.JumpToTargets();
        for (SteadyDelay& delay : delays) {
            delay.Clear();
        }
    }
    return true;
}

void StereoPan::ReadFixed(Settings& into) {
    into.law = ToIndex(AdditionalValue(PanLaw), Settings::LawCount);
    into.midSide = Held(MidSide);
    into.bassHz = Held(BassMono);
    into.haasMs = Held(HaasDelay);
    into.levelDepth = Held(LevelDepth);
    into.source = ToIndex(AdditionalValue(Source), Settings::SourceCount);
    into.polarity = ToIndex(AdditionalValue(Polarity), Settings::PolarityCount);
    into.smoothingMs = Held(Smoothing);
}

void StereoPan::ReadModulated(Settings& into, const ProcessContext& context) {
    into.panDepth = Held(PanDepth, context, 2);
    into.pan = Held(Pan, context, 3);
    into.width = Held(Width, context, 4);
}

void StereoPan::Follow(const Settings& now) {
    settings = now;
    controls.SetTargets(settings);
    swingDecay = controls.DecayOver(settings.smoothingMs);
    const auto samples = static_cast<u32>(std::lround(std::abs(settings.haasMs) * 0.001F * sampleRate));
    delays[0].SetDelay(settings.haasMs < 0.0F ? samples : 0);
    delays[1].SetDelay(settings.haasMs > 0.0F ? samples : 0);
}

void StereoPan::UpdateSteps() {
    LFOSimple::StepValues values;
    for (u32 step = 0; step < LFOSimple::stepCount; ++step) {
        values[step] = Held(FirstStep + step);
    }
    Child<PanLFO>().SetSteps(values);
    Child<LevelLFO>().SetSteps(values);
    Child<LevelLFO>().SetShift(Held(StereoPhase) / 360.0F);
}

bool StereoPan::Process(ProcessContext& context) {
    if (context.numOutputs < 2) {
        return false;
    }
    RunOscillators(context);
    if (needsUpdate && context.numFrames > 0) {
        swing.GlideTo({buffers[PanSwing][0], buffers[LeftSwing][0], buffers[RightSwing][0], 0.0F});
        swing.Arrive();
    }
    if (controls.IsMoving()) {
        RenderBlock<true>(context);
    } else {
        RenderBlock<false>(context);
    }
    return true;
}

void StereoPan::RunOscillators(const ProcessContext& context) {
    float* panOutputs[] = {buffers[PanSwing]};
    ProcessContext ofPan = context.ForChild(nullptr, 0, panOutputs, 1);
    RunChild(Child<PanLFO>(), ofPan);
    float* levelOutputs[] = {buffers[LeftSwing], buffers[RightSwing]};
    ProcessContext ofLevel = context.ForChild(nullptr, 0, levelOutputs, 2);
    RunChild(Child<LevelLFO>(), ofLevel);
}

void StereoPan::StepSwing(u32 n) {
    const u32 last = n + Float4::size - 1;
    swing.GlideTo({buffers[PanSwing][last], buffers[LeftSwing][last], buffers[RightSwing][last], 0.0F});
    swing.Step(swingDecay);
}

template <bool moving>
void StereoPan::RenderBlock(ProcessContext& context) {
    const float* leftIn = context.InputOrNull(0);
    const float* rightIn = context.InputOrNull(1);
    for (u32 n = 0; n < context.numFrames; n += Float4::size) {
        Quad quad{Admit(leftIn, n), Admit(rightIn, n), Float4(0.0F)};
        if constexpr (moving) {
            controls.Step();
        }
        StepSwing(n);
        ShapeField<moving>(quad);
        DelaySides(quad);
        Place<moving>(quad);
        quad.left.store_unaligned(context.outputs[0] + n);
        quad.right.store_unaligned(context.outputs[1] + n);
    }
}

/// Sides, bass and width.
template <bool moving>
void StereoPan::ShapeField(Quad& quad) {
    const SmoothedLanes& source = controls[Controls::SourceMatrix];
    const Float4 left = source.Over<moving>(Controls::LeftToLeft) * quad.left +
                        source.Over<moving>(Controls::RightToLeft) * quad.right;
    quad.right = source.Over<moving>(Controls::LeftToRight) * quad.left +
                 source.Over<moving>(Controls::RightToRight) * quad.right;
    quad.left = left;

    const SmoothedLanes& field = controls[Controls::Field];
    if (field.start[Controls::BassShare] != 0.0F || field.value[Controls::BassShare] != 0.0F) {
        SplitBass(quad, field.Over<moving>(Controls::BassShare), field.value[Controls::BassTangent]);
    } else {
        bandState = lowState = Float4(0.0F);
    }
    const Float4 direct = field.Over<moving>(Controls::Direct);
    const Float4 cross = field.Over<moving>(Controls::Cross);
    const Float4 wideLeft = direct * quad.left + cross * quad.right;
    quad.right = direct * quad.right + cross * quad.left;
    quad.left = wideLeft;
}

/// Both channels pass a Butterworth high pass of second order; what it takes away is summed up in the middle,
/// so that a mono sound comes out whole.
void StereoPan::SplitBass(Quad& quad, Float4 share, float tangent) {
    const float damping = std::numbers::sqrt2_v<float> + tangent;
    const Float4 g(tangent);
    const Float4 d(1.0F / (1.0F + tangent * damping));
    Float4 frames[] = {quad.left, quad.right, Float4(0.0F), Float4(0.0F)};
    TransposeRows(frames[0], frames[1], frames[2], frames[3]);
    for (Float4& frame : frames) {
        const Float4 high = (frame - damping * bandState - lowState) * d;
        const Float4 band = bandState + g * high;
        const Float4 low = lowState + g * band;
        bandState = band + g * high;
        lowState = low + g * band;
        frame -= high;
    }
    TransposeRows(frames[0], frames[1], frames[2], frames[3]);
    quad.left -= share * frames[0];
    quad.right -= share * frames[1];
    quad.bass = share * 0.5F * (frames[0] + frames[1]);
}

void StereoPan::DelaySides(Quad& quad) {
    alignas(16) float frames[2][Float4::size];
    quad.left.store_aligned(frames[0]);
    quad.right.store_aligned(frames[1]);
    for (u32 side = 0; side < 2; ++side) {
        for (float& frame : frames[side]) {
            frame = delays[side].Tick(frame);
        }
    }
    quad.left = Float4::load_aligned(frames[0]);
    quad.right = Float4::load_aligned(frames[1]);
}

/// Position and level. The bass keeps its place and takes the mean level.
template <bool moving>
void StereoPan::Place(Quad& quad) const {
    const SmoothedLanes& motion = controls[Controls::Motion];
    const SmoothedLanes& laws = controls[Controls::Laws];
    const Float4 swung = motion.Over<moving>(Controls::Pan) +
                         motion.Over<moving>(Controls::PanDepth) * swing.Over<true>(PanLane);
    const Float4 pan = xsimd::max(Float4(-1.0F), xsimd::min(Float4(1.0F), swung));
    PanGains gains;
    for (u32 law = 0; law < Settings::LawCount; ++law) {
        if (laws.start[law] != 0.0F || laws.value[law] != 0.0F) {
            AddLaw(gains, law, laws.Over<moving>(law), pan);
        }
    }
    const Float4 halfDepth = 0.5F * motion.Over<moving>(Controls::LevelDepth);
    const Float4 leftLevel = 1.0F - halfDepth * (1.0F - swing.Over<true>(LeftLane));
    const Float4 rightLevel = 1.0F - halfDepth * (1.0F - swing.Over<true>(RightLane));
    const Float4 bass = quad.bass * 0.5F * (leftLevel + rightLevel);
    const Float4 left = leftLevel * (gains.left * quad.left + gains.rightToLeft * quad.right) + bass;
    quad.right = rightLevel * (gains.right * quad.right + gains.leftToRight * quad.left) + bass;
    quad.left = left;
}

} // namespace Velmora::dsp
