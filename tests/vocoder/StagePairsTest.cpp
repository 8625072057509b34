// SPDX-License-Identifier: GPL-3.0-or-later
#include "StageRig.h"
#include "dsp/RunPair.h"
#include "vocoder/CarrierPreamp.h"
#include "vocoder/HFChannel.h"
#include "vocoder/HissBuzzDiscriminator.h"
#include "vocoder/NoiseCarrierBalance.h"
#include "vocoder/NoiseShaper.h"
#include "vocoder/Preamp.h"
#include "vocoder/PreampAnalyzer.h"
#include "vocoder/VCAGate.h"

#include <functional>
#include <limits>

using namespace Velmora;
using namespace Velmora::Processor;
using namespace Velmora::Test;

namespace {

constexpr std::size_t length = 2640;
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

/// What both channels of a stage get.
template <class M>
struct Scenario {
    std::string what;
    Signals left;
    Signals right;
    u32 outputCount = 1;
    /// Sets a module up; channel is 0 or 1.
    std::function<void(M&, int channel)> setUp = [](M&, int) {};
    /// Changes the left channel alone, halfway.
    std::function<void(M&)> change = [](M&) {};
    /// Something of the module that shows besides its samples.
    std::function<float(M&)> light = [](M&) { return 0.0F; };
};

/// One channel with its buffers. The two of a stage run together or each on its own.
template <class M>
struct Channel {
    Channel(const Scenario<M>& scenario, int index)
        : inputs(index == 0 ? scenario.left : scenario.right), outputs(scenario.outputCount, Signal(length)) {
        module.Initialize(48000.0F, rigBlock);
        scenario.setUp(module, index);
    }

    dsp::ProcessContext& At(std::size_t start, u32 frames) {
        in.clear();
        out.clear();
        for (const Signal& input : inputs) {
            in.push_back(input.data() + start);
        }
        for (Signal& output : outputs) {
            out.push_back(output.data() + start);
        }
        context.inputs = in.data();
        context.numInputs = static_cast<u32>(in.size());
        context.outputs = out.data();
        context.numOutputs = static_cast<u32>(out.size());
        context.numFrames = frames;
        return context;
    }

