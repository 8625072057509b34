// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/framework/RunChild.h"
#include "processor/synth/SynthProcessor-Impl.h"
#include "rigs/ProbeModule.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>

namespace Velmora::Test {
namespace {

using namespace Velmora::Processor;

using Probe = ProbeModule<2>;
using ProbeSynth = SynthProcessor<4, 2, 1, Probe>;

/// An instrument whose sound is one constant.
class Constant final : public ProbeSynth {
public:
    Constant() : SynthProcessor({}, &noLibrary, std::make_tuple(std::string())) {}

    void OnSynthInitialize(float /*sampleRate*/, u32 /*maxBlockSize*/) override {}
    void OnSynthReset(bool hard) override { hardResets += hard ? 1 : 0; }
    bool RenderBlock(dsp::ProcessContext& context) override {
        std::fill_n(context.outputs[0], context.numFrames, level);
        std::fill_n(context.outputs[1], context.numFrames, -level);
        return true;
    }
    bool OnUpdateParameters(dsp::ProcessContext& /*context*/) override { return true; }
    void OnPanic() override {}
    bool SetParameterData(u32 /*id*/, const void* /*data*/, u32* /*size*/) override { return false; }
    ParameterData GetParameterData(u32 /*id*/) override { return {}; }

    float level = 0.5F;
    int hardResets = 0;

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
};

TEST(SynthProcessor, ABlockThatIsNotFiniteBecomesSilenceAndAReset) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    Constant synth;
    synth.Initialize(48000.0F, 8);
    std::array<float, 8> left{};
    std::array<float, 8> right{};
    float* channels[] = {left.data(), right.data()};
    dsp::ProcessContext context;
    context.outputs = channels;
    context.numOutputs = 2;
    context.numFrames = 8;
    for (const float bad : {std::numeric_limits<float>::quiet_NaN(), infinity, -infinity}) {
        synth.level = bad;
        EXPECT_TRUE(dsp::RunChild(synth, context));
        EXPECT_EQ(left, (std::array<float, 8>{})) << bad;
        EXPECT_EQ(right, (std::array<float, 8>{})) << bad;
        synth.hardResets = 0;
        synth.level = 0.5F;
        EXPECT_TRUE(dsp::RunChild(synth, context));
        EXPECT_GT(synth.hardResets, 0);
        EXPECT_EQ(left[7], 0.5F);
    }
}

} // namespace
} // namespace Velmora::Test
