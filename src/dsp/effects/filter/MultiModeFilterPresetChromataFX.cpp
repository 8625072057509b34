// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/filter/MultiModeFilterPresetChromataFX.h"

#include "dsp/effects/shared/StartingParam.h"
#include "dsp/effects/shared/StereoQuad.h"
#include "dsp/math/CornerAngle.h"
#include "dsp/math/SyncRates.h"

#include <cmath>
#include <utility>
#include <vector>

namespace Velmora::dsp {

namespace {

using simd::Float4;
using Limits = MultiModeFilterSettings;
using Sweep = SweepLfoSettings;

std::vector<ModuleParam> Records() {
    using namespace StartingParam;
    return {Linear("DryWet", 0.0F, 1.0F, 1.0F),
            Logarithmic("Cutoff", Limits::lowestHz, Limits::highestHz, 1500.0F),
            Linear("Resonance", 0.0F, 1.0F, 0.3F),
            Linear("Mode", 0.0F, Limits::topMode, 0.0F),
            Stepped("Slope", 2, 0.0F, 1.0F, 0.0F),
            Linear("Drive", 0.0F, 36.0F, 0.0F),
            Linear("StereoOffset", -4.0F, 4.0F, 0.0F),
            Linear("EnvAmount", -6.0F, 6.0F, 1.5F),
            Logarithmic("EnvAttack", 1.0F, 500.0F, 10.0F),
            Logarithmic("EnvRelease", 5.0F, 2000.0F, 150.0F),
            Linear("LFOAmount", 0.0F, 4.0F, 0.0F),
            Logarithmic("LFOFreq", 0.02F, Sweep::fastestHz, 0.5F),
            Stepped("LFOShape", Sweep::Pattern, 0.0F, 1.0F, 0.0F),
            Stepped("TempoSync", 2, 0.0F, 1.0F, 0.0F),
            Stepped("SyncRate", SyncRates::count, 0.0F, 1.0F, 5.0F),
            Linear("WetGain", -24.0F, 12.0F, 0.0F)};
}

/// Of a lane over the frames of a quad.
struct Line {
    alignas(16) float frames[Float4::size];

    Line(const SmoothedLanes& lanes, u32 lane) { lanes.Over<true>(lane).store_aligned(frames); }
    double operator[](u32 n) const { return static_cast<double>(frames[n]); }
};

} // namespace

MultiModeFilterPresetChromataFX::MultiModeFilterPresetChromataFX(std::string moduleName)
    : UnitModule(std::move(moduleName), inputCount, 2, Records()) {}

void MultiModeFilterPresetChromataFX::OnInitialize(float rate, u32 /*maxBlockSize*/) {
    sampleRate = rate;
    controls.Prepare(rate);
    sweep.Prepare(rate);
}

void MultiModeFilterPresetChromataFX::OnReset(bool /*hard*/) {
    first.Clear();
    second.Clear();
    drive.Reset();
    sweep.Reset();
}

float MultiModeFilterPresetChromataFX::Held(u32 id, float low, float high) {
    return Within(Value(id), low, high);
}

u32 MultiModeFilterPresetChromataFX::Step(u32 id, u32 last) {
    return static_cast<u32>(std::lround(Held(id, 0.0F, static_cast<float>(last))));
}

bool MultiModeFilterPresetChromataFX::UpdateParameters(ProcessContext& context) {
    if (anyParameterChanged || needsUpdate) {
        ReadFixed();
    }
    ReadModulated(context);
    sweep.Apply();
    if (needsUpdate || settings != applied) {
        applied = settings;
        controls.Aim(settings);
    }
    if (needsUpdate) {
        controls.Jump();
        jumps = true;
    }
    return true;
}

void MultiModeFilterPresetChromataFX::ReadFixed() {
    settings.mix = Held(DryWet, 0.0F, 1.0F);
    settings.isSteep = Step(Slope, 1) != 0;
    settings.driveDb = Held(Drive, 0.0F, Limits::mostDriveDb);
    settings.stereoOffset = Held(StereoOffset, -Limits::widest, Limits::widest);
    settings.envelopeAmount = Held(EnvAmount, -Limits::widest, Limits::widest);
    settings.lfoAmount = Held(LFOAmount, -Limits::widest, Limits::widest);
    settings.wetGainDb = Held(WetGain, -60.0F, 24.0F);
    sweep.SetEnvelopeTimes(Value(EnvAttack), Value(EnvRelease));
    sweep.Oscillator().shape = Step(LFOShape, Sweep::Pattern - 1);
}

void MultiModeFilterPresetChromataFX::ReadModulated(const ProcessContext& context) {
    const auto modulated = [this, &context](u32 id, u32 input, float low, float high) {
        return Within(parameters[id].GetModulatedValue(context, input), low, high);
    };
    settings.hz = modulated(Cutoff, 2, Limits::lowestHz, Limits::highestHz);
    settings.resonance = modulated(Resonance, 3, 0.0F, 1.0F);
    settings.mode = modulated(Mode, 4, 0.0F, Limits::topMode);
    sweep.SetRate(context, Value(LFOFreq), Step(TempoSync, 1) != 0, Step(SyncRate, SyncRates::count - 1));
}

bool MultiModeFilterPresetChromataFX::Process(ProcessContext& context) {
    const bool isMoving = controls.IsMoving();
    for (u32 n = 0; n < context.numFrames; n += Float4::size) {
        const StereoQuad dry = StereoQuad::Read(context, n);
        sweep.Advance(dry.left, dry.right);
        if (isMoving) {
            controls.Step();
        }
        AimCutoff();
        FrameQuad<Double2> wet = dry.Frames();
        drive.Run(wet, controls[Controls::Drive]);
        FilterQuad(wet);
        dry.MixedWith(StereoQuad::Of(wet), controls[Controls::Mix]).Write(context, n);
    }
    first.Heal();
    second.Heal();
    return true;
}

/// At the end of the quad.
void MultiModeFilterPresetChromataFX::AimCutoff() {
    const Float4 octaves = sweep.Octaves(controls[Controls::Cutoffs]);
    startGain = endGain;
    if (jumps || octaves.get(0) != lastOctaves[0] || octaves.get(1) != lastOctaves[1]) {
        lastOctaves = {octaves.get(0), octaves.get(1)};
        const CornerAngle angle = CornerAngle::Of(octaves, sampleRate);
        const Float4 tangent = angle.sine / angle.cosine;
        endGain = Lanes(static_cast<double>(tangent.get(0)), static_cast<double>(tangent.get(1)));
    }
    if (jumps) {
        startGain = endGain;
        jumps = false;
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
