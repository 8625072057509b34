// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/filters/Oversampler.h"

#include "rigs/OscillatorRig.h"
#include "rigs/StageRig.h"

#include <limits>

namespace {

using namespace orphia::test;
using Velmora::dsp::Oversampler;
using Velmora::dsp::simd::Float4;
using Velmora::Test::Tone;

constexpr std::size_t frames = spectrumSize + 4000;

/// The left channel gets a signal, the right one its negative.
template <u32 factor, class Stage>
Signal RunThrough(const Signal& in, Stage&& stage) {
    Oversampler<factor> oversampler;
    Signal out;
    for (std::size_t n = 0; n < in.size(); n += 2) {
        alignas(16) float pair[4];
        oversampler.Run({in[n], -in[n], in[n + 1], -in[n + 1]}, stage).store_aligned(pair);
        EXPECT_EQ(pair[0], -pair[1]);
        EXPECT_EQ(pair[2], -pair[3]);
        out.insert(out.end(), {pair[0], pair[2]});
    }
    EXPECT_TRUE(oversampler.IsSound());
    return out;
}

/// Largest magnitude in a range of frequencies, against another spectrum's largest of all, in dB.
double LevelWithin(const Signal& signal, double from, double to, double whole) {
    const std::vector<double> magnitudes = Spectrum(signal);
    const auto bin = [](double f) {
        return static_cast<std::ptrdiff_t>(f * static_cast<double>(spectrumSize));
    };
    return 20.0 * std::log10(*std::max_element(magnitudes.begin() + bin(from), magnitudes.begin() + bin(to)) /
                             whole);
}

double Largest(const Signal& signal) {
    const std::vector<double> magnitudes = Spectrum(signal);
    return *std::max_element(magnitudes.begin(), magnitudes.end());
}

template <u32 factor>
void ExpectCleanRates() {
    constexpr auto times = static_cast<double>(factor);
    for (const double f : {0.1, 0.4535}) {
        const Signal tone = Tone(frames, f, 1.0, 0.5);
        Signal fast;
        const Signal out = RunThrough<factor>(tone, [&fast](Float4 pair) {
            fast.insert(fast.end(), {pair.get(0), pair.get(2)});
            return pair;
        });
        const double gain = 20.0 * std::log10(Largest(out) / Largest(tone));
        EXPECT_NEAR(gain, 0.0, 1e-3) << f << " at " << factor;
        EXPECT_LT(LevelWithin(fast, f / times + 2e-4, 0.49999, Largest(fast)), -103.0)
            << f << " at " << factor;
    }
    // What a stage makes above the audible band, half a rate away from what is kept.
    for (const double f : {0.547, 0.9, 1.6}) {
        if (f > 0.45 * times) {
            continue;
        }
        const Signal high = Tone(factor * frames, f, times, 0.5);
        std::size_t at = 0;
        const Signal out = RunThrough<factor>(Signal(frames, 0.0F), [&](Float4) {
            const Float4 pair{high[at], -high[at], high[at + 1], -high[at + 1]};
            at += 2;
            return pair;
        });
        EXPECT_LT(LevelWithin(out, 0.0, 0.4535, Largest(high)), -103.0) << f << " at " << factor;
    }
}

} // namespace

TEST(OversamplerTest, KeepsTheAudibleBandAndSuppressesImagesAndAliases) {
    ExpectCleanRates<2>();
    ExpectCleanRates<4>();
    ExpectCleanRates<8>();
}

TEST(OversamplerTest, AtTheRateItselfTheStageGetsTheFramesAndNothingIsLate) {
    const Signal noise = Noise(400, 0.5F, 1);
    EXPECT_EQ(RunThrough<1>(noise, [](Float4 pair) { return pair; }), noise);
    Oversampler<4> used;
    Oversampler<4> fresh;
    const auto keep = [](Float4 pair) { return pair; };
    for (const float x : noise) {
        used.Run(Float4(x), keep);
    }
    used.Reset();
    EXPECT_TRUE(xsimd::all(used.Run(Float4(0.7F), keep) == fresh.Run(Float4(0.7F), keep)));
    used.Run(Float4(std::numeric_limits<float>::quiet_NaN()), keep);
    EXPECT_FALSE(used.IsSound());
}
