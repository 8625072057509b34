// SPDX-License-Identifier: GPL-3.0-or-later
#include "ModuleRig.h"
#include "reference/FilterBankModel.h"
#include "vocoder/AnalyzerFilterBank.h"
#include "vocoder/SynthesizerFilterBank.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace orphia::test;
using Velmora::Processor::AnalyzerFilterBank;
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
    double loudest = 0.0;
    for (const double hz : Frequencies(rate)) {
        loudest = std::max(loudest, std::abs(response(hz)));
    }
    for (const double hz : Frequencies(rate)) {
        const double expected = Db(std::abs(response(hz)) / loudest);
        if (expected > -90.0) {
            const double got = Db(std::abs(Transform(impulseResponse, hz, rate)) / loudest);
            EXPECT_NEAR(got, expected, 0.1) << what << " at " << hz << " Hz, rate " << rate;
        }
    }
}

TEST(FilterBanks, TheSixteenBandsLieWhereTheTableSays) {
    const double stages[bands][2] = {
        {191.5694, 191.5694},   {162.7164, 195.7520},   {205.0099, 246.6320},   {258.2963, 310.7369},
        {325.4329, 391.5039},   {410.0198, 493.2641},   {516.5925, 621.4738},   {650.8658, 783.0079},
        {820.0396, 986.5281},   {1033.1851, 1242.9475}, {1301.7316, 1566.0157}, {1640.0791, 1973.0563},
        {2066.3701, 2485.8950}, {2603.4631, 3132.0315}, {3280.1582, 3946.1125}, {4132.7402, 4971.7900}};
    const auto analysis = orphia_reference::AnalyzerPlan();
    const auto synthesis = orphia_reference::SynthesizerPlan(0.0, 0.0);
    for (u32 band = 0; band < bands; ++band) {
        for (std::size_t stage = 0; stage < 2; ++stage) {
            const double expected = stages[band][stage];
            EXPECT_NEAR(analysis[band].fc[stage], expected, 1e-6 * expected) << "band " << band + 1;
            EXPECT_NEAR(synthesis[band].fc[stage], expected, 1e-6 * expected) << "band " << band + 1;
        }
        EXPECT_NEAR(analysis[band].q, band == 0 ? 0.7416 : 7.563376, 1e-5) << "band " << band + 1;
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

} // namespace
