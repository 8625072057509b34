// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/reverb/Reverb.h"

#include "dsp/effects/shared/StereoQuad.h"
#include "dsp/math/SyncRates.h"
#include "dsp/math/Within.h"

#include <utility>

namespace Velmora::dsp {

namespace {

using simd::Float4;
using Controls = ReverbControls;
using Limits = ReverbSettings;

} // namespace

Reverb::Reverb(std::string moduleName)
    : EffectUnit(std::move(moduleName), modulationInputs, 2,
                 {Declare::Linear("DryWet", 0.0F, 1.0F, 0.3F),
                  Declare::Exponential("PreDelay", 0.0F, 250.0F, 3.0F, 12.0F), Declare::Switch("TempoSync"),
                  Declare::Choice("SyncRate", SyncRates::echoCount, 14.0F),
                  Declare::Logarithmic("Decay", 0.1F, 30.0F, 2.2F),
                  Declare::Logarithmic("Size", Limits::smallestSize, Limits::largestSize, 1.0F),
                  Declare::Logarithmic("Damping", 500.0F, Limits::highestCutHz, 6000.0F),
                  Declare::Logarithmic("LowCut", Limits::lowestCutHz, 2000.0F, 100.0F),
                  Declare::Logarithmic("HighCut", 500.0F, Limits::highestCutHz, 12000.0F),
                  Declare::Linear("InputDiffusion1", 0.0F, Limits::mostDiffusion, 0.75F),
                  Declare::Linear("InputDiffusion2", 0.0F, Limits::mostDiffusion, 0.625F),
                  Declare::Linear("DecayDiffusion1", 0.0F, Limits::mostDiffusion, 0.7F),
                  Declare::Linear("DecayDiffusion2", 0.0F, Limits::mostDiffusion, 0.5F),
                  Declare::Logarithmic("ModRate", 0.05F, 5.0F, 0.7F),
                  Declare::Linear("ModDepth", 0.0F, Limits::deepestMs, 0.25F),
                  Declare::Linear("Width", 0.0F, 1.0F, 1.0F), Declare::Switch("Freeze"),
                  Declare::Linear("WetGain", -24.0F, 12.0F, 0.0F)}) {}

void Reverb::OnInitialize(float sampleRate, u32 /*maxBlockSize*/) {
    controls.Prepare(sampleRate);
    tank.Allocate(sampleRate);
    entry.Prepare(sampleRate);
}

/// With the next tick the controls jump, and the swing starts.
void Reverb::OnReset(bool /*hard*/) {
    tank.Clear();
    entry.Reset();
}

ReverbSettings Reverb::ReadSettings(const ProcessContext& context) {
    ReverbSettings now;
    now.mix = HeldValue(DryWet, context);
    now.preDelaySeconds = PreDelaySeconds(context);
    now.decaySeconds = HeldValue(Decay, context);
    now.size = HeldValue(Size, context);
    now.dampingHz = HeldValue(Damping, context);
    now.lowCutHz = HeldValue(LowCut, context);
    now.highCutHz = HeldValue(HighCut, context);
    now.inputDiffusion1 = HeldValue(InputDiffusion1, context);
    now.inputDiffusion2 = HeldValue(InputDiffusion2, context);
    now.decayDiffusion1 = HeldValue(DecayDiffusion1, context);
    now.decayDiffusion2 = HeldValue(DecayDiffusion2, context);
    now.modRateHz = HeldValue(ModRate, context);
    now.modDepthMs = HeldValue(ModDepth, context);
    now.width = HeldValue(Width, context);
    now.frozen = IsOn(Freeze);
    now.wetGainDb = HeldValue(WetGain, context);
    return now;
}

float Reverb::PreDelaySeconds(const ProcessContext& context) {
    const float free = HeldValue(PreDelay, context) * 0.001F;
    if (!IsOn(TempoSync)) {
        return free;
    }
    // However slow the song, the halves are still in time with it.
    float seconds =
        Within(SyncRates::EchoSeconds(HeldValue(SyncRate, context), context.tempo, free), 0.0F, 1000.0F);
    while (seconds > Limits::longestPreDelaySeconds) {
        seconds *= 0.5F;
    }
    return seconds;
}

bool Reverb::IsAtRest() const { return tank.IsAtRest() && entry.IsOver() && !controls.IsMoving(); }

bool Reverb::Process(ProcessContext& context) {
    const bool silent = IsSilent(context);
    if (silent && IsAtRest()) {
        RenderSilence(context, [this](u32 quads) { tank.Swing(controls, quads); });
        return true;
    }
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
    tank.CountSilence(silent ? context.numFrames : 0);
    return true;
}

template <ReverbTank::Pace pace>
void Reverb::RenderBlock(ProcessContext& context) {
    constexpr bool moving = pace != ReverbTank::Settled;
    const SmoothedLanes& mix = controls[Controls::Mix];
    for (u32 n = 0; n < context.numFrames; n += Float4::size) {
        const auto sound = StereoQuad::Read(context, n);
        if constexpr (moving) {
            controls.Step();
        }
        const StereoQuad entering = entry.Next(sound);
        const StereoQuad wet = tank.Render<pace>((entering.left + entering.right) * 0.5F, controls);
        (sound * mix.Over<moving>(Controls::Dry) +
         wet.Crossed(mix.Over<moving>(Controls::WetDirect), mix.Over<moving>(Controls::WetOther)))
            .Write(context, n);
    }
}

} // namespace Velmora::dsp
