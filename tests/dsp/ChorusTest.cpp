// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/Chorus.h"

#include "dsp/OscillatorRig.h"
#include "vocoder/StageRig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <limits>
#include <memory>
#include <numbers>
#include <tuple>

namespace {

using namespace orphia::test;
using Velmora::dsp::Chorus;
using Velmora::Test::Rms;
using Velmora::Test::Tone;

constexpr double twoPi = 2.0 * std::numbers::pi;
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

/// One voice that does not move, wet alone.
const Settings still = {{Chorus::DryWet, 1.0F}, {Chorus::Depth, 0.0F}, {Chorus::Voices, 1.0F}};

void Set(Chorus& chorus, const Settings& settings) {
    for (const auto& [id, value] : settings) {
        chorus.SetParameterValue(id, value);
    }
}

std::unique_ptr<Chorus> Make(const Settings& first, const Settings& then = {}, float rate = 44100.0F) {
    auto chorus = std::make_unique<Chorus>();
    chorus->Initialize(rate, 64);
    Set(*chorus, first);
    Set(*chorus, then);
    return chorus;
}

/// In blocks of 44 frames, at a tempo and with one constant modulation value at an input from 2 on.
std::vector<Signal> Play(Chorus& chorus, const Signal& left, const Signal& right, u32 at = 0,
                         float value = 0.0F, float tempo = 120.0F) {
    std::vector<float> modulation(45, value);
    modulation[0] = 1.0F;
    std::vector<Signal> outputs(2, Signal(left.size()));
    for (std::size_t n = 0; n < left.size(); n += 44) {
        const float* inputs[5] = {left.data() + n, right.data() + n};
        inputs[at] = at > 1 ? modulation.data() + 1 : inputs[at];
        float* out[2] = {outputs[0].data() + n, outputs[1].data() + n};
        Velmora::dsp::ProcessContext context;
        context.inputs = inputs;
        context.numInputs = 5;
        context.outputs = out;
        context.numOutputs = 2;
        context.numFrames = static_cast<u32>(std::min<std::size_t>(44, left.size() - n));
        context.tempo = tempo;
        Velmora::dsp::RunChild(chorus, context);
    }
    return outputs;
}

std::complex<double> Response(const Signal& impulseResponse, double hz, double rate) {
    std::complex<double> sum;
    for (std::size_t n = 0; n < impulseResponse.size(); ++n) {
        sum += static_cast<double>(impulseResponse[n]) *
               std::polar(1.0, -twoPi * hz * static_cast<double>(n) / rate);
    }
    return sum;
}

/// Deviation of the frequency of a swung sine from its own, in Hz.
Signal FrequencyDeviation(const Signal& swung, std::size_t period, double rate) {
    Signal deviation;
    std::complex<double> last;
    const std::size_t window = 4 * period;
    for (std::size_t n = 0; n + window < swung.size(); n += period) {
        std::complex<double> sum;
        for (std::size_t k = 0; k < window; ++k) {
            const double weight =
                1.0 - std::cos(twoPi * static_cast<double>(k) / static_cast<double>(window));
            sum += static_cast<double>(swung[n + k]) *
                   std::polar(weight, -twoPi * static_cast<double>(k) / static_cast<double>(period));
        }
        const double turn = std::arg(sum * std::conj(last));
        deviation.push_back(static_cast<float>(turn * rate / (twoPi * static_cast<double>(period))));
        last = sum;
    }
    deviation.erase(deviation.begin(), deviation.begin() + 30);
    return deviation;
}

} // namespace

TEST(ChorusTest, AStillVoiceDelaysByTheDelayInMillisecondsAndKeepsTheTreble) {
    const float step = 1.0F / (16.0F * 44.1F);
    for (const float rate : {22050.0F, 44100.0F, 192000.0F}) {
        for (const float delay :
             {0.6F, 0.9137F, 6.8F + step, 6.8F + 7.0F * step, 6.8F + 11.0F * step, 59.9F}) {
            const Signal impulse = Impulse(static_cast<std::size_t>(rate * 0.1F) / 4 * 4);
            const Signal out = Play(*Make(still, {{Chorus::Delay, delay}}, rate), impulse, impulse)[1];
            for (const double hz : {1300.0, 4000.0, 10000.0}) {
                const auto got = Response(out, hz, static_cast<double>(rate));
                const auto expected = std::polar(1.0, -twoPi * hz * static_cast<double>(delay) * 0.001);
                const double gain = rate < 44000.0F ? 0.0 : 20.0 * std::log10(std::abs(got));
                if (hz < 0.25 * static_cast<double>(rate)) {
                    EXPECT_LT(std::abs(got - expected), hz > 5000.0 ? 0.03 : 0.02)
                        << delay << " ms, " << rate << " Hz, at " << hz;
                    EXPECT_NEAR(gain, 0.0, hz > 5000.0 ? 0.25 : 0.03)
                        << delay << " ms, " << rate << " Hz, at " << hz;
                }
            }
        }
    }
}

