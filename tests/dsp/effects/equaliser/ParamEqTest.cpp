// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/equaliser/ParamEq.h"

#include "rigs/ModuleRig.h"

#include <array>
#include <memory>

using namespace orphia::test;
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

/// Of a band: tangent of its corner, damping, and what of the low, middle and high outputs of an analogue
/// filter with that corner and damping makes a low-pass, band-pass, high-pass, low shelf, bell or high shelf.
using Shape = std::array<double, 5>;

Shape ShapeOf(const BandCase& c, double scale, double sampleRate) {
    const double a = std::pow(10.0, scale * c.decibels / (c.mode > 2 ? 40.0 : 20.0));
    const double t = std::tan(std::numbers::pi * c.hz / sampleRate);
    const double g = c.mode == 3 ? t / std::sqrt(a) : c.mode == 5 ? t * std::sqrt(a) : t;
    const double mix[][3] = {{1, 0, 0},           {0, 1, 0},       {0, 0, 1},
                             {a * a, a / c.q, 1}, {1, a / c.q, 1}, {1, a / c.q, a * a}};
    const auto& [low, middle, high] = mix[c.mode];
    return {g, c.mode == 4 ? 1.0 / (c.q * a) : 1.0 / c.q, low, middle, high};
}

/// One band in double precision, frame by frame, with the two integrators solved for their outputs.
struct ModelBand {
    Shape from{};
    Shape to{};
    std::array<std::array<double, 2>, 2> memory{};
    int mode = -1;
    bool isOn = false;
    bool jumps = true;

    void Follow(const BandCase& c, bool on, double scale, double rate) {
        if (c.mode != mode || on != isOn) {
            memory = {};
            jumps = true;
        }
        mode = c.mode;
        isOn = on;
        from = to;
        to = ShapeOf(c, scale, rate);
        if (jumps && isOn) {
            from = to;
            jumps = false;
        }
    }

    double Tick(double x, std::size_t channel, double place) {
        Shape now{};
        for (std::size_t i = 0; i < now.size(); ++i) {
            now[i] = from[i] + (to[i] - from[i]) * place;
        }
        const auto [g, damping, low, middle, high] = now;
        auto& [ic1, ic2] = memory[channel];
        const double v1 = (ic1 + g * (x - ic2)) / (1.0 + g * (g + damping));
        const double v2 = ic2 + g * v1;
        ic1 = 2.0 * v1 - ic1;
        ic2 = 2.0 * v2 - ic2;
        return low * v2 + middle * v1 + high * (x - damping * v1 - v2);
    }
};

} // namespace

TEST(ParamEqTest, MovingSettingsFollowTheModelFrameByFrame) {
    std::mt19937 random(7);
    const auto between = [&random](float low, float high) {
        return static_cast<double>(std::uniform_real_distribution<float>(low, high)(random));
    };
    std::unique_ptr<Eq> eq;
    std::array<BandCase, bandCount> cases;
    std::array<ModelBand, bandCount> model;
    for (u32 block = 0; block < 1200; ++block) {
        const double rate = block < 600 ? 44100.0 : 192000.0;
        if (block % 600 == 0) {
            eq = MakeEq(rate);
            model = {};
        }
        const u32 frames = 4 * std::uniform_int_distribution<u32>(1, longestBlock / 4)(random);
        // The scale's knob stands at 1.
        Signal scaling(frames, block % 20 < 6 ? -0.4F : -1e-7F);
        for (u32 band = 0; band < bandCount; ++band) {
            // Each has its own pace, and some blocks are settled.
            const auto event = block % 600 == 0 ? 0 : random() % 12;
            BandCase& c = cases[band];
            const BandCase drawn = {int(random() % 6), between(-15, 15), between(50, 18000),
                                    between(0.2F, 10)};
            c.mode = event == 0 ? drawn.mode : c.mode;
            c.decibels = event < 2 ? drawn.decibels : c.decibels;
            c.hz = event % 3 == 0 ? drawn.hz : c.hz;
            c.q = event % 5 == 0 ? drawn.q : c.q;
            SetBand(*eq, band, c);
            const bool on = event < 6 || model[band].isOn;
            eq->SetParameterValue(Eq::OnId(band), on && event != 6 ? 1.0F : 0.0F);
            model[band].Follow(c, on && event != 6, 1.0 + static_cast<double>(scaling[0]), rate);
        }
        const Signal sides[] = {Noise(frames, 0.5F, 2 * block), Noise(frames, 0.5F, 2 * block + 1)};
        scaling.back() = 0.9F;
        const auto out = Render(*eq, {&sides[0], &sides[1], &scaling}, 2, BlockSplit::Of(frames));
        for (std::size_t n = 0; n < 2 * frames; ++n) {
            double x = static_cast<double>(sides[n % 2][n / 2]);
            for (ModelBand& band : model) {
                x = band.isOn ? band.Tick(x, n % 2, static_cast<double>(n / 2) / frames) : x;
            }
            const double got = static_cast<double>(out[n % 2][n / 2]);
            ASSERT_NEAR(got, x, 5e-4 * (1.0 + std::abs(x))) << block << ", " << n;
        }
    }
}

TEST(ParamEqTest, SmoothingTakesItsTimeWhateverTheBlockAndStartsAtOnce) {
    const Signal steady(882, 1.0F);
    for (const u32 block : {4U, 84U}) {
        auto eq = MakeEq();
        const auto render = [&](double decibels, bool smooth) {
            SetBand(*eq, 0, {3, decibels, 15000.0, 0.5});
            eq->SetParameterNormalized(Eq::SmoothOn, smooth ? 1.0F : 0.0F);
            return Render(*eq, {&steady, nullptr}, 2, BlockSplit::Of(block))[0];
        };
        render(0.0, true);
        const Signal rising = render(20.0, true);
        for (const std::size_t at : {168U, 420U, 840U}) {
            // The line through a block starts from the last tick's value; the filter has the root of the
            // gain.
            const double root = std::sqrt(10.0) - (std::sqrt(10.0) - 1.0) * std::exp(-double(at) / 176.4);
            EXPECT_NEAR(std::sqrt(static_cast<double>(rising[at])), root, 0.01) << block << ", " << at;
        }
        eq->Reset(false);
        render(20.0, false);
        render(-20.0, false);
        EXPECT_NEAR(Peak(render(-20.0, true)), 0.1F, 1e-4F) << "what the smoothers last saw is long gone";
    }
}

TEST(ParamEqTest, MonoEqualisesTheFirstChannelAloneAndTheSecondPasses) {
    const Signal left = Noise(2200, 0.5F, 3);
    const Signal right = Noise(2200, 0.5F, 4);
    auto eq = MakeEq();
    SetBand(*eq, 4, {4, -9.0, 300.0, 4.0});
    const auto stereo = Render(*eq, {&left, nullptr}, 2, BlockSplit::Of(44));
    EXPECT_EQ(Peak(stereo[1]), 0.0F);
    // The switch clears the filters, also in the middle of a sound.
    eq->SetParameterValue(Eq::Stereo, 0.0F);
    for (const Signal* second : {&right, static_cast<const Signal*>(nullptr)}) {
        const auto mono = Render(*eq, {&left, second}, 2, BlockSplit::Of(44));
        EXPECT_EQ(mono[0], stereo[0]);
        EXPECT_EQ(mono[1], second != nullptr ? right : Signal(2200, 0.0F));
        eq->Reset(false);
    }
}
