// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/BlockRig.h"
#include "support/platform/FloatMode.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace orphia::test {

namespace {

using Velmora::u8;
using Velmora::dsp::Event;
using Velmora::dsp::EventQueue;
using Velmora::Processor::HostPortEvents;

constexpr u8 note[3] = {0x90, 60, 100};

/// At 44100 Hz, so that 44 frames are the most.
struct DsplibProcessorBlockTest : testing::Test {
    Adapter adapter{2};

    void SetUp() override {
        const Velmora::Processor::ProcessorSetup setup{44100.0F};
        adapter.Initialize(&setup);
        adapter.engine.diary.clear();
        adapter.engine.onProcess = [](ProcessContext& context) {
            for (u32 channel = 0; channel < context.numOutputs; ++channel) {
                std::fill_n(context.outputs[channel], context.numFrames, 1.0F + static_cast<float>(channel));
            }
        };
    }

    std::string Run(HostBlock& block) {
        adapter.engine.diary.clear();
        EXPECT_TRUE(adapter.Process(&block.data));
        return adapter.engine.diary;
    }
};

void ExpectSound(const HostBlock& block, u32 channel, float expected) {
    const auto* sound = block.sound[channel].data();
    const u32 frames = block.data.numFrames;
    EXPECT_EQ(std::count(sound, sound + frames, expected), frames)
        << "channel " << channel << ": " << sound[0];
    EXPECT_EQ(sound[frames], 7.0F) << "behind the block";
}

TEST_F(DsplibProcessorBlockTest, TheEngineGetsAllThatTheHostGives) {
    HostBlock block(40);
    block.data.tempo = 97.0F;
    block.data.songPosition = 12.5F;
    block.data.isPlaying = 2;
    block.data.hostValueA = 0xDEADBEEF;
    block.data.hostValueB = -3.0F;
    adapter.engine.needsUpdate = true;
    EXPECT_EQ(Run(block), "Update;Process;Clear;");
    EXPECT_FALSE(adapter.engine.needsUpdate);
    ExpectSound(block, 0, 1.0F);
    ExpectSound(block, 1, 2.0F);
    ExpectSound(block, 2, 0.0F);

    const ProcessContext& context = adapter.engine.context;
    EXPECT_EQ(context.outputs, block.data.outputs);
    EXPECT_EQ(context.auxInputs, block.data.auxInputs);
    EXPECT_EQ(context.auxOutputs, block.data.auxOutputs);
    EXPECT_EQ(context.inputs, block.data.inputs);
    EXPECT_EQ(context.inputEvents, &adapter.inputEvents);
    EXPECT_EQ(context.outputEvents, &adapter.outputEvents);
    EXPECT_EQ(context.numInputs, 0U);
    EXPECT_EQ(context.numAuxInputs, 2U);
    EXPECT_EQ(context.numOutputs, 2U);
    EXPECT_EQ(context.numAuxOutputs, 1U);
    EXPECT_EQ(context.numFrames, 40U);
    EXPECT_EQ(context.tempo, 97.0F);
    EXPECT_EQ(context.songPosition, 12.5F);
    EXPECT_EQ(context.isPlaying, 2);
    EXPECT_EQ(context.hostValueA, 0xDEADBEEFU);
    EXPECT_EQ(context.hostValueB, -3.0F);
    for (const Velmora::i32 mode : {0, 1, 2, -1}) {
        block.data.processMode = mode;
        Run(block);
        EXPECT_EQ(adapter.engine.context.isOffline, mode == 1 ? 1 : 0) << mode;
    }
}

TEST_F(DsplibProcessorBlockTest, ARefusedBlockIsSilentAndKeepsItsEvents) {
    const float input[64] = {};
    const float* inputs[] = {input};
    const auto refuse = [this](auto change, const std::string& calls) {
        HostBlock block;
        change(block);
        adapter.PushEvent(note);
        adapter.engine.needsUpdate = true;
        EXPECT_EQ(Run(block), calls);
        ExpectSound(block, 0, 0.0F);
        ExpectSound(block, 1, 0.0F);
        ExpectSound(block, 2, 0.0F);
        EXPECT_TRUE(adapter.engine.needsUpdate);
    };
    refuse(
        [&](HostBlock& block) {
            block.data.inputs = inputs;
            block.data.numInputs = 1;
        },
        "Update;");
    refuse([](HostBlock& block) { block.data.numFrames = 48; }, "");
    refuse([](HostBlock& block) { block.data.numFrames = 42; }, "");
    refuse([this](HostBlock& /*block*/) { adapter.engine.agrees = false; }, "Update;");
    EXPECT_EQ(adapter.inputEvents.count, 4U);
    adapter.engine.agrees = true;

    // A channel too many, and none on its boundary.
    HostBlock block(40);
    float* const outputs[] = {block.sound[0].data() + 1, block.sound[1].data() + 1,
                              block.sound[2].data() + 1};
    block.data.outputs = outputs;
    block.data.numOutputs = 3;
    EXPECT_EQ(Run(block), "Update;");
    EXPECT_EQ(std::count(outputs[2], outputs[2] + 40, 0.0F), 40);
}

TEST_F(DsplibProcessorBlockTest, ABlockWithoutFramesOrChannelsRuns) {
    HostBlock empty(0);
    EXPECT_EQ(Run(empty), "Update;Process;Clear;");
    EXPECT_EQ(empty.sound[0][0], 7.0F);
    HostBlock none;
    none.data = {};
    none.data.numFrames = 44;
    EXPECT_EQ(Run(none), "Update;Process;Clear;");
}

TEST_F(DsplibProcessorBlockTest, ChannelsOffTheirBoundaryOrMissingSoundTheSame) {
    HostBlock block(40);
    float* outputs[] = {block.sound[0].data() + 1, nullptr};
    block.data.outputs = outputs;
    const float* auxInputs[] = {nullptr, block.sound[4].data() + 3};
    block.data.auxInputs = auxInputs;
    block.sound[4][3] = 5.0F;
    std::vector<float> heard;
    const auto render = adapter.engine.onProcess;
    adapter.engine.onProcess = [&](ProcessContext& context) {
        for (u32 side = 0; side < 2; ++side) {
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(context.outputs[side]) % 16, 0U);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(context.auxInputs[side]) % 16, 0U);
            EXPECT_EQ(context.outputs[side][39], 0.0F) << "silent before the engine's turn";
            heard.push_back(context.auxInputs[side][0]);
        }
        render(context);
    };
    EXPECT_EQ(Run(block), "Update;Process;Clear;");
    EXPECT_EQ(heard, std::vector<float>({0.0F, 5.0F}));
    EXPECT_EQ(block.sound[0][0], 7.0F);
    EXPECT_EQ(std::count(outputs[0], outputs[0] + 40, 1.0F), 40);
    EXPECT_EQ(block.sound[0][41], 7.0F);

    block.data.outputs = nullptr;
    block.data.auxInputs = nullptr;
    heard.clear();
    EXPECT_EQ(Run(block), "Update;Process;Clear;");
    EXPECT_EQ(heard, std::vector<float>({0.0F, 0.0F}));
}

