// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/chorus/Chorus.h"

#include "rigs/EffectRig.h"

namespace {

using namespace orphia::test;
using Velmora::dsp::Chorus;

constexpr double twoPi = 2.0 * std::numbers::pi;

/// One voice that does not move, wet alone.
const Settings still = {{Chorus::DryWet, 1.0F}, {Chorus::Depth, 0.0F}, {Chorus::Voices, 1.0F}};

} // namespace

TEST(ChorusTest, AStillVoiceDelaysByTheDelayInMillisecondsAndKeepsTheTreble) {
    const float step = 1.0F / (16.0F * 44.1F);
    for (const float rate : {22050.0F, 44100.0F, 192000.0F}) {
        for (const float delay : {0.6F, 0.9137F, 6.8F + step, 6.8F + 7.0F * step, 39.9F}) {
            const Signal impulse = Impulse(static_cast<std::size_t>(rate * 0.1F) / 4 * 4);
            const Signal out =
                Play(*Make<Chorus>(still, {{Chorus::Delay, delay}}, rate), impulse, impulse)[1];
            for (const double hz : {1300.0, 4000.0, 10000.0}) {
                const auto got = Transform(out, hz, static_cast<double>(rate));
                const auto expected = std::polar(1.0, -twoPi * hz * static_cast<double>(delay) * 0.001);
                if (hz < 0.25 * static_cast<double>(rate)) {
                    EXPECT_LT(std::abs(got - expected), hz > 5000.0 ? 0.03 : 0.02)
                        << delay << " ms, " << rate << " Hz, at " << hz;
                }
            }
        }
    }
}

/// Of an impulse, at the start of the cycle: voices of a side are so many cycles apart as there are voices,
/// those of the right lie between those of the left, and the spread puts their centres apart.
TEST(ChorusTest, VoicesAreStaggeredOverTheCycleAndSpread) {
    constexpr double centre = 882.0;
    constexpr double depth = 220.5;
    const double shares[] = {0.0, 0.42, -0.29, 0.73};
    for (const double spread : {0.0, 1.0}) {
        for (u32 voices = 1; voices <= 4; ++voices) {
            const Signal impulse = Impulse(2200);
            const auto chorus = Make<Chorus>({{Chorus::DryWet, 1.0F},
                                              {Chorus::Delay, 20.0F},
                                              {Chorus::Depth, 5.0F},
                                              {Chorus::Freq, 0.05F},
                                              {Chorus::LowCut, 20.0F},
                                              {Chorus::Spread, static_cast<float>(spread)},
                                              {Chorus::Voices, static_cast<float>(voices)}});
            auto out = Play(*chorus, impulse, impulse);
            for (const std::size_t side : {0U, 1U}) {
                std::vector<Signal::iterator> places;
                for (u32 voice = 0; voice < voices; ++voice) {
                    const double phase = (voice + 0.5 * static_cast<double>(side)) / voices;
                    const double way = centre * spread * shares[voice] + depth * std::sin(twoPi * phase);
                    places.push_back(out[side].begin() + std::lround(centre + way));
                    // The cycle has gone on a little.
                    EXPECT_GT(Peak(Signal(places.back() - 6, places.back() + 7)), 0.2F)
                        << voices << ", voice " << voice << ", side " << side << ", spread " << spread;
                }
                for (const auto place : places) {
                    std::fill(place - 12, place + 13, 0.0F);
                }
                EXPECT_LT(Peak(out[side]), 0.02F) << voices << " voices, and one that nobody asked for";
            }
        }
    }
}

