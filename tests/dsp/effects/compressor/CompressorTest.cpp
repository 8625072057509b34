// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/compressor/Compressor.h"

#include "rigs/StageRig.h"

#include <tuple>
#include <utility>

using namespace Velmora;
using namespace Velmora::Test;
using C = dsp::Compressor;
using orphia::test::Peak;

namespace {

constexpr double rate = 48000.0;
const auto blocks = orphia::test::BlockSplit::Of(rigBlock);
using Values = std::vector<std::pair<u32, float>>;

/// Fully wet at unit output gain, at work, with the given values on top and nothing left to glide.
std::unique_ptr<C> MakeCompressor(const Values& values = {}) {
    auto compressor = MakeStage<C>(rate);
    const Values usual = {{C::Wet, 1.0F}, {C::OutputGain, 0.0F}, {C::Threshold, -30.0F}, {C::Ratio, 8.0F}};
    for (const Values* each : {&usual, &values}) {
        for (const auto& [id, value] : *each) {
            compressor->SetParameterValue(id, value);
        }
    }
    compressor->Reset(true);
    return compressor;
}

double Gain(double decibels) { return std::pow(10.0, decibels / 20.0); }

/// The curve, from its definition.
double Reduction(double level, double threshold, double inverseRatio, double knee) {
    const double e = level - threshold;
    if (2.0 * std::abs(e) > knee) {
        return e > 0.0 ? e * (1.0 - inverseRatio) : 0.0;
    }
    return knee > 0.0 ? (1.0 - inverseRatio) * std::pow(e + knee / 2.0, 2.0) / (2.0 * knee) : 0.0;
}

/// The whole processor over whole signals in double precision. Inputs: left, right, 4 unused, two keys.
struct Model {
    C& source;
    /// In dB, at the end and in either channel.
    double deepest = 0.0;

    double Get(u32 id) const { return source.FindParameter(id)->GetValue(); }
    bool On(u32 id) const { return Get(id) > 0.5; }
    std::size_t Delay() const {
        return On(C::LookaheadEnable) ? static_cast<std::size_t>(Get(C::LookaheadTimeMs) * rate / 1000.0) : 0;
    }
    static void Move(double& state, double to, double upMs, double downMs) {
        state += (to - state) * (1.0 - std::exp(-1000.0 / ((to > state ? upMs : downMs) * rate)));
    }

    Signals Run(const Signals& in) {
        const std::size_t n = Delay();
        Signals out(2, Signal(in[0].size()));
        std::vector<double> gains;
        for (std::size_t c = 0; c < 2; ++c) {
            const bool common = On(C::StereoMode) || !On(C::ConfStereo);
            gains = c == 1 && common ? gains : Gains(in, c, common);
            for (std::size_t t = n; t < in[0].size(); ++t) {
                out[c][t] = static_cast<float>(static_cast<double>(in[c][t - n]) * gains[t]);
            }
        }
        return out;
    }

    double Level(const Signals& in, std::size_t c, std::size_t t, bool common) const {
        const bool keyed = On(C::SideChain);
        const std::size_t first = keyed ? 6 : 0;
        return On(C::ConfStereo) && (keyed || common)
                   ? std::max(std::abs(in[first][t]), std::abs(in[first + 1][t]))
                   : std::abs(in[keyed ? 6 : c][t]);
    }

    std::vector<double> Gains(const Signals& in, std::size_t c, bool common) {
        const double inputGain = Gain(Get(C::InGainCompensated) + Get(C::InputGain));
        const double r = On(C::RatioInfinite) ? 0.0 : 1.0 / Get(C::Ratio);
        const auto curve = [&](double level) {
            return Reduction(level, Get(C::Threshold), r, Get(C::KneeWidth));
        };
        const double makeup = On(C::Makeup) ? Gain(curve(0.0) / std::sqrt(2.0)) : 1.0;
        const double total = inputGain * Gain(Get(C::OutputGain) - Get(C::InGainCompensated)) * makeup;
        const double limit = On(C::GRLimitEnable) ? Get(C::GRLimit) : -1e9;
        double level = 0.0;
        double reduction = 0.0;
        std::vector<double> gains;
        for (std::size_t t = 0; t < in[0].size(); ++t) {
            double d = inputGain * Level(in, c, t, common);
            if (On(C::LevelMeasureSmoothAR)) {
                Move(level, d, Get(C::LevelMeasureAtMs), Get(C::LevelMeasureReMs));
                d = level;
            }
            const double decibels = d < 1e-7 ? -140.0 : 20.0 * std::log10(d);
            Move(reduction, curve(decibels), Get(C::Attack), Get(C::Release));
            gains.push_back(Gain(std::max(-reduction, limit)));
        }
        deepest = std::max(deepest, std::min(reduction, -limit));
        DrawBack(gains, Delay());
        for (double& g : gains) {
            g = Get(C::Wet) * g * total + 1.0 - Get(C::Wet);
        }
        return gains;
    }