TEST_F(DsplibProcessorBlockTest, ABlockTakes256EventsUntilTheyAreCleared) {
    for (u32 n = 0; n < 300; ++n) {
        const u8 midi[3] = {0x90, static_cast<u8>(n % 128), static_cast<u8>(n / 128)};
        EXPECT_TRUE(adapter.PushEvent(midi));
    }
    ASSERT_EQ(adapter.inputEvents.count, 256U);
    EXPECT_EQ(adapter.inputEvents.events[255].midi[1], 127);
    EXPECT_EQ(adapter.inputEvents.events[255].midi[2], 1);
    EXPECT_EQ(adapter.inputEvents.events[255].type, Event::midiType);
    HostBlock block;
    Run(block);
    EXPECT_EQ(adapter.inputEvents.count, 256U) << "played again when the host does not clear them";
    adapter.outputEvents.AppendMidi(1, 2, 3);
    adapter.portEvents[1].AppendMidi(1, 2, 3);
    EXPECT_TRUE(adapter.ClearEvents());
    EXPECT_EQ(adapter.inputEvents.count + adapter.outputEvents.count + adapter.portEvents[1].count, 0U);
    EXPECT_TRUE(adapter.PushEvent(nullptr));
    EXPECT_EQ(adapter.inputEvents.count, 0U);
}

TEST_F(DsplibProcessorBlockTest, TheEnginesMidiEventsComeOutPerPort) {
    Event generated;
    generated.type = Event::generatedType;
    adapter.engine.onProcess = [&](ProcessContext& context) {
        context.outputEvents->Append(generated);
        context.outputEvents->AppendMidi(0x80, 1, 2);
    };
    while (adapter.portEvents[1].AppendMidi(0xB0, 3, 4)) {
    }
    HostPortEvents ports[3] = {{9, nullptr}, {9, nullptr}, {9, nullptr}};
    HostBlock block;
    block.data.portOutputs = ports;
    block.data.numPorts = 3;
    Run(block);
    ASSERT_EQ(block.data.numOutEvents, 1U);
    EXPECT_EQ(block.data.outEvents[0].midi[0], 0x80);
    EXPECT_EQ(block.data.outEvents[0].midi[2], 2);
    EXPECT_EQ(block.data.outEvents[0].length, 3U);
    EXPECT_EQ(ports[0].count, 0U);
    ASSERT_EQ(ports[1].count, EventQueue::capacity);
    EXPECT_EQ(ports[1].records[255].midi[1], 3);
    EXPECT_GE(ports[1].records - ports[0].records, 256) << "ports do not share records";
    EXPECT_EQ(ports[2].count, 0U) << "a port that is not there";

    // Records of an earlier block do not come again once the events are cleared.
    adapter.ClearEvents();
    adapter.engine.onProcess = {};
    block.data.portOutputs = nullptr;
    Run(block);
    EXPECT_EQ(block.data.numOutEvents, 0U);
}

TEST_F(DsplibProcessorBlockTest, DenormalsAreFlushedForTheBlockOnly) {
    namespace Platform = Velmora::Platform;
    const auto before = Platform::FloatMode();
    auto during = before;
    adapter.engine.onProcess = [&](ProcessContext& /*context*/) { during = Platform::FloatMode(); };
    HostBlock block;
    Run(block);
    EXPECT_EQ(during, Platform::WithDenormalsFlushed(before));
    EXPECT_NE(during, before);
    EXPECT_EQ(Platform::FloatMode(), before);
}

} // namespace

} // namespace orphia::test
