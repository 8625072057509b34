// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/PolyModulations.h"

#include "dsp/ModuleContainer.h"
#include "reference/AllocationCounter.h"

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

template <class M>
std::string NameOf(M& module, u32 id) {
    char text[256];
    ParameterNameWriter writer(text, sizeof text);
    module.GetParameterName(id, writer);
    return text;
}

template <class M>
void WriteVoiceSource(M& matrix, u32 voice, u32 source, float value) {
    for (float& sample : matrix.VoiceSource(voice, source)) {
        sample = value;
    }
    matrix.MarkSourceChanged(source);
}

void WriteGlobalSource(Control& matrix, u32 source, float value) {
    matrix.GlobalSource(source)[0] = value;
    matrix.MarkSourceChanged(source);
}

struct ControlMatrix : testing::Test {
    ControlMatrix() { matrix.Initialize(44100.0F, 44); }
    void SetAmount(u32 d, u32 s, float amount) { matrix.SetParameterValue(Control::Cell(d, s), amount); }
    void SetOn(u32 d, u32 s, bool on) {
        matrix.SetParameterNormalized(Control::cellCount + Control::Cell(d, s), on ? 1.0F : 0.0F);
    }
    float At(u32 voice, u32 d) { return matrix.VoiceDestination(voice, d)[0]; }
    float Mark(u32 voice, u32 d) { return matrix.VoiceDestination(voice, d).data()[-1]; }

    Control matrix{"Modulations", controlMasks};
};

TEST_F(ControlMatrix, WithoutARouteNothingReachesAnything) {
    matrix.SetVoiceActive(4, true);
    WriteVoiceSource(matrix, 4, 2, 1.0F);
    RunBlock(matrix);
    for (u32 d = 0; d < 30; ++d) {
        EXPECT_EQ(At(4, d), 0.0F) << d;
        EXPECT_EQ(Mark(4, d), 0.0F) << d;
        EXPECT_FALSE(matrix.IsDestinationRouted(d)) << d;
        EXPECT_EQ(matrix.RowSum(d), 0.0F) << d;
    }
}

TEST_F(ControlMatrix, AVoiceRouteReachesItsOwnVoiceAndMarksAllVoices) {
    SetAmount(9, 2, 0.5F);
    matrix.SetVoiceActive(4, true);
    matrix.SetVoiceActive(56, true);
    WriteVoiceSource(matrix, 4, 2, 0.25F);
    WriteVoiceSource(matrix, 56, 2, -1.0F);
    EXPECT_EQ(Mark(4, 9), 0.0F) << "marks follow with the next block";
    RunBlock(matrix);
    EXPECT_EQ(At(4, 9), 0.125F);
    EXPECT_EQ(At(56, 9), -0.5F);
    EXPECT_EQ(At(5, 9), 0.0F) << "voice 5 does not run";
    EXPECT_EQ(Mark(5, 9), 1.23456F) << "marked all the same";
    EXPECT_EQ(matrix.GlobalDestination(9).data()[-1], 1.23456F);
    EXPECT_EQ(Mark(4, 8), 0.0F);

    SetOn(9, 2, false);
    RunBlock(matrix);
    EXPECT_EQ(At(4, 9), 0.0F);
    EXPECT_EQ(Mark(4, 9), 0.0F);
    EXPECT_EQ(matrix.GetParameterNormalized(Control::Cell(9, 2)), 0.75F)
        << "a switched-off amount is remembered";
    SetOn(9, 2, true);
    RunBlock(matrix);
    EXPECT_EQ(At(4, 9), 0.125F);
}

TEST_F(ControlMatrix, OnlyWhatChangedIsComputed) {
    SetAmount(9, 2, 1.0F);
    SetAmount(10, 1, 1.0F);
    matrix.SetVoiceActive(0, true);
    RunBlock(matrix);
    matrix.VoiceSource(0, 2)[0] = 0.5F;
    matrix.VoiceSource(0, 1)[0] = 0.25F;
    RunBlock(matrix);
    EXPECT_EQ(At(0, 9), 0.0F) << "source 2 was not marked";
    EXPECT_EQ(At(0, 10), 0.25F) << "source 1 counts as changed in every block";
    RunBlock(matrix, 40);
    EXPECT_EQ(At(0, 9), 0.5F) << "another frame count computes everything";
}