    /// On the time axis of the gains; before its begin they are 0.
    static void DrawBack(std::vector<double>& gains, std::size_t n) {
        gains.insert(gains.begin(), n, 0.0);
        for (std::size_t t = n; t < gains.size(); ++t) {
            const double g0 = gains[t - n];
            for (std::size_t back = 1; back < n && gains[t] < (back == 1 ? gains[t - 1] : 2.0); ++back) {
                const double part = static_cast<double>(back) / static_cast<double>(n);
                const double line = gains[t] + (g0 - gains[t]) * part;
                if (gains[t - back] <= line) {
                    break;
                }
                gains[t - back] = line;
            }
        }
    }
};

} // namespace

TEST(CompressorTest, AgreesWithADirectModelInEveryMode) {
    constexpr float loudness[] = {1.0F, 0.03F, 0.0F};
    Signals inputs;
    for (u32 channel = 0; channel < 8; ++channel) {
        inputs.push_back(Noise(3000, 0.8F, channel + 1));
        for (std::size_t n = 0; n < 3000; ++n) {
            inputs.back()[n] *= loudness[(n + 300 * channel) / 500 % 3];
        }
    }
    const std::vector<const Signal*> wiring = {&inputs[0], &inputs[1], nullptr,    nullptr,
                                               nullptr,    nullptr,    &inputs[6], &inputs[7]};
    std::mt19937 random(5);
    std::uniform_real_distribution<float> unit;
    constexpr u32 switches[] = {C::ConfStereo,    C::StereoMode,           C::SideChain, C::LookaheadEnable,
                                C::GRLimitEnable, C::LevelMeasureSmoothAR, C::Makeup,    C::RatioInfinite};
    for (u32 mode = 0; mode < 256; ++mode) {
        auto compressor = MakeCompressor();
        for (u32 id = C::Wet; id < C::parameterCount; ++id) {
            const float u = unit(random);
            compressor->SetParameterNormalized(id, u * u);
        }
        // Gains that fall by less than a float can tell are drawn back by the model alone.
        compressor->SetParameterValue(C::Ratio, 1.5F + 10.0F * unit(random));
        if (mode % 3 == 0) {
            compressor->SetParameterValue(C::KneeWidth, 0.0F);
        }
        for (u32 bit = 0; bit < 8; ++bit) {
            compressor->SetParameterValue(switches[bit], (mode >> bit & 1U) != 0 ? 1.0F : 0.0F);
        }
        compressor->Reset(true);
        Model model{*compressor};
        const Signals expected = model.Run(inputs);
        const Signals got = orphia::test::Render(*compressor, wiring, 2, blocks);
        EXPECT_NEAR(compressor->GetParameterNormalized(C::OutGainReduction),
                    std::min(model.deepest / 40.0, 1.0), 1e-4)
            << "mode " << mode;
        for (std::size_t c = 0; c < 2; ++c) {
            for (std::size_t n = 0; n < got[c].size(); ++n) {
                ASSERT_NEAR(got[c][n], expected[c][n], 3e-5F * Peak(expected[c]))
                    << "mode " << mode << ", channel " << c << ", frame " << n;
            }
        }
    }
}

TEST(CompressorTest, ALookaheadThatStartsIsEmptyAndAChannelThatJoinsInGoesOnFromTheCommonGain) {
    const Signal noise = Noise(2200, 1.0F, 3);
    auto compressor = MakeCompressor({{C::LookaheadTimeMs, 5.0F}});
    for (const auto& [id, before, after] : {std::tuple(C::LookaheadEnable, 0.0F, 1.0F),
                                            {C::LookaheadEnable, 0.0F, 1.0F},
                                            {C::LookaheadTimeMs, 0.01F, 5.0F}}) {
        compressor->SetParameterValue(id, before);
        Render(*compressor, {noise}, 1);
        compressor->SetParameterValue(id, after);
        const Signal out = Render(*compressor, {noise}, 1)[0];
        EXPECT_EQ(Peak(Signal(out.begin(), out.begin() + 240)), 0.0F) << id;
        EXPECT_GT(Peak(out), 0.0F) << id;
    }
    auto linked = MakeCompressor({{C::Threshold, -20.0F},
                                  {C::RatioInfinite, 1.0F},
                                  {C::Release, 2000.0F},
                                  {C::ConfStereo, 1.0F},
                                  {C::StereoMode, 1.0F},
                                  {C::LookaheadTimeMs, 5.0F},
                                  {C::LookaheadEnable, 1.0F}});
    const Signals in = {Signal(960, 1.0F), Signal(960, 0.01F)};
    const float last = Render(*linked, in, 2)[1].back();
    linked->SetParameterValue(C::StereoMode, 0.0F);
    const Signal apart = Render(*linked, in, 2)[1];
    EXPECT_NEAR(last / in[1][0], 0.1F, 1e-4F);
    EXPECT_NEAR(apart[0], last, 1e-6F);
    EXPECT_NEAR(apart[300], last, 0.1F * last);
}

