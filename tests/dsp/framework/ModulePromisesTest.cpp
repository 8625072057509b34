// SPDX-License-Identifier: GPL-3.0-or-later
// What every module keeps, whatever it does: a table of modules that are no effects, which have a suite of
// their own.
#include "dsp/effects/compressor/Compressor.h"
#include "dsp/effects/equaliser/ParamEq.h"
#include "dsp/envelopes/ADSR.h"
#include "dsp/envelopes/EnvFollower.h"
#include "dsp/lfo/LFO.h"
#include "dsp/lfo/LFOSimple.h"
#include "dsp/meters/InputDetector.h"
#include "dsp/meters/VuMeter.h"
#include "dsp/oscillators/NoiseGenerator.h"
#include "dsp/oscillators/PolyBlepPostFilter.h"
#include "dsp/pitch/PitchTracker.h"
#include "rigs/ModuleRig.h"

#include <limits>
#include <memory>
#include <sstream>

namespace {

using namespace orphia::test;
using namespace Velmora::dsp;

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr std::size_t frames = 4400;

template <class M>
std::unique_ptr<UnitModule> Make() {
    return std::make_unique<M>();
}

/// A module, how it is set, by the names of its parameters, and how many of its inputs, from the first on,
/// are audio. The others modulate.
struct Subject {
    std::unique_ptr<UnitModule> (*make)();
    const char* settings;
    u32 audioInputs = 0;
    u32 outputs = 1;
    bool takesFaultsForSilence = false;
};
const Subject subjects[] = {
    {Make<Compressor>,
     "Threshold -30 Ratio 8 ConfStereo 1 LookaheadEnable 1 LookaheadTimeMs 3 LevelMeasureSmoothAR 1 Makeup 1",
     2, 2, true},
    {Make<EnvFollower>, "RMSWindowDurationMs 7 StereoInput 1", 2, 1, true},
    {Make<PitchTracker>, "ConfidenceThreshold 0", 2, 1, true},
    {Make<NoiseGenerator>, "NoiseType 5 NoiseColor 0.2"},
    {Make<LFO>, "ControlRate 0 Waveform 0 RateUnSynced 7.3 Stereo 1", 0, 2},
    {Make<LFOSimple>, "Rate 5", 0, 2},
    {Make<ParamEq<5>>, "On1 1 Mode1 3 Gain1 12 On5 1 Q5 5", 2, 2},
    {Make<PolyBlepPostFilter>, "", 1, 1},
    {Make<InputDetector>, "Threshold -20 Hold 0.01", 2, 0},
    {Make<VuMeter>, "Calibration 1", 1, 0}};

struct ModulePromises : testing::TestWithParam<Subject> {
    const Signal clean[2] = {Noise(frames, 0.7F, 1), Noise(frames, 0.4F, 2)};

    static std::unique_ptr<UnitModule> Fresh() {
        auto module = GetParam().make();
        module->Initialize(44100.0F, 64);
        Return(*module);
        return module;
    }
    /// To the settings and the start of what is random.
    static void Return(UnitModule& module) {
        std::istringstream settings(GetParam().settings);
        std::string name;
        for (float value; settings >> name >> value;) {
            u32 id = 0;
            while (module.FindParameter(id)->name != name) {
                ++id;
            }
            module.SetParameterValue(id, value);
        }
        module.Reset(true);
        if (auto* noise = dynamic_cast<NoiseGenerator*>(&module)) {
            noise->Seed(1U);
        }
    }
    /// A new length of a window is taken outside of the audio, where it may allocate.
    static void Set(UnitModule& module, u32 id, float value) {
        module.SetParameterValue(id, value);
        ProcessContext context;
        module.UpdateParameters(context);
    }
    /// The outputs and, at the end of each, what the module then reads back.
    std::vector<Signal> Run(UnitModule& module, const Signal* audio, const Signal* modulation = nullptr,
                            const BlockSplit& split = BlockSplit::Of(44)) const {
        std::vector<const Signal*> inputs(module.numInputs, modulation);
        for (u32 i = 0; i < GetParam().audioInputs; ++i) {
            inputs[i] = &audio[i];
        }
        // The clock of those without an input.
        auto heard = Render(module, inputs, GetParam().outputs, split, {&clean[0]});
        heard.emplace_back();
        for (u32 id = 0; module.FindParameter(id) != nullptr; ++id) {
            heard.back().push_back(module.GetParameterNormalized(id));
        }
        return heard;
    }
};

INSTANTIATE_TEST_SUITE_P(Modules, ModulePromises, testing::ValuesIn(subjects),
                         [](const auto& row) { return row.param.make()->name; });

TEST_P(ModulePromises, BlocksAndResetsDoNotShow) {
    const auto module = Fresh();
    const auto expected = Run(*module, clean);
    EXPECT_GT(Peak(expected[0]), 0.0F);
    Return(*module);
    EXPECT_EQ(Run(*module, clean), expected) << "after a reset";
    const auto cut = Run(*Fresh(), clean, nullptr, BlockSplit::Random(64, 90, 3));
    // Feedback of a module that sounds is for the eye, and as coarse as the blocks.
    for (std::size_t out = 0; out < std::max(GetParam().outputs, 1U); ++out) {
        for (std::size_t n = 0; n < cut[out].size(); ++n) {
            ASSERT_NEAR(cut[out][n], expected[out][n], 1e-5F) << "output " << out << ", frame " << n;
        }
    }
}

TEST_P(ModulePromises, NothingBadSticks) {
    const auto expected = Run(*Fresh(), clean);
    Signal faulty[] = {clean[0], clean[1]};
    Signal holes[] = {clean[0], clean[1]};
    for (std::size_t n = 5; n < frames; n += 97) {
        const float faults[] = {notANumber, infinity, -infinity, 1e30F, -2e6F};
        faulty[n % 2][n] = faults[n % 5];
        holes[n % 2][n] = 0.0F;
    }
    const auto hurt = Fresh();
    const auto heard = Run(*hurt, faulty);
    if (GetParam().takesFaultsForSilence) {
        EXPECT_EQ(heard, Run(*Fresh(), holes));
    }
    Run(*hurt, clean);
    EXPECT_TRUE(AllFinite(Run(*hurt, clean)[0])) << "no reset is needed to recover";
    for (const float bad : {notANumber, infinity, -infinity, 1e30F, -1e30F, -1.0F}) {
        const Signal modulation(frames, bad);
        for (u32 id = 0; hurt->FindParameter(id) != nullptr; ++id) {
            const float good = hurt->FindParameter(id)->GetValue();
            Set(*hurt, id, bad);
            auto outputs = Run(*hurt, clean, &modulation);
            outputs.pop_back();
            for (const Signal& out : outputs) {
                EXPECT_TRUE(AllFinite(out)) << NameOf(*hurt, id) << " = " << bad;
            }
            Set(*hurt, id, good);
            Return(*hurt);
            EXPECT_EQ(Run(*hurt, clean), expected) << NameOf(*hurt, id) << " = " << bad;
        }
    }
}

} // namespace
