// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/RunChild.h"
#include "processor/SynthProcessor-Impl.h"
#include "support/ProbeModule.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace Velmora::Test {
namespace {

using namespace Velmora::Processor;

using Probe = ProbeModule<2>;
using ProbeSynth = SynthProcessor<4, 2, 1, Probe>;

/// An instrument whose sound is one constant.
class Constant final : public ProbeSynth {
public:
    Constant() : SynthProcessor({}, &noLibrary, std::make_tuple(std::string(), &journal)) {}

    void OnSynthInitialize(float /*sampleRate*/, u32 /*maxBlockSize*/) override {}
    void OnSynthReset(bool hard) override { journal.emplace_back(hard ? "reset hard" : "reset soft"); }
    bool RenderBlock(dsp::ProcessContext& context) override {
        std::fill_n(context.outputs[0], context.numFrames, level);
        std::fill_n(context.outputs[1], context.numFrames, -level);
        return level != 0.25F;
    }
    bool OnUpdateParameters(dsp::ProcessContext& /*context*/) override { return true; }
    void OnPanic() override { journal.emplace_back("panic"); }
    void OnPresetLoading(bool loading) override { journal.emplace_back(loading ? "loading" : "loaded"); }
    bool SetParameterData(u32 /*id*/, const void* /*data*/, u32* /*size*/) override { return false; }
    ParameterData GetParameterData(u32 /*id*/) override { return {}; }

    float level = 0.5F;

private:
    void StartVoice(u32 /*v*/, const engine::NoteInfo& /*note*/, bool /*stealing*/) override {}
    bool CanKill(u32 /*v*/) override { return true; }
    void ReleaseVoiceHook(u32 /*v*/) override {}
    void OnVoiceKilled(u32 /*v*/) override {}
    void OnPerVoiceAftertouch(bool /*perVoice*/) override {}
    void WriteVoiceAftertouch(u32 /*voice*/, float /*value*/) override {}
    void WriteGlobalAftertouch(float /*value*/) override {}
    void WriteVoiceBrightness(u32 /*voice*/, float /*value*/) override {}
    i32 FindExpressionVoice(u8 /*note*/, u8 /*channel*/, u32 /*from*/) const override { return noVoice; }

    inline static const std::string noLibrary;

public:
    std::vector<std::string> journal;
};

struct SynthRig {
    Constant synth;
    std::array<float, 8> left{};
    std::array<float, 8> right{};

    SynthRig() {
        synth.Initialize(48000.0F, 8);
        synth.journal.clear();
    }
    bool Run(u32 outputs = 2) {
        float* channels[] = {left.data(), right.data()};
        dsp::ProcessContext context;
        context.outputs = channels;
        context.numOutputs = outputs;
        context.numFrames = 8;
        return dsp::RunChild(synth, context);
    }
    bool Heard(const std::string& what) const {
        return std::find(synth.journal.begin(), synth.journal.end(), what) != synth.journal.end();
    }
    void Set(ReservedParameter index, float position) {
        synth.SetParameterNormalized(Constant::ReservedId(index), position);
    }
};

TEST(SynthProcessor, UnityPassesUntouchedAndOtherGainsMoveWithoutAStep) {
    SynthRig rig;
    rig.Run();
    EXPECT_EQ(rig.left[0], 0.5F);
    rig.synth.SetParameterValue(Constant::ReservedId(SynthMasterVolume), -20.0F);
    float previous = 0.5F;
    for (int block = 0; block < 1000; ++block) {
        rig.Run();
        for (u32 n = 0; n < rig.left.size(); ++n) {
            EXPECT_LE(rig.left[n], previous);
            EXPECT_GT(rig.left[n], previous - 0.01F);
            EXPECT_EQ(rig.right[n], -rig.left[n]);
            previous = rig.left[n];
        }
    }
    EXPECT_FLOAT_EQ(previous, 0.05F);
    rig.synth.Reset(false);
    rig.Run();
    EXPECT_FLOAT_EQ(rig.left[0], 0.05F) << "a reset jumps to where the gain is going";
}

TEST(SynthProcessor, ABlockThatIsNotFiniteBecomesSilenceAndAReset) {
    for (const float bad : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity()}) {
        SynthRig rig;
        rig.Run();
        EXPECT_FALSE(rig.Heard("reset hard"));
        rig.synth.level = bad;
        rig.Run();
        EXPECT_EQ(rig.left, (std::array<float, 8>{})) << bad;
        EXPECT_EQ(rig.right, (std::array<float, 8>{})) << bad;
        rig.synth.level = 0.5F;
        rig.Run();
        EXPECT_TRUE(rig.Heard("reset hard"));
        EXPECT_EQ(rig.left[7], 0.5F);
    }
}

TEST(SynthProcessor, FewerOutputsThanTwoAreServed) {
    SynthRig rig;
    rig.right.fill(7.0F);
    rig.Run(1);
    EXPECT_EQ(rig.left[0], 0.5F);
    EXPECT_EQ(rig.right[0], 7.0F);
    rig.Run(0);
    rig.synth.level = 0.25F;
    EXPECT_FALSE(rig.Run()) << "the result is that of the instrument";
}

TEST(SynthProcessor, PanicAndPresetLoadingActByPositionOnly) {
    SynthRig rig;
    rig.Set(Panic, 0.49F);
    rig.synth.SetParameterValue(Constant::ReservedId(Panic), 1.0F);
    rig.synth.SetParameterValue(Constant::ReservedId(PresetLoading), 0.0F);
    EXPECT_TRUE(rig.synth.journal.empty());
    rig.Set(Panic, 0.5F);
    EXPECT_EQ(rig.synth.journal, (std::vector<std::string>{" OnReset hard", "reset hard", "panic"}));
    rig.synth.journal.clear();
    rig.Set(PresetLoading, 1.0F);
    EXPECT_EQ(rig.synth.journal, (std::vector<std::string>{"loading"}));
    rig.synth.journal.clear();
    for (int again = 0; again < 2; ++again) {
        rig.Set(PresetLoading, 0.0F);
    }
    EXPECT_EQ(rig.synth.journal, (std::vector<std::string>{" OnReset soft", "reset soft", "loaded",
                                                           " OnReset soft", "reset soft", "loaded"}));
}

TEST(SynthProcessor, IdsBeyondTheLastAreNoParameters) {
    SynthRig rig;
    const u32 end = Constant::ReservedId(ReservedCount);
    EXPECT_EQ(rig.synth.GetParameterNormalized(end), 0.0F);
    rig.synth.SetParameterNormalized(end, 1.0F);
    rig.synth.SetParameterNormalized(0xFFFFFFFFU, 1.0F);
    EXPECT_EQ(rig.synth.GetParameterNormalized(0xFFFFFFFFU), 0.0F);
    rig.Set(MpeBrightness, 0.75F);
    EXPECT_EQ(rig.synth.GetParameterNormalized(end - 16), 0.75F);
    char text[2] = {'x', 'x'};
    rig.synth.GetTooltipText(0, 0, text);
    EXPECT_EQ(text[0], 'x');
    rig.synth.GetTooltipText(0, 2, text);
    EXPECT_EQ(text[0], '\0');
}

} // namespace
} // namespace Velmora::Test
