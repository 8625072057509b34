// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/BenchSignals.h"

#include "dsp/framework/ParameterNameWriter.h"

#include <cmath>
#include <numbers>
#include <random>
#include <string>

namespace orphia::bench {

namespace {

constexpr std::size_t frames = blocksPerSignal * blockSize;
constexpr float twoPi = 2.0F * std::numbers::pi_v<float>;

/// A two-pole resonator, for formants.
struct Resonator {
    float y1 = 0.0F;
    float y2 = 0.0F;
    float Tick(float x, float hz) {
        constexpr float radius = 0.985F;
        const float y = x + 2.0F * radius * std::cos(twoPi * hz / sampleRate) * y1 - radius * radius * y2;
        y2 = y1;
        y1 = y;
        return y;
    }
};

} // namespace

StereoSignal Vowels() {
    StereoSignal signal;
    Resonator formants[3];
    const float centres[3] = {500.0F, 1400.0F, 2600.0F};
    float phase = 0.0F;
    for (std::size_t n = 0; n < frames; ++n) {
        phase += 120.0F / sampleRate;
        const float pulse = phase >= 1.0F ? 1.0F : 0.0F;
        phase -= pulse;
        const float sweep = 0.3F * std::sin(twoPi * 3.0F * static_cast<float>(n) / sampleRate);
        float sum = 0.0F;
        for (int i = 0; i < 3; ++i) {
            sum += formants[i].Tick(pulse, centres[i] * (1.0F + sweep));
        }
        signal.left.push_back(0.05F * sum);
    }
    signal.right = signal.left;
    return signal;
}

StereoSignal Fricatives() {
    StereoSignal signal;
    std::mt19937 random(1);
    std::uniform_real_distribution<float> white(-1.0F, 1.0F);
    float previous = 0.0F;
    for (std::size_t n = 0; n < frames; ++n) {
        const float x = white(random);
        signal.left.push_back(0.3F * (x - previous));
        previous = x;
    }
    signal.right = signal.left;
    return signal;
}

StereoSignal Chord() {
    StereoSignal signal;
    const float notes[4] = {110.0F, 164.8F, 220.3F, 277.6F};
    float phases[4] = {};
    for (std::size_t n = 0; n < frames; ++n) {
        float sum = 0.0F;
        for (int i = 0; i < 4; ++i) {
            phases[i] += notes[i] / sampleRate;
            phases[i] -= std::floor(phases[i]);
            sum += 2.0F * phases[i] - 1.0F;
        }
        signal.left.push_back(0.15F * sum);
        signal.right.push_back(-0.15F * sum);
    }
    return signal;
}

void SetPlayingParameters(Velmora::Processor::BodeVocoder& core) {
    const auto set = [&core](const std::string& ending, float value) {
        for (Velmora::u32 id = 0; id < core.parameterCount; ++id) {
            char text[256];
            Velmora::dsp::ParameterNameWriter writer(text, sizeof text);
            core.GetParameterName(id, writer);
            if (std::string(text).ends_with("_" + ending)) {
                core.SetParameterValue(id, value);
            }
        }
    };
    set("ProgramLevel", -10.0F);
    set("CarrierLevel", -10.0F);
    set("Attack", 0.005F);
    set("Release", 0.04F);
    set("HissBuzzTrimmer", 0.5F);
    set("NoiseCarrierBalance", 0.5F);
    set("HFLevel", 0.5F);
    set("Wet", 1.0F);
    for (int band = 1; band <= 16; ++band) {
        set("GainBand" + std::to_string(band), 1.0F);
    }
}

void ReportPerFrame(benchmark::State& state, unsigned framesPerIteration) {
    const auto total = static_cast<double>(state.iterations()) * framesPerIteration;
    using benchmark::Counter;
    state.counters["s/frame"] = Counter(total, Counter::kIsRate | Counter::kInvert);
    state.counters["core_share"] = Counter(total / sampleRate, Counter::kIsRate | Counter::kInvert);
}

} // namespace orphia::bench
