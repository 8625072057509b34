// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/banks/AnalyzerRectifiers.h"

#include "dsp/filters/BiquadSection.h"
#include "dsp/framework/ParameterDeclaration.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace Velmora::Processor {

namespace {

constexpr double supply = -15.0;
/// Circuit scale: volts to the control range of the amplifiers.
constexpr double controlScale = 0.0001327;

struct Constants {
    /// Conversion of the rectifier for inputs above 0, and at or below 0.
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

} // namespace

RectifierCircuit::RectifierCircuit(Type type, double sampleRate) {
    const Constants& c = type == LowestBand ? lowestBand : otherBand;
    const double t = std::tan(c.poleRate / sampleRate);
    const double w = c.biquadRate / sampleRate;
    dsp::BiquadSection biquad;
    biquad.SetLowPass(w, std::sin(w) * c.biquadDamping);
    const double factor = biquad.b0 * controlScale;
    const double input = -factor * (t / (1.0 + t)) * c.currentToVoltage;
    gainPositive = static_cast<float>(static_cast<double>(c.rectGainPositive) * input);
    gainNegative = static_cast<float>(static_cast<double>(c.rectGainNegative) * input);
    poleCarry = (1.0 - t) / (1.0 + t);
    bias = static_cast<float>((1.0 - poleCarry) * c.biasScale * supply * factor);
    // Four times b0, in which nothing cancels.
    pull = 4.0 * biquad.b0;
    carry = biquad.a2;
}

void RectifierCircuit::WriteTo(RectifierLanes& lanes, u32 band) const {
    lanes.gainPositive[band] = gainPositive;
    lanes.gainNegative[band] = gainNegative;
    lanes.bias[band] = bias;
    lanes.poleCarry[band] = poleCarry;
    lanes.pull[band] = pull;
    lanes.carry[band] = carry;
}

RectifierFollower::RectifierFollower(std::string moduleName)
    : UnitModule(std::move(moduleName), 1, 2, DeclareTimes()) {}

std::vector<dsp::ModuleParam> RectifierFollower::DeclareTimes() {
    return dsp::RecordsOf({dsp::Declare::Exponential("Attack", 0.001F, 1.0F, 7.0F),
                           dsp::Declare::Exponential("Release", 0.01F, 30.0F, 7.0F)});
}

double RectifierFollower::SmootherTime(float seconds) {
    const double time = 5.0 * static_cast<double>(seconds);
    return time > 1e-12 ? time : 1e-12;
}

void RectifierFollower::SetTimes(float attackSeconds, float releaseSeconds) {
    if (parameters[Attack].PeekValue() != attackSeconds) {
        SetParameterValue(Attack, attackSeconds);
    }
    if (parameters[Release].PeekValue() != releaseSeconds) {
        SetParameterValue(Release, releaseSeconds);
    }
}

AnalyzerRectifiers::AnalyzerRectifiers(std::string moduleName)
    : AnalyzerRectifiers(std::move(moduleName), std::make_index_sequence<bandCount>()) {}

template <std::size_t... Indices>
AnalyzerRectifiers::AnalyzerRectifiers(std::string moduleName, std::index_sequence<Indices...> /*indices*/)
    : LateParameters(std::move(moduleName), InputCount, 2 * bandCount, RectifierFollower::DeclareTimes(),
                     std::make_tuple("RectifierFollower" + std::to_string(Indices + 1))...) {}

/// Nothing runs with the followers' own times.
void AnalyzerRectifiers::CatchUp() {
    if (followersBehind) {
        ForEachChild([this](RectifierFollower& follower) { follower.SetTimes(attack, release); });
        followersBehind = false;
    }
}

void AnalyzerRectifiers::OnInitialize(float newSampleRate, u32 /*maxBlockSize*/) {
    sampleRate = newSampleRate;
    for (u32 band = 0; band < bandCount; ++band) {
        const auto type = band == 0 ? RectifierCircuit::LowestBand : RectifierCircuit::OtherBand;
        RectifierCircuit(type, sampleRate).WriteTo(lanes, band);
    }
}

void AnalyzerRectifiers::OnReset(bool /*hard*/) {
    for (u32 band = 0; band < bandCount; ++band) {
        ClearLane(band);
    }
    meterValues.fill(0.0F);
    // The owner looks at the times before the first block has updated them.
    attack = AdditionalValue(Attack);
    release = AdditionalValue(Release);
}

bool AnalyzerRectifiers::UpdateParameters(dsp::ProcessContext& context) {
    attack = additional.parameters[Attack].GetModulatedValue(context, AttackModulation);
    release = additional.parameters[Release].GetModulatedValue(context, ReleaseModulation);
    followersBehind = true;
    // The lanes share their coefficients, so these are computed once, and only on a change.
    if (needsUpdate || attack != preparedAttack) {
        preparedAttack = attack;
        lanes.attackCoefficient = SmootherCoefficient(attack);
    }
    if (needsUpdate || release != preparedRelease) {
        preparedRelease = release;
        lanes.releaseCoefficient = SmootherCoefficient(release);
    }
    return true;
}

double AnalyzerRectifiers::SmootherCoefficient(float seconds) const {
    return 1.0 - std::exp(-5.0 / (sampleRate * RectifierFollower::SmootherTime(seconds)));
}

bool AnalyzerRectifiers::Process(dsp::ProcessContext& context) {
    LaneTile tile;
    LaneTile envelopes;
    for (u32 offset = 0; offset < context.numFrames; offset += LaneTile::maxFrames) {
        const u32 frames = std::min(LaneTile::maxFrames, context.numFrames - offset);
        kernels->gatherBands(context.inputs, offset, frames, tile);
        FollowTile(tile, frames, envelopes);
        WriteTile(envelopes, tile, frames, context.outputs, offset);
        if (offset == 0) {
            SetMeters(envelopes);
        }
    }
    FinishBlock();
    return true;
}

void AnalyzerRectifiers::WriteTile(const LaneTile& envelopes, const LaneTile& direct, u32 frames,
                                   float* const* outputs, u32 offset) const {
    kernels->scatterBands(envelopes, frames, outputs, offset);
    kernels->scatterBands(direct, frames, outputs + bandCount, offset);
}

void AnalyzerRectifiers::SetMeters(const LaneTile& envelopes) {
    std::copy_n(envelopes.samples[0], bandCount, meterValues.begin());
}

/// What one look at all frames shows holds for all that follow, as their states are the same.
bool AnalyzerRectifiers::RestsInSilence() const {
    constexpr u32 frames = 4;
    alignas(64) float direct[frames * bandCount] = {};
    alignas(64) float envelopes[frames * bandCount];
    RectifierLanes next = lanes;
    kernels->runRectifiers(next, direct, envelopes, frames);
    const auto isZero = [](float x) { return x == 0.0F; };
    const auto isSame = [](const auto& a, const auto& b) {
        return std::equal(std::begin(a), std::end(a), b);
    };
    return isSame(next.pole, lanes.pole) && isSame(next.out, lanes.out) && isSame(next.step, lanes.step) &&
           isSame(next.envelope, lanes.envelope) &&
           std::equal(std::begin(next.past), std::end(next.past), lanes.past, isSame) &&
           std::all_of(std::begin(direct), std::end(direct), isZero) &&
           std::all_of(std::begin(envelopes), std::end(envelopes), isZero);
}

void AnalyzerRectifiers::FinishBlock() {
    HealLanes();
    needsUpdate = false;
    ClearParameterChanges(false);
}

void AnalyzerRectifiers::HealLanes() {
    // Nine orders of magnitude above full scale; not-a-number fails the comparison too. What is wrong with
    // the stages before it has reached the biquad's output by the end of the block.
    constexpr double controlLimit = 1e6;
    u64 broken[bandCount] = {};
    for (const auto* state : {&lanes.out, &lanes.envelope}) {
        for (u32 band = 0; band < bandCount; ++band) {
            broken[band] |= std::abs((*state)[band]) <= controlLimit ? u64{0} : u64{1};
        }
    }
    for (u32 band = 0; band < bandCount; ++band) {
        if (broken[band] != 0) {
            ClearLane(band);
        }
    }
}

void AnalyzerRectifiers::ClearLane(u32 band) {
    for (auto& past : lanes.past) {
        past[band] = 0.0F;
    }
    for (auto* state : {lanes.pole, lanes.out, lanes.step, lanes.envelope}) {
        state[band] = 0.0;
    }
}

} // namespace Velmora::Processor
