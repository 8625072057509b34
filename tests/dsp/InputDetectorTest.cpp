// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/InputDetector.h"

#include "vocoder/ModuleRig.h"

#include <limits>

using namespace orphia::test;
using Velmora::dsp::InputDetector;

namespace {

struct Gate {
    InputDetector detector;
    std::vector<bool> states;

    /// Threshold 0.1, and the hold time in seconds.
    explicit Gate(float hold, float sampleRate = 48000.0F) {
        detector.Initialize(sampleRate, 256);
        detector.SetParameterValue(InputDetector::threshold, -20.0F);
        detector.SetParameterValue(InputDetector::hold, hold);
    }

    bool IsOpen() { return detector.GetParameterNormalized(InputDetector::output) == 1.0F; }

    /// Notes the state after each block.
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

    /// Frames until the gate first has the state.
    std::size_t FramesUntil(bool open) const {
        return 4 * static_cast<std::size_t>(std::find(states.begin(), states.end(), open) - states.begin());
    }
};

} // namespace

TEST(InputDetectorTest, OpensAndClosesAfterTheHoldAndTheTimeOfTheSmoother) {
    for (const float rate : {44100.0F, 192000.0F}) {
        for (const float hold : {0.001F, 0.05F}) {
            const std::size_t enough = static_cast<std::size_t>(rate) / 40 * 4;
            Gate gate(hold, rate);
            gate.Hear(-0.5F, enough);
            // From 0 to a fifth of the level, then from it down to a fifth.
            const double opens = (0.001 * -std::log(0.8) + static_cast<double>(hold)) * rate;
            EXPECT_NEAR(static_cast<double>(gate.FramesUntil(true)), opens, 5.0) << rate << ", " << hold;
            gate.states.clear();
            gate.Hear(0.0F, enough);
            const double closes = (0.001 * std::log(5.0) + static_cast<double>(hold)) * rate;
            EXPECT_NEAR(static_cast<double>(gate.FramesUntil(false)), closes, 5.0) << rate << ", " << hold;
        }
    }
}

TEST(InputDetectorTest, TakesTheMeanOfBothChannelsOrTheOneThatIsThere) {
    const Signal silence(9600, 0.0F);
    const auto opens = [&silence](float level, bool second) {
        const Signal signal(9600, level);
        Gate gate(0.01F);
        return gate.Hear(second ? std::vector{&signal, &silence} : std::vector{&signal}, 240).IsOpen();
    };
    EXPECT_TRUE(opens(0.101F, false));
    EXPECT_FALSE(opens(0.099F, false));
    EXPECT_TRUE(opens(0.202F, true));
    EXPECT_FALSE(opens(0.198F, true));
}

TEST(InputDetectorTest, ChattersAsTheDefinitionSaysWhateverTheBlocks) {
    // Bursts near the hold time: often the gate turns in the frame before the level turns back.
    std::mt19937 random(5);
    Signal bursts;
    for (int i = 0; i < 400; ++i) {
        bursts.insert(bursts.end(), 20 + random() % 60, i % 2 == 0 ? 1.0F : 0.0F);
    }
    bursts.resize(bursts.size() / 240 * 240);
    std::vector<bool> expected;
    double level = 0.0;
    bool open = false;
    int against = 0;
    for (std::size_t n = 0; n < bursts.size(); ++n) {
        level += (static_cast<double>(bursts[n]) - level) * (1.0 - std::exp(-1000.0 / 48000.0));
        const bool wants = level > std::pow(10.0, -6.0 / 20.0);
        against = wants == open ? 0 : against + 1;
        open = against > 48 ? wants : open;
        if (n % 4 == 3) {
            expected.push_back(open);
        }
    }
    Gate fine(0.001F);
    Gate coarse(0.001F);
    for (Gate* gate : {&fine, &coarse}) {
        gate->detector.SetParameterValue(InputDetector::threshold, -6.0F);
        gate->Hear({&bursts}, gate == &fine ? 4 : 240);
    }
    EXPECT_EQ(fine.states, expected);
    for (std::size_t block = 0; block < coarse.states.size(); ++block) {
        ASSERT_EQ(coarse.states[block], expected[60 * block + 59]) << "block " << block;
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
