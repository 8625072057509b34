// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/meters/InputDetector.h"

#include "rigs/ModuleRig.h"

#include <limits>

using namespace orphia::test;
using Velmora::dsp::InputDetector;

namespace {

struct Gate {
    InputDetector detector;
    /// After each block.
    std::vector<bool> states;

    /// Threshold in dB, and the hold time in seconds.
    explicit Gate(float hold, float threshold = -20.0F, float sampleRate = 48000.0F) {
        detector.Initialize(sampleRate, 256);
        detector.SetParameterValue(InputDetector::threshold, threshold);
        detector.SetParameterValue(InputDetector::hold, hold);
    }

    bool IsOpen() { return detector.GetParameterNormalized(InputDetector::output) == 1.0F; }

    Gate& Hear(const std::vector<const Signal*>& inputs, u32 block = 4) {
        for (std::size_t at = 0; at < inputs[0]->size(); at += block) {
            const float* pointers[] = {inputs[0]->data() + at, inputs.back()->data() + at};
            Velmora::dsp::ProcessContext context;
            context.inputs = pointers;
            context.numInputs = static_cast<u32>(inputs.size());
            context.numFrames = block;
            Velmora::dsp::RunChild(detector, context);
            states.push_back(IsOpen());
        }
        return *this;
    }

    Gate& Hear(float level, std::size_t frames) {
        const Signal signal(frames, level);
        return Hear({&signal});
    }
};

} // namespace

TEST(InputDetectorTest, FollowsTheOneChannelOrTheMeanOfBothAsDefinedWhateverTheBlocks) {
    struct Case {
        float rate;
        float hold;
        int holdFrames;
    };
    for (const Case& c : {Case{48000.0F, 0.001F, 48}, {192000.0F, 0.002F, 384}, {44100.0F, 0.0121F, 533}}) {
        // Bursts near the hold time: often the gate turns in the frame before the level turns back.
        std::mt19937 random(5);
        Signal bursts;
        constexpr float levels[] = {1.0F, 0.0F, -1.0F, 0.0F};
        const auto hold = static_cast<std::size_t>(c.holdFrames);
        for (std::size_t i = 0; i < 400; ++i) {
            bursts.insert(bursts.end(), hold / 2 + random() % (hold * 5 / 4), levels[i % 4]);
        }
        bursts.resize(bursts.size() / 240 * 240);
        std::vector<bool> expected;
        double level = 0.0;
        bool open = false;
        int against = 0;
        for (std::size_t n = 0; n < bursts.size(); ++n) {
            level += (std::abs(static_cast<double>(bursts[n])) - level) *
                     (1.0 - std::exp(-1000.0 / static_cast<double>(c.rate)));
            const bool wants = level > std::pow(10.0, -6.0 / 20.0);
            against = wants == open ? 0 : against + 1;
            open = against > c.holdFrames ? wants : open;
            if (n % 4 == 3) {
                expected.push_back(open);
            }
        }
        Gate fine(c.hold, -6.0F, c.rate);
        fine.Hear({&bursts});
        EXPECT_EQ(fine.states, expected) << c.rate;
        EXPECT_GT(std::count(expected.begin(), expected.end(), true), 100);
        Gate coarse(c.hold, -6.0F, c.rate);
        Signal high = bursts;
        Signal low = bursts;
        for (std::size_t n = 0; n < bursts.size(); ++n) {
            high[n] *= 1.75F;
            low[n] *= -0.25F;
        }
        coarse.Hear({&high, &low}, 240);
        for (std::size_t block = 0; block < coarse.states.size(); ++block) {
            ASSERT_EQ(coarse.states[block], expected[60 * block + 59]) << "block " << block;
        }
    }
}

TEST(InputDetectorTest, RecoversFromFaultsAndAResetCloses) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    for (const float fault : {nan, std::numeric_limits<float>::infinity(), 3e38F}) {
        Gate gate(0.01F);
        gate.Hear(fault, 480).Hear(0.5F, 4800);
        EXPECT_TRUE(gate.IsOpen()) << fault;
        gate.Hear(fault, 480).Hear(0.0F, 4800);
        EXPECT_FALSE(gate.IsOpen()) << fault;
        gate.detector.SetParameterValue(InputDetector::threshold, nan);
        gate.detector.SetParameterValue(InputDetector::hold, fault);
        gate.Hear(0.5F, 4800);
        gate.detector.SetParameterValue(InputDetector::hold, -1.0F);
        gate.Hear(0.5F, 48);
        EXPECT_TRUE(gate.IsOpen()) << fault;
        gate.detector.Reset(false);
        EXPECT_FALSE(gate.IsOpen());
    }
}
