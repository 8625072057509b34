// SPDX-License-Identifier: GPL-3.0-or-later
#include "ModuleRig.h"
#include "reference/FilterBankModel.h"
#include "reference/Measure.h"
#include "vocoder/AnalyzerFilterBank.h"
#include "vocoder/SynthesizerFilterBank.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using namespace orphia::test;
using Velmora::Processor::AnalyzerFilterBank;
using Velmora::Processor::AvailableVocoderKernels;
using Velmora::Processor::SynthesizerFilterBank;
using Biquads = Velmora::Processor::ParallelCascadedBiquadsSIMD<16, 2>;

constexpr u32 bands = 16;
constexpr double rates[] = {44100.0, 48000.0, 96000.0, 192000.0};

double Db(double magnitude) { return 20.0 * std::log10(magnitude); }

/// Frequencies from 20 Hz to 0.45 of the rate, 24 to the decade.
std::vector<double> Frequencies(double rate) {
    std::vector<double> list;
    for (double hz = 20.0; hz < 0.45 * rate; hz *= 1.1) {
        list.push_back(hz);
    }
    return list;
}

/// Holds a measured impulse response against an analytic one: within 0.1 dB down to 90 dB below the loudest
/// frequency.
template <class Response>
void ExpectResponse(const Signal& impulseResponse, double rate, Response&& response,
                    const std::string& what) {
    const std::vector<double> measured(impulseResponse.begin(), impulseResponse.end());
    double loudest = 0.0;
    for (const double hz : Frequencies(rate)) {
        loudest = std::max(loudest, std::abs(response(hz)));
    }
    for (const double hz : Frequencies(rate)) {
        const double expected = Db(std::abs(response(hz)) / loudest);
        if (expected > -90.0) {
            const double got = Db(std::abs(orphia_reference::Transform(measured, hz, rate)) / loudest);
            EXPECT_NEAR(got, expected, 0.1) << what << " at " << hz << " Hz, rate " << rate;
        }
    }
}

TEST(AnalyzerFilterBank, EveryBandHasTheResponseOfItsCircuit) {
    for (const double rate : rates) {
        AnalyzerFilterBank bank;
        bank.Initialize(static_cast<float>(rate), 64);
        const Signal impulse = Impulse(static_cast<std::size_t>(rate * 0.25));
        const auto outputs = Render(bank, {&impulse}, bands, BlockSplit::Of(64));
        const auto plan = orphia_reference::AnalyzerPlan();
        for (u32 band = 0; band < bands; ++band) {
            ExpectResponse(
                outputs[band], rate, [&](double hz) { return plan[band].Response(hz, rate); },
                "band " + std::to_string(band + 1));
        }
    }
}

/// One impulse per band in turn shows the response of that band alone.
Signal SynthesisImpulse(SynthesizerFilterBank& bank, u32 band, double rate) {
    // The narrowest bands ring for most of a second.
    const Signal silence(static_cast<std::size_t>(rate), 0.0F);
    const Signal impulse = Impulse(silence.size());
    std::vector<const Signal*> inputs(bands, &silence);
    inputs[band] = &impulse;
    inputs.resize(bands + 2, nullptr);
    bank.Reset(true);
    return Render(bank, inputs, 1, BlockSplit::Of(64))[0];
}

TEST(SynthesizerFilterBank, ShiftAndWidthMoveTheBandsAsPlanned) {
    const double settings[][2] = {{0.0, 0.0}, {-1.0, 1.0}, {1.0, -1.0}, {0.37, 0.6}};
    for (const double rate : {44100.0, 192000.0}) {
        for (const auto& [shift, width] : settings) {
            SynthesizerFilterBank bank;
            bank.SetParameterValue(SynthesizerFilterBank::shiftId, static_cast<float>(shift));
            bank.SetParameterValue(SynthesizerFilterBank::widthId, static_cast<float>(width));
            bank.Initialize(static_cast<float>(rate), 64);
            const auto plan = orphia_reference::SynthesizerPlan(shift, width);
            for (const u32 band : {0U, 1U, 7U, 15U}) {
                ExpectResponse(
                    SynthesisImpulse(bank, band, rate), rate,
                    [&, w = width](double hz) { return plan[band].Response(hz, rate); },
                    "band " + std::to_string(band + 1) + ", shift " + std::to_string(shift));
            }
        }
    }
}

