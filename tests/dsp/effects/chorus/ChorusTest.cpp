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

/// Of an impulse, at the start of the cycle: voices of a side are so many cycles apart as there are voices,
/// those of the right lie between those of the left, and the spread puts their centres apart.
TEST(ChorusTest, VoicesAreStaggeredOverTheCycleAndSpread) {
    const double shares[] = {0.0, 0.42, -0.29, 0.73};
    const Signal impulse = Impulse(2200);
    for (u32 row = 0; row < 8; ++row) {
        const u32 voices = 1 + row / 2;
        const double spread = row % 2;
        Settings settings = still;
        settings.insert(settings.end(), {{Chorus::Delay, 20.0F},
                                         {Chorus::Depth, 5.0F},
                                         {Chorus::Freq, 0.05F},
                                         {Chorus::Spread, static_cast<float>(spread)},
                                         {Chorus::Voices, static_cast<float>(voices)}});
        auto out = Play(*Make<Chorus>(settings), impulse, impulse);
        for (const std::size_t side : {0U, 1U}) {
            std::vector<Signal::iterator> places;
            for (u32 voice = 0; voice < voices; ++voice) {
                const double phase = (voice + 0.5 * static_cast<double>(side)) / voices;
                const double way = 882.0 * (1.0 + spread * shares[voice]) + 220.5 * std::sin(twoPi * phase);
                places.push_back(out[side].begin() + std::lround(way));
                // The cycle has gone on a little.
                EXPECT_GT(Peak({places.back() - 6, places.back() + 7}), 0.2F)
                    << voices << ", voice " << voice << ", side " << side << ", spread " << spread;
            }
            for (const auto place : places) {
                std::fill(place - 12, place + 13, 0.0F);
            }
            EXPECT_LT(Peak(out[side]), 0.02F) << voices << " voices, and one that nobody asked for";
        }
    }
}

/// Its shapes have a test of their own.
TEST(ChorusTest, TheSwingHasTheDepthAndTheRateAskedFor) {
    for (std::size_t start = 0; start < 44000; start += 5300) {
        Signal impulse(46200, 0.0F);
        impulse[start] = 1.0F;
        const auto chorus =
            Make<Chorus>(still, {{Chorus::Delay, 20.0F}, {Chorus::Depth, 10.0F}, {Chorus::Freq, 2.0F}});
        const Signal out = Play(*chorus, impulse, impulse)[0];
        const auto place = static_cast<double>(std::max_element(out.begin(), out.end()) - out.begin());
        const double sine = std::sin(twoPi * 2.0 * place / 44100.0);
        EXPECT_NEAR(place - static_cast<double>(start), 882.0 + 441.0 * sine, 2.2) << start;
    }
}
