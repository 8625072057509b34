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

/// A module, how it is set, and how many of its inputs, from the first on, are audio. The others modulate.
struct Subject {
    std::unique_ptr<UnitModule> (*make)();
    std::vector<std::pair<u32, float>> settings;
    u32 audioInputs = 0;
    u32 outputs = 1;
    bool takesFaultsForSilence = false;
};
using Equaliser = ParamEq<5>;
const Subject subjects[] = {
    {Make<Compressor>,
     {{Compressor::Threshold, -30},
      {Compressor::Ratio, 8},
      {Compressor::ConfStereo, 1},
      {Compressor::LookaheadEnable, 1},
      {Compressor::LookaheadTimeMs, 3},
      {Compressor::LevelMeasureSmoothAR, 1},
      {Compressor::Makeup, 1}},
     2,
     2,
     true},
    {Make<EnvFollower>, {{EnvFollower::RMSWindowDurationMs, 7}, {EnvFollower::StereoInput, 1}}, 2, 1, true},
    {Make<PitchTracker>, {{PitchTracker::ConfidenceThreshold, 0}}, 2, 1, true},
    {Make<NoiseGenerator>, {{NoiseGenerator::NoiseType, 5}, {NoiseGenerator::NoiseColor, 0.2F}}},
    {Make<LFO>, {{LFO::ControlRate, 0}, {LFO::RateUnSynced, 7.3F}, {LFO::Stereo, 1}}, 0, 2},
    {Make<LFOSimple>, {{LFOSimple::Rate, 5}}, 0, 2},
    {Make<Equaliser>, {{Equaliser::OnId(0), 1}, {Equaliser::ModeId(0), 3}, {Equaliser::GainId(0), 12}}, 2, 2},
    {Make<PolyBlepPostFilter>, {}, 1, 1},
    {Make<InputDetector>, {{InputDetector::Threshold, -20}, {InputDetector::Hold, 0.01F}}, 2, 0},
    {Make<VuMeter>, {{VuMeter::Calibration, 1}}, 1, 0}};

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
        for (const auto& [id, value] : GetParam().settings) {
            module.SetParameterValue(id, value);
        }
        module.Reset(true);
        if (auto* noise = dynamic_cast<NoiseGenerator*>(&module)) {
            noise->Seed(1U);
        }
    }
    /// The outputs and, at the end, what the module then reads back.
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
    EXPECT_TRUE(!GetParam().takesFaultsForSilence || heard == Run(*Fresh(), holes));
    Run(*hurt, clean);
    EXPECT_TRUE(AllFinite(Run(*hurt, clean)[0])) << "no reset is needed to recover";
    for (const float bad : {notANumber, infinity, -infinity, 1e30F, -1.0F}) {
        const Signal modulation(frames, bad);
        for (u32 id = 0; hurt->FindParameter(id) != nullptr; ++id) {
            const float good = hurt->FindParameter(id)->GetValue();
            hurt->SetParameterValue(id, bad);
            // A new length of a window is taken outside of the audio, where it may allocate.
            ProcessContext context;
            hurt->UpdateParameters(context);
            const auto outputs = Run(*hurt, clean, &modulation);
            EXPECT_TRUE(std::all_of(outputs.begin(), outputs.end() - 1, AllFinite)) << id << ": " << bad;
            hurt->SetParameterValue(id, good);
            hurt->UpdateParameters(context);
            Return(*hurt);
            EXPECT_EQ(Run(*hurt, clean), expected) << NameOf(*hurt, id) << " = " << bad;
        }
    }
}

} // namespace