    M module;
    Signals inputs;
    Signals outputs;
    std::vector<const float*> in;
    std::vector<float*> out;
    dsp::ProcessContext context;
};

void ExpectSameBits(const Signals& got, const Signals& expected, const std::string& what) {
    for (std::size_t output = 0; output < expected.size(); ++output) {
        for (std::size_t n = 0; n < expected[output].size(); ++n) {
            const float g = got[output][n];
            const float e = expected[output][n];
            ASSERT_TRUE((g == e && std::signbit(g) == std::signbit(e)) || (std::isnan(g) && std::isnan(e)))
                << what << ", output " << output << ", frame " << n << ": expected " << e << ", got " << g;
        }
    }
}

template <class M>
void ExpectPairLikeSingles(const Scenario<M>& scenario) {
    static_assert(requires(M & m, dsp::ProcessContext & c) { M::ProcessPair(m, c, m, c); });
    Channel<M> left(scenario, 0);
    Channel<M> right(scenario, 1);
    Channel<M> singleLeft(scenario, 0);
    Channel<M> singleRight(scenario, 1);
    constexpr u32 sizes[] = {44, 0, 4, 40, 8, 44, 20, 4, 4, 4};
    bool changed = false;
    std::size_t start = 0;
    for (std::size_t block = 0; start < length; ++block) {
        if (start > length / 2 && !changed) {
            changed = true;
            scenario.change(left.module);
            scenario.change(singleLeft.module);
        }
        const u32 frames =
            static_cast<u32>(std::min<std::size_t>(sizes[block % std::size(sizes)], length - start));
        dsp::RunPair(left.module, left.At(start, frames), right.module, right.At(start, frames));
        dsp::RunChild(singleLeft.module, singleLeft.At(start, frames));
        dsp::RunChild(singleRight.module, singleRight.At(start, frames));
        ASSERT_EQ(scenario.light(left.module), scenario.light(singleLeft.module)) << scenario.what;
        ASSERT_EQ(scenario.light(right.module), scenario.light(singleRight.module)) << scenario.what;
        start += frames;
    }
    ExpectSameBits(left.outputs, singleLeft.outputs, scenario.what + ", left");
    ExpectSameBits(right.outputs, singleRight.outputs, scenario.what + ", right");
    EXPECT_TRUE(std::any_of(right.outputs[0].begin() + length / 2, right.outputs[0].end(),
                            [](float x) { return x != 0.0F && std::isfinite(x); }))
        << scenario.what << ": nothing to compare";
    EXPECT_NE(left.outputs[0], right.outputs[0]) << scenario.what << ": a test of one signal twice";
}

Signal WithFault(Signal signal, std::size_t at, float fault) {
    signal[at] = fault;
    return signal;
}

/// Runs a scenario as it is, and with faults in one input of either channel.
template <class M>
void ExpectPairLikeSinglesAndFaults(Scenario<M> scenario, std::size_t faultyInput = 0) {
    ExpectPairLikeSingles(scenario);
    for (const float fault : {notANumber, std::numeric_limits<float>::infinity(), -1e30F}) {
        Scenario<M> faulty = scenario;
        faulty.what += ", fault " + std::to_string(fault);
        faulty.left[faultyInput] = WithFault(scenario.left[faultyInput], 1001, fault);
        ExpectPairLikeSingles(faulty);
        faulty.left = scenario.left;
        faulty.right[faultyInput] = WithFault(scenario.right[faultyInput], 1001, fault);
        ExpectPairLikeSingles(faulty);
    }
}

/// A level preamp: gain steps in motion in both channels, in one, and one that is no number.
template <class M>
void ExpectPreampPair(float quietDb) {
    Scenario<M> scenario{"preamp", {Noise(length, 1.0F, 1)}, {Noise(length, 0.2F, 2)}};
    scenario.setUp = [quietDb](M& m, int channel) { m.SetParameterValue(0, channel == 0 ? quietDb : -6.0F); };
    scenario.light = [](M& m) { return m.overload.overloadValue; };
    ExpectPairLikeSinglesAndFaults(scenario);
    for (const float db : {0.0F, -75.0F, notANumber}) {
        scenario.what = "left level to " + std::to_string(db);
        scenario.change = [db](M& m) { m.SetParameterValue(0, db); };
        ExpectPairLikeSingles(scenario);
    }
}

} // namespace

TEST(StagePairsTest, PreampsRunInPairsLikeTwoOfThem) {
    ExpectPreampPair<Preamp>(-20.0F);
    ExpectPreampPair<CarrierPreamp>(-20.0F);
}

TEST(StagePairsTest, ThePreampAnalyzerRunsInPairsLikeTwoOfThem) {
    ExpectPairLikeSinglesAndFaults<PreampAnalyzer>(
        {"analyzer", {Noise(length, 3.0F, 3)}, {Tone(length, 440.0, 48000.0, 2.0)}});
}

TEST(StagePairsTest, HissBuzzFollowersRunInPairsLikeTwoOfThem) {
    ExpectPairLikeSinglesAndFaults<RectifierFollowerHissBuzz>(
        {"follower", {Noise(length, 3.0F, 4)}, {Tone(length, 440.0, 48000.0, 2.0)}});
}

TEST(StagePairsTest, TheDiscriminatorRunsInPairsLikeTwoOfThem) {
    Scenario<HissBuzzDiscriminator> scenario{
        "discriminator", {Noise(length, 3.0F, 5)}, {Noise(length, 1.0F, 6)}, 2};
    scenario.setUp = [](HissBuzzDiscriminator& m, int channel) {
        m.SetParameterValue(HissBuzzDiscriminator::HissBuzzTrimmer, channel == 0 ? 0.5F : 0.3F);
        m.SetParameterValue(HissBuzzDiscriminator::FcLP, channel == 0 ? 6000.0F : 1833.0F);
    };
    scenario.change = [](HissBuzzDiscriminator& m) {
        m.SetParameterValue(HissBuzzDiscriminator::FcHP, 3000.0F);
    };
    ExpectPairLikeSinglesAndFaults(scenario);
}

