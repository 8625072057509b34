// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/equaliser/ParamEq.h"

#include "rigs/ModuleRig.h"

#include <array>
#include <initializer_list>
#include <memory>

using namespace orphia::test;
using Eq = Velmora::dsp::ParamEq<5>;
using Complex = std::complex<double>;

namespace {

constexpr double pi = std::numbers::pi;
constexpr u32 bandCount = 5;
constexpr u32 longestBlock = 256;
constexpr double rate = 44100.0;
constexpr float untouched = 12345.0F;

struct BandCase {
    int mode = 4;
    double decibels = 0.0;
    double hz = 1000.0;
    double q = 1.0;
};

std::unique_ptr<Eq> MakeEq(double sampleRate = rate) {
    auto eq = std::make_unique<Eq>();
    eq->Initialize(static_cast<float>(sampleRate), longestBlock);
    return eq;
}

void SetBand(Eq& eq, u32 band, const BandCase& c) {
    eq.SetParameterValue(Eq::OnId(band), 1.0F);
    eq.SetParameterValue(Eq::ModeId(band), static_cast<float>(c.mode));
    eq.SetParameterValue(Eq::GainId(band), static_cast<float>(c.decibels));
    eq.SetParameterValue(Eq::CutoffId(band), static_cast<float>(c.hz));
    eq.SetParameterValue(Eq::QId(band), static_cast<float>(c.q));
}

/// The analogue prototypes with their corner at s = j, as the textbooks on equalisers have them.
Complex Prototype(const BandCase& c, Complex s) {
    const double a = std::pow(10.0, c.decibels / 40.0);
    const double slope = std::sqrt(a) / c.q;
    const Complex resonant = s * s + s / c.q + 1.0;
    switch (c.mode) {
    case 0:
        return 1.0 / resonant;
    case 1:
        return s / resonant;
    case 2:
        return s * s / resonant;
    case 3:
        return a * (s * s + slope * s + a) / (a * s * s + slope * s + 1.0);
    case 4:
        return (s * s + s * a / c.q + 1.0) / (s * s + s / (a * c.q) + 1.0);
    default:
        return a * (a * s * s + slope * s + 1.0) / (s * s + slope * s + a);
    }
}

double Decibels(Complex gain) { return 20.0 * std::log10(std::abs(gain)); }

/// One band in double precision, frame by frame, with the two integrators solved for their outputs.
struct ModelBand {
    std::array<double, 5> from{};
    std::array<double, 5> to{};
    std::array<std::array<double, 2>, 2> memory{};
    int mode = -1;
    bool isOn = false;
    bool jumps = true;

    void Aim(const BandCase& c, bool on, double scale) {
        if (c.mode != mode || on != isOn) {
            memory = {};
            jumps = true;
        }
        mode = c.mode;
        isOn = on;
        const double a = std::pow(10.0, scale * c.decibels / (mode > 2 ? 40.0 : 20.0));
        const double t = std::tan(pi * c.hz / rate);
        const double g = mode == 3 ? t / std::sqrt(a) : mode == 5 ? t * std::sqrt(a) : t;
        const double damping = mode == 4 ? 1.0 / (c.q * a) : 1.0 / c.q;
        const double low[] = {1.0, 0.0, 0.0, a * a, 1.0, 1.0};
        const double middle[] = {0.0, 1.0, 0.0, a / c.q, a / c.q, a / c.q};
        const double high[] = {0.0, 0.0, 1.0, 1.0, 1.0, a * a};
        const auto m = static_cast<std::size_t>(mode);
        from = to;
        to = {g, damping, low[m], middle[m], high[m]};
        if (jumps && isOn) {
            from = to;
            jumps = false;
        }
    }

    double Tick(double x, std::size_t channel, double place) {
        std::array<double, 5> v{};
        for (std::size_t i = 0; i < v.size(); ++i) {
            v[i] = from[i] + (to[i] - from[i]) * place;
        }
        const auto [g, damping, low, middle, high] = v;
        auto& [ic1, ic2] = memory[channel];
        const double v1 = (ic1 + g * (x - ic2)) / (1.0 + g * (g + damping));
        const double v2 = ic2 + g * v1;
        ic1 = 2.0 * v1 - ic1;
        ic2 = 2.0 * v2 - ic2;
        return low * v2 + middle * v1 + high * (x - damping * v1 - v2);
    }
};

} // namespace

TEST(ParamEqTest, EveryModeHasTheResponseOfItsPrototype) {
    for (const double sampleRate : {44100.0, 192000.0}) {
        for (int mode = 0; mode < 6; ++mode) {
            for (const BandCase& c : {BandCase{mode, 12.0, 1000.0, 0.7},
                                      {mode, -20.0, 200.0, 2.0},
                                      {mode, 20.0, 15000.0, 0.1},
                                      {mode, -6.0, 20000.0, 15.0}}) {
                auto eq = MakeEq(sampleRate);
                // Half of twice the gain is the gain.
                eq->SetParameterNormalized(Eq::Scale, 0.5F);
                SetBand(*eq, 3, {mode, 2.0 * c.decibels, c.hz, c.q});
                const Signal impulse = Impulse(40000);
                const Signal out = Render(*eq, {&impulse, nullptr}, 2, BlockSplit::Of(44))[0];
                for (const double hz : {1.0, 150.0, 200.0, 1000.0, 6000.0, 15000.0, 20000.0, 22000.0}) {
                    const Complex s(0.0, std::tan(pi * hz / sampleRate) / std::tan(pi * c.hz / sampleRate));
                    const double expected = Decibels(Prototype(c, s));
                    const double got = Decibels(Transform(out, hz, sampleRate));
                    if (expected > -70.0) {
                        EXPECT_NEAR(got, expected, 0.05)
                            << "mode " << mode << ", corner " << c.hz << ", gain " << c.decibels << ", at "
                            << hz << " Hz of " << sampleRate;
                    }
                }
            }
        }
    }
}

