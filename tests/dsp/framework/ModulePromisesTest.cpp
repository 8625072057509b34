// SPDX-License-Identifier: GPL-3.0-or-later
// What every module keeps, whatever it does. Effects with smooth controls: EffectRig.h.
#include "dsp/effects/compressor/Compressor.h"
#include "dsp/effects/equaliser/ParamEq.h"
#include "dsp/envelopes/EnvFollower.h"
#include "dsp/lfo/LFO.h"
#include "dsp/lfo/LFOSimple.h"
#include "dsp/oscillators/NoiseGenerator.h"
#include "dsp/oscillators/PolyBlepPostFilter.h"
#include "dsp/pitch/PitchTracker.h"
#include "rigs/OscillatorRig.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>

namespace {

using namespace orphia::test;
using namespace Velmora::dsp;
using Eq = ParamEq<5>;

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr std::size_t frames = 4400;

/// How a module is set, and how many of its inputs, from the first on, are audio. The others modulate.
struct Promise {
    Settings settings;
    u32 audioInputs = 0;
    u32 outputs = 1;
    bool takesFaultsForSilence = false;
};

template <class M>
const Promise promise{};
template <>
const Promise promise<Compressor>{{{Compressor::Threshold, -30.0F},
                                   {Compressor::Ratio, 8.0F},
                                   {Compressor::ConfStereo, 1.0F},
                                   {Compressor::LookaheadEnable, 1.0F},
                                   {Compressor::LookaheadTimeMs, 3.0F},
                                   {Compressor::LevelMeasureSmoothAR, 1.0F},
                                   {Compressor::Makeup, 1.0F}},
                                  2,
                                  2,
                                  true};
template <>
const Promise promise<EnvFollower>{
    {{EnvFollower::rmsWindowDurationMs, 7.0F}, {EnvFollower::stereoInput, 1.0F}}, 2, 1, true};
template <>
const Promise promise<PitchTracker>{{{PitchTracker::confidenceThreshold, 0.0F}}, 2, 1};
template <>
const Promise promise<NoiseGenerator>{{{0, NoiseGenerator::Morph}, {1, 0.2F}}};
template <>
const Promise promise<LFO>{
    {{LFO::controlRate, 0.0F}, {LFO::waveform, LFO::Sine}, {LFO::rateUnSynced, 7.3F}, {LFO::stereo, 1.0F}},
    0,
    2};
template <>
const Promise promise<LFOSimple>{{{LFOSimple::Rate, 5.0F}}, 0, 2};
template <>
const Promise promise<Eq>{{{Eq::OnId(0), 1.0F},
                           {Eq::ModeId(0), 3.0F},
                           {Eq::GainId(0), 12.0F},
                           {Eq::OnId(4), 1.0F},
                           {Eq::QId(4), 5.0F}},
                          2,
                          2};
template <>
const Promise promise<PolyBlepPostFilter>{{}, 1, 1};

template <class M>
struct ModulePromises : testing::Test {
    const Promise& kept = promise<M>;
    const Signal clean[2] = {Noise(frames, 0.7F, 1), Noise(frames, 0.4F, 2)};

    std::unique_ptr<M> Fresh() const {
        auto module = std::make_unique<M>();
        module->Initialize(44100.0F, 64);
        Return(*module);
        return module;
    }
    /// To the settings and the start of what is random.
    void Return(M& module) const {
        for (const auto& [id, value] : kept.settings) {
            module.SetParameterValue(id, value);
        }
        module.Reset(true);
        if constexpr (requires { module.Seed(1U); }) {
            module.Seed(1U);
        }
    }
    /// A new length of a window is taken outside of the audio, where it may allocate.
    static void Set(M& module, u32 id, float value) {
        module.SetParameterValue(id, value);
        ProcessContext context;
        module.UpdateParameters(context);
    }
    std::vector<Signal> Run(M& module, const Signal* audio, const Signal* modulation = nullptr,
                            const BlockSplit& split = BlockSplit::Of(44)) const {
        std::vector<const Signal*> inputs(module.numInputs, modulation);
        for (u32 i = 0; i < kept.audioInputs; ++i) {
            inputs[i] = &audio[i];
        }
        // The clock of those without an input.
        return Render(module, inputs, kept.outputs, split, {&clean[0]});
    }
};

using Modules = testing::Types<Compressor, EnvFollower, PitchTracker, NoiseGenerator, LFO, LFOSimple, Eq,
                               PolyBlepPostFilter>;
TYPED_TEST_SUITE(ModulePromises, Modules);

} // namespace

TYPED_TEST(ModulePromises, BlocksSharedBuffersAndResetsDoNotShow) {
    const auto module = this->Fresh();
    const auto expected = this->Run(*module, this->clean);
    EXPECT_GT(Peak(expected[0]), 0.0F);
    this->Return(*module);
    EXPECT_EQ(this->Run(*module, this->clean), expected) << "after a reset";
    const auto cut = this->Run(*this->Fresh(), this->clean, nullptr, BlockSplit::Random(64, 90, 3));
    for (std::size_t out = 0; out < cut.size(); ++out) {
        for (std::size_t n = 0; n < frames; ++n) {
            ASSERT_NEAR(cut[out][n], expected[out][n], 1e-5F) << "output " << out << ", frame " << n;
        }
    }
    if (this->kept.audioInputs > 0) {
        std::vector<Signal> io(this->clean, this->clean + this->kept.audioInputs);
        std::vector<float*> outputs = Pointers(io);
        const std::vector<const float*> inputs(outputs.begin(), outputs.end());
        outputs.resize(this->kept.outputs);
        RunInPlace(*this->Fresh(), inputs, outputs, 44);
        EXPECT_TRUE(std::equal(expected[0].begin(), expected[0].begin() + 44, io[0].begin())) << "in place";
    }
}

TYPED_TEST(ModulePromises, NothingBadSticks) {
    const auto expected = this->Run(*this->Fresh(), this->clean);
    Signal faulty[] = {this->clean[0], this->clean[1]};
    Signal holes[] = {this->clean[0], this->clean[1]};
    for (std::size_t n = 5; n < frames; n += 97) {
        const float faults[] = {notANumber, infinity, -infinity, 1e30F, -2e6F};
        faulty[n % 2][n] = faults[n % 5];
        holes[n % 2][n] = 0.0F;
    }
    const auto hurt = this->Fresh();
    const auto heard = this->Run(*hurt, faulty);
    if (this->kept.takesFaultsForSilence) {
        EXPECT_EQ(heard, this->Run(*this->Fresh(), holes));
    }
    this->Run(*hurt, this->clean);
    EXPECT_TRUE(AllFinite(this->Run(*hurt, this->clean)[0])) << "no reset is needed to recover";
    for (const float bad : {notANumber, infinity, -infinity, 1e30F, -1e30F, -1.0F}) {
        const Signal modulation(frames, bad);
        for (u32 id = 0; id < TypeParam::parameterCount; ++id) {
            const float good = hurt->FindParameter(id)->GetValue();
            this->Set(*hurt, id, bad);
            for (const Signal& out : this->Run(*hurt, this->clean, &modulation)) {
                EXPECT_TRUE(AllFinite(out)) << NameOf(*hurt, id) << " = " << bad;
            }
            this->Set(*hurt, id, good);
            this->Return(*hurt);
            EXPECT_EQ(this->Run(*hurt, this->clean), expected) << NameOf(*hurt, id) << " = " << bad;
        }
    }
}
