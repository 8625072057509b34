// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/modulation/PolyModulations.h"

#include "rigs/AllocationCounter.h"
#include "rigs/ProbeModule.h"
#include "support/NonBlocking.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace Velmora::dsp {
namespace {

using Control = PolyModulations<8, 30, 57, 0, DefaultModulationPolicy>;
using Audio = PolyModulations<16, 16, 2, 1, DefaultModulationPolicy>;

/// The masks of the control-rate matrix: sources 0, 5, 6 and destinations 2 to 7 and 18 to 29 are global.
constexpr ModulationMasks controlMasks{
    .globalSources = 0x61, .globalDestinations = 0x3FFC00FC, .alwaysChanged = 3};

template <class M>
void RunBlock(M& matrix, u32 frames = 44) {
    ProcessContext context;
    context.numFrames = frames;
    EXPECT_TRUE(matrix.Process(context));
}

void WriteVoiceSource(Control& matrix, u32 voice, u32 source, float value) {
    matrix.VoiceSource(voice, source)[0] = value;
    matrix.MarkSourceChanged(source);
}

struct ControlMatrix : testing::Test {
    ControlMatrix() { matrix.Initialize(44100.0F, 44); }
    void SetAmount(u32 d, u32 s, float amount) { matrix.SetParameterValue(Control::Cell(d, s), amount); }
    void SetOn(u32 d, u32 s, bool on) {
        matrix.SetParameterNormalized(Control::cellCount + Control::Cell(d, s), on ? 1.0F : 0.0F);
    }
    float At(u32 voice, u32 d) { return matrix.VoiceDestination(voice, d)[0]; }

    Control matrix{"Modulations", controlMasks};
};

TEST_F(ControlMatrix, AStartingOrANewMainVoiceCountsWithinTheSameBlock) {
    SetAmount(9, 3, 1.0F);
    SetAmount(20, 3, 1.0F);
    WriteVoiceSource(matrix, 7, 3, 0.75F);
    WriteVoiceSource(matrix, 8, 3, 0.25F);
    matrix.SetMainVoice(7);
    matrix.SetVoiceActive(7, true);
    matrix.SetVoiceActive(8, true);
    EXPECT_EQ(At(7, 9), 0.75F);
    EXPECT_EQ(matrix.LastValue(9), 0.75F);
    matrix.SetMainVoice(8);
    EXPECT_EQ(matrix.GlobalDestination(20)[0], 0.25F);
    matrix.SetMainVoice(57);
    EXPECT_EQ(matrix.MainVoice(), 8) << "there is no voice 57";
}

TEST_F(ControlMatrix, ObserversHearOnlyWhenACellBeginsOrCeasesToCarry) {
    struct Recorder : IRoutingObserver {
        void OnRoutingChanged(u32 source, u32 destination, bool nonZero) override {
            const Velmora::MayBlock exception;
            calls.emplace_back(source, destination, nonZero);
        }
        std::vector<std::tuple<u32, u32, bool>> calls;
    } recorder;
    matrix.AddRoutingObserver(recorder);
    SetAmount(29, 7, 0.5F);
    SetAmount(29, 7, 0.5F);
    SetAmount(29, 7, -0.5F);
    SetOn(29, 7, false);
    SetAmount(29, 7, 0.25F);
    SetOn(29, 7, true);
    SetAmount(29, 7, 0.0F);
    matrix.SetParameterNormalized(Control::parameterCount, 1.0F);
    const std::vector<std::tuple<u32, u32, bool>> expected{
        {7, 29, true}, {7, 29, false}, {7, 29, true}, {7, 29, false}};
    EXPECT_EQ(recorder.calls, expected);
    matrix.RemoveRoutingObserver(recorder);
    SetAmount(29, 7, 1.0F);
    EXPECT_EQ(recorder.calls.size(), 4U);
}

TEST_F(ControlMatrix, ParametersHaveNamesAndRecordsAtBothEnds) {
    EXPECT_EQ(Velmora::Test::NameOf(matrix, 239), "Modulations_Dst30_Src8_Amount");
    EXPECT_EQ(Velmora::Test::NameOf(matrix, 240), "Modulations_Dst1_Src1_Activated");
    EXPECT_EQ(Velmora::Test::NameOf(matrix, 480), "");
    EXPECT_EQ(matrix.GetParameterNormalized(480), 0.0F);
    EXPECT_EQ(matrix.FindParameter(480), nullptr);
    EXPECT_TRUE(matrix.SetParameterNormalized(480, 1.0F));
    matrix.SetParameterNormalized(239, 0.125F);
    matrix.SetParameterNormalized(479, 0.5F);
    EXPECT_EQ(matrix.RowSum(29), 0.0F) << "a switch is on above 0.5";
    matrix.Reset(true);
    EXPECT_EQ(matrix.FindParameter(239)->GetValue(), -0.75F) << "amounts survive a reset";
}

TEST_F(ControlMatrix, NotANumberLeavesNothingBroken) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    SetAmount(9, 2, 1.0F);
    SetAmount(9, 2, nan);
    matrix.SetParameterNormalized(Control::Cell(9, 2), std::numeric_limits<float>::infinity());
    EXPECT_EQ(matrix.RowSum(9), 1.0F);
    matrix.SetVoiceActive(0, true);
    WriteVoiceSource(matrix, 0, 7, nan);
    WriteVoiceSource(matrix, 0, 2, 0.5F);
    RunBlock(matrix);
    EXPECT_EQ(At(0, 9), 0.5F) << "source 7 is not routed";
    SetAmount(9, 7, 1.0F);
    RunBlock(matrix);
    EXPECT_EQ(At(0, 9), 0.5F) << "a broken source adds nothing";
    WriteVoiceSource(matrix, 0, 7, 0.25F);
    RunBlock(matrix);
    EXPECT_EQ(At(0, 9), 0.75F);
}

