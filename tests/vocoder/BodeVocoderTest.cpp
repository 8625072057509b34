// SPDX-License-Identifier: GPL-3.0-or-later
#include "CoreRig.h"
#include "reference/AllocationCounter.h"
#include "reference/VocoderModel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numbers>
#include <set>

namespace {

using namespace orphia::test;
using orphia_reference::StereoVocoderModel;
using orphia_reference::VocoderParameters;

constexpr std::size_t second = 44100;

double Rms(const Signal& signal) {
    double sum = 0.0;
    for (const float x : signal) {
        sum += static_cast<double>(x) * x;
    }
    return std::sqrt(sum / static_cast<double>(signal.size()));
}

std::vector<double> Widened(const Signal& signal) { return {signal.begin(), signal.end()}; }

/// RMS of the difference over RMS of the reference, in dB.
double DifferenceDb(const Signal& got, const std::vector<double>& expected) {
    double difference = 0.0;
    double power = 0.0;
    for (std::size_t n = 0; n < got.size(); ++n) {
        difference += std::pow(got[n] - expected[n], 2.0);
        power += expected[n] * expected[n];
    }
    return 10.0 * std::log10((difference + 1e-30) / (power + 1e-30));
}

/// A setting of the core and the same one of the double-precision model.
struct Setting {
    std::string name;
    std::function<void(CoreRig&)> onCore;
    std::function<void(VocoderParameters&)> onModel;
};

VocoderParameters ModelDefaults() {
    VocoderParameters parameters;
    parameters.programLevelDb = -10.0;
    parameters.carrierLevelDb = -10.0;
    parameters.hf.level = 0.5;
    return parameters;
}

std::vector<Setting> Settings() {
    return {
        {"as it is", [](CoreRig&) {}, [](VocoderParameters&) {}},
        {"moved and widened bank, half dry",
         [](CoreRig& rig) {
             rig.Set("SynthesizerFilterBank_Shift", 0.6F);
             rig.Set("SynthesizerFilterBank_Width", -0.4F);
             rig.Set("BodeVocoder_Wet", 0.5F);
         },
         [](VocoderParameters& p) {
             p.shift = 0.6F;
             p.width = -0.4F;
             p.wet = 0.5;
         }},
        {"slow unvoiced gates, noise on the carrier bus, hot levels",
         [](CoreRig& rig) {
             rig.Set("BodeVocoder_UnvoicedMode", 1.0F);
             rig.Set("NoiseCarrierBalance_NoiseMix", 1.0F);
             rig.Set("NoiseCarrierBalance_NoiseCarrierBalance", 0.3F);
             rig.Set("Preamp_ProgramLevel", 0.0F);
             rig.Set("CarrierPreamp_CarrierLevel", 0.0F);
             rig.Set("HFChannel_HFMode", 1.0F);
         },
         [](VocoderParameters& p) {
             p.unvoicedMode = 1;
             p.noiseMix = true;
             p.balance = 0.3F;
             p.programLevelDb = 0.0;
             p.carrierLevelDb = 0.0;
             p.hf.mode = 1;
         }},
        {"patched panel, trimmed discriminator, uneven bands",
         [](CoreRig& rig) {
             rig.Set("PatchBay_Activated", 1.0F);
             rig.Set("PatchBay_Analysis3_Synthesis10", 0.8F);
             rig.Set("PatchBay_Analysis12_Synthesis5", 0.6F);
             rig.Set("PatchBay_Analysis2_Synthesis5", -0.5F);
             rig.Set("PatchBay_GainBand3", 0.25F);
             rig.Set("HissBuzzDiscriminator_HissBuzzTrimmer", 0.35F);
         },
         [](VocoderParameters& p) {
             p.patch.activated = true;
             p.patch.Connect(2, 9, 0.8F);
             p.patch.Connect(11, 4, 0.6F);
             p.patch.Connect(1, 4, -0.5F);
             p.patch.gainBand[2] = 0.25;
             p.discriminator.trimmer = 0.35F;
         }},
    };
}

TEST(BodeVocoder, SoundsAsTheCircuitModelAtEverySettingAndRate) {
    struct Rate {
        float hz;
        u32 block;
        /// The rounding of the single-precision filter banks sets the limit; it grows with the rate.
        double differenceDb;
    };
    for (const auto& [rate, block, limit] : {Rate{44100.0F, 44, -95.0}, Rate{192000.0F, 192, -85.0}}) {
        const auto frames = static_cast<std::size_t>(rate / 4.0F) / 4 * 4 * 3;
        const StereoPair carrier = ChordPair(frames, rate);
        const StereoPair modulator = SpeechPair(frames, rate);
        for (const Setting& setting : Settings()) {
            CoreRig rig(rate, block);
            setting.onCore(rig);
            rig.Initialize();
            const auto outputs = rig.Run(carrier, modulator);

            VocoderParameters parameters = ModelDefaults();
            setting.onModel(parameters);
            StereoVocoderModel model({rate, block, orphia_reference::CoefficientMath::Double}, parameters,
                                     12345, 54321);
            const auto expected = model.Render({Widened(carrier.left), Widened(carrier.right)},
                                               {Widened(modulator.left), Widened(modulator.right)});
            EXPECT_GT(Rms(outputs[0]), 1e-3) << setting.name;
            EXPECT_LT(DifferenceDb(outputs[0], expected.left), limit) << setting.name << ", rate " << rate;
            EXPECT_LT(DifferenceDb(outputs[1], expected.right), limit) << setting.name << ", rate " << rate;
            const auto& lights = model.lights;
            EXPECT_NEAR(rig.Get("HissLED"), lights.hiss, 1e-3) << setting.name;
            EXPECT_NEAR(rig.Get("BuzzLED"), lights.buzz, 1e-3) << setting.name;
            EXPECT_NEAR(rig.Get("_CarrierPreampOverloadLED"), lights.carrierOverload, 1e-3) << setting.name;
            EXPECT_NEAR(rig.Get("_PreampOverloadLED"), lights.programOverload, 1e-3) << setting.name;
            for (u32 band = 0; band < 16; ++band) {
                EXPECT_NEAR(rig.Get("CVFB" + std::to_string(band + 1)), lights.bandMeters[band], 1e-3)
                    << setting.name;
            }
        }
    }
}

TEST(BodeVocoder, IdsAndNamesAreThePathsOfTheTree) {
    CoreRig rig;
    BodeVocoder& core = *rig.core;
    EXPECT_EQ(BodeVocoder::parameterCount, 614U);
    const std::pair<u32, const char*> edges[] = {
        {0, "BodeVocoder_Preamp_ProgramLevel"},
        {1, "BodeVocoder_AnalyzerFilterBank_FilterBank_Biquad_Channel1_Stage1_Type"},
        {128, "BodeVocoder_AnalyzerFilterBank_FilterBank_Biquad_Channel16_Stage2_H"},
        {129, "BodeVocoder_AnalyzerRectifiers_RectifierFollower1_Attack"},
        {160, "BodeVocoder_AnalyzerRectifiers_RectifierFollower16_Release"},
        {161, "BodeVocoder_AnalyzerRectifiers_Attack"},
        {162, "BodeVocoder_AnalyzerRectifiers_Release"},
        {163, "BodeVocoder_SynthesizerFilterBank_ParallelBiquadSIMD_Biquad_Channel1_Stage1_Type"},
        {291, "BodeVocoder_SynthesizerFilterBank_Shift"},
        {292, "BodeVocoder_SynthesizerFilterBank_Width"},
        {297, "BodeVocoder_HissBuzzDiscriminator_HissBuzzTrimmer"},
        {299, "BodeVocoder_NoiseCarrierBalance_NoiseMix"},
        {300, "BodeVocoder_NoiseGenerator_NoiseType"},
        {302, "BodeVocoder_CarrierPreamp_CarrierLevel"},
        {311, "BodeVocoder_HFChannel_ReleaseHF"},
        {312, "BodeVocoder_PatchBay_Analysis1_Synthesis1"},
        {313, "BodeVocoder_PatchBay_Analysis2_Synthesis1"},
        {567, "BodeVocoder_PatchBay_Analysis16_Synthesis16"},
        {568, "BodeVocoder_PatchBay_GainBand1"},
        {585, "BodeVocoder_PatchBay_Activated"},
        {586, "BodeVocoder_NoiseLevel"},
        {592, "BodeVocoder_UnvoicedMode"},
        {593, "BodeVocoder_Wet"},
        {594, "BodeVocoder_CarrierPreampOverloadLED"},
        {597, "BodeVocoder_BuzzLED"},
        {598, "BodeVocoder_CVFB1"},
        {613, "BodeVocoder_CVFB16"}};
    for (const auto& [id, name] : edges) {
        EXPECT_EQ(NameOf(core, id), name) << "id " << id;
    }
    std::set<std::string> names;
    for (u32 id = 0; id < BodeVocoder::parameterCount; ++id) {
        EXPECT_TRUE(names.insert(NameOf(core, id)).second) << "two parameters are named " << NameOf(core, id);
    }
}

TEST(BodeVocoder, EveryParameterReadsBackWhatWasSet) {
    CoreRig rig;
    for (u32 id = 0; id < BodeVocoder::parameterCount; ++id) {
        for (const float position : {0.0F, 1.0F, 0.5F}) {
            rig.core->SetParameterNormalized(id, position);
            EXPECT_EQ(rig.core->GetParameterNormalized(id), position) << NameOf(*rig.core, id);
        }
    }
    EXPECT_EQ(rig.core->GetParameterNormalized(BodeVocoder::parameterCount), 0.0F);
}

TEST(BodeVocoder, BlockSplitsAndInstructionSetsDoNotShow) {
    const StereoPair carrier = ChordPair(second / 4 * 4, 44100.0F);
    const StereoPair modulator = SpeechPair(second / 4 * 4, 44100.0F);
    std::vector<Signal> first;
    for (const auto* kernels : Velmora::Processor::AvailableVocoderKernels()) {
        for (const BlockSplit& split :
             {BlockSplit::Of(44), BlockSplit::Of(4), BlockSplit::Random(44, 500, 21)}) {
            CoreRig rig;
            rig.core->UseKernels(*kernels);
            rig.Initialize();
            const auto outputs = rig.Run(carrier, modulator, split);
            if (first.empty()) {
                first = outputs;
            }
            EXPECT_EQ(outputs, first) << kernels->name << ", blocks of " << split.sizes[0];
        }
    }
}

TEST(BodeVocoder, WetIsAnEqualPowerCrossfadeOfPreampAndVocoder) {
    const StereoPair carrier = ChordPair(8800, 44100.0F);
    const StereoPair modulator = SpeechPair(8800, 44100.0F);
    const auto render = [&](float wet) {
        CoreRig rig;
        rig.Set("BodeVocoder_Wet", wet);
        rig.Initialize();
        return rig.Run(carrier, modulator);
    };
    const auto dry = render(0.0F);
    const auto wet = render(1.0F);
    for (const float position : {0.25F, 0.5F, 0.9F}) {
        const auto mixed = render(position);
        const double angle = position * std::numbers::pi / 2.0;
        for (std::size_t n = 0; n < mixed[0].size(); ++n) {
            ASSERT_NEAR(mixed[0][n], std::cos(angle) * dry[0][n] + std::sin(angle) * wet[0][n], 2e-6);
        }
    }
    for (std::size_t n = 0; n < dry[0].size(); ++n) {
        ASSERT_NEAR(dry[0][n], 0.057048F * 0.3162F * dry[4][n], 1e-6) << "dry is the program preamp alone";
    }
}

TEST(BodeVocoder, TheNoiseLevelAndTheBuzzSwitchDoNotReachTheSound) {
    const StereoPair carrier = ChordPair(8800, 44100.0F);
    const StereoPair modulator = SpeechPair(8800, 44100.0F);
    CoreRig plain;
    plain.Initialize();
    CoreRig changed;
    changed.Set("BodeVocoder_NoiseLevel", 20.0F);
    changed.Set("BodeVocoder_BuzzSwitched", 1.0F);
    // With the fixed unvoiced times the four settable ones are not used either.
    changed.Set("BodeVocoder_NoiseGateAttack", 1.0F);
    changed.Set("BodeVocoder_HFRelease", 40.0F);
    changed.Initialize();
    EXPECT_EQ(plain.Run(carrier, modulator), changed.Run(carrier, modulator));
}

TEST(BodeVocoder, SilenceReadsAsVoicedAndTheLightsTellTheTwoApart) {
    CoreRig rig;
    rig.Initialize();
    const StereoPair silence = {Signal(second, 0.0F), Signal(second, 0.0F)};
    rig.Run(silence, silence);
    EXPECT_NEAR(rig.Get("BuzzLED"), 1.0F, 1e-3F);
    EXPECT_NEAR(rig.Get("HissLED"), 0.0F, 1e-3F);
    Signal hiss = Noise(second, 0.5F, 4);
    for (std::size_t n = hiss.size() - 1; n > 0; --n) {
        hiss[n] -= hiss[n - 1];
    }
    rig.Run(silence, {hiss, hiss});
    EXPECT_LT(rig.Get("BuzzLED"), 0.1F);
    EXPECT_GT(rig.Get("HissLED"), 0.9F);
}

TEST(BodeVocoder, TheVoicedLightFallsInTheReleaseTimeFromTheFirstBlockOn) {
    CoreRig rig;
    rig.Set("AnalyzerRectifiers_Release", 5.0F);
    // Trimmed such that silence reads as unvoiced.
    rig.Set("HissBuzzDiscriminator_HissBuzzTrimmer", 0.0F);
    rig.Initialize();
    const StereoPair silence = {Signal(44, 0.0F), Signal(44, 0.0F)};
    rig.Run(silence, silence);
    EXPECT_NEAR(rig.Get("BuzzLED"), std::exp(-44.0 / 44100.0 / 5.0), 1e-4) << "one block";
    const StereoPair long5s = {Signal(5 * second, 0.0F), Signal(5 * second, 0.0F)};
    rig.Run(long5s, long5s);
    EXPECT_NEAR(rig.Get("BuzzLED"), std::exp(-1.0), 1e-2) << "one release time";
}

TEST(BodeVocoder, ResetEqualsANewCore) {
    const StereoPair carrier = ChordPair(8800, 44100.0F);
    const StereoPair modulator = SpeechPair(8800, 44100.0F);
    CoreRig used;
    used.Initialize();
    used.Run(carrier, modulator);
    used.core->Reset(true);
    used.core->SeedChannelNoise(0, 12345);
    used.core->SeedChannelNoise(1, 54321);
    CoreRig fresh;
    fresh.Initialize();
    EXPECT_EQ(used.Run(carrier, modulator), fresh.Run(carrier, modulator));
}

TEST(BodeVocoder, ChannelsAreIndependent) {
    const StereoPair carrier = ChordPair(8800, 44100.0F);
    const StereoPair modulator = SpeechPair(8800, 44100.0F);
    const StereoPair halfModulator = {modulator.left, Signal(8800, 0.0F)};
    CoreRig both;
    both.Initialize();
    CoreRig left;
    left.Initialize();
    EXPECT_EQ(both.Run(carrier, modulator)[0], left.Run(carrier, halfModulator)[0]);
}

TEST(BodeVocoder, ABlockNeitherAllocatesNorLeavesTheCallersFloatMode) {
    CoreRig rig;
    rig.Initialize();
    const StereoPair carrier = ChordPair(44, 44100.0F);
    const StereoPair modulator = SpeechPair(44, 44100.0F);
    const float* inputs[11] = {carrier.left.data(), carrier.right.data()};
    const float* aux[2] = {modulator.left.data(), modulator.right.data()};
    std::vector<Signal> buffers(6, Signal(44));
    float* outputs[6];
    for (std::size_t i = 0; i < 6; ++i) {
        outputs[i] = buffers[i].data();
    }
    const u32 shift = rig.Find("SynthesizerFilterBank_Shift");
    const u32 route = rig.Find("PatchBay_Analysis3_Synthesis10");
    Velmora::dsp::ProcessContext context;
    context.inputs = inputs;
    context.numInputs = 11;
    context.auxInputs = aux;
    context.numAuxInputs = 2;
    context.outputs = outputs;
    context.numOutputs = 6;
    context.numFrames = 44;
    const orphia_reference::AllocationCounter counter;
    for (u32 block = 0; block < 100; ++block) {
        rig.core->SetParameterNormalized(shift, static_cast<float>(block) * 0.01F);
        rig.core->SetParameterNormalized(route, static_cast<float>(block) * 0.01F);
        Velmora::dsp::RunChild(*rig.core, context);
    }
    EXPECT_EQ(counter.Count(), 0U);
}

} // namespace