TEST(ChorusTest, TheSwingHasTheDepthTheRateAndTheShapeAskedFor) {
    constexpr std::size_t period = 42;
    constexpr double depth = 0.003;
    constexpr double cycles = 2.0;
    const Signal sine = Tone(44100 * 3, 1050.0, 44100.0, 0.5);
    const double steepest[] = {twoPi, 4.0, twoPi * (0.9 + 0.1 * 8.0), 3.0};
    for (u32 shape = 0; shape < 4; ++shape) {
        const auto chorus = Make(still, {{Chorus::Delay, shape == 1 ? 0.6F : 12.0F},
                                         {Chorus::Depth, 3.0F},
                                         {Chorus::Freq, 2.0F},
                                         {Chorus::LFOShape, static_cast<float>(shape)}});
        const Signal deviation = FrequencyDeviation(Play(*chorus, sine, sine)[0], period, 44100.0);
        const double expected = 1050.0 * depth * cycles * steepest[shape];
        const auto peak = static_cast<double>(Peak(deviation));
        // The random shape is as steep now and then.
        EXPECT_LT(peak, (shape == 3 ? 1.01 : 1.02) * expected) << "shape " << shape;
        EXPECT_GT(peak, (shape == 3 ? 0.2 : 0.98) * expected) << "shape " << shape;
        int turns = 0;
        for (std::size_t n = 1; n < deviation.size(); ++n) {
            turns += (deviation[n] > 0.0F) != (deviation[n - 1] > 0.0F) ? 1 : 0;
        }
        EXPECT_TRUE(shape > 1 || std::abs(turns - 12) <= 1) << "shape " << shape << ": " << turns;
    }
}

TEST(ChorusTest, DryWetIsExactAtItsEndsAndKeepsTheLevelBetween) {
    const Signal noise = Noise(44000, 0.5F, 1);
    for (const float voices : {1.0F, 3.0F, 4.0F}) {
        for (const float mix : {0.0F, 0.3F, 0.7F, 1.0F}) {
            const auto chorus =
                Make({{Chorus::Voices, voices}, {Chorus::DryWet, mix}, {Chorus::Feedback, 0.3F}});
            const Signal out = Play(*chorus, noise, noise)[0];
            const double change = 20.0 * std::log10(Rms(out, 2000) / Rms(noise, 2000));
            EXPECT_NEAR(change, 0.0, 1.2) << voices << " voices, mix " << mix;
            EXPECT_EQ(out == noise, mix == 0.0F);
            EXPECT_EQ(Peak(Signal(out.begin(), out.begin() + 150)) == 0.0F, mix == 1.0F);
        }
    }
}

TEST(ChorusTest, StereoModesAreMonoWideAndCrossingAndFeedbackDecaysByItsFactor) {
    const Signal noise = Noise(44000, 0.5F, 2);
    const auto likeness = [&](const Settings& settings) {
        const auto chorus = Make({{Chorus::DryWet, 1.0F}, {Chorus::Drift, 1.0F}}, settings);
        const auto out = Play(*chorus, noise, noise);
        double both = 0.0;
        for (std::size_t n = 0; n < noise.size(); ++n) {
            both += static_cast<double>(out[0][n]) * static_cast<double>(out[1][n]);
        }
        return both / (Rms(out[0], 0) * Rms(out[1], 0)) / static_cast<double>(noise.size());
    };
    for (const float voices : {1.0F, 2.0F, 3.0F, 4.0F}) {
        for (const float shape : {0.0F, 1.0F, 2.0F, 3.0F}) {
            const auto with = [&](u32 id, float value) {
                return likeness({{Chorus::Voices, voices}, {Chorus::LFOShape, shape}, {id, value}});
            };
            EXPECT_NEAR(with(Chorus::StereoMode, 0.0F), 1.0, 1e-9);
            EXPECT_NEAR(with(Chorus::Width, 0.0F), 1.0, 1e-9);
            EXPECT_LT(with(Chorus::StereoMode, 1.0F), 0.5) << voices << " voices, shape " << shape;
        }
    }
    EXPECT_LT(likeness({{Chorus::Depth, 0.0F}, {Chorus::Voices, 1.0F}}), 0.8) << "drift alone";
    const Signal impulse = Impulse(4000);
    const Signal silent(4000, 0.0F);
    for (const auto& [mode, factor, voices] :
         {std::tuple(0.0F, 0.5F, 1.0F), {1.0F, -0.8F, 4.0F}, {2.0F, 0.5F, 4.0F}}) {
        const auto chorus = Make(still, {{Chorus::Delay, 10.0F},
                                         {Chorus::Feedback, factor},
                                         {Chorus::Voices, voices},
                                         {Chorus::StereoMode, mode}});
        const auto out = Play(*chorus, impulse, silent);
        const std::size_t side = mode == 2.0F ? 1 : 0;
        EXPECT_GT(out[0][441], 0.8F / std::sqrt(voices));
        EXPECT_NEAR(out[side][882] / out[0][441], factor, 0.03F) << "mode " << mode;
        EXPECT_NEAR(out[0][1323] / out[0][441], factor * factor, 0.05F) << "mode " << mode;
        EXPECT_LT(std::abs(out[1 - side][882]), 0.05F) << "mode " << mode;
    }
}

