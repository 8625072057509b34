// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/Chorus.h"

#include "vocoder/ModuleRig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <limits>
#include <memory>
#include <numbers>
#include <utility>

namespace {

using namespace orphia::test;
using Velmora::dsp::Chorus;
using Settings = std::vector<std::pair<u32, float>>;

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

std::vector<Signal> Play(Chorus& chorus, const Signal& left, const Signal& right) {
    return Render(chorus, {&left, &right}, 2, BlockSplit::Of(44));
}

std::complex<double> Response(const Signal& impulseResponse, double hz, double rate) {
    std::complex<double> sum;
    for (std::size_t n = 0; n < impulseResponse.size(); ++n) {
        sum += static_cast<double>(impulseResponse[n]) *
               std::polar(1.0, -twoPi * hz * static_cast<double>(n) / rate);
    }
    return sum;
}

double Power(const Signal& signal, std::size_t from = 0) {
    double sum = 0.0;
    for (std::size_t n = from; n < signal.size(); ++n) {
        sum += static_cast<double>(signal[n]) * static_cast<double>(signal[n]);
    }
    return sum / static_cast<double>(signal.size() - from);
}

Signal Sine(std::size_t frames, double hz, double rate = 44100.0) {
    Signal signal;
    for (std::size_t n = 0; n < frames; ++n) {
        signal.push_back(static_cast<float>(0.5 * std::sin(twoPi * hz * static_cast<double>(n) / rate)));
    }
    return signal;
}

/// Runs one constant modulation value into a modulation input for the whole signal.
std::vector<Signal> PlayModulated(Chorus& chorus, const Signal& input, u32 at, float value,
                                  float tempo = 120.0F) {
    std::vector<float> modulation(5, value);
    modulation[0] = 1.0F;
    std::vector<Signal> outputs(2, Signal(input.size()));
    for (std::size_t n = 0; n + 4 <= input.size(); n += 4) {
        const float* inputs[5] = {input.data() + n, input.data() + n};
        inputs[at] = at > 1 ? modulation.data() + 1 : inputs[at];
        float* out[2] = {outputs[0].data() + n, outputs[1].data() + n};
        Velmora::dsp::ProcessContext context;
        context.inputs = inputs;
        context.numInputs = 5;
        context.outputs = out;
        context.numOutputs = 2;
        context.numFrames = 4;
        context.tempo = tempo;
        Velmora::dsp::RunChild(chorus, context);
    }
    return outputs;
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

TEST(ChorusTest, NamesStandWhereTheOwnersOfAChorusExpectThem) {
    Chorus ensemble("Ensemble");
    const char* names[] = {"DryWet", "Delay",      "Depth",  "Freq",    "Feedback",
                           nullptr,  "StereoMode", "Voices", "LFOShape"};
    for (u32 id = 0; id < std::size(names); ++id) {
        if (names[id] != nullptr) {
            EXPECT_EQ(NameOf(ensemble, id), std::string("Ensemble_") + names[id]);
        }
    }
    for (u32 id = 0; id < Chorus::parameterCount; ++id) {
        EXPECT_GE(ensemble.GetParameterNormalized(id), 0.0F) << id;
        EXPECT_LE(ensemble.GetParameterNormalized(id), 1.0F) << id;
    }
    EXPECT_EQ(ensemble.FindParameter(Chorus::parameterCount), nullptr);
}

TEST(ChorusTest, AStillVoiceDelaysByTheDelayInMilliseconds) {
    for (const float rate : {22050.0F, 44100.0F, 48000.0F, 96000.0F, 192000.0F}) {
        for (const float delay : {0.6F, 0.9137F, 6.42F, 33.333F, 59.9F}) {
            const auto chorus = Make(still, {{Chorus::Delay, delay}}, rate);
            const Signal impulse = Impulse(static_cast<std::size_t>(rate * 0.1F));
            const Signal out = Play(*chorus, impulse, impulse)[0];
            const double delaySeconds = static_cast<double>(delay) * 0.001;
            for (const double hz : {1300.0, 4000.0}) {
                const auto expected = std::polar(1.0, -twoPi * hz * delaySeconds);
                const auto got = Response(out, hz, static_cast<double>(rate));
                EXPECT_LT(std::abs(got - expected), 0.02) << delay << " ms, " << rate << " Hz, at " << hz;
            }
            const auto peak = std::max_element(out.begin(), out.end()) - out.begin();
            EXPECT_NEAR(static_cast<double>(peak), delaySeconds * static_cast<double>(rate), 1.0);
        }
    }
}

TEST(ChorusTest, TrebleSurvivesBetweenSamples) {
    for (int sixteenth = 0; sixteenth < 16; ++sixteenth) {
        const float samples = 300.0F + static_cast<float>(sixteenth) / 16.0F;
        const auto chorus = Make(still, {{Chorus::Delay, samples / 44.1F}});
        const Signal impulse = Impulse(4000);
        const Signal out = Play(*chorus, impulse, impulse)[1];
        for (const double hz : {500.0, 2000.0, 5000.0, 8000.0, 10000.0}) {
            const double gain = 20.0 * std::log10(std::abs(Response(out, hz, 44100.0)));
            EXPECT_NEAR(gain, 0.0, hz > 5000.0 ? 0.25 : 0.03) << hz << " Hz, " << samples << " samples";
        }
    }
}

TEST(ChorusTest, TheSwingHasTheDepthTheRateAndTheShapeAskedFor) {
    constexpr std::size_t period = 42;
    constexpr double depth = 0.003;
    constexpr double cycles = 2.0;
    const Signal sine = Sine(44100 * 3, 1050.0);
    const double steepest[] = {twoPi, 4.0, twoPi * (0.9 + 0.1 * 8.0), 3.0};
    for (u32 shape = 0; shape < 4; ++shape) {
        const auto chorus = Make(still, {{Chorus::Delay, shape == 1 ? 0.6F : 12.0F},
                                         {Chorus::Depth, 3.0F},
                                         {Chorus::Freq, 2.0F},
                                         {Chorus::LFOShape, static_cast<float>(shape)}});
        const auto out = Play(*chorus, sine, sine);
        const Signal deviation = FrequencyDeviation(out[0], period, 44100.0);
        const Signal opposite = FrequencyDeviation(out[1], period, 44100.0);
        const double expected = 1050.0 * depth * cycles * steepest[shape];
        const auto peak = static_cast<double>(Peak(deviation));
        if (shape == 3) {
            EXPECT_LT(peak, expected * 1.01) << "random";
            EXPECT_GT(peak, expected * 0.2) << "random";
            continue;
        }
        EXPECT_NEAR(peak, expected, 0.02 * expected) << "shape " << shape;
        if (shape == 2) {
            continue;
        }
        Signal rest = deviation;
        std::transform(rest.begin(), rest.end(), opposite.begin(), rest.begin(), std::plus<>());
        EXPECT_LT(static_cast<double>(Peak(rest)), 0.05 * expected) << "shape " << shape;
        int turns = 0;
        for (std::size_t n = 1; n < deviation.size(); ++n) {
            turns += (deviation[n] > 0.0F) != (deviation[n - 1] > 0.0F) ? 1 : 0;
        }
        EXPECT_NEAR(turns, 12, 1) << "shape " << shape;
    }
}

TEST(ChorusTest, RangesDeclaredAnewKeepEveryVoiceWithinDelayAndDepth) {
    auto chorus = Make({});
    const float ranges[4][3] = {
        {0.6F, 20.0F, 6.42F}, {0.0F, 10.0F, 2.72F}, {0.1F, 5.0F, 0.678F}, {0.0F, 0.9F, 0.0F}};
    for (u32 i = 0; i < 4; ++i) {
        chorus->FindParameter(1 + i)->Redeclare(1, ranges[i][0], ranges[i][1], 1.0F, 0.5F, false);
        chorus->SetParameterValue(1 + i, ranges[i][2]);
    }
    Set(*chorus, {{Chorus::DryWet, 1.0F}, {Chorus::StereoMode, 1.0F}, {Chorus::Voices, 3.0F}});
    Signal clicks(441 * 300, 0.0F);
    for (std::size_t n = 0; n < clicks.size(); n += 882) {
        clicks[n] = 1.0F;
    }
    const auto outs = Play(*chorus, clicks, clicks);
    double earliest = 20.0;
    double latest = 0.0;
    for (const Signal& out : outs) {
        for (std::size_t n = 0; n < out.size(); ++n) {
            if (out[n] > 0.25F) {
                earliest = std::min(earliest, static_cast<double>(n % 882) / 44.1);
                latest = std::max(latest, static_cast<double>(n % 882) / 44.1);
            }
        }
    }
    EXPECT_NEAR(earliest, 6.42 - 2.72, 0.1);
    EXPECT_NEAR(latest, 6.42 + 2.72, 0.1);
}

TEST(ChorusTest, DryWetIsExactAtItsEndsAndKeepsTheLevelBetween) {
    const Signal noise = Noise(44000, 0.5F, 1);
    for (const float voices : {1.0F, 3.0F, 4.0F}) {
        for (const float depth : {0.0F, 3.0F}) {
            for (const float mix : {0.0F, 0.3F, 0.7F, 1.0F}) {
                const auto chorus = Make({{Chorus::Voices, voices},
                                          {Chorus::Depth, depth},
                                          {Chorus::DryWet, mix},
                                          {Chorus::Feedback, 0.3F}});
                const Signal out = Play(*chorus, noise, noise)[0];
                const double change = 10.0 * std::log10(Power(out, 2000) / Power(noise, 2000));
                EXPECT_NEAR(change, 0.0, 1.2) << voices << " voices, depth " << depth << ", mix " << mix;
                EXPECT_EQ(out == noise, mix == 0.0F);
                EXPECT_EQ(Peak(Signal(out.begin(), out.begin() + 150)) == 0.0F, mix == 1.0F);
            }
        }
    }
    const auto fading = Make({{Chorus::DryWet, 1.0F}});
    Play(*fading, noise, noise);
    fading->SetParameterValue(Chorus::DryWet, 0.0F);
    const Signal out = Play(*fading, noise, noise)[0];
    EXPECT_NE(out[40], noise[40]) << "the mix glides";
    EXPECT_TRUE(std::equal(out.begin() + 22050, out.end(), noise.begin() + 22050)) << "and arrives";
}

TEST(ChorusTest, StereoModesAreMonoWideAndCrossing) {
    const Signal noise = Noise(44000, 0.5F, 2);
    const auto likeness = [&](const Settings& settings) {
        const auto chorus = Make({{Chorus::DryWet, 1.0F}, {Chorus::Drift, 1.0F}}, settings);
        const auto out = Play(*chorus, noise, noise);
        double both = 0.0;
        for (std::size_t n = 0; n < noise.size(); ++n) {
            both += static_cast<double>(out[0][n]) * static_cast<double>(out[1][n]);
        }
        return both / std::sqrt(Power(out[0]) * Power(out[1])) / static_cast<double>(noise.size());
    };
    for (const float voices : {1.0F, 2.0F, 3.0F, 4.0F}) {
        for (const float shape : {0.0F, 1.0F, 2.0F, 3.0F}) {
            const Settings common = {{Chorus::Voices, voices}, {Chorus::LFOShape, shape}};
            const auto with = [&](u32 id, float value) {
                Settings all = common;
                all.emplace_back(id, value);
                return likeness(all);
            };
            EXPECT_NEAR(with(Chorus::StereoMode, 0.0F), 1.0, 1e-9);
            EXPECT_NEAR(with(Chorus::Width, 0.0F), 1.0, 1e-9);
            EXPECT_LT(with(Chorus::StereoMode, 1.0F), 0.5) << voices << " voices, shape " << shape;
        }
    }
    EXPECT_LT(likeness({{Chorus::Depth, 0.0F}, {Chorus::Voices, 1.0F}}), 0.8) << "drift alone";
    const Signal impulse = Impulse(4000);
    const Signal silent(4000, 0.0F);
    const Settings echo = {{Chorus::Delay, 10.0F}, {Chorus::Feedback, 0.5F}};
    for (const float mode : {0.0F, 1.0F, 2.0F}) {
        auto chorus = Make(still, echo);
        chorus->SetParameterValue(Chorus::StereoMode, mode);
        const auto out = Play(*chorus, impulse, silent);
        const std::size_t side = mode == 2.0F ? 1 : 0;
        EXPECT_GT(out[0][441], 0.8F);
        EXPECT_GT(out[side][882], 0.4F) << "mode " << mode;
        EXPECT_LT(std::abs(out[1 - side][882]), 0.05F) << "mode " << mode;
    }
}

TEST(ChorusTest, FeedbackDecaysByItsFactorWithEveryNumberOfVoices) {
    const Signal impulse = Impulse(44000);
    for (const float voices : {1.0F, 4.0F}) {
        for (const float factor : {-0.8F, 0.5F}) {
            const auto chorus =
                Make(still, {{Chorus::Delay, 10.0F}, {Chorus::Feedback, factor}, {Chorus::Voices, voices}});
            const Signal out = Play(*chorus, impulse, impulse)[0];
            for (std::size_t echo = 1; echo < 4; ++echo) {
                EXPECT_NEAR(out[441 * (echo + 1)] / out[441 * echo], factor, 0.03F) << voices << " voices";
            }
        }
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
    const Signal sine = Sine(8820, 200.0);
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
    const Settings busy = {{Chorus::Drift, 0.7F},
                           {Chorus::LFOShape, 3.0F},
                           {Chorus::Feedback, 0.6F},
                           {Chorus::StereoMode, 2.0F}};
    const Signal left = Noise(8000, 0.5F, 4);
    const Signal right = Noise(8000, 0.5F, 5);
    const auto whole = Make(busy);
    const auto cut = Make(busy);
    const auto inPlace = Make(busy);
    Signal io[2] = {left, right};
    for (int pass = 0; pass < 2; ++pass) {
        const auto expected = Play(*whole, left, right);
        EXPECT_EQ(Render(*cut, {&left, &right}, 2, BlockSplit::Random(64, 300, 6)), expected);
        io[0] = left;
        io[1] = right;
        for (std::size_t n = 0; n < left.size(); n += 40) {
            float* channels[2] = {io[0].data() + n, io[1].data() + n};
            Velmora::dsp::ProcessContext context;
            context.inputs = channels;
            context.outputs = channels;
            context.numInputs = context.numOutputs = 2;
            context.numFrames = 40;
            Velmora::dsp::RunChild(*inPlace, context);
        }
        EXPECT_TRUE(io[0] == expected[0] && io[1] == expected[1]);
        // The second pass runs while everything glides.
        for (const auto& chorus : {whole.get(), cut.get(), inPlace.get()}) {
            Set(*chorus, {{Chorus::Delay, 25.0F},
                          {Chorus::Voices, 4.0F},
                          {Chorus::LFOShape, 1.0F},
                          {Chorus::DryWet, 0.9F}});
        }
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
        set->SetParameterNormalized(ids[i], 0.75F);
        const auto modulated = Make({});
        modulated->SetParameterNormalized(ids[i], 0.25F);
        const auto expected = PlayModulated(*set, noise, 0, 0.0F);
        EXPECT_EQ(PlayModulated(*modulated, noise, 2 + i, 0.5F), expected) << "input " << 2 + i;
        EXPECT_NE(PlayModulated(*Make({}), noise, 0, 0.0F), expected);
    }
    // One bar at 150 beats per minute.
    const auto synced = Make({{Chorus::TempoSync, 1.0F}, {Chorus::SyncRate, 5.0F}, {Chorus::Freq, 4.0F}});
    const auto free = Make({{Chorus::Freq, 0.625F}});
    const auto expected = PlayModulated(*free, noise, 0, 0.0F);
    EXPECT_EQ(PlayModulated(*synced, noise, 4, 1.0F, 150.0F), expected);
    for (const float tempo : {0.0F, -1.0F, notANumber, infinity}) {
        const auto lost = Make({{Chorus::TempoSync, 1.0F}, {Chorus::Freq, 0.625F}});
        EXPECT_EQ(PlayModulated(*lost, noise, 0, 0.0F, tempo), expected) << tempo;
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
            EXPECT_TRUE(AllFinite(PlayModulated(*chorus, clean, input, bad)[1])) << input << " = " << bad;
        }
    }
}