TEST_F(ControlMatrix, AStartingVoiceHasItsDestinationsAtOnceAndAnEndedOneIsZero) {
    SetAmount(9, 3, 1.0F);
    SetAmount(9, 5, 0.5F);
    SetAmount(20, 3, 1.0F);
    WriteGlobalSource(matrix, 5, 0.5F);
    WriteVoiceSource(matrix, 7, 3, 0.75F);
    matrix.SetMainVoice(7);
    matrix.SetVoiceActive(7, true);
    EXPECT_EQ(At(7, 9), 1.0F);
    EXPECT_EQ(matrix.LastValue(9), 1.0F);
    RunBlock(matrix);
    matrix.SetVoiceActive(7, false);
    for (u32 d = 0; d < 30; ++d) {
        EXPECT_EQ(At(7, d), 0.0F) << d;
    }
    EXPECT_EQ(matrix.VoiceSource(7, 3)[0], 0.0F);
    EXPECT_EQ(matrix.GlobalSource(5)[0], 0.5F);
    EXPECT_EQ(Mark(7, 9), Control::routedMark);
}

TEST_F(ControlMatrix, GlobalDestinationsFollowTheMainVoice) {
    SetAmount(20, 3, 1.0F);
    SetAmount(20, 6, 1.0F);
    SetAmount(9, 6, 1.0F);
    WriteGlobalSource(matrix, 6, 0.5F);
    matrix.SetVoiceActive(1, true);
    matrix.SetVoiceActive(2, true);
    WriteVoiceSource(matrix, 1, 3, 0.25F);
    WriteVoiceSource(matrix, 2, 3, -0.25F);
    RunBlock(matrix);
    EXPECT_EQ(matrix.GlobalDestination(20)[0], 0.5F) << "no main voice: the voice source is silent";
    EXPECT_EQ(matrix.LastValue(9), 0.5F);
    matrix.SetMainVoice(1);
    EXPECT_EQ(matrix.GlobalDestination(20)[0], 0.75F);
    matrix.SetMainVoice(2);
    EXPECT_EQ(matrix.GlobalDestination(20)[0], 0.25F);
    EXPECT_EQ(matrix.LastValue(20), 0.25F);
    matrix.SetMainVoice(57);
    EXPECT_EQ(matrix.MainVoice(), 2) << "there is no voice 57";
    EXPECT_EQ(At(1, 9), 0.5F) << "a global source is shared by the voices";
}