TEST(SynthesizerFilterBank, AtNeutralSettingsItEqualsTheAnalyser) {
    SynthesizerFilterBank synthesis;
    AnalyzerFilterBank analysis;
    synthesis.SetParameterValue(SynthesizerFilterBank::shiftId, 0.0F);
    synthesis.SetParameterValue(SynthesizerFilterBank::widthId, 0.0F);
    synthesis.Initialize(44100.0F, 44);
    analysis.Initialize(44100.0F, 44);
    const Signal impulse = Impulse(11025);
    const auto split = Render(analysis, {&impulse}, bands, BlockSplit::Of(44));
    for (u32 band = 0; band < bands; ++band) {
        const Signal single = SynthesisImpulse(synthesis, band, 44100.0);
        for (std::size_t n = 0; n < split[band].size(); ++n) {
            ASSERT_NEAR(single[n], split[band][n], 2e-6) << "band " << band + 1 << " sample " << n;
        }
    }
}

TEST(SynthesizerFilterBank, AfterASingleChangeTheShiftGoesOneStepOnly) {
    const auto response = [](u32 blocks, bool touchEveryBlock) {
        SynthesizerFilterBank bank;
        bank.SetParameterValue(SynthesizerFilterBank::shiftId, 0.0F);
        bank.SetParameterValue(SynthesizerFilterBank::widthId, 0.0F);
        bank.Initialize(44100.0F, 44);
        const Signal silence(44, 0.0F);
        std::vector<const Signal*> inputs(bands, &silence);
        Render(bank, inputs, 1, BlockSplit::Of(44));
        bank.SetParameterValue(SynthesizerFilterBank::shiftId, 1.0F);
        for (u32 block = 0; block < blocks; ++block) {
            if (touchEveryBlock) {
                bank.SetParameterValue(SynthesizerFilterBank::widthId, block % 2 == 0 ? 0.001F : 0.0F);
            }
            Render(bank, inputs, 1, BlockSplit::Of(44));
        }
        const Signal noise = Noise(4400, 1.0F, 7);
        inputs.assign(bands, &noise);
        return Render(bank, inputs, 1, BlockSplit::Of(44))[0];
    };
    EXPECT_EQ(response(1, false), response(50, false)) << "blocks without a change must not move the bank";
    EXPECT_NE(response(1, false), response(50, true));
}

TEST(SynthesizerFilterBank, AModulationMovesTheBankOnEveryBlock) {
    SynthesizerFilterBank bank;
    bank.SetParameterValue(SynthesizerFilterBank::shiftId, 0.0F);
    bank.SetParameterValue(SynthesizerFilterBank::widthId, 0.0F);
    bank.Initialize(44100.0F, 44);
    // Position 0.5 plus 0.5: the far end of "Shift". The mark in front tells that the buffer is in use.
    const float modulation[5] = {1.23456F, 0.5F, 0.5F, 0.5F, 0.5F};
    const Signal impulse = Impulse(44100 / 4);
    float out[44];
    float* output = out;
    Signal rendered;
    for (std::size_t pass = 0; pass < 2; ++pass) {
        const Signal& source = pass == 0 ? Signal(44100, 0.0F) : impulse;
        for (std::size_t at = 0; at + 44 <= source.size(); at += 44) {
            const Signal silence(44, 0.0F);
            std::vector<const float*> inputs(bands, silence.data());
            inputs[5] = source.data() + at;
            inputs.push_back(modulation + 1);
            inputs.push_back(nullptr);
            Velmora::dsp::ProcessContext context;
            context.inputs = inputs.data();
            context.numInputs = bands + 2;
            context.outputs = &output;
            context.numOutputs = 1;
            context.numFrames = 44;
            Velmora::dsp::RunChild(bank, context);
            if (pass == 1) {
                rendered.insert(rendered.end(), out, out + 44);
            }
        }
    }
    const auto plan = orphia_reference::SynthesizerPlan(1.0, 0.0);
    ExpectResponse(
        rendered, 44100.0, [&](double hz) { return plan[5].Response(hz, 44100.0); }, "band 6");
}

