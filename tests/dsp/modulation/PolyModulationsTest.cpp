// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/modulation/PolyModulations.h"

#include "rigs/ProbeModule.h"
#include "support/NonBlocking.h"

namespace Velmora::dsp {
namespace {

using Control = PolyModulations<8, 30, 57, 0, DefaultModulationPolicy>;

/// What the matrix promises, in the simplest form: everything computed anew, in double precision.
struct NaiveMatrix : IRoutingObserver {
    double amount[30][8] = {};
    bool off[30][8] = {};
    double global[8] = {};
    double voice[57][8] = {};
    bool active[57] = {};
    i32 main = -1;
    /// As the observer heard; sources 0, 5, 6 and destinations 2 to 7 and 18 to 29 are global.
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
                ASSERT_EQ(matrix.GetParameterNormalized(Control::cellCount + cell), off[d][s] ? 0.0F : 1.0F);
                isRouted = isRouted || carries[d][s];
            }
            const bool isGlobal = IsGlobalDestination(d);
            ASSERT_EQ(matrix.IsDestinationRouted(d), isRouted) << d;
            ASSERT_EQ(static_cast<double>(matrix.LastValue(d)),
                      isGlobal || main < 0 ? Sum(d, main) : VoiceSum(d, static_cast<u32>(main)));
            ASSERT_TRUE(!isGlobal || static_cast<double>(matrix.GlobalDestination(d)[0]) == Sum(d, main));
            for (u32 v = 0; v < 57 && !isGlobal; ++v) {
                const auto& channel = matrix.VoiceDestination(v, d);
                ASSERT_EQ(static_cast<double>(channel[0]), VoiceSum(d, v)) << d << ", voice " << v;
                ASSERT_EQ(channel.data()[-1] != 0.0F, isRouted) << d << ", voice " << v;
            }
        }
    }
};

TEST(ControlMatrix, AgreesWithANaiveMatrixOverRandomOperations) {
    Control matrix("Modulations",
                   {.globalSources = 0x61, .globalDestinations = 0x3FFC00FC, .alwaysChanged = 3});
    matrix.Initialize(44100.0F, 44);
    std::mt19937 random(20240611);
    const auto below = [&random](u32 n) { return static_cast<u32>(random() % n); };
    NaiveMatrix model;
    matrix.AddRoutingObserver(model);
    ProcessContext context;
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
            matrix.SetParameterNormalized(Control::Cell(d, s), value < 1.0F ? (value + 1.0F) / 2.0F : 1e30F);
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
            context.numFrames = below(8) == 0 ? 4 * below(12) : context.numFrames;
            EXPECT_TRUE(matrix.Process(context));
        }
        isComputed = kind == 6 || (isComputed && (kind == 5 || (kind == 4 && model.active[v])));
        if (isComputed) { // a voice that starts or leads counts at once
            ASSERT_NO_FATAL_FAILURE(model.ExpectIn(matrix));
        }
    }
    EXPECT_EQ(Velmora::Test::NameOf(matrix, 239), "Modulations_Dst30_Src8_Amount");
    EXPECT_EQ(Velmora::Test::NameOf(matrix, 480), "");
    EXPECT_EQ(matrix.FindParameter(480), nullptr);
}

} // namespace
} // namespace Velmora::dsp