/// What the matrix promises, in the simplest form: everything computed anew, in double precision.
struct NaiveMatrix {
    double amount[30][8] = {};
    bool off[30][8] = {};
    double global[8] = {};
    double voice[57][8] = {};
    bool active[57] = {};
    i32 main = -1;

    static bool IsGlobalSource(u32 s) { return s == 0 || s == 5 || s == 6; }
    static bool IsGlobalDestination(u32 d) { return (d >= 2 && d <= 7) || d >= 18; }
    double Sum(u32 d, i32 v) const {
        double sum = 0.0;
        for (u32 s = 0; s < 8; ++s) {
            sum += (off[d][s] ? 0.0 : amount[d][s]) * (IsGlobalSource(s) || v < 0 ? global[s] : voice[v][s]);
        }
        return sum;
    }
    bool IsRouted(u32 d) const {
        bool routed = false;
        for (u32 s = 0; s < 8; ++s) {
            routed = routed || (!off[d][s] && amount[d][s] != 0.0);
        }
        return routed;
    }
};

void ExpectAlike(Control& matrix, const NaiveMatrix& model, int operation) {
    for (u32 d = 0; d < 30; ++d) {
        const std::string where =
            "operation " + std::to_string(operation) + ", destination " + std::to_string(d);
        const bool isGlobal = NaiveMatrix::IsGlobalDestination(d);
        const bool mainRuns = model.main < 0 || isGlobal || model.active[model.main];
        ASSERT_EQ(matrix.IsDestinationRouted(d), model.IsRouted(d)) << where;
        ASSERT_EQ(static_cast<double>(matrix.LastValue(d)), mainRuns ? model.Sum(d, model.main) : 0.0)
            << where;
        ASSERT_EQ(matrix.GlobalDestination(d).data()[-1] != 0.0F, model.IsRouted(d)) << where;
        if (isGlobal) {
            ASSERT_EQ(static_cast<double>(matrix.GlobalDestination(d)[0]), model.Sum(d, model.main)) << where;
        }
        for (u32 v = 0; v < 57 && !isGlobal; ++v) {
            const auto& channel = matrix.VoiceDestination(v, d);
            ASSERT_EQ(static_cast<double>(channel[0]),
                      model.active[v] ? model.Sum(d, static_cast<i32>(v)) : 0.0)
                << where << ", voice " << v;
            ASSERT_EQ(channel.data()[-1] != 0.0F, model.IsRouted(d)) << where << ", voice " << v;
        }
    }
}

