// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/envelopes/EnvFollower.h"

#include "dsp/framework/RunChild.h"
#include "rigs/StageRig.h"

#include <random>
#include <tuple>

using namespace Velmora;
using namespace Velmora::Test;
using dsp::EnvFollower;

namespace {

constexpr double rate = 48000.0;
/// Straight from the definitions: each window is summed from scratch, in double precision.
Signal Model(const Signals& inputs, bool isStereo, int window, double gain, double threshold, double attack,
             double release, double sampleRate) {
    std::vector<double> x;
    Signal out;
    double e = 0.0;
    for (std::size_t n = 0; n < inputs[0].size() / 4 * 4; ++n) {
        const double left = std::abs(inputs[0][n]);
        x.push_back(isStereo ? (left + std::abs(inputs[1][n])) / 2.0 : left);
        double squares = 0.0;
        for (int age = 0; age < window && age <= static_cast<int>(n); ++age) {
            squares += x[n - static_cast<std::size_t>(age)] * x[n - static_cast<std::size_t>(age)];
        }
        const double rms = std::sqrt(squares / window);
        double v = window == 1 ? x[n] * gain : rms;
        v = v <= threshold ? 0.0 : v;
        v *= window == 1 ? 1.0 : gain;
        e += (v - e) * (1.0 - std::exp(-5.0 / ((v < e ? release : attack) * sampleRate)));
        out.push_back(static_cast<float>(e));
    }
    return out;
}

} // namespace

TEST(EnvFollowerTest, AgreesWithADirectModel) {
    Signals inputs = {Noise(6000, 0.8F, 1), Noise(6000, 0.3F, 2)};
    for (std::size_t n = 2000; n < 3500; ++n) {
        inputs[0][n] = inputs[1][n] *= 0.01F;
    }
    const std::tuple<float, int, double> cases[] = {
        {0.0F, 1, rate},      {0.03F, 1, rate},    {0.05F, 2, rate},
        {0.064F, 3, rate},    {1.0F, 48, rate},    {12.34F, 592, rate},
        {100.0F, 4800, rate}, {0.0F, 1, 192000.0}, {1.0F, 192, 192000.0}};
    for (const auto& [windowMs, window, sampleRate] : cases) {
        for (const bool isStereo : {false, true}) {
            auto follower = MakeStage<EnvFollower>(sampleRate);
            for (const auto& [id, value] : {std::pair(EnvFollower::RMSWindowDurationMs, windowMs),
                                            {EnvFollower::StereoInput, isStereo ? 0.51F : 0.5F},
                                            {EnvFollower::FixedLinearGain, 2.0F},
                                            {EnvFollower::Threshold, -20.0F},
                                            {EnvFollower::ThresholdActive, 0.01F},
                                            {EnvFollower::Attack, 0.003F},
                                            {EnvFollower::Release, 0.02F}}) {
                follower->SetParameterValue(id, value);
            }
            const Signal got = Render(*follower, inputs, 1, {44, 4, 0, 100})[0];
            const Signal expected = Model(inputs, isStereo, window, 2.0, 0.1, 0.003, 0.02, sampleRate);
            for (std::size_t n = 0; n < got.size(); ++n) {
                ASSERT_NEAR(got[n], expected[n], 1e-5)
                    << windowMs << " ms, stereo " << isStereo << ", frame " << n;
            }
        }
    }
}

TEST(EnvFollowerTest, OneThatRestsInSilenceGoesOnAsOneThatRuns) {
    std::mt19937 random{3};
    const auto below = [&random](u32 limit) { return static_cast<u32>(random() % limit); };
    auto resting = MakeStage<EnvFollower>(8000.0);
    auto running = MakeStage<EnvFollower>(8000.0);
    // Below the floor of the sum and just above it, and so loud that rounding stays in the sum.
    constexpr float levels[] = {0.5F, 4e-6F, 2e-5F, 3e5F};
    u32 silentBlocks = 0;
    for (u32 scene = 0; scene < 200; ++scene) {
        for (auto* follower : {resting.get(), running.get()}) {
            follower->SetParameterValue(EnvFollower::StereoInput, 1.0F);
            follower->SetParameterValue(EnvFollower::Threshold, -20.0F);
            follower->SetParameterValue(EnvFollower::ThresholdActive, scene % 2 == 0 ? 0.0F : 1.0F);
            follower->SetParameterValue(EnvFollower::RMSWindowDurationMs,
                                        1.2F * static_cast<float>(scene / 10));
        }
        const float level = levels[below(4)];
        const u32 soundingBlocks = below(30);
        const u32 blocks = soundingBlocks + below(150);
        for (u32 block = 0; block < blocks; ++block) {
            const u32 frames = 4 * (1 + below(11));
            Signal sound =
                block < soundingBlocks ? Noise(rigBlock, level, below(1000)) : Signal(rigBlock, 0.0F);
            Signal out[2] = {Signal(rigBlock), Signal(rigBlock)};
            // A zero with a sign is no silence.
            for (const bool runs : {false, true}) {
                std::replace(sound.begin(), sound.end(), 0.0F, runs ? -0.0F : 0.0F);
                const Signal silence(rigBlock, runs ? -0.0F : 0.0F);
                const float* left = scene % 3 == 0 ? silence.data() : sound.data();
                const float* inputs[] = {left, scene % 3 == 1 ? nullptr : sound.data()};
                float* outputs[] = {out[runs ? 1 : 0].data()};
                dsp::ProcessContext context;
                context.inputs = inputs;
                context.numInputs = 2;
                context.outputs = outputs;
                context.numOutputs = 1;
                context.numFrames = frames;
                dsp::RunChild(runs ? *running : *resting, context);
            }
            ASSERT_EQ(out[0], out[1]) << scene << ", " << block;
            silentBlocks += out[0][0] == 0.0F ? 1 : 0;
        }
    }
    EXPECT_GT(silentBlocks, 3000U);
}
