// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/compressor/Compressor.h"

#include "rigs/EffectRig.h"

using namespace Velmora;
using namespace Velmora::Test;
using C = dsp::Compressor;
using orphia::test::Peak;
using Velmora::Test::Render;

namespace {

constexpr double rate = 48000.0;
using Values = std::vector<std::pair<u32, float>>;

/// Fully wet at unit output gain, at work, with the given values on top and nothing left to glide.
std::unique_ptr<C> MakeCompressor(const Values& values = {}) {
    auto compressor = MakeStage<C>(rate);
    Values all = {{C::Wet, 1}, {C::OutputGain, 0}, {C::Threshold, -30}, {C::Ratio, 8}};
    all.insert(all.end(), values.begin(), values.end());
    for (const auto& [id, value] : all) {
        compressor->SetParameterValue(id, value);
    }
    compressor->Reset(true);
    return compressor;
}

double Gain(double decibels) { return std::pow(10.0, decibels / 20.0); }

/// The whole processor over whole signals in double precision. Inputs: left, right, 4 unused, two keys.
struct Model {
    C& source;
    /// In dB, at the end and in either channel.
    double deepest = 0.0;

    double Get(u32 id) const { return static_cast<double>(source.FindParameter(id)->GetValue()); }
    bool On(u32 id) const { return Get(id) > 0.5; }

    /// From its definition.
    double Curve(double level) const {
        const double slope = On(C::RatioInfinite) ? 1.0 : 1.0 - 1.0 / Get(C::Ratio);
        const double knee = Get(C::KneeWidth);
        const double e = level - Get(C::Threshold);
        return 2.0 * std::abs(e) > knee ? slope * std::max(e, 0.0)
                                        : slope * std::pow(e + knee / 2.0, 2.0) / std::max(2.0 * knee, 1e-9);
    }
    static void Move(double& state, double to, double upMs, double downMs) {
        state += (to - state) * (1.0 - std::exp(-1000.0 / ((to > state ? upMs : downMs) * rate)));
    }

    Signals Run(const Signals& in) {
        const bool stereo = On(C::ConfStereo);
        const bool common = On(C::StereoMode) || !stereo;
        const bool keyed = On(C::SideChain);
        const double inputGain = Gain(Get(C::InGainCompensated) + Get(C::InputGain));
        const double outputGain = Gain(Get(C::OutputGain) - Get(C::InGainCompensated));
        const double total =
            inputGain * outputGain * (On(C::Makeup) ? Gain(Curve(0.0) / std::sqrt(2.0)) : 1.0);
        const double limit = On(C::GRLimitEnable) ? Get(C::GRLimit) : -1e9;
        const double ahead = On(C::LookaheadEnable) ? Get(C::LookaheadTimeMs) : 0.0;
        const auto n = static_cast<std::size_t>(ahead * rate / 1000.0);
        Signals out(2, Signal(in[0].size()));
        for (std::size_t c = 0; c < 2; ++c) {
            const Signal& first = in[keyed ? 6 : common ? 0 : c];
            const Signal& second = !stereo || (!keyed && !common) ? first : in[keyed ? 7 : 1];
            double level = 0.0;
            double reduction = 0.0;
            // Before the begin the gains are 0.
            std::vector<double> gains(n, 0.0);
            for (std::size_t t = 0; t < in[0].size(); ++t) {
                double d = inputGain * static_cast<double>(std::max(std::abs(first[t]), std::abs(second[t])));
                if (On(C::LevelMeasureSmoothAR)) {
                    Move(level, d, Get(C::LevelMeasureAtMs), Get(C::LevelMeasureReMs));
                    d = level;
                }
                const double decibels = d < 1e-7 ? -140.0 : 20.0 * std::log10(d);
                Move(reduction, Curve(decibels), Get(C::Attack), Get(C::Release));
                gains.push_back(Gain(std::max(-reduction, limit)));
            }
            deepest = std::max(deepest, std::min(reduction, -limit));
            DrawBack(gains, n);
            for (std::size_t t = n; t < in[0].size(); ++t) {
                const double g = Get(C::Wet) * gains[t] * total + 1.0 - Get(C::Wet);
                out[c][t] = static_cast<float>(static_cast<double>(in[c][t - n]) * g);
            }
        }
        return out;
    }