TEST_F(ControlMatrix, AgreesWithANaiveMatrixOverRandomOperations) {
    std::mt19937 random(20240611);
    const auto below = [&random](u32 n) { return static_cast<u32>(random() % n); };
    NaiveMatrix model;
    u32 frames = 44;
    for (int operation = 0; operation < 20000; ++operation) {
        const u32 d = below(30);
        const u32 s = below(8);
        const u32 v = below(10) < 9 ? below(4) : below(57);
        // Eighths: exact in both precisions.
        const float value = static_cast<float>(below(17)) / 8.0F - 1.0F;
        switch (below(7)) {
        case 0:
            matrix.SetParameterNormalized(Control::Cell(d, s), (value + 1.0F) / 2.0F);
            model.amount[d][s] = static_cast<double>(value);
            break;
        case 1:
            model.off[d][s] = below(2) == 0;
            SetOn(d, s, !model.off[d][s]);
            break;
        case 2:
        case 3:
            (NaiveMatrix::IsGlobalSource(s) ? model.global[s] : model.voice[v][s]) =
                static_cast<double>(value);
            (NaiveMatrix::IsGlobalSource(s) ? matrix.GlobalSource(s)[0] : matrix.VoiceSource(v, s)[0]) =
                value;
            matrix.MarkSourceChanged(s);
            break;
        case 4:
            model.active[v] = !model.active[v];
            matrix.SetVoiceActive(v, model.active[v]);
            // The owner zeroes the sources of a voice that ends.
            for (u32 source = 0; source < 8 && !model.active[v]; ++source) {
                model.voice[v][source] = 0.0;
                matrix.MarkSourceChanged(source);
            }
            break;
        case 5:
            model.main = static_cast<i32>(below(5)) - 1;
            matrix.SetMainVoice(model.main);
            break;
        default:
            frames = below(8) == 0 ? 4 * below(12) : frames;
            RunBlock(matrix, frames);
            ASSERT_NO_FATAL_FAILURE(ExpectAlike(matrix, model, operation));
        }
    }
}

class AudioMatrix : public testing::TestWithParam<u32> {};
INSTANTIATE_TEST_SUITE_P(BlockSizes, AudioMatrix, testing::Values(1, 4, 44, 45, 256));

TEST_P(AudioMatrix, SumsItsSourcesInWholeGroupsOfFourOnAlignedChannels) {
    const u32 blockSize = GetParam();
    Audio matrix("Modulations", {.alwaysChanged = Audio::allSources});
    matrix.SetVoiceActive(0, true);
    matrix.SetVoiceActive(1, true);
    matrix.Initialize(44100.0F, 4);
    matrix.Initialize(44100.0F, blockSize);
    std::mt19937 random(7);
    std::uniform_real_distribution<float> uniform(-1.0F, 1.0F);
    for (u32 v = 0; v < 2; ++v) {
        for (u32 s = 0; s < 16; ++s) {
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(matrix.VoiceSource(v, s).data()) % 16, 0U);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(matrix.VoiceDestination(v, s).data()) % 16, 0U);
            ASSERT_EQ(matrix.VoiceSource(v, s).size(), blockSize);
            for (float& sample : matrix.VoiceSource(v, s)) {
                sample = uniform(random);
            }
        }
    }
    const float amounts[3][2] = {{0.5F, -0.25F}, {1.0F, 0.0F}, {-1.0F, 0.125F}};
    for (u32 d = 0; d < 3; ++d) {
        matrix.SetParameterValue(Audio::Cell(d, 0), amounts[d][0]);
        matrix.SetParameterValue(Audio::Cell(d, 15), amounts[d][1]);
    }
    EXPECT_EQ(matrix.RoutedVoiceDestination(1, 0), nullptr);
    const orphia_reference::AllocationCounter allocations;
    RunBlock(matrix, blockSize / 4 * 4);
    EXPECT_EQ(allocations.Count(), 0U);
    EXPECT_EQ(matrix.RoutedVoiceDestination(1, 0), matrix.VoiceDestination(1, 0).data());
    EXPECT_EQ(matrix.RoutedVoiceDestination(1, 3), nullptr);
    for (u32 v = 0; v < 2; ++v) {
        for (u32 d = 0; d < 4; ++d) {
            for (u32 n = 0; n < blockSize; ++n) {
                const bool inGroup = n < blockSize / 4 * 4;
                const float expected = d < 3 && inGroup ? amounts[d][0] * matrix.VoiceSource(v, 0)[n] +
                                                              amounts[d][1] * matrix.VoiceSource(v, 15)[n]
                                                        : 0.0F;
                ASSERT_NEAR(matrix.VoiceDestination(v, d)[n], expected, 1e-7F)
                    << "voice " << v << ", destination " << d << ", frame " << n;
            }
        }
    }
}

} // namespace
} // namespace Velmora::dsp
