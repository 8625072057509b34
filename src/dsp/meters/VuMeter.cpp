// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/meters/VuMeter.h"

#include "dsp/framework/ParameterDeclaration.h"
#include "dsp/math/Within.h"
#include "dsp/vectors/Simd.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace Velmora::dsp {

namespace {

using simd::Double2;

/// Twice the time constant that brings a step to 99 % in 300 ms, in seconds.
constexpr double twiceTimeConstant = 0.13028835F;
constexpr double lowestPower = 9.9999998e-15F;
/// The mean square of a sine of amplitude 1 is 3 dB below 1.
constexpr float sineCorrection = 3.0103002F;
constexpr float calibrations[] = {-18.0F, -14.0F, -8.0F};

std::vector<ModuleParam> Records() {
    return RecordsOf({Declare::Choice("Calibration", 3), Declare::Linear("Output", -20.0F, 3.0F)});
}

/// Below the scale, whatever the calibration.
const double lowestDecibels = 10.0 * std::log10(lowestPower);

double Square(float x) { return static_cast<double>(x) * static_cast<double>(x); }

Double2 SquarePair(const float* samples) {
    const Double2 x = Double2::load_unaligned(samples);
    return x * x;
}

} // namespace

VuMeter::VuMeter(std::string moduleName) : UnitModule(std::move(moduleName), 1, 0, Records()) {}

void VuMeter::OnInitialize(float sampleRate, u32 /*maxBlockSize*/) {
    const double k = (sampleRate > 1.0F ? static_cast<double>(sampleRate) : 1.0) * twiceTimeConstant;
    b0 = b1 = 1.0 / (k + 1.0);
    a1 = (1.0 - k) * b0;
}

void VuMeter::OnReset(bool /*hard*/) { state = 0.0; }

bool VuMeter::UpdateParameters(ProcessContext& /*context*/) {
    if (anyParameterChanged && Changed(Calibration)) {
        calibrationDb = calibrations[ToIndex(Value(Calibration), 3)];
    }
    return true;
}

bool VuMeter::Process(ProcessContext& context) {
    const float* samples = context.InputOrNull(0);
    const double power = samples != nullptr ? LastPower(samples, context.numFrames) : 0.0;
    if (samples == nullptr || !IsIntact(state)) {
        state = 0.0;
    }
    const double level = power > lowestPower ? 10.0 * std::log10(power) : lowestDecibels;
    const float decibels = static_cast<float>(level) - calibrationDb + sineCorrection;
    SetParameterValue(Output, parameters[Output].Hold(decibels));
    return true;
}

/// The output of the filter at the end of the block.
double VuMeter::LastPower(const float* samples, u32 numFrames) {
    if (numFrames == 0) {
        return 0.0;
    }
    // Only the last output is wanted: up to its quad the state is enough.
    FollowQuads(samples, (numFrames - 1) & ~3U);
    double power = 0.0;
    for (u32 n = (numFrames - 1) & ~3U; n < numFrames; ++n) {
        const double square = Square(samples[n]);
        power = b0 * square + state;
        state = b1 * square - power * a1;
    }
    return power;
}

/// The state alone follows s = p s + c q. Each of four lanes takes every fourth sample; at the end they are
/// brought to the same time.
void VuMeter::FollowQuads(const float* samples, u32 numFrames) {
    const double p = -a1;
    const double c = b1 + p * b0;
    const Double2 decay(p * p * p * p);
    Double2 early(0.0);
    Double2 late{0.0, state / c};
    for (u32 n = 0; n < numFrames; n += 4) {
        early = early * decay + SquarePair(samples + n);
        late = late * decay + SquarePair(samples + n + 2);
    }
    const Double2 oneTime = (early * (p * p) + late) * Double2{p, 1.0};
    state = xsimd::hadd(oneTime) * c;
}

} // namespace Velmora::dsp