    /// Each fall, in a straight line over n frames.
    static void DrawBack(std::vector<double>& gains, std::size_t n) {
        for (std::size_t t = n; t < gains.size(); ++t) {
            const double step = (gains[t - n] - gains[t]) / static_cast<double>(n);
            double line = gains[t];
            for (std::size_t back = 1; back < n && gains[t] < (back == 1 ? gains[t - 1] : 2.0); ++back) {
                line += step;
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
    std::vector<const Signal*> wiring = {&inputs[0], &inputs[1]};
    wiring.resize(6, nullptr);
    wiring.insert(wiring.end(), {&inputs[6], &inputs[7]});
    std::mt19937 random(5);
    std::uniform_real_distribution<float> unit;
    for (u32 mode = 0; mode < 256; ++mode) {
        auto compressor = MakeCompressor();
        for (u32 id = C::Wet; id < C::parameterCount; ++id) {
            const float u = unit(random);
            compressor->SetParameterNormalized(id, u * u);
        }
        // Gains that fall by less than a float can tell are drawn back by the model alone.
        compressor->SetParameterValue(C::Ratio, 1.5F + 10.0F * unit(random));
        compressor->SetParameterNormalized(C::KneeWidth, mode % 3 == 0 ? 0.0F : unit(random));
        u32 bits = mode;
        for (const u32 id : {C::ConfStereo, C::StereoMode, C::SideChain, C::LookaheadEnable, C::GRLimitEnable,
                             C::LevelMeasureSmoothAR, C::Makeup, C::RatioInfinite}) {
            compressor->SetParameterValue(id, static_cast<float>(bits & 1U));
            bits >>= 1U;
        }
        const bool isFinished = mode % 5 != 0;
        compressor->SetParameterValue(C::ConfOnlyComputeGain, isFinished ? 1.0F : 0.0F);
        compressor->Reset(true);
        Model model{*compressor};
        Signals expected = model.Run(inputs);
        for (std::size_t c = 0; c < 2 && !isFinished; ++c) {
            // Multiplied once more.
            std::transform(inputs[c].begin(), inputs[c].end(), expected[c].begin(), expected[c].begin(),
                           std::multiplies<>());
        }
        const Signals got = orphia::test::Render(*compressor, wiring, 2, orphia::test::BlockSplit::Of(44));
        const float shown = compressor->GetParameterNormalized(C::OutGainReduction);
        EXPECT_NEAR(static_cast<double>(shown), std::min(model.deepest / 40.0, 1.0), 1e-4) << "mode " << mode;
        for (std::size_t c = 0; c < 2; ++c) {
            for (std::size_t n = 0; n < got[c].size(); ++n) {
                ASSERT_NEAR(got[c][n], expected[c][n], 3e-5F * Peak(expected[c])) << mode << ", frame " << n;
            }
        }
    }
}

TEST(CompressorTest, AGainThatIsTakenBackBehindTheCompressorDoesNotSwellWhileItMoves) {
    const Signals tone = {Signal(9600, 0.1F), Signal(9600, 0.1F)};
    auto compressor = MakeCompressor({{C::Ratio, 1}, {C::Makeup, 0}, {C::InGainCompensated, -36}});
    for (const float decibels : {36.0F, 0.0F, -36.0F, 24.0F}) {
        compressor->SetParameterValue(C::InGainCompensated, decibels);
        const Signals heard = Render(*compressor, tone, 2);
        for (const float sample : heard[0]) {
            ASSERT_NEAR(sample, 0.1F, 0.001F) << "to " << decibels << " dB";
        }
    }
    // One that stays glides, and is there within 30 ms.
    compressor->SetParameterValue(C::InputGain, 12.0F);
    const Signals louder = Render(*compressor, tone, 2);
    EXPECT_LT(louder[0][48], 0.15F);
    EXPECT_NEAR(louder[0][1440], 0.1 * Gain(12.0), 0.002);
}
