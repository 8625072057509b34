// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/reverb/Reverb.h"

#include "dsp/effects/shared/EffectRecords.h"
#include "dsp/math/SyncRates.h"
#include "dsp/math/Within.h"
#include "dsp/vectors/SilenceFaults.h"

#include <cmath>
#include <utility>
#include <vector>

namespace Velmora::dsp {

namespace {

using simd::Float4;
using Controls = ReverbControls;
using Limits = ReverbSettings;

/// Modulation inputs.
enum Input : u32 {
    DryWetInput = 2,
    PreDelayInput,
    SizeInput,
    DecayInput,
    DampingInput,
    HighCutInput,
    ModDepthInput,
    WidthInput,
    InputCount
};

/// Equal ways of the knob are equal ratios.
ModuleParam Ratio(const char* name, float low, float high, float start) {
    return EffectRecords::Exponential(name, low, high, std::log(high / low), start);
}

std::vector<ModuleParam> Records() {
    using namespace EffectRecords;
    return {Linear("DryWet", 0.0F, 1.0F, 0.3F),
            Exponential("PreDelay", 0.0F, 250.0F, 3.0F, 12.0F),
            Choice("TempoSync", 2, 0.0F),
            Choice("SyncRate", SyncRates::echoCount, 14.0F),
            Ratio("Decay", 0.1F, 30.0F, 2.2F),
            Ratio("Size", Limits::smallestSize, Limits::largestSize, 1.0F),
            Ratio("Damping", 500.0F, Limits::highestCutHz, 6000.0F),
            Ratio("LowCut", Limits::lowestCutHz, 2000.0F, 100.0F),
            Ratio("HighCut", 500.0F, Limits::highestCutHz, 12000.0F),
            Linear("InputDiffusion1", 0.0F, Limits::mostDiffusion, 0.75F),
            Linear("InputDiffusion2", 0.0F, Limits::mostDiffusion, 0.625F),
            Linear("DecayDiffusion1", 0.0F, Limits::mostDiffusion, 0.7F),
            Linear("DecayDiffusion2", 0.0F, Limits::mostDiffusion, 0.5F),
            Ratio("ModRate", 0.05F, 5.0F, 0.7F),
            Linear("ModDepth", 0.0F, Limits::deepestMs, 0.25F),
            Linear("Width", 0.0F, 1.0F, 1.0F),
            Choice("Freeze", 2, 0.0F),
            Linear("WetGain", -24.0F, 12.0F, 0.0F)};
}

Float4 Admit(const float* input, u32 n) { return input != nullptr ? SilenceFaults(input + n) : Float4(0.0F); }

} // namespace

Reverb::Reverb(std::string moduleName) : UnitModule(std::move(moduleName), InputCount, 2, Records()) {}

void Reverb::OnInitialize(float sampleRate, u32 /*maxBlockSize*/) {
    controls.Prepare(sampleRate);
    tank.Allocate(sampleRate);
}

/// With the next tick the controls jump, and the swing starts.
void Reverb::OnReset(bool /*hard*/) { tank.Clear(); }

float Reverb::Held(u32 id, float low, float high) { return Within(Value(id), low, high); }

bool Reverb::UpdateParameters(ProcessContext& context) {
    ReverbSettings now = settings;
    if (anyParameterChanged || needsUpdate) {
        ReadFixed(now);
    }
    ReadModulated(now, context);
    if (needsUpdate || now != settings) {
        settings = now;
        controls.Aim(settings);
    }
    if (needsUpdate) {
        controls.Jump();
        tank.RestartSwing(controls);
    }
    return true;
}

void Reverb::ReadFixed(ReverbSettings& into) {
    into.lowCutHz = Held(LowCut, Limits::lowestCutHz, Limits::highestCutHz);
    into.inputDiffusion1 = Held(InputDiffusion1, 0.0F, Limits::mostDiffusion);
    into.inputDiffusion2 = Held(InputDiffusion2, 0.0F, Limits::mostDiffusion);
    into.decayDiffusion1 = Held(DecayDiffusion1, 0.0F, Limits::mostDiffusion);
    into.decayDiffusion2 = Held(DecayDiffusion2, 0.0F, Limits::mostDiffusion);
    into.modRateHz = Held(ModRate, 0.0F, Limits::fastestHz);
    into.frozen = Value(Freeze) > 0.5F;
    into.wetGainDb = Held(WetGain, -60.0F, 24.0F);
}

void Reverb::ReadModulated(ReverbSettings& into, const ProcessContext& context) {
    const auto read = [&](u32 id, u32 input, float low, float high) {
        return Within(parameters[id].GetModulatedValue(context, input), low, high);
    };
    into.mix = read(DryWet, DryWetInput, 0.0F, 1.0F);
    into.preDelaySeconds = PreDelaySeconds(context);
    into.size = read(Size, SizeInput, Limits::smallestSize, Limits::largestSize);
    into.decaySeconds = read(Decay, DecayInput, Limits::shortestDecaySeconds, Limits::longestDecaySeconds);
    into.dampingHz = read(Damping, DampingInput, Limits::lowestCutHz, Limits::highestCutHz);
    into.highCutHz = read(HighCut, HighCutInput, Limits::lowestCutHz, Limits::highestCutHz);
    into.modDepthMs = read(ModDepth, ModDepthInput, 0.0F, Limits::deepestMs);
    into.width = read(Width, WidthInput, 0.0F, 1.0F);
}

float Reverb::PreDelaySeconds(const ProcessContext& context) {
    constexpr float longest = Limits::longestPreDelaySeconds;
    const float free = parameters[PreDelay].GetModulatedValue(context, PreDelayInput) * 0.001F;
    if (Value(TempoSync) > 0.5F) {
        // However slow the song, the halves are still in time with it.
        float seconds =
            Within(SyncRates::EchoSeconds(std::round(Value(SyncRate)), context.tempo, free), 0.0F, 1000.0F);
        while (seconds > longest) {
            seconds *= 0.5F;
        }
        return seconds;
    }
    return Within(free, 0.0F, longest);
}

bool Reverb::Process(ProcessContext& context) {
    if (controls.Delay().IsGliding()) {
        RenderBlock<ReverbTank::Gliding>(context);
    } else if (controls.IsMoving()) {
        RenderBlock<ReverbTank::Moving>(context);
    } else {
        RenderBlock<ReverbTank::Settled>(context);
    }
    if (tank.IsBroken()) {
        tank.Clear();
    }
    return true;
}

template <ReverbTank::Pace pace>
void Reverb::RenderBlock(ProcessContext& context) {
    constexpr bool moving = pace != ReverbTank::Settled;
    const float* leftIn = context.InputOrNull(0);
    const float* rightIn = context.InputOrNull(1);
    const SmoothedLanes& mix = controls[Controls::Mix];
    for (u32 n = 0; n < context.numFrames; n += Float4::size) {
        const Float4 left = Admit(leftIn, n);
        const Float4 right = Admit(rightIn, n);
        if constexpr (moving) {
            controls.Step();
        }
        Float4 wetLeft;
        Float4 wetRight;
        tank.Render<pace>((left + right) * 0.5F, controls, wetLeft, wetRight);
        const Float4 dry = mix.Over<moving>(Controls::Dry);
        const Float4 direct = mix.Over<moving>(Controls::WetDirect);
        const Float4 other = mix.Over<moving>(Controls::WetOther);
        (left * dry + (direct * wetLeft + other * wetRight)).store_unaligned(context.outputs[0] + n);
        (right * dry + (direct * wetRight + other * wetLeft)).store_unaligned(context.outputs[1] + n);
    }
}

} // namespace Velmora::dsp