TEST(ParallelCascadedBiquads, LanesDoNotMixAndBlockSplitsDoNotShow) {
    Biquads one("Bank");
    one.SetBandTypes();
    one.SetFrequencies(Velmora::Processor::BandPlan(159.0F, 0.0F));
    one.Initialize(48000.0F, 64);
    std::vector<Signal> noise;
    std::vector<const Signal*> inputs;
    for (u32 band = 0; band < bands; ++band) {
        noise.push_back(Noise(4800, 1.0F, band + 1));
    }
    for (const Signal& signal : noise) {
        inputs.push_back(&signal);
    }
    const auto whole = Render(one, inputs, bands, BlockSplit::Of(64));
    for (const BlockSplit& split : {BlockSplit::Of(4), BlockSplit::Of(44), BlockSplit::Random(64, 50, 3)}) {
        one.Reset(true);
        EXPECT_EQ(Render(one, inputs, bands, split), whole);
    }
    // Each lane alone, the others silent, gives the same samples.
    const Signal silence(4800, 0.0F);
    for (const u32 band : {0U, 3U, 4U, 15U}) {
        std::vector<const Signal*> single(bands, &silence);
        single[band] = &noise[band];
        one.Reset(true);
        EXPECT_EQ(Render(one, single, bands, BlockSplit::Of(64))[band], whole[band]) << "band " << band + 1;
    }
}

TEST(ParallelCascadedBiquads, EveryInstructionSetGivesTheSameBits) {
    const Signal noise = Noise(9600, 1.0F, 11);
    std::vector<Signal> baseline;
    for (const auto* kernels : AvailableVocoderKernels()) {
        AnalyzerFilterBank bank;
        bank.UseKernels(*kernels);
        bank.Initialize(96000.0F, 96);
        const auto outputs = Render(bank, {&noise}, bands, BlockSplit::Of(96));
        if (baseline.empty()) {
            baseline = outputs;
        }
        EXPECT_EQ(outputs, baseline) << kernels->name;
    }
}

TEST(ParallelCascadedBiquads, NamesAndIdsFollowGroupChannelAndStage) {
    Biquads bank("");
    EXPECT_EQ(NameOf(bank, 0), "Biquad_Channel1_Stage1_Type");
    EXPECT_EQ(NameOf(bank, 31), "Biquad_Channel16_Stage2_Type");
    EXPECT_EQ(NameOf(bank, 63), "Biquad_Channel16_Stage2_Fc");
    EXPECT_EQ(NameOf(bank, 64), "Biquad_Channel1_Stage1_Q");
    EXPECT_EQ(NameOf(bank, 127), "Biquad_Channel16_Stage2_H");
}

TEST(ParallelCascadedBiquads, AGainChangeAloneScalesTheOutput) {
    Biquads bank("Bank");
    bank.SetBandTypes();
    bank.SetFrequencies(Velmora::Processor::BandPlan(159.0F, 0.0F));
    bank.Initialize(44100.0F, 44);
    const Signal noise = Noise(4400, 0.5F, 5);
    const std::vector<const Signal*> inputs(bands, &noise);
    const auto before = Render(bank, inputs, bands, BlockSplit::Of(44));
    bank.SetParameterValue(Biquads::ParameterId(Biquads::Gain, 9, 2), 2.0F * -1.7857F);
    bank.Reset(false);
    const auto after = Render(bank, inputs, bands, BlockSplit::Of(44));
    for (std::size_t n = 0; n < noise.size(); ++n) {
        ASSERT_NEAR(after[8][n], 2.0F * before[8][n], 1e-5F);
        ASSERT_EQ(after[7][n], before[7][n]);
    }
}

TEST(ParallelCascadedBiquads, ABandThatBlewUpComesBackByItself) {
    Biquads bank("Bank");
    bank.SetBandTypes();
    bank.SetFrequencies(Velmora::Processor::BandPlan(159.0F, 0.0F));
    bank.Initialize(44100.0F, 44);
    const Signal noise = Noise(44100, 0.5F, 5);
    const std::vector<const Signal*> inputs(bands, &noise);
    const auto healthy = Render(bank, inputs, bands, BlockSplit::Of(44));
    for (const auto& [group, value] :
         {std::pair{Biquads::Quality, 0.0F}, std::pair{Biquads::Frequency, 24000.0F}}) {
        const u32 id = Biquads::ParameterId(group, 4, 1);
        const float sane = bank.FindParameter(id)->GetValue();
        bank.SetParameterValue(id, value);
        Render(bank, inputs, bands, BlockSplit::Of(44));
        bank.SetParameterValue(id, sane);
        Render(bank, inputs, bands, BlockSplit::Of(44));
        const auto healed = Render(bank, inputs, bands, BlockSplit::Of(44));
        EXPECT_TRUE(AllFinite(healed[3]));
        EXPECT_NEAR(Peak(healed[3]), Peak(healthy[3]), 0.1F * Peak(healthy[3]));
        EXPECT_NEAR(Peak(healed[4]), Peak(healthy[4]), 0.1F * Peak(healthy[4]));
    }
}

} // namespace
