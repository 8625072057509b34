// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/modulation/PolyModulations.h"

#include "rigs/AllocationCounter.h"
#include "rigs/ProbeModule.h"
#include "support/NonBlocking.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <numeric>
#include <random>
#include <string>

namespace Velmora::dsp {
namespace {

using Control = PolyModulations<8, 30, 57, 0, DefaultModulationPolicy>;
using Audio = PolyModulations<16, 16, 2, 1, DefaultModulationPolicy>;

template <class M>
void RunBlock(M& matrix, u32 frames = 44) {
    ProcessContext context;
    context.numFrames = frames;
    EXPECT_TRUE(matrix.Process(context));
}

/// Sources 0, 5, 6 and destinations 2 to 7 and 18 to 29 are global.
struct ControlMatrix : testing::Test {
    ControlMatrix() { matrix.Initialize(44100.0F, 44); }

    Control matrix{"Modulations",
                   {.globalSources = 0x61, .globalDestinations = 0x3FFC00FC, .alwaysChanged = 3}};
};

TEST_F(ControlMatrix, NotANumberBreaksNothing) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    matrix.SetParameterValue(Control::Cell(9, 2), 7.0F);
    matrix.SetParameterValue(Control::Cell(9, 2), nan);
    matrix.SetParameterNormalized(Control::Cell(9, 2), std::numeric_limits<float>::infinity());
    EXPECT_EQ(matrix.RowSum(9), 1.0F);
    matrix.SetVoiceActive(0, true);
    const auto expect = [this](float broken, float value, const char* what) {
        matrix.VoiceSource(0, 7)[0] = broken;
        matrix.VoiceSource(0, 2)[0] = 0.5F;
        matrix.MarkSourceChanged(7);
        matrix.MarkSourceChanged(2);
        RunBlock(matrix);
        EXPECT_EQ(matrix.VoiceDestination(0, 9)[0], value) << what;
    };
    expect(nan, 0.5F, "source 7 is not routed");
    matrix.SetParameterValue(Control::Cell(9, 7), 1.0F);
    expect(nan, 0.5F, "a broken source adds nothing");
    expect(0.25F, 0.75F, "and recovers");
}

/// What the matrix promises, in the simplest form: everything computed anew, in double precision.
struct NaiveMatrix : IRoutingObserver {
    double amount[30][8] = {};
    bool off[30][8] = {};
    double global[8] = {};
    double voice[57][8] = {};
    bool active[57] = {};
    i32 main = -1;
    /// As the observer heard.
    bool carries[30][8] = {};

    void OnRoutingChanged(u32 source, u32 destination, bool nonZero) override {
        const Velmora::MayBlock exception;
        EXPECT_NE(carries[destination][source], nonZero) << "heard without a change";
        carries[destination][source] = nonZero;
    }
    static bool IsGlobalSource(u32 s) { return s == 0 || s == 5 || s == 6; }
    static bool IsGlobalDestination(u32 d) { return (d >= 2 && d <= 7) || d >= 18; }
    double Sum(u32 d, i32 v) const {
        double sum = 0.0;
        for (u32 s = 0; s < 8; ++s) {
            sum += (off[d][s] ? 0.0 : amount[d][s]) * (IsGlobalSource(s) || v < 0 ? global[s] : voice[v][s]);
        }
        return sum;
    }
    double VoiceSum(u32 d, u32 v) const { return active[v] ? Sum(d, static_cast<i32>(v)) : 0.0; }

