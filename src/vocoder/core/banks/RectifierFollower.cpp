// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/banks/RectifierFollower.h"

#include <algorithm>
#include <cmath>

namespace Velmora::Processor {

namespace {

constexpr double supply = -15.0;

struct Constants {
    float rectGainPositive;
    float rectGainNegative;
    double biasScale;
    double currentToVoltage;
    /// Half the one-pole's corner in rad/s.
    double poleRate;
    /// The biquad's corner in rad/s, and half the reciprocal of its quality.
    double biquadRate;
    double biquadDamping;
};

// The two halves of the rectifier are not quite alike, as in the circuit.
constexpr Constants lowestBand = {-2.501e-05F, 2.481e-05F, 0.000999001, 40200.0,
                                  56.535503,   48.621662,  0.6855655};
constexpr Constants otherBand = {-4.988e-05F, 4.994e-05F, 0.00049875112, 20000.0,
                                 249.99998,   306.4545,   0.6741998};

const Constants& ConstantsOf(RectifierFollower::CircuitType type) {
    return type == RectifierFollower::LowestBand ? lowestBand : otherBand;
}

} // namespace

RectifierFollower::Circuit::Circuit(CircuitType type, double sampleRate) {
    const Constants& c = ConstantsOf(type);
    rectGainPositive = c.rectGainPositive;
    rectGainNegative = c.rectGainNegative;
    biasScale = c.biasScale;
    currentToVoltage = c.currentToVoltage;
    const double t = std::tan(c.poleRate / sampleRate);
    poleB0 = t / (1.0 + t);
    poleA1 = -(1.0 - t) / (1.0 + t);
    const double w = c.biquadRate / sampleRate;
    biquad.SetLowPass(w, std::sin(w) * c.biquadDamping);
}

double RectifierFollower::Circuit::Bias() const { return (poleA1 + 1.0) * biasScale * supply; }

std::vector<dsp::ModuleParam> RectifierFollower::DeclareTimes() {
    return {dsp::ModuleParam::Mapped("Attack", 4, 0.001F, 1.0F, 7.0F),
            dsp::ModuleParam::Mapped("Release", 4, 0.01F, 30.0F, 7.0F)};
}

double RectifierFollower::SmootherTime(float seconds) {
    const double time = 5.0 * static_cast<double>(seconds);
    return time > 1e-12 ? time : 1e-12;
}

RectifierFollower::RectifierFollower(std::string moduleName, CircuitType circuitType)
    : UnitModule(std::move(moduleName), 1, 2, DeclareTimes()), type(circuitType), circuit(type, 44100.0) {}

void RectifierFollower::SetTimes(float attackSeconds, float releaseSeconds) {
    if (parameters[Attack].PeekValue() != attackSeconds) {
        SetParameterValue(Attack, attackSeconds);
    }
    if (parameters[Release].PeekValue() != releaseSeconds) {
        SetParameterValue(Release, releaseSeconds);
    }
}

void RectifierFollower::OnInitialize(float sampleRate, u32 /*maxBlockSize*/) {
    circuit = Circuit(type, sampleRate);
    attackSmoother.Prepare(sampleRate, 1);
    releaseSmoother.Prepare(sampleRate, 1);
}

void RectifierFollower::OnReset(bool /*hard*/) {
    rectified1 = 0.0;
    pole1 = 0.0;
    circuit.biquad.Reset();
    envelope = 0.0F;
    meterValue = 0.0F;
    attackSmoother.Set(0.0F);
    releaseSmoother.Set(0.0F);
}

bool RectifierFollower::UpdateParameters(dsp::ProcessContext& /*context*/) {
    if (!anyParameterChanged) {
        return true;
    }
    if (Changed(Attack)) {
        attackSmoother.time = SmootherTime(Value(Attack));
        attackSmoother.Prepare();
    }
    if (Changed(Release)) {
        releaseSmoother.time = SmootherTime(Value(Release));
        releaseSmoother.Prepare();
    }
    return true;
}

bool RectifierFollower::Process(dsp::ProcessContext& context) {
    const float* in = context.inputs[0];
    float* smoothed = context.outputs[0];
    float* direct = context.outputs[1];
    const double bias = circuit.Bias();
    for (u32 n = 0; n < context.numFrames; ++n) {
        const float x = in[n];
        const double u =
            static_cast<double>(x * (x > 0.0F ? circuit.rectGainPositive : circuit.rectGainNegative));
        const double y =
            bias - ((u + rectified1) * circuit.poleB0 * circuit.currentToVoltage + circuit.poleA1 * pole1);
        rectified1 = u;
        pole1 = y;
        const double filtered = circuit.biquad.Tick(y);
        const float v = filtered > 0.0 ? static_cast<float>(filtered * controlScale) : 0.0F;
        envelope = Smooth(v);
        smoothed[n] = envelope;
        direct[n] = v;
    }
    if (context.numFrames > 0) {
        meterValue = smoothed[0];
    }
    Heal();
    return true;
}

float RectifierFollower::Smooth(float v) {
    dsp::SmootherLPF& running = v <= envelope ? releaseSmoother : attackSmoother;
    dsp::SmootherLPF& waiting = v <= envelope ? attackSmoother : releaseSmoother;
    running.SmootherLPF::SetTarget(v);
    const float result = running.SmootherLPF::Next();
    waiting.Set(result);
    return result;
}

void RectifierFollower::Heal() {
    if (std::isfinite(rectified1) && std::isfinite(pole1) && circuit.biquad.IsFinite() &&
        std::isfinite(envelope)) {
        return;
    }
    OnReset(true);
}

} // namespace Velmora::Processor