TEST(StagePairsTest, TheBalanceRunsInPairsLikeTwoOfThem) {
    Scenario<NoiseCarrierBalance> scenario{"balance",
                                           {Noise(length, 3.0F, 7), Noise(length, 1.0F, 8)},
                                           {Noise(length, 2.0F, 9), Noise(length, 4.0F, 10)},
                                           2};
    scenario.setUp = [](NoiseCarrierBalance& m, int channel) {
        m.SetParameterValue(NoiseCarrierBalance::Balance, channel == 0 ? 0.3F : 0.8F);
        m.SetParameterValue(NoiseCarrierBalance::NoiseMix, channel == 0 ? 1.0F : 0.0F);
    };
    ExpectPairLikeSinglesAndFaults(scenario, 0);
    ExpectPairLikeSinglesAndFaults(scenario, 1);
    for (const float balance : {0.0F, 1.0F, 7.0F, notANumber}) {
        scenario.what = "left balance to " + std::to_string(balance);
        scenario.change = [balance](NoiseCarrierBalance& m) {
            m.SetParameterValue(NoiseCarrierBalance::Balance, balance);
        };
        ExpectPairLikeSingles(scenario);
    }
}

namespace {

void SetUpGate(VCAGate& gate, int channel) {
    gate.SetParameterValue(VCAGate::Pot, channel == 0 ? 0.05F : 0.2F);
    gate.SetParameterValue(VCAGate::FcGateAttack, channel == 0 ? 1591.5F : 40.5F);
    gate.SetParameterValue(VCAGate::FcGateRelease, channel == 0 ? 17.7F : 1.95F);
    gate.preGain = 12.0F;
    gate.postGain = channel == 0 ? 20000.0F : 39000.0F;
}

} // namespace

TEST(StagePairsTest, GatesRunInPairsLikeTwoOfThemInEveryMode) {
    const std::pair<std::string, Signal> controls[] = {
        {"open", Signal(length, -15.0F)},   {"closed", Signal(length, 15.0F)},
        {"zero", Signal(length, 0.0F)},     {"bend", Signal(length, -1.0F)},
        {"decided", Decisions(length, 11)}, {"decided otherwise", Decisions(length, 12)},
        {"free", Noise(length, 4.0F, 13)},  {"faulty", WithFault(Decisions(length, 11), 777, notANumber)}};
    for (const auto& [leftName, leftControl] : controls) {
        for (const auto& [rightName, rightControl] : controls) {
            // Left passes through all pieces of the limiter, right stays in the first.
            Scenario<VCAGate> scenario{"left " + leftName + ", right " + rightName,
                                       {Noise(length, 20.0F, 14), leftControl},
                                       {Noise(length, 2.0F, 15), rightControl}};
            scenario.left[0].resize(length / 2);
            scenario.left[0].resize(length, 0.1F);
            scenario.right[1][0] = -15.0F;
            scenario.setUp = SetUpGate;
            scenario.change = [](VCAGate& m) { m.SetParameterValue(VCAGate::FcGateAttack, 100.0F); };
            scenario.light = [](VCAGate& m) { return m.lastGate; };
            ExpectPairLikeSingles(scenario);
        }
    }
    ExpectPairLikeSinglesAndFaults<VCAGate>({"fault in the signal",
                                             {Noise(length, 2.0F, 14), Signal(length, -15.0F)},
                                             {Noise(length, 2.0F, 15), Signal(length, -15.0F)},
                                             1,
                                             SetUpGate});
}