    void ExpectIn(Control& matrix) const {
        for (u32 d = 0; d < 30; ++d) {
            bool isRouted = false;
            for (u32 s = 0; s < 8; ++s) {
                const u32 cell = Control::Cell(d, s);
                ASSERT_EQ(carries[d][s], !off[d][s] && amount[d][s] != 0.0) << d << ", source " << s;
                ASSERT_EQ(static_cast<double>(matrix.FindParameter(cell)->GetValue()), amount[d][s]);
                ASSERT_EQ(static_cast<double>(matrix.GetParameterNormalized(cell)),
                          (amount[d][s] + 1.0) / 2.0);
                ASSERT_EQ(matrix.GetParameterNormalized(Control::cellCount + cell), off[d][s] ? 0.0F : 1.0F);
                isRouted = isRouted || carries[d][s];
            }
            const bool isGlobal = IsGlobalDestination(d);
            const bool mainRuns = main < 0 || isGlobal || active[main];
            ASSERT_EQ(matrix.IsDestinationRouted(d), isRouted) << d;
            ASSERT_EQ(static_cast<double>(matrix.LastValue(d)), mainRuns ? Sum(d, main) : 0.0) << d;
            ASSERT_EQ(matrix.GlobalDestination(d).data()[-1] != 0.0F, isRouted) << d;
            ASSERT_TRUE(!isGlobal || static_cast<double>(matrix.GlobalDestination(d)[0]) == Sum(d, main))
                << d;
            for (u32 v = 0; v < 57 && !isGlobal; ++v) {
                const auto& channel = matrix.VoiceDestination(v, d);
                ASSERT_EQ(static_cast<double>(channel[0]), VoiceSum(d, v)) << d << ", voice " << v;
                ASSERT_EQ(channel.data()[-1] != 0.0F, isRouted) << d << ", voice " << v;
            }
        }
    }
};

TEST_F(ControlMatrix, AgreesWithANaiveMatrixOverRandomOperations) {
    std::mt19937 random(20240611);
    const auto below = [&random](u32 n) { return static_cast<u32>(random() % n); };
    NaiveMatrix model;
    matrix.AddRoutingObserver(model);
    u32 frames = 44;
    bool isComputed = false; // since the last write
    for (int operation = 0; operation < 20000; ++operation) {
        SCOPED_TRACE(operation);
        const u32 d = below(30);
        const u32 s = below(8);
        const u32 v = below(10) < 9 ? below(4) : below(57);
        // Eighths: exact in both precisions.
        const float value = static_cast<float>(below(17)) / 8.0F - 1.0F;
        const u32 kind = below(7);
        switch (kind) {
        case 0:
            matrix.SetParameterNormalized(Control::Cell(d, s), (value + 1.0F) / 2.0F);
            model.amount[d][s] = static_cast<double>(value);
            break;
        case 1:
            model.off[d][s] = below(2) == 0;
            matrix.SetParameterNormalized(Control::cellCount + Control::Cell(d, s),
                                          model.off[d][s] ? 0.5F : 0.51F);
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
            for (u32 source = 0; source < 8 && !model.active[v]; ++source) {
                model.voice[v][source] = 0.0;
                matrix.MarkSourceChanged(source);
            }
            break;
        case 5:
            model.main = static_cast<i32>(below(5)) - 1;
            matrix.SetMainVoice(model.main);
            matrix.SetMainVoice(57); // which there is not
            break;
        default:
            frames = below(8) == 0 ? 4 * below(12) : frames;
            RunBlock(matrix, frames);
        }
        isComputed = kind == 6 || (isComputed && (kind == 5 || (kind == 4 && model.active[v])));
        if (isComputed) { // a voice that starts or leads counts at once
            ASSERT_NO_FATAL_FAILURE(model.ExpectIn(matrix));
        }
    }
    RunBlock(matrix, 8);
    matrix.Reset(true);
    ASSERT_NO_FATAL_FAILURE(model.ExpectIn(matrix));
    EXPECT_EQ(Velmora::Test::NameOf(matrix, 239), "Modulations_Dst30_Src8_Amount");
    EXPECT_EQ(Velmora::Test::NameOf(matrix, 480), "");
    EXPECT_EQ(matrix.GetParameterNormalized(480), 0.0F);
    EXPECT_EQ(matrix.FindParameter(480), nullptr);
    matrix.RemoveRoutingObserver(model);
    matrix.SetParameterValue(0, 0.125F);
    matrix.SetParameterValue(0, 0.0F);
}

TEST(AudioMatrix, SumsItsSourcesInWholeGroupsOfFourOnAlignedChannels) {
    for (const u32 blockSize : {1U, 44U, 47U}) {
        Audio matrix("Modulations", {.alwaysChanged = Audio::allSources});
        matrix.SetVoiceActive(1, true);
        matrix.Initialize(44100.0F, 4);
        matrix.Initialize(44100.0F, blockSize);
        for (u32 s = 0; s < 16; ++s) {
            ASSERT_EQ(matrix.VoiceSource(1, s).size(), blockSize);
            std::iota(matrix.VoiceSource(1, s).begin(), matrix.VoiceSource(1, s).end(),
                      static_cast<float>(s));
        }
        matrix.SetParameterValue(Audio::Cell(0, 0), 0.5F);
        matrix.SetParameterValue(Audio::Cell(0, 15), -0.25F);
        matrix.SetParameterValue(Audio::Cell(2, 9), 1.0F);
        EXPECT_EQ(matrix.RoutedVoiceDestination(1, 0), nullptr);
        const orphia_reference::AllocationCounter allocations;
        RunBlock(matrix, blockSize / 4 * 4);
        EXPECT_EQ(allocations.Count(), 0U);
        for (u32 d = 0; d < 3; ++d) {
            const auto channel = matrix.VoiceDestination(1, d);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(channel.data()) % 16, 0U);
            EXPECT_EQ(matrix.RoutedVoiceDestination(1, d), d != 1 ? channel.data() : nullptr);
            for (u32 n = 0; n < blockSize; ++n) {
                const float in = static_cast<float>(n);
                const float sums[] = {0.5F * in - 0.25F * (in + 15.0F), 0.0F, in + 9.0F};
                ASSERT_EQ(channel[n], n < blockSize / 4 * 4 ? sums[d] : 0.0F) << d << ", frame " << n;
            }
        }
    }
}

} // namespace
} // namespace Velmora::dsp
