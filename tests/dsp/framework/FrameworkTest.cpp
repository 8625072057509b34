// SPDX-License-Identifier: GPL-3.0-or-later
// What the frame of every module keeps: parameters of each kind, marks, and a tree of modules.
#include "dsp/framework/ModuleContainer.h"
#include "rigs/ProbeModule.h"

#include <tuple>

namespace Velmora::dsp {
namespace {

struct Knob {
    ModuleParam param;
    double start, atZero, half, atOne;
    bool isCurve = true;
};

/// One of each kind: rising, falling, curved, with final values of its own, raw, and in steps.
std::vector<Knob> Knobs() {
    return {{Declare::Linear("Linear", -12.0F, 30.0F).Record(), -12, -12, 9, 30},
            {Declare::Linear("Falling", 5.0F, -3.0F, 1.0F).Record(), 1, 5, 1, -3},
            {Declare::Exponential("Curved", 0.01F, 4.0F, 7.0F, 2.0F).Record(), 2, 0.01,
             0.01 + 3.99 / (std::exp(3.5) + 1.0), 4},
            {Declare::Logarithmic("Hz", 20.0F, 2000.0F, 200.0F).Record(), 200, 20, 200, 2000},
            {ModuleParam::Mapped("Ratio", Curve::Harmonic, 3.0F, 5.0F, 16.0F), 3, 1.0 / 16, 1, 16},
            {Declare::Raw("Raw", 0.25F).Record(), 0.25, 0, 0.5, 1, false},
            {Declare::Choice("Mode", 3, 2.0F).Record(), 2, 0, 1, 2, false},
            {Declare::Switch("On", true).Record(), 1, 0, 1, 1, false},
            {Declare::Steps("Up", 5, -4.0F, 2.5F, 1.0F).Record(), 1, -4, 1, 6, false},
            {Declare::Steps("Down", 27, 1.0F, -0.25F, 3.0F).Record(), 3, 7.5, 4.25, 1, false}};
}

TEST(ModuleParamTest, EveryKindStartsAsDeclaredReachesItsEndsAndConvertsThereAndBack) {
    for (auto& [param, start, atZero, half, atOne, isCurve] : Knobs()) {
        SCOPED_TRACE(param.name);
        EXPECT_EQ(static_cast<double>(param.GetValue()), start);
        const double span = std::abs(atOne - atZero);
        for (const auto& [position, expected] :
             {std::pair(0.0F, atZero),
              {0.5F, half},
              {1.0F, atOne},
              {param.kind == ModuleParam::steppedKind ? 7.0F : 1.0F, atOne}}) {
            const float value = param.ToValue(position);
            EXPECT_NEAR(value, expected, 1e-5 * span);
            param.SetValue(value);
            param.SetNormalized(param.GetNormalized());
            EXPECT_NEAR(param.PeekValue(), value, 1e-5 * span);
            EXPECT_EQ(param.GetValue(), param.PeekValue());
        }
        for (float step = 0.0F; step < param.stepCount && param.kind == ModuleParam::steppedKind; ++step) {
            const float value = (param.step < 0.0F ? param.maxValue : param.minValue) + step * param.step;
            EXPECT_EQ(param.ToValue((step + 0.01F) / param.stepCount), value);
            EXPECT_EQ(param.ToValue((step + 0.99F) / param.stepCount), value);
        }
        param.SetValue(1e9F);
        EXPECT_EQ(param.GetValue(), 1e9F) << "stored as given";
        if (isCurve && !param.mappingIsAbsolute) {
            EXPECT_EQ(param.GetNormalized(), atOne > atZero ? 1.0F : 0.0F) << "but means the end";
        }
    }
    EXPECT_EQ(Declare::Linear("Point", 2.0F, 2.0F).Record().ToNormalized(7.0F), 0.0F);
}

TEST(ModuleParamTest, ModulationMovesThePositionWithinTheWayAndIsNotStored) {
    alignas(16) float buffer[12] = {0, 0, 0, 0, 0, 0.1F, -0.25F, 0.5F, -0.45F, std::nanf(""), 2, -2};
    const float* inputs[2] = {nullptr, buffer + 4};
    ProcessContext context;
    context.inputs = inputs;
    context.numInputs = 2;
    context.numFrames = 8;
    for (auto& [param, start, atZero, half, atOne, isCurve] : Knobs()) {
        SCOPED_TRACE(param.name);
        const auto tolerance = static_cast<float>(1e-6 * std::abs(atOne - atZero));
        for (const bool inverted : {false, true}) {
            param.inverted = inverted;
            param.SetNormalized(0.45F);
            float out[8];
            buffer[3] = -0.5F; // any mark but 0 makes it active
            param.RenderModulated(context, 1, out);
            for (std::size_t n = 0; n < 8; ++n) {
                const float offset = buffer[4 + n];
                const float position = std::isnan(offset) ? 0.0F : std::clamp(0.45F + offset, 0.0F, 1.0F);
                EXPECT_NEAR(param.GetValueWithOffset(offset), param.ToValue(position), tolerance) << n;
                // Only the block form and the acting value run backwards.
                const float turned = inverted && isCurve ? 1.0F - position : position;
                EXPECT_NEAR(out[n], param.ToValue(turned), tolerance) << n;
            }
            EXPECT_EQ(param.GetModulatedValue(context, 1), param.ToValue(0.45F));
            EXPECT_EQ(param.GetActingValue(context, 1), param.ToValue(inverted ? 0.55F : 0.45F));
            buffer[3] = 0.0F;
            for (const u32 input : {1U, 0U, 2U}) { // not active, a null pointer, and beyond the inputs
                param.RenderModulated(context, input, out);
                EXPECT_EQ(std::count(out, out + 8, param.GetValue()), 8) << input;
                EXPECT_EQ(param.GetModulatedValue(context, input), param.GetValue()) << input;
            }
        }
    }
}

TEST(UnitModuleTest, SetUpAndHardResetMarkAllAWriteOnlyWhatDiffersAndItsMarkStays) {
    using Flags = std::vector<u8>;
    Velmora::Test::ProbeModule<3> probe;
    const auto marks = [&probe] {
        const Flags taken = probe.parameterChanged;
        EXPECT_EQ(probe.anyParameterChanged, taken != Flags(3, 0));
        probe.ClearParameterChanges(false);
        return taken;
    };
    EXPECT_EQ(marks(), Flags(3, 0));
    probe.Initialize(48000.0F, 44);
    EXPECT_EQ(marks(), Flags(3, 1));
    for (const bool hard : {false, true}) {
        probe.SetParameterNormalized(1, 0.5F);
        probe.SetParameterNormalized(1, 0.0F);
        probe.SetParameterValue(1, 0.0F);
        probe.Reset(hard);
        EXPECT_EQ(marks(), (hard ? Flags{1, 1, 1} : Flags{0, 1, 0})) << "also when the value returned";
    }
    probe.SetParameterNormalized(1, 0.0F);
    probe.SetParameterValue(0, 5.0F);
    EXPECT_EQ(marks(), (Flags{1, 0, 0}));
    probe.SetParameterNormalized(0, 0.5F);
    EXPECT_EQ(marks(), Flags(3, 0)) << "the comparison sees through a conversion that is due";
}

using Calls = std::vector<std::string>;

/// Runs at twice the rate, and writes down what is done to it.
struct Tree : ModuleContainer<Velmora::Test::ProbeModule<3>, Velmora::Test::ProbeModule<1>> {
    explicit Tree(Calls* journal)
        : ModuleContainer("", 1, 1, RecordsOf({Declare::Raw("Volume"), Declare::Raw("Panic")}),
                          std::tuple("Input", journal), std::tuple("Output", journal)),
          calls(journal) {
        linkedIds = {{1, 3, 5}}; // volume: two leaves and, in a chain, the other parameter, which has no list
    }
    void OnInitialize(float /*sampleRate*/, u32 maxBlockSize) override {
        calls->push_back("OnInitialize " + std::to_string(maxBlockSize));
    }
    void OnReset(bool hard) override { calls->emplace_back(hard ? "OnReset hard" : "OnReset soft"); }
    void OnTerminate() override { calls->emplace_back("Terminate"); }
    bool UpdateParameters(ProcessContext& /*context*/) override { return true; }
    bool Process(ProcessContext& /*context*/) override { return true; }
    std::pair<float, u32> GetRateOverride(float sampleRate, u32 maxBlockSize) override {
        return {sampleRate * 2.0F, maxBlockSize * 3};
    }
    using ModuleContainer::Child;
    using ModuleContainerBase::AdditionalChanged;
    Calls* calls;
};

TEST(ModuleContainerTest, SetUpResetAndEndRunThroughTheTreeChildrenFirstAndAControlLeadsItsFollowers) {
    Calls calls;
    Tree tree(&calls);
    EXPECT_TRUE(tree.SetParameterValue(4, 0.5F));
    std::vector<float> positions;
    for (u32 id = 0; id < 7; ++id) {
        positions.push_back(tree.GetParameterNormalized(id));
    }
    EXPECT_EQ(positions, (std::vector{0.0F, 0.5F, 0.0F, 0.5F, 0.5F, 0.5F, 0.0F}));
    EXPECT_FALSE(tree.SetParameterNormalized(6, 0.5F) || tree.SetParameterValue(6, 0.5F));
    EXPECT_EQ(Velmora::Test::NameOf(tree, 6) + Velmora::Test::NameOf(tree, 3), "Output_P0");
    const auto expectCalls = [&calls](const Calls& expected) {
        EXPECT_EQ(std::exchange(calls, {}), expected);
    };
    static_cast<Module&>(tree).Initialize(24000.0F, 4);
    expectCalls({"Input OnInitialize 12", "Input OnReset hard", "Output OnInitialize 12",
                 "Output OnReset hard", "OnInitialize 12", "OnReset hard"});
    for (const bool hard : {false, true}) {
        tree.ClearParameterChanges(false);
        tree.Child<1>().needsUpdate = tree.needsUpdate = false;
        tree.Reset(hard);
        const std::string call = hard ? "OnReset hard" : "OnReset soft";
        expectCalls({"Input " + call, "Output " + call, call});
        EXPECT_TRUE(tree.needsUpdate && tree.Child<1>().needsUpdate);
        EXPECT_EQ(tree.AdditionalChanged(1), hard);
    }
    tree.Terminate();
    expectCalls({"Input Terminate", "Output Terminate", "Terminate"});
}

} // namespace
} // namespace Velmora::dsp