TEST(CompressorTest, WetTakesOneBlockAndTheGainsTheirTimeWhateverTheBlock) {
    auto compressor = MakeCompressor({{C::Wet, 0.0F}, {C::Threshold, 0.0F}, {C::OutputGain, -20.0F}});
    const Signal in(960, 0.5F);
    EXPECT_EQ(Render(*compressor, {in}, 1)[0], in);
    compressor->SetParameterValue(C::Wet, 1.0F);
    const Signal ramp = Render(*compressor, {in}, 1)[0];
    for (u32 n = 0; n < 960; ++n) {
        const float part = static_cast<float>(std::min(n + 1, rigBlock)) / rigBlock;
        EXPECT_NEAR(ramp[n], 0.5F - 0.45F * part, 1e-6F) << "frame " << n;
    }
    for (const u32 size : {4U, 40U}) {
        compressor->SetParameterValue(C::OutputGain, 0.0F);
        compressor->Reset(false);
        compressor->SetParameterValue(C::OutputGain, -20.0F);
        const Signal out = Render(*compressor, {in}, 1, {size})[0];
        for (const std::size_t n : {39U, 479U, 959U}) {
            const double rest = std::exp(-5.0 * static_cast<double>(n + 1) / 960.0);
            EXPECT_NEAR(out[n], 0.05 + 0.45 * rest, 1e-5) << size << " frames a block, frame " << n;
        }
    }
}

TEST(CompressorTest, ConnectedInputsMoveTheirParametersAlsoBackwards) {
    const Signal noise = Noise(9600, 0.8F, 1);
    const Signal offset(9600, 0.2F);
    for (const bool inverted : {false, true}) {
        for (const auto& [id, input] :
             {std::pair{C::Wet, 2U}, {C::Release, 3U}, {C::Threshold, 4U}, {C::Ratio, 5U}, {C::Attack, 6U}}) {
            const auto play = [&, at = input](C& unit, const Signal* moved) {
                std::vector<const Signal*> wiring(8, nullptr);
                wiring[0] = &noise;
                wiring[at] = moved;
                return orphia::test::Render(unit, wiring, 1, blocks)[0];
            };
            auto moved = MakeCompressor({{C::Attack, 3.0F}, {C::Release, 60.0F}});
            auto still = MakeCompressor({{C::Attack, 3.0F}, {C::Release, 60.0F}});
            moved->FindParameter(id)->inverted = inverted;
            moved->SetParameterNormalized(id, 0.3F);
            const float position = id == C::Attack ? 0.3F : 0.5F;
            still->SetParameterNormalized(id, inverted ? 1.0F - position : position);
            const Signal expected = play(*still, nullptr);
            const Signal got = play(*moved, &offset);
            for (std::size_t n = got.size() / 2; n < got.size(); ++n) {
                ASSERT_NEAR(got[n], expected[n], 2e-4F) << "id " << id << ", backwards " << inverted;
            }
        }
    }
}

TEST(CompressorTest, MissingChannelsAndTheSwitchOfTheInterfaceHaveTheirWays) {
    const Signals noise = {Noise(2200, 0.9F, 1), Noise(2200, 0.3F, 2)};
    const Signal left = Render(*MakeCompressor(), {noise[0]}, 1)[0];
    auto deaf = MakeCompressor({{C::SideChain, 1.0F}, {C::ConfStereo, 1.0F}});
    ExpectSame(Render(*deaf, {noise[0]}, 2), {left, left}, "no key, no right input");
    Signal product = left;
    std::transform(left.begin(), left.end(), noise[0].begin(), product.begin(), std::multiplies<>());
    ExpectSame(Render(*MakeCompressor({{C::ConfOnlyComputeGain, 0.0F}}), {noise[0]}, 1), {product},
               "multiplied");
    const Signals silent = orphia::test::Render(*deaf, {nullptr, &noise[1]}, 2, blocks);
    EXPECT_EQ(Peak(silent[0]) + Peak(silent[1]), 0.0F);
    EXPECT_EQ(deaf->GetParameterNormalized(C::OutGainReduction), 0.0F) << "a reading of the past";
}