TEST(ChorusTest, TheSwingHasTheDepthTheRateAndTheShapeAskedFor) {
    constexpr std::size_t period = 300;
    constexpr double hz = 147.0;
    const Signal low = Tone(44100 * 2, hz, 44100.0, 0.5);
    for (u32 shape = 0; shape < 4; ++shape) {
        const auto chorus = Make<Chorus>(still, {{Chorus::Delay, 12.0F},
                                                 {Chorus::Depth, 3.0F},
                                                 {Chorus::Freq, 2.0F},
                                                 {Chorus::LFOShape, static_cast<float>(shape)}});
        const Signal swung = Play(*chorus, low, low)[0];
        float most = 0.0F;
        for (std::size_t n = 4410; n + 2 * period < swung.size(); n += 882) {
            std::complex<double> sum;
            for (std::size_t k = 0; k < 2 * period; ++k) {
                const double weight = 1.0 - std::cos(twoPi * static_cast<double>(k) / (2.0 * period));
                sum += static_cast<double>(swung[n + k]) *
                       std::polar(weight, -twoPi * static_cast<double>(n + k) / period);
            }
            // From the phase of a tone that is late by 12 ms and passed the low cut at 20 Hz.
            const auto still0 =
                std::polar(1.0, std::atan(20.0 / hz) - twoPi * hz * 0.012) * std::complex<double>(0.0, -1.0);
            const double way = -std::arg(sum / still0) / (twoPi * hz) * 1000.0;
            most = std::max(most, static_cast<float>(std::abs(way)));
            const double turn = twoPi * 2.0 * static_cast<double>(n + period) / 44100.0;
            if (shape < 2) {
                const double expected = shape == 0 ? std::sin(turn) : std::asin(std::sin(turn)) * 4.0 / twoPi;
                EXPECT_NEAR(way, 3.0 * expected, shape == 0 ? 0.05 : 0.15) << shape << " at " << n;
            }
        }
        EXPECT_LT(most, 3.05F) << shape;
        EXPECT_GT(most, shape == 3 ? 1.0F : 2.7F) << shape;
    }
}

TEST(ChorusTest, DryWetKeepsTheLevel) {
    const Signal noise = Noise(44000, 0.5F, 1);
    for (const float voices : {1.0F, 3.0F, 4.0F}) {
        for (const float mix : {0.3F, 0.7F, 1.0F}) {
            const auto chorus =
                Make<Chorus>({{Chorus::Voices, voices}, {Chorus::DryWet, mix}, {Chorus::Feedback, 0.3F}});
            const Signal out = Play(*chorus, noise, noise)[0];
            const double change = 20.0 * std::log10(Rms(out, 2000) / Rms(noise, 2000));
            EXPECT_NEAR(change, 0.0, 1.2) << voices << " voices, mix " << mix;
            EXPECT_EQ(Peak(Signal(out.begin(), out.begin() + 150)) == 0.0F, mix == 1.0F);
        }
    }
}

TEST(ChorusTest, FeedbackDecaysByItsFactorOnTheSideThatTheModeSays) {
    const Signal impulse = Impulse(4000);
    const Signal silent(4000, 0.0F);
    for (const auto& [mode, factor, voices] :
         {std::tuple(0.0F, 0.5F, 1.0F), {1.0F, -0.8F, 4.0F}, {2.0F, 0.5F, 4.0F}}) {
        const auto chorus = Make<Chorus>(still, {{Chorus::Delay, 10.0F},
                                                 {Chorus::Feedback, factor},
                                                 {Chorus::Voices, voices},
                                                 {Chorus::StereoMode, mode}});
        const auto out = Play(*chorus, impulse, silent);
        const std::size_t side = mode == 2.0F ? 1 : 0;
        EXPECT_NEAR(out[side][882] / out[0][441], factor, 0.03F) << "mode " << mode;
        EXPECT_NEAR(out[0][1323] / out[0][441], factor * factor, 0.05F) << "mode " << mode;
        EXPECT_LT(std::abs(out[1 - side][882]), 0.05F) << "mode " << mode;
        const auto middle =
            Make<Chorus>({{Chorus::StereoMode, mode}, {Chorus::Width, 0.0F}, {Chorus::DryWet, 1.0F}});
        const auto both = Play(*middle, impulse, silent);
        EXPECT_EQ(both[0], both[1]) << "without width";
    }
}
