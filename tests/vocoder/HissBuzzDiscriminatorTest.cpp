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
