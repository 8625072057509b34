// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/oscillators/PolyBlepPhaseGen.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

namespace Velmora::dsp {

namespace {

constexpr float far = std::numeric_limits<float>::max();
/// Cycles per sample beyond which nothing musical lies and a whole part could not be taken off exactly.
constexpr double highestIncrement = 65536.0;

/// Holds cycles or cycles per sample to what the phase can take; what is not a number becomes 0.
double HoldCycles(double x) {
    return std::isnan(x) ? 0.0 : std::clamp(x, -highestIncrement, highestIncrement);
}

/// The fraction of a number of cycles in units of 2^-64; whole cycles fall off.
u64 ToPhase(double cycles) {
    // Adding 1.5 * 2^52 and taking it off again rounds to a whole number, without a call.
    constexpr double rounder = 6755399441055744.0;
    const double whole = (cycles + rounder) - rounder;
    // -0.5 to 0.5 in units of 2^-63 fits a signed word.
    const auto half = static_cast<std::int64_t>((cycles - whole) * 9223372036854775808.0);
    return static_cast<u64>(half) << 1U;
}

/// The phase as a number in 0..1, from its upper 31 bits: what signed vector conversions take.
float ToUnit(u64 phase) {
    // The last few codes would round up to 1.
    constexpr float largestBelowOne = 0x1.fffffep-1F;
    return std::min(static_cast<float>(static_cast<i32>(phase >> 33U)) * 0x1p-31F, largestBelowOne);
}

struct WrapData {
    float flag;
    float samplesTo;
    float samplesSince;
};

constexpr WrapData noWrap = {0.0F, far, far};

/// The nearer of two counts.
WrapData Join(const WrapData& a, const WrapData& b) {
    return {std::max(a.flag, b.flag), std::min(a.samplesTo, b.samplesTo),
            std::min(a.samplesSince, b.samplesSince)};
}

float SamplesPerCycle(float i) { return 1.0F / std::max(std::abs(i), std::numeric_limits<float>::min()); }

/// The wrap data of a phase that has just moved by i cycles.
WrapData FindWrap(u64 before, u64 now, float i, float samplesPerCycle) {
    if (i == 0.0F) {
        return noWrap;
    }
    const float below = ToUnit(now) * samplesPerCycle;
    // All bits inverted is 1 - phase, less the last bit.
    const float above = ToUnit(~now) * samplesPerCycle;
    const bool runsUp = i > 0.0F;
    const bool hasWrapped = (runsUp ? now < before : now > before) || std::abs(i) >= 1.0F;
    return {hasWrapped ? 1.0F : 0.0F, runsUp ? above : below, runsUp ? below : above};
}

} // namespace

PolyBlepPhaseGen::PolyBlepPhaseGen(std::string moduleName)
    : UnitModule(std::move(moduleName), 4, 5,
                 {"On", "frequency", "Phase0", "HSMaster", "HSSlave", "HSPhase0", "FMOn"}) {}

void PolyBlepPhaseGen::OnInitialize(float sampleRate, u32 /*maxBlockSize*/) {
    inverseRate = 1.0 / static_cast<double>(sampleRate);
    LoadStartPhase();
}

void PolyBlepPhaseGen::OnReset(bool /*hard*/) { LoadStartPhase(); }

void PolyBlepPhaseGen::LoadStartPhase() {
    startPhase = Value(Phase0);
    phase = ToPhase(HoldCycles(static_cast<double>(startPhase)));
}

bool PolyBlepPhaseGen::UpdateParameters(ProcessContext& /*context*/) {
    if (!anyParameterChanged) {
        return true;
    }
    // The frequency may be another in each block, the rest hardly ever.
    if (Changed(Frequency)) {
        increment = HoldCycles(static_cast<double>(Value(Frequency)) * inverseRate);
    }
    if (Changed(Phase0) && Value(Phase0) != startPhase) {
        LoadStartPhase();
    }
    isOn = Value(On) >= 0.5F;
    isMaster = Value(HSMaster) >= 0.5F;
    isSlave = Value(HSSlave) >= 0.5F;
    isModulated = Value(FMOn) >= 0.5F;
    resetPhase = Value(HSPhase0);
    return true;
}

bool PolyBlepPhaseGen::Process(ProcessContext& context) {
    if (!isOn) {
        RunOff(context);
        return true;
    }
    const bool modulates = isModulated && context.InputOrNull(3) != nullptr;
    const u32 flags = (isMaster ? 4U : 0U) + (isSlave ? 2U : 0U) + (modulates ? 1U : 0U);
    using Runner = void (PolyBlepPhaseGen::*)(const ProcessContext&);
    static constexpr std::array<Runner, 8> runners = {
        &PolyBlepPhaseGen::Run<false, false, false>, &PolyBlepPhaseGen::Run<false, false, true>,
        &PolyBlepPhaseGen::Run<false, true, false>,  &PolyBlepPhaseGen::Run<false, true, true>,
        &PolyBlepPhaseGen::Run<true, false, false>,  &PolyBlepPhaseGen::Run<true, false, true>,
        &PolyBlepPhaseGen::Run<true, true, false>,   &PolyBlepPhaseGen::Run<true, true, true>};
    (this->*runners[flags])(context);
    return true;
}

SteadyPhase PolyBlepPhaseGen::RunSteadily(u32 frames) {
    const SteadyPhase run{phase, ToPhase(increment), static_cast<float>(increment)};
    phase += run.step * frames;
    return run;
}

void PolyBlepPhaseGen::RunOff(const ProcessContext& context) const {
    constexpr std::array<float, 5> values = {0.0F, 0.0F, 0.0F, far, far};
    for (u32 output = 0; output < values.size(); ++output) {
        std::fill_n(context.outputs[output], context.numFrames, values[output]);
    }
}

template <bool Master, bool Slave, bool Fm>
void PolyBlepPhaseGen::Run(const ProcessContext& context) {
    const bool obeys = Slave && context.InputOrNull(0) != nullptr && context.InputOrNull(1) != nullptr &&
                       context.InputOrNull(2) != nullptr;
    const u64 steadyStep = ToPhase(increment);
    const float steadySamplesPerCycle = SamplesPerCycle(static_cast<float>(increment));
    u64 p = phase;
    // The inputs of a frame are read before its outputs are written.
    for (u32 n = 0; n < context.numFrames; ++n) {
        const double i = Fm ? Modulated(context.inputs[3][n]) : increment;
        const auto speed = static_cast<float>(i);
        const u64 before = p;
        p += Fm ? ToPhase(i) : steadyStep;
        WrapData wrap = noWrap;
        if (obeys) {
            wrap = {context.inputs[0][n], context.inputs[1][n], context.inputs[2][n]};
            if (wrap.flag != 0.0F) {
                // The master wrapped between two frames: from there on the phase has already run.
                p = ToPhase(
                    HoldCycles(i * static_cast<double>(wrap.samplesSince) + static_cast<double>(resetPhase)));
            }
        }
        if (Master) {
            wrap =
                Join(wrap, FindWrap(before, p, speed, Fm ? SamplesPerCycle(speed) : steadySamplesPerCycle));
        }
        context.outputs[0][n] = ToUnit(p);
        context.outputs[1][n] = speed;
        context.outputs[2][n] = wrap.flag;
        context.outputs[3][n] = wrap.samplesTo;
        context.outputs[4][n] = wrap.samplesSince;
    }
    phase = p;
}

double PolyBlepPhaseGen::Modulated(float hertz) const {
    // A broken sample of modulation leaves the note at its pitch.
    const double deviation = std::isnan(hertz) ? 0.0 : static_cast<double>(hertz);
    return HoldCycles(deviation * inverseRate + increment);
}

} // namespace Velmora::dsp
