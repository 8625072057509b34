// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/equaliser/ParamEq.h"

#include "rigs/StageRig.h"

#include <memory>

using namespace orphia::test;
using Velmora::Test::Complex;
using Eq = Velmora::dsp::ParamEq<5>;

namespace {

constexpr u32 bandCount = 5;
constexpr u32 longestBlock = 256;

struct BandCase {
    int mode = 4;
    double decibels = 0.0;
    double hz = 1000.0;
    double q = 1.0;
};

std::unique_ptr<Eq> MakeEq(double sampleRate = 44100.0) {
    auto eq = std::make_unique<Eq>();
    eq->Initialize(static_cast<float>(sampleRate), longestBlock);
    return eq;
}

void SetBand(Eq& eq, u32 band, const BandCase& c) {
    const double values[] = {1, double(c.mode), c.decibels, c.hz, c.q};
    for (u32 i = 0; i < 5; ++i) {
        eq.SetParameterValue(Eq::OnId(band) + i * bandCount, float(values[i]));
    }
}

/// An analogue low-pass, band-pass, high-pass, low shelf, bell or high shelf.
Complex Response(const BandCase& c, double scale, double hz, double rate) {
    const double a = std::pow(10.0, scale * c.decibels / (c.mode > 2 ? 40.0 : 20.0));
    const double bend = c.mode == 3 ? std::sqrt(a) : c.mode == 5 ? 1.0 / std::sqrt(a) : 1.0;
    const Complex s = Velmora::Test::AnalogueFrequency(hz, c.hz, rate) * bend;
    const double mix[][3] = {{1, 0, 0},           {0, 1, 0},       {0, 0, 1},
                             {a * a, a / c.q, 1}, {1, a / c.q, 1}, {1, a / c.q, a * a}};
    const auto& [low, middle, high] = mix[c.mode];
    return (low + middle * s + high * s * s) / (1.0 + s / (c.mode == 4 ? c.q * a : c.q) + s * s);
}

} // namespace

TEST(ParamEqTest, BandsAreThoseOfAnalogueFiltersSeenThroughTheBilinearTransform) {
    std::mt19937 random(7);
    const auto between = [&random](float low, float high) {
        return static_cast<double>(std::uniform_real_distribution<float>(low, high)(random));
    };
    for (u32 round = 0; round < 60; ++round) {
        const double rate = round % 2 == 0 ? 44100.0 : 192000.0;
        const auto eq = MakeEq(rate);
        std::vector<BandCase> bands;
        for (u32 band = 0; band < bandCount; ++band) {
            bands.push_back({static_cast<int>((round + band) % 6), between(-15, 15), between(50, 18000),
                             between(0.2F, 10)});
            SetBand(*eq, band, bands.back());
            eq->SetParameterValue(Eq::OnId(band), band == round % bandCount ? 0.0F : 1.0F);
        }
        // The scale's knob stands at 1.
        const Signal impulse = Impulse(static_cast<std::size_t>(rate));
        const Signal scaling(impulse.size(), round % 3 == 0 ? -0.4F : -1e-7F);
        const auto out = Render(*eq, {&impulse, &impulse, &scaling}, 2, BlockSplit::Of(longestBlock));
        for (const double hz : {30.0, 200.0, 900.0, 4000.0, 15000.0}) {
            Complex expected = 1.0;
            for (u32 band = 0; band < bandCount; ++band) {
                expected *= band == round % bandCount
                                ? 1.0
                                : Response(bands[band], 1.0 + static_cast<double>(scaling[0]), hz, rate);
            }
            EXPECT_LT(std::abs(Transform(out[round % 2], hz, rate) - expected),
                      1e-3 * (1.0 + std::abs(expected)))
                << round << ", " << hz;
        }
    }
}

TEST(ParamEqTest, SmoothingTakesItsTimeWhateverTheBlock) {
    const Signal steady(882, 1.0F);
    for (const u32 block : {4U, 84U}) {
        auto eq = MakeEq();
        eq->SetParameterNormalized(Eq::SmoothOn, 1.0F);
        SetBand(*eq, 0, {3, 0.0, 15000.0, 0.5});
        Render(*eq, {&steady, nullptr}, 2, BlockSplit::Of(block));
        SetBand(*eq, 0, {3, 20.0, 15000.0, 0.5});
        const Signal rising = Render(*eq, {&steady, nullptr}, 2, BlockSplit::Of(block))[0];
        for (const std::size_t at : {168U, 420U, 840U}) {
            // A block starts from the last tick's value; the filter has the root of the gain.
            const double root = std::sqrt(10.0) - (std::sqrt(10.0) - 1.0) * std::exp(-double(at) / 176.4);
            EXPECT_NEAR(std::sqrt(static_cast<double>(rising[at])), root, 0.01) << block << ", " << at;
        }
    }
}

TEST(ParamEqTest, MonoEqualisesTheFirstChannelAloneAndTheSecondPasses) {
    const Signal left = Noise(2200, 0.5F, 3);
    const Signal right = Noise(2200, 0.5F, 4);
    auto eq = MakeEq();
    SetBand(*eq, 4, {4, -9.0, 300.0, 4.0});
    const auto stereo = Render(*eq, {&left, nullptr}, 2, BlockSplit::Of(44));
    // The switch clears the filters, also in the middle of a sound.
    eq->SetParameterValue(Eq::Stereo, 0.0F);
    EXPECT_EQ(Render(*eq, {&left, &right}, 2, BlockSplit::Of(44)), std::vector({stereo[0], right}));
    eq->Reset(false);
    EXPECT_EQ(Render(*eq, {&left, nullptr}, 2, BlockSplit::Of(44))[1], Signal(2200, 0.0F));
}