TEST(ChorusTest, NoSettingRunsAway) {
    Signal noise = Noise(22048, 1.0F, 3);
    noise.resize(66000, 0.0F);
    for (const float feedback : {-9.0F, 9.0F}) {
        for (u32 bits = 0; bits < 16; ++bits) {
            const auto chorus = Make({{Chorus::Feedback, feedback},
                                      {Chorus::DryWet, 1.0F},
                                      {Chorus::Depth, (bits & 1U) != 0 ? 1e9F : 0.0F},
                                      {Chorus::Freq, 1e9F},
                                      {Chorus::Delay, (bits & 2U) != 0 ? 1e9F : -1e9F},
                                      {Chorus::Spread, 1.0F},
                                      {Chorus::Drift, (bits & 4U) != 0 ? 9.0F : 0.0F},
                                      {Chorus::StereoMode, (bits & 8U) != 0 ? 2.0F : 1.0F},
                                      {Chorus::LFOShape, static_cast<float>(bits % 4)},
                                      {Chorus::Voices, 1.0F + static_cast<float>(bits >> 2U)}});
            const auto out = Play(*chorus, noise, noise);
            const float loud = Peak(out[0]);
            const float late = Peak(out[0], 58000) / Peak(out[0], 22050);
            EXPECT_TRUE(AllFinite(out[0])) << feedback << ", " << bits;
            EXPECT_LT(loud, 30.0F) << feedback << ", " << bits;
            EXPECT_LT(late, 0.8F) << feedback << ", " << bits;
        }
    }
}

TEST(ChorusTest, NoJumpOfAParameterIsHeardAsAStep) {
    const Signal sine = Tone(8820, 200.0, 44100.0, 0.5);
    const auto roughness = [](const Signal& signal) {
        float most = 0.0F;
        for (std::size_t n = 2; n < signal.size(); ++n) {
            most = std::max(most, std::abs(signal[n] - 2.0F * signal[n - 1] + signal[n - 2]));
        }
        return most;
    };
    for (u32 id = 0; id < Chorus::parameterCount; ++id) {
        for (const float from : {0.0F, 1.0F}) {
            const auto chorus =
                Make({{Chorus::Feedback, 0.3F}, {Chorus::Spread, 0.5F}, {Chorus::Drift, 0.5F}});
            chorus->SetParameterNormalized(id, from);
            const Signal before = Play(*chorus, sine, sine)[0];
            chorus->SetParameterNormalized(id, 1.0F - from);
            const Signal after = Play(*chorus, sine, sine)[0];
            Signal seam(before.end() - 2, before.end());
            seam.insert(seam.end(), after.begin(), after.end());
            const float peak = std::max(Peak(before), Peak(after));
            EXPECT_LT(roughness(seam) / peak, 0.006F) << NameOf(*chorus, id) << " from " << from;
        }
    }
}

TEST(ChorusTest, BlocksOfAnySizeGiveTheSameBitsAlsoInPlace) {
    const Signal left = Noise(8000, 0.5F, 4);
    const Signal right = Noise(8000, 0.5F, 5);
    const Settings busy = {{Chorus::Drift, 0.7F},
                           {Chorus::LFOShape, 3.0F},
                           {Chorus::Feedback, 0.6F},
                           {Chorus::StereoMode, 2.0F}};
    // The second pass runs while everything glides.
    const Settings other = {
        {Chorus::Delay, 25.0F}, {Chorus::Voices, 4.0F}, {Chorus::LFOShape, 1.0F}, {Chorus::DryWet, 0.9F}};
    const auto whole = Make({});
    const auto cut = Make({});
    const auto inPlace = Make({});
    for (const Settings& settings : {busy, other}) {
        for (Chorus* chorus : {whole.get(), cut.get(), inPlace.get()}) {
            Set(*chorus, settings);
        }
        const auto expected = Play(*whole, left, right);
        EXPECT_EQ(Render(*cut, {&left, &right}, 2, BlockSplit::Random(64, 300, 6)), expected);
        std::vector<Signal> io = {left, right};
        for (std::size_t n = 0; n < left.size(); n += 40) {
            const std::vector<float*> channels = {io[0].data() + n, io[1].data() + n};
            RunInPlace(*inPlace, {channels[0], channels[1]}, channels, 40);
        }
        EXPECT_EQ(io, expected);
    }
}

