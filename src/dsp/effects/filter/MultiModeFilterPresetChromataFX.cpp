// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/filter/MultiModeFilterPresetChromataFX.h"

#include "dsp/math/CornerAngle.h"

#include <utility>

namespace Velmora::dsp {

namespace {

using simd::Float4;
using Filter = MultiModeFilterPresetChromataFX;
using Limits = MultiModeFilterSettings;
using Sweep = SweepLfoSettings;

constexpr SweptParameters swept = {.mix = Filter::DryWet,
                                   .hz = Filter::Cutoff,
                                   .stereoOffset = Filter::StereoOffset,
                                   .swing = Filter::LFOAmount,
                                   .envelopeSwing = Filter::EnvAmount,
                                   .drive = Filter::Drive,
                                   .wetGain = Filter::WetGain,
                                   .rate = Filter::LFOFreq,
                                   .shape = Filter::LFOShape,
                                   .tempoSync = Filter::TempoSync,
                                   .syncRate = Filter::SyncRate,
                                   .attack = Filter::EnvAttack,
                                   .release = Filter::EnvRelease};

/// Of a lane over the frames of a quad.
struct Line {
    alignas(16) float frames[Float4::size];

    Line(const SmoothedLanes& lanes, u32 lane) { lanes.Over<true>(lane).store_aligned(frames); }
    double operator[](u32 n) const { return static_cast<double>(frames[n]); }
};

} // namespace

MultiModeFilterPresetChromataFX::MultiModeFilterPresetChromataFX(std::string moduleName)
    : SweptEffect(std::move(moduleName), modulationInputs, 2,
                  {Declare::Linear("DryWet", 0.0F, 1.0F, 1.0F),
                   Declare::Logarithmic("Cutoff", Limits::lowestHz, Limits::highestHz, 1500.0F),
                   Declare::Linear("Resonance", 0.0F, 1.0F, 0.3F),
                   Declare::Linear("Mode", 0.0F, Limits::topMode), Declare::Switch("Slope"),
                   Declare::Linear("Drive", 0.0F, 36.0F), Declare::Linear("StereoOffset", -4.0F, 4.0F, 0.0F),
                   Declare::Linear("EnvAmount", -6.0F, 6.0F, 1.5F),
                   Declare::Logarithmic("EnvAttack", 1.0F, 500.0F, 10.0F),
                   Declare::Logarithmic("EnvRelease", 5.0F, 2000.0F, 150.0F),
                   Declare::Linear("LFOAmount", 0.0F, 4.0F),
                   Declare::Logarithmic("LFOFreq", 0.02F, Sweep::fastestHz, 0.5F),
                   Declare::Choice("LFOShape", Sweep::Pattern), Declare::Switch("TempoSync"),
                   Declare::Choice("SyncRate", SyncRates::count, 5.0F),
                   Declare::Linear("WetGain", -24.0F, 12.0F, 0.0F)}) {}

void MultiModeFilterPresetChromataFX::ClearStages() {
    first.Clear();
    second.Clear();
}

MultiModeFilterSettings MultiModeFilterPresetChromataFX::ReadSettings(const ProcessContext& context) {
    MultiModeFilterSettings now;
    ReadSwept(now, swept, context);
    now.resonance = HeldValue(Resonance, context);
    now.mode = HeldValue(Mode, context);
    now.isSteep = IsOn(Slope);
    return now;
}

bool MultiModeFilterPresetChromataFX::Process(ProcessContext& context) {
    if (PassesSilence(context, first.IsAtRest() && second.IsAtRest())) {
        if (context.numFrames != 0) {
            MoveCutoff();
        }
        return true;
    }
    RenderQuads(context, [this](FrameQuad<Double2>& quad) {
        MoveCutoff();
        FilterQuad(quad);
    });
    first.Heal();
    second.Heal();
    return true;
}

/// To where it is at the end of the quad.
void MultiModeFilterPresetChromataFX::MoveCutoff() {
    const Float4 octaves = controls.sweep.Octaves(controls[Controls::Corners]);
    const bool atOnce = TakesJump();
    startGain = endGain;
    if (atOnce || octaves.get(0) != lastOctaves[0] || octaves.get(1) != lastOctaves[1]) {
        lastOctaves = {octaves.get(0), octaves.get(1)};
        const CornerAngle angle = CornerAngle::Of(octaves, sampleRate);
        const Float4 tangent = angle.sine / angle.cosine;
        endGain = Lanes(static_cast<double>(tangent.get(0)), static_cast<double>(tangent.get(1)));
    }
    if (atOnce) {
        startGain = endGain;
    }
}

void MultiModeFilterPresetChromataFX::FilterQuad(FrameQuad<Double2>& quad) {
    const SmoothedLanes& outputs = controls[Controls::Outputs];
    const Line low(outputs, Controls::Low);
    const Line band(outputs, Controls::Band);
    const Line high(outputs, Controls::High);
    const Line damping(controls[Controls::Loop], Controls::Damping);
    const Line limit(controls[Controls::Loop], Controls::Limit);
    const Double2 step = (endGain - startGain) * 0.25;
    const auto gainAt = [this, step](u32 n) { return startGain + step * static_cast<double>(n + 1); };

    u32 n = 0;
    StepFrames(quad, [&](Double2 x) {
        const auto out = first.Tick(x, gainAt(n), damping[n], limit[n]);
        const Double2 y = low[n] * out.low + band[n] * out.band + high[n] * out.high;
        ++n;
        return y;
    });

    const SmoothedLanes& mix = controls[Controls::Mix];
    if (mix.value[Controls::Steepness] == 0.0F && mix.start[Controls::Steepness] == 0.0F) {
        second.Clear();
        return;
    }
    const Line steepness(mix, Controls::Steepness);
    const Line secondBand(outputs, Controls::SecondBand);
    n = 0;
    StepFrames(quad, [&](Double2 x) {
        const auto out = second.Tick(x, gainAt(n), static_cast<double>(Controls::secondDamping), 0.0);
        const Double2 y = low[n] * out.low + secondBand[n] * out.band + high[n] * out.high;
        const Double2 mixed = x + steepness[n] * (y - x);
        ++n;
        return mixed;
    });
}

} // namespace Velmora::dsp
