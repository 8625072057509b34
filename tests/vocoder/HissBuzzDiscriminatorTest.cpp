// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/HissBuzzDiscriminator.h"

#include "StageRig.h"

using namespace Velmora;
using namespace Velmora::Processor;
using namespace Velmora::Test;

namespace {

std::unique_ptr<HissBuzzDiscriminator> MakeDiscriminator(float trimmer, double sampleRate = 48000.0) {
    auto discriminator = MakeStage<HissBuzzDiscriminator>(sampleRate);
    discriminator->SetParameterValue(HissBuzzDiscriminator::HissBuzzTrimmer, trimmer);
    return discriminator;
}

/// The decision after 0.1 s of an input: +15 or -15.
float Decision(HissBuzzDiscriminator& discriminator, const Signal& input) {
    const Signals out = Render(discriminator, {input}, 2);
    for (std::size_t n = 0; n < out[0].size(); ++n) {
        EXPECT_EQ(std::abs(out[0][n]), 15.0F);
        EXPECT_EQ(out[1][n], -out[0][n]);
    }
    return out[0].back();
}

double HighMinusLow(double hz, double rate) {
    return 2.0 * std::abs(HighPass2(AnalogueFrequency(hz, 1860.4652, rate), 0.72008)) -
           1.5909 * std::abs(LowPass2(AnalogueFrequency(hz, 1833.142, rate), 0.73082));
}

/// Where the two sides weigh the same.
double CrossoverHz(double rate) {
    double low = 1000.0;
    double high = 3000.0;
    for (int n = 0; n < 40; ++n) {
        const double middle = 0.5 * (low + high);
        (HighMinusLow(middle, rate) < 0.0 ? low : high) = middle;
    }
    return low;
}

} // namespace

TEST(HissBuzzDiscriminatorTest, TurnsFromVoicedToUnvoicedWhereTheBandsWeighTheSame) {
    for (const double rate : responseRates) {
        const double crossover = CrossoverHz(rate);
        const auto length = static_cast<std::size_t>(rate / 10.0);
        for (const double amplitude : {0.1, 10.0}) {
            auto discriminator = MakeDiscriminator(0.5F, rate);
            for (const double factor : {0.1, 0.998, 1.002, 6.0, 0.998}) {
                const double hz = crossover * factor;
                EXPECT_EQ(Decision(*discriminator, Tone(length, hz, rate, amplitude)),
                          factor < 1.0 ? 15.0F : -15.0F)
                    << hz << " Hz at rate " << rate;
            }
        }
    }
}

TEST(HissBuzzDiscriminatorTest, SilenceIsVoicedUnlessTheTrimmerSaysOtherwise) {
    const std::pair<float, float> cases[] = {{0.0F, -15.0F}, {0.49F, -15.0F},  {0.4999F, 15.0F},
                                             {0.5F, 15.0F},  {0.5001F, 15.0F}, {1.0F, 15.0F}};
    for (const auto& [trimmer, expected] : cases) {
        EXPECT_EQ(Decision(*MakeDiscriminator(trimmer), Signal(440, 0.0F)), expected)
            << "trimmer " << trimmer;
    }
}

TEST(HissBuzzDiscriminatorTest, TheTrimmerOffsetsTheComparator) {
    constexpr double rate = 48000.0;
    const auto meanOfTone = [](double amplitude) { return amplitude * 0.9982 * 2.0 / pi; };
    // Odd frequencies: no short period in samples, so the mean magnitude of the tone is that of the sine.
    const std::pair<double, double> sides[] = {{1009.0, 0.0}, {5003.0, 1.0}};
    for (const auto& [hz, mirror] : sides) {
        const double weight = meanOfTone(std::abs(HighMinusLow(hz, rate)));
        for (const auto& [position, offset] : {std::pair(0.0, 0.070484), std::pair(0.25, 0.034933)}) {
            const float trimmer = static_cast<float>(mirror > 0.0 ? 1.0 - position : position);
            const float won = mirror > 0.0 ? -15.0F : 15.0F;
            for (const double factor : {0.996, 1.004}) {
                const Signal tone = Tone(9600, hz, rate, offset / weight * factor);
                EXPECT_EQ(Decision(*MakeDiscriminator(trimmer), tone), factor > 1.0 ? won : -won)
                    << hz << " Hz, trimmer " << trimmer << ", factor " << factor;
            }
        }
    }
}

TEST(HissBuzzDiscriminatorTest, KeepsItsStageInvariants) {
    ExpectStageInvariants([] { return MakeDiscriminator(0.5F); }, {Noise(4400, 1.0F, 12)}, 2);
}

TEST(HissBuzzDiscriminatorTest, DecidesRightAgainAfterImpossibleFilters) {
    using Parameter = HissBuzzDiscriminator::Parameter;
    auto discriminator = MakeDiscriminator(0.5F);
    const Signal low = Tone(9600, 500.0, 48000.0, 1.0);
    const Signal high = Tone(9600, 6000.0, 48000.0, 1.0);
    for (const float q : {0.0F, -0.5F, -20.0F}) {
        discriminator->SetParameterValue(Parameter::QHP, q);
        discriminator->SetParameterValue(Parameter::QLP, 0.0F);
        Decision(*discriminator, low);
        discriminator->SetParameterValue(Parameter::QHP, 0.72008F);
        discriminator->SetParameterValue(Parameter::QLP, 0.73082F);
        EXPECT_EQ(Decision(*discriminator, low), 15.0F) << "after Q " << q;
        EXPECT_EQ(Decision(*discriminator, high), -15.0F) << "after Q " << q;
    }
}

TEST(HissBuzzDiscriminatorTest, StaysStableAtLowRatesWithCornersAboveNyquist) {
    auto discriminator = MakeDiscriminator(0.5F, 22050.0);
    discriminator->SetParameterValue(HissBuzzDiscriminator::FcLP, 15000.0F);
    discriminator->SetParameterValue(HissBuzzDiscriminator::FcHP, 15000.0F);
    // With everything below the corner, every tone is voiced.
    EXPECT_EQ(Decision(*discriminator, Tone(4400, 5000.0, 22050.0, 1.0)), 15.0F);
}