TEST(ChorusTest, ResetLeavesNothingOfThePast) {
    const Signal noise = Noise(4400, 0.5F, 7);
    const Settings settings = {{Chorus::Drift, 1.0F}, {Chorus::Feedback, 0.9F}, {Chorus::LFOShape, 3.0F}};
    const auto expected = Play(*Make(settings), noise, noise);
    for (const bool hard : {false, true}) {
        const auto used = Make({{Chorus::Delay, 30.0F}, {Chorus::LowCut, 900.0F}});
        Play(*used, noise, noise);
        Set(*used, {{Chorus::Delay, 8.0F}, {Chorus::LowCut, 20.0F}});
        Set(*used, settings);
        used->Reset(hard);
        EXPECT_EQ(Play(*used, noise, noise), expected) << "hard: " << hard;
    }
}

TEST(ChorusTest, ModulationAndTempoStandForTheParameter) {
    const Signal noise = Noise(4400, 0.5F, 8);
    const u32 ids[] = {Chorus::DryWet, Chorus::Depth, Chorus::Freq};
    for (u32 i = 0; i < 3; ++i) {
        const auto set = Make({});
        const auto modulated = Make({});
        set->SetParameterNormalized(ids[i], 0.75F);
        modulated->SetParameterNormalized(ids[i], 0.25F);
        const auto expected = Play(*set, noise, noise);
        EXPECT_EQ(Play(*modulated, noise, noise, 2 + i, 0.5F), expected) << "input " << 2 + i;
        EXPECT_NE(Play(*Make({}), noise, noise), expected);
    }
    // One bar at 150 beats per minute.
    const auto synced = Make({{Chorus::TempoSync, 1.0F}, {Chorus::SyncRate, 5.0F}, {Chorus::Freq, 4.0F}});
    const auto expected = Play(*Make({{Chorus::Freq, 0.625F}}), noise, noise);
    EXPECT_EQ(Play(*synced, noise, noise, 4, 1.0F, 150.0F), expected);
    for (const float tempo : {0.0F, -1.0F, notANumber, infinity}) {
        const auto lost = Make({{Chorus::TempoSync, 1.0F}, {Chorus::Freq, 0.625F}});
        EXPECT_EQ(Play(*lost, noise, noise, 0, 0.0F, tempo), expected) << tempo;
    }
}

TEST(ChorusTest, BadSamplesCountAsZeroAndBadSettingsDoNotStick) {
    Signal clean = Noise(8800, 0.5F, 9);
    Signal faulty = clean;
    for (std::size_t n = 5; n < clean.size(); n += 97) {
        const float faults[] = {notANumber, infinity, -infinity, 3e38F};
        faulty[n] = faults[n % 4];
        clean[n] = 0.0F;
    }
    const auto chorus = Make({{Chorus::Feedback, 0.9F}});
    EXPECT_EQ(Play(*chorus, faulty, faulty), Play(*Make({{Chorus::Feedback, 0.9F}}), clean, clean));

    const auto absent = Render(*Make({}), {nullptr, &clean}, 2, BlockSplit::Of(44));
    EXPECT_EQ(absent, Play(*Make({}), Signal(8800, 0.0F), clean));

    for (const float bad : {notANumber, infinity, -infinity}) {
        for (u32 id = 0; id < Chorus::parameterCount; ++id) {
            const auto broken = Make({{Chorus::Feedback, 0.5F}});
            const float good = broken->FindParameter(id)->GetValue();
            broken->SetParameterValue(id, bad);
            EXPECT_TRUE(AllFinite(Play(*broken, clean, clean)[0])) << NameOf(*broken, id) << " = " << bad;
            broken->SetParameterValue(id, good);
            broken->Reset(true);
            EXPECT_EQ(Play(*broken, clean, clean), Play(*Make({{Chorus::Feedback, 0.5F}}), clean, clean))
                << id;
        }
        for (u32 input = 2; input < 5; ++input) {
            EXPECT_TRUE(AllFinite(Play(*chorus, clean, clean, input, bad)[1])) << input << " = " << bad;
        }
    }
}
