// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/oscillators/PolyBlepPostFilter.h"

#include "dsp/oscillators/PolyBlepSawBase.h"
#include "rigs/OscillatorRig.h"

#include <gtest/gtest.h>

namespace {

using namespace orphia::test;
using Velmora::dsp::PolyBlepPostFilter;
using Velmora::dsp::PolyBlepSaw;

Signal Filtered(const Signal& input, const BlockSplit& split = BlockSplit::Of(44)) {
    PolyBlepPostFilter filter;
    Prepare(filter, 44100.0F, {});
    return Render(filter, {&input}, 1, split)[0];
}

TEST(PolyBlepPostFilter, BringsTheHarmonicsOfASawBackToTheirLevels) {
    constexpr double hertz = 441.0;
    const auto phases = Phases({{1, 441.0F}}, 44100.0F, 70000);
    const Signal saw = Shape<PolyBlepSaw>({{PolyBlepSaw::aaOn, 1.0F}}, 44100.0F, phases);
    const auto plain = Spectrum(saw);
    const auto filtered = Spectrum(Filtered(saw));
    const auto level = [&](const std::vector<double>& magnitudes, int order) {
        const auto bin = static_cast<std::ptrdiff_t>(hertz * order / 44100.0 * spectrumSize);
        return *std::max_element(magnitudes.begin() + bin - 5, magnitudes.begin() + bin + 6) * order;
    };
    for (int order = 1; order * hertz < 17000.0; ++order) {
        const double dB = 20.0 * std::log10(level(filtered, order) / level(filtered, 1));
        EXPECT_NEAR(dB, 0.0, 1.2) << "harmonic at " << order * hertz << " Hz";
    }
    EXPECT_LT(level(plain, 34), 0.5 * level(plain, 1)) << "what the filter is there for";
}

TEST(PolyBlepPostFilter, NeitherBlocksNorWorkingInPlaceChangeASample) {
    Signal noise = Noise(4000, 1.0F, 11);
    const Signal expected = Filtered(noise);
    EXPECT_EQ(Filtered(noise, BlockSplit::Random(256, 40, 5)), expected);
    PolyBlepPostFilter filter;
    Prepare(filter, 44100.0F, {});
    RunInPlace(filter, {noise.data()}, {noise.data()}, noise.size());
    EXPECT_EQ(noise, expected);
    // It starts clear when turned on again, and after a reset.
    filter.SetParameterValue(PolyBlepPostFilter::on, 0.0F);
    const auto run = [&](const Signal& input) { return Render(filter, {&input}, 1, BlockSplit::Of(44))[0]; };
    EXPECT_EQ(run(noise), noise);
    filter.SetParameterValue(PolyBlepPostFilter::on, 1.0F);
    EXPECT_EQ(run(Signal(44, 0.0F)), Signal(44, 0.0F));
    run(noise);
    filter.Reset(false);
    EXPECT_EQ(run(Signal(44, 0.0F)), Signal(44, 0.0F));
}

} // namespace