/// A block of one control level takes another way than one in which the level changes.
TEST(StagePairsTest, AGateFollowsAHeldControlLikeAMovingOne) {
    for (const auto& [longer, shorter] : {std::pair(-15.0F, 15.0F), std::pair(15.0F, -15.0F),
                                          std::pair(-1.0F, -15.0F), std::pair(15.0F, 14.0F)}) {
        Signal control(length, longer);
        for (std::size_t n = 40; n < length; n += 44) {
            std::fill_n(&control[n], 4, shorter);
        }
        const Signal signal = Noise(length, 2.0F, 16);
        auto held = MakeStage<VCAGate>();
        auto moving = MakeStage<VCAGate>();
        SetUpGate(*held, 0);
        SetUpGate(*moving, 0);
        ExpectSameBits(Render(*held, {signal, control}, 1, {40, 4}),
                       Render(*moving, {signal, control}, 1, {44}),
                       "control " + std::to_string(longer) + ", " + std::to_string(shorter));
    }
}

/// So does a block that stays in the first piece of the limiter.
TEST(StagePairsTest, AGateShapesAQuietBlockLikeALoudOne) {
    const Signals inputs = {Noise(length, 12.0F, 17), Signal(length, -15.0F)};
    auto often = MakeStage<VCAGate>();
    auto never = MakeStage<VCAGate>();
    SetUpGate(*often, 0);
    SetUpGate(*never, 0);
    ExpectSameBits(Render(*often, inputs, 1, {4}), Render(*never, inputs, 1, {44}), "quiet blocks");
}

TEST(StagePairsTest, TheHFChannelRunsInPairsLikeTwoOfThem) {
    for (const float rightMode : {0.0F, 1.0F}) {
        Scenario<HFChannel> scenario{"high frequencies",
                                     {Noise(length, 3.0F, 18), Decisions(length, 19)},
                                     {Noise(length, 1.0F, 20), Decisions(length, 21)}};
        scenario.setUp = [rightMode](HFChannel& m, int channel) {
            m.SetParameterValue(HFChannel::HFMode, channel == 0 ? 0.0F : rightMode);
            m.SetParameterValue(HFChannel::HFLevel, channel == 0 ? 0.5F : 1.0F);
            m.SetParameterValue(HFChannel::H0HP, channel == 0 ? 1.5F : -2.0F);
            m.SetParameterValue(HFChannel::FcHP, channel == 0 ? 5000.0F : 4000.0F);
            m.SetParameterValue(HFChannel::AttackHF, 1600.0F);
            m.SetParameterValue(HFChannel::ReleaseHF, 17.7F);
            m.Reset(true);
        };
        scenario.change = [](HFChannel& m) { m.SetParameterValue(HFChannel::HFLevel, 0.1F); };
        ExpectPairLikeSinglesAndFaults(scenario);
        scenario.change = [](HFChannel& m) { m.SetParameterValue(HFChannel::QLP, 0.0F); };
        ExpectPairLikeSingles(scenario);
    }
}

TEST(StagePairsTest, NoiseShapersRunInPairsLikeTwoOfThem) {
    NoiseShaper left;
    NoiseShaper right;
    left.Prepare(48000.0);
    right.Prepare(96000.0);
    NoiseShaper singleLeft = left;
    NoiseShaper singleRight = right;
    Signals noise = {Noise(length, 1.0F, 22), WithFault(Noise(length, 0.5F, 23), 2000, notANumber)};
    Signals expected = noise;
    for (std::size_t n = 0; n < length; n += 44) {
        NoiseShaper::ProcessPair(left, &noise[0][n], right, &noise[1][n], n % 88 == 0 ? 44 : 40);
        singleLeft.Process(&expected[0][n], n % 88 == 0 ? 44 : 40);
        singleRight.Process(&expected[1][n], n % 88 == 0 ? 44 : 40);
        NoiseShaper::ProcessPair(left, nullptr, right, nullptr, 0);
    }
    ExpectSameBits(noise, expected, "shaped noise");
    EXPECT_TRUE(std::isfinite(noise[0].back()));
}