TEST_F(ControlMatrix, ObserversHearOnlyWhenACellBeginsOrCeasesToCarry) {
    struct Recorder : IRoutingObserver {
        void OnRoutingChanged(u32 source, u32 destination, bool nonZero) override {
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

TEST_F(ControlMatrix, ParametersHaveNamesValuesAndRecordsAtBothEnds) {
    EXPECT_EQ(Control::parameterCount, 480U);
    EXPECT_EQ(NameOf(matrix, 0), "Modulations_Dst1_Src1_Amount");
    EXPECT_EQ(NameOf(matrix, 17), "Modulations_Dst3_Src2_Amount");
    EXPECT_EQ(NameOf(matrix, 239), "Modulations_Dst30_Src8_Amount");
    EXPECT_EQ(NameOf(matrix, 240), "Modulations_Dst1_Src1_Activated");
    EXPECT_EQ(NameOf(matrix, 479), "Modulations_Dst30_Src8_Activated");
    EXPECT_EQ(NameOf(matrix, 480), "");
    Control unnamed("");
    EXPECT_EQ(NameOf(unnamed, 0), "Dst1_Src1_Amount");

    EXPECT_EQ(matrix.GetParameterNormalized(0), 0.5F);
    EXPECT_EQ(matrix.GetParameterNormalized(479), 1.0F);
    EXPECT_EQ(matrix.GetParameterNormalized(480), 0.0F);
    EXPECT_EQ(matrix.FindParameter(480), nullptr);
    EXPECT_TRUE(matrix.SetParameterNormalized(480, 1.0F));

    matrix.SetParameterNormalized(239, 0.125F);
    matrix.SetParameterNormalized(479, 0.5F);
    EXPECT_EQ(matrix.RowSum(29), 0.0F) << "a switch is on above 0.5";
    ModuleParam* amount = matrix.FindParameter(239);
    ModuleParam* onSwitch = matrix.FindParameter(479);
    EXPECT_EQ(amount->GetValue(), -0.75F);
    EXPECT_EQ(amount->minValue, -1.0F);
    EXPECT_EQ(onSwitch->GetNormalized(), 0.0F);
    EXPECT_EQ(matrix.FindParameter(238)->GetValue(), 0.0F);
    matrix.SetParameterNormalized(239, 3.0F);
    EXPECT_EQ(matrix.GetParameterNormalized(239), 1.0F) << "the position is bounded when it is read";

    matrix.Reset(true);
    EXPECT_EQ(matrix.FindParameter(239)->GetValue(), 5.0F) << "amounts survive a reset";
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
    bool on[30][8] = {};
    double global[8] = {};
    double voice[57][8] = {};
    bool active[57] = {};
    i32 main = -1;

    static bool IsGlobalSource(u32 s) { return s == 0 || s == 5 || s == 6; }
    static bool IsGlobalDestination(u32 d) { return (d >= 2 && d <= 7) || d >= 18; }
    double Sum(u32 d, i32 v) const {
        double sum = 0.0;
        for (u32 s = 0; s < 8; ++s) {
            sum += (on[d][s] ? amount[d][s] : 0.0) * (IsGlobalSource(s) || v < 0 ? global[s] : voice[v][s]);
        }
        return sum;
    }
    bool IsRouted(u32 d) const {
        bool routed = false;
        for (u32 s = 0; s < 8; ++s) {
            routed = routed || (on[d][s] && amount[d][s] != 0.0);
        }
        return routed;
    }
};

TEST_F(ControlMatrix, AgreesWithANaiveMatrixOverRandomOperations) {
    std::mt19937 random(20240611);
    const auto below = [&random](u32 n) { return static_cast<u32>(random() % n); };
    NaiveMatrix model;
    for (auto& row : model.on) {
        std::fill(std::begin(row), std::end(row), true);
    }
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
            model.on[d][s] = below(2) != 0;
            SetOn(d, s, model.on[d][s]);
            break;
        case 2:
        case 3:
            if (NaiveMatrix::IsGlobalSource(s)) {
                WriteGlobalSource(matrix, s, value);
                model.global[s] = static_cast<double>(value);
            } else {
                WriteVoiceSource(matrix, v, s, value);
                model.voice[v][s] = static_cast<double>(value);
            }
            break;
        case 4:
            model.active[v] = !model.active[v];
            matrix.SetVoiceActive(v, model.active[v]);
            if (!model.active[v]) {
                std::fill(std::begin(model.voice[v]), std::end(model.voice[v]), 0.0);
                // The owner zeroes the sources of a voice that ends.
                for (u32 source = 0; source < 8; ++source) {
                    matrix.MarkSourceChanged(source);
                }
            }
            break;
        case 5:
            model.main = static_cast<i32>(below(5)) - 1;
            matrix.SetMainVoice(model.main);
            break;
        default:
            frames = below(8) == 0 ? 4 * below(12) : frames;
            RunBlock(matrix, frames);
            for (u32 dest = 0; dest < 30; ++dest) {
                const bool isGlobal = NaiveMatrix::IsGlobalDestination(dest);
                ASSERT_EQ(matrix.IsDestinationRouted(dest), model.IsRouted(dest)) << operation;
                if (isGlobal) {
                    ASSERT_EQ(static_cast<double>(matrix.GlobalDestination(dest)[0]),
                              model.Sum(dest, model.main))
                        << "operation " << operation << ", destination " << dest;
                }
                const bool mainRuns = model.main < 0 || isGlobal || model.active[model.main];
                ASSERT_EQ(static_cast<double>(matrix.LastValue(dest)),
                          mainRuns ? model.Sum(dest, model.main) : 0.0)
                    << "operation " << operation << ", destination " << dest;
                for (u32 voice = 0; voice < 57 && !isGlobal; ++voice) {
                    const double expected =
                        model.active[voice] ? model.Sum(dest, static_cast<i32>(voice)) : 0.0;
                    ASSERT_EQ(static_cast<double>(At(voice, dest)), expected)
                        << "operation " << operation << ", voice " << voice << ", destination " << dest;
                    ASSERT_EQ(Mark(voice, dest) != 0.0F, model.IsRouted(dest));
                }
            }
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
    EXPECT_EQ(Audio::parameterCount, 512U);
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
    orphia_reference::AllocationCounter allocations;
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
    for (u32 n = 0; n < blockSize; ++n) {
        EXPECT_EQ(matrix.SilentChannel()[n], 0.0F);
    }
}

/// The matrix as owners hold it: a child among others.
struct Owner : ModuleContainer<Control, Audio> {
    Owner() : ModuleContainer("Owner", 0, 0, {}, std::tuple{"Modulations", controlMasks}, std::tuple{""}) {}
    void OnInitialize(float, u32) override {}
    void OnReset(bool) override {}
    bool UpdateParameters(ProcessContext&) override { return true; }
    bool Process(ProcessContext&) override { return true; }
};

TEST(PolyModulations, WorksAsTheChildOfAContainer) {
    Owner owner;
    owner.Initialize(48000.0F, 44);
    EXPECT_EQ(NameOf(owner, 479), "Owner_Modulations_Dst30_Src8_Activated");
    EXPECT_EQ(NameOf(owner, 480 + 255), "Owner_Dst16_Src16_Amount");
    owner.SetParameterValue(480 + 17, -0.3F);
    EXPECT_EQ(owner.FindParameter(480 + 17)->GetValue(), -0.3F);
    EXPECT_NEAR(owner.GetParameterNormalized(480 + 17), 0.35F, 1e-7F);
}

} // namespace
} // namespace Velmora::dsp