TEST(ParamEqTest, MovingSettingsFollowTheModelFrameByFrame) {
    std::mt19937 random(7);
    const auto between = [&random](double low, double high) {
        return static_cast<double>(static_cast<float>(std::uniform_real_distribution<>(low, high)(random)));
    };
    auto eq = MakeEq();
    std::array<BandCase, bandCount> cases;
    std::array<bool, bandCount> on{};
    std::array<ModelBand, bandCount> model;
    for (u32 block = 0; block < 600; ++block) {
        const u32 frames = 4 * std::uniform_int_distribution<u32>(1, longestBlock / 4)(random);
        // Each band has its own pace, and some blocks are settled.
        for (u32 band = 0; band < bandCount; ++band) {
            const auto event = random() % 12;
            BandCase& c = cases[band];
            on[band] = block == 0 || (event == 0) != on[band];
            c.mode = block == 0 || event == 1 ? static_cast<int>(random() % 6) : c.mode;
            c.decibels = block == 0 || event == 2 ? between(-15.0, 15.0) : c.decibels;
            c.hz = block == 0 || event == 3 ? between(50.0, 18000.0) : c.hz;
            c.q = block == 0 || event == 4 ? between(0.2, 10.0) : c.q;
            SetBand(*eq, band, c);
            eq->SetParameterValue(Eq::OnId(band), on[band] ? 1.0F : 0.0F);
        }
        const Signal left = Noise(frames, 0.5F, 2 * block);
        const Signal right = Noise(frames, 0.5F, 2 * block + 1);
        // The scale's knob stands at 1; one cutoff is pulled down from where its knob stands.
        Signal scaling(frames, block % 20 < 6 ? -0.4F : -1e-7F);
        Signal pull(frames, block % 16 < 5 ? -0.1F : 1e-9F);
        scaling.back() = pull.back() = 0.9F;
        const auto out = Render(*eq, {&left, &right, &scaling, nullptr, &pull}, 2, BlockSplit::Of(frames));
        for (u32 band = 0; band < bandCount; ++band) {
            BandCase c = cases[band];
            c.hz = band == 1 ? std::max(20.0, c.hz + 19980.0 * static_cast<double>(pull[0])) : c.hz;
            model[band].Aim(c, on[band], 1.0 + static_cast<double>(scaling[0]));
        }
        for (std::size_t n = 0; n < frames; ++n) {
            for (const std::size_t channel : {0U, 1U}) {
                double x = static_cast<double>(channel == 0 ? left[n] : right[n]);
                for (ModelBand& band : model) {
                    x = band.isOn ? band.Tick(x, channel, static_cast<double>(n) / frames) : x;
                }
                ASSERT_NEAR(static_cast<double>(out[channel][n]), x, 5e-4 * (1.0 + std::abs(x)))
                    << "block " << block << ", frame " << n << ", channel " << channel;
            }
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
        const double a = std::sqrt(10.0);
        for (const double share : {0.2, 0.5, 0.95}) {
            // The line through a block starts from the last tick's value.
            const auto at = static_cast<std::size_t>(share * 882.0) / block * block;
            const double expected = a - (a - 1.0) * std::exp(-5.0 * static_cast<double>(at) / 882.0);
            EXPECT_NEAR(std::sqrt(static_cast<double>(rising[at])), expected, 0.01) << block << ", " << at;
        }
        EXPECT_NEAR(rising.back(), 10.0F, 0.1F) << block;
        eq->Reset(false);
        render(20.0, false);
        render(-20.0, false);
        // What the smoothers last saw is long gone.
        EXPECT_NEAR(Peak(render(-20.0, true)), 0.1F, 1e-4F) << block;
    }
}

TEST(ParamEqTest, ChannelsAreIndependentAndMonoTouchesTheFirstAlone) {
    const Signal noise = Noise(2200, 0.5F, 3);
    const Signal other = Noise(2200, 0.5F, 4);
    auto eq = MakeEq();
    EXPECT_EQ(Render(*eq, {&noise, &other}, 2, BlockSplit::Of(44)), (std::vector{noise, other}))
        << "all bands are off";
    SetBand(*eq, 1, {5, 15.0, 3000.0, 0.7});
    SetBand(*eq, 4, {4, -9.0, 300.0, 4.0});
    const auto run = [&](bool stereo, const Signal* right) {
        // The switch clears the filters.
        eq->SetParameterValue(Eq::Stereo, stereo ? 1.0F : 0.0F);
        return Render(*eq, {&noise, right}, 2, BlockSplit::Of(44));
    };
    const auto stereo = run(true, &noise);
    const auto mono = run(false, &noise);
    const auto lone = run(true, nullptr);
    EXPECT_EQ(stereo[0], stereo[1]);
    EXPECT_EQ(stereo[0], lone[0]);
    EXPECT_EQ(stereo[0], mono[0]);
    EXPECT_EQ(Peak(lone[1]), 0.0F);
    EXPECT_EQ(mono[1], Signal(noise.size(), untouched));
}
