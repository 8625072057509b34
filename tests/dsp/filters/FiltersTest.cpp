// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/filters/Oversampler.h"
#include "rigs/OscillatorRig.h"
#include "rigs/StageRig.h"

namespace {

using namespace orphia::test;
using namespace Velmora::dsp;
using namespace Velmora::Test;
using Float4 = simd::Float4;

/// Largest magnitude in a range of frequencies.
double LevelWithin(const Signal& signal, double from, double to = 0.5) {
    const std::vector<double> magnitudes = Spectrum(signal);
    const auto bin = [](double f) { return static_cast<std::ptrdiff_t>(f * spectrumSize); };
    return *std::max_element(magnitudes.begin() + bin(from), magnitudes.begin() + bin(to));
}

/// A tone goes through at the rate, and another is added at the higher rate; both as pairs of frames, the
/// right channel being the negative of the left.
template <u32 factor>
void ExpectCleanRates(double hz, double added) {
    constexpr std::size_t frames = spectrumSize + 4000;
    constexpr double silence = 7e-6; // -103 dB
    const Signal tone = Velmora::Test::Tone(frames, hz, 1.0, 0.5);
    const Signal high = Velmora::Test::Tone(factor * frames, added / factor, 1.0, 0.5);
    Signal plain;
    Signal fast;
    Signal polluted;
    Oversampler<factor> clean;
    Oversampler<factor> busy;
    std::size_t at = 0;
    for (std::size_t n = 0; n < frames; n += 2) {
        const Float4 in{tone[n], -tone[n], tone[n + 1], -tone[n + 1]};
        const Float4 out = clean.Run(in, [&fast](Float4 pair) {
            fast.insert(fast.end(), {pair.get(0), pair.get(2)});
            return pair;
        });
        EXPECT_TRUE(out.get(0) == -out.get(1) && out.get(2) == -out.get(3));
        plain.insert(plain.end(), {out.get(0), out.get(2)});
        const Float4 noise = busy.Run(Float4(0.0F), [&](Float4) {
            at += 2;
            return Float4{high[at - 2], high[at - 2], high[at - 1], high[at - 1]};
        });
        polluted.insert(polluted.end(), {noise.get(0), noise.get(2)});
    }
    EXPECT_NEAR(LevelWithin(plain, 0.0) / LevelWithin(tone, 0.0), 1.0, 1e-4) << hz << " at " << factor;
    EXPECT_LT(LevelWithin(fast, hz / factor + 2e-4) / LevelWithin(fast, 0.0), silence)
        << hz << " at " << factor;
    EXPECT_LT(LevelWithin(polluted, 0.0, 0.4535) / LevelWithin(high, 0.0), silence)
        << added << " at " << factor;
    EXPECT_TRUE(clean.IsSound() && busy.IsSound());
}

} // namespace

TEST(FiltersTest, AnOversamplerKeepsTheAudibleBandAndSuppressesImagesAndAliases) {
    ExpectCleanRates<2>(0.1, 0.547);
    ExpectCleanRates<2>(0.4535, 0.9);
    ExpectCleanRates<4>(0.4535, 1.6);
    ExpectCleanRates<4>(0.3, 0.547);
}
