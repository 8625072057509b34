// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/pan/StereoPan.h"

#include "rigs/EffectRig.h"

namespace {

using namespace orphia::test;
using Pan = Velmora::dsp::StereoPan;
using Pans = Velmora::dsp::StereoPanSettings;
using Velmora::Test::pi;

constexpr u32 Id(Pan::Additional index) { return Pan::ParameterId(index); }

/// Does not move.
const Settings still = {{Id(Pan::PanDepth), 0.0F}};

/// With nothing left to glide.
std::unique_ptr<Pan> Arrived(const Settings& first, const Settings& then = {}, float rate = 44100.0F) {
    auto module = Make<Pan>(first, then, rate);
    module->Reset(true);
    return module;
}

/// What steady inputs of (l, r) come to.
std::pair<double, double> Sides(const Settings& settings, float l, float r) {
    const auto out = Play(*Arrived(still, settings), Signal(44, l), Signal(44, r));
    return {static_cast<double>(out[0].back()), static_cast<double>(out[1].back())};
}

} // namespace

TEST(StereoPanTest, EachLawHasItsGainsAndLeavesTheMiddleAlone) {
    for (double pan = -1.0; pan <= 1.0; pan += 0.125) {
        const double angle = 0.25 * pi * (1.0 + pan);
        const double toRight = 0.5 * pi * std::max(pan, 0.0);
        const double toLeft = 0.5 * pi * std::max(-pan, 0.0);
        const double root = std::sqrt(2.0);
        // From left and right to the left, from left and right to the right.
        const double expected[Pans::LawCount][4] = {
            {root * std::cos(angle), 0.0, 0.0, root * std::sin(angle)},
            {std::min(1.0, 1.0 - pan), 0.0, 0.0, std::min(1.0, 1.0 + pan)},
            {1.0 - pan, 0.0, 0.0, 1.0 + pan},
            {std::cos(toRight), std::sin(toLeft), std::sin(toRight), std::cos(toLeft)}};
        for (u32 law = 0; law < Pans::LawCount; ++law) {
            const Settings set = {{Id(Pan::PanLaw), float(law)}, {Id(Pan::Pan), float(pan)}};
            const auto got = Sides(set, 0.7F, 0.3F);
            const double* g = expected[law];
            EXPECT_NEAR(got.first, 0.7 * g[0] + 0.3 * g[1], 2e-6) << "law " << law << ", " << pan;
            EXPECT_NEAR(got.second, 0.7 * g[2] + 0.3 * g[3], 2e-6) << "law " << law << ", " << pan;
        }
    }
}

TEST(StereoPanTest, SidesComeFromTheChannelsAskedForWithTheirWidth) {
    struct Case {
        u32 id;
        double value, left, right;
    };
    // Of a middle of 0.4 and a side of 0.2.
    for (const Case& c : {Case{Pan::Source, Pans::Swapped, 0.2, 0.6},
                          {Pan::Source, Pans::LeftOnly, 0.6, 0.6},
                          {Pan::Source, Pans::RightOnly, 0.2, 0.2},
                          {Pan::Source, Pans::Mono, 0.4, 0.4},
                          {Pan::Polarity, Pans::InvertedLeft, -0.6, 0.2},
                          {Pan::Polarity, Pans::InvertedRight, 0.6, -0.2},
                          {Pan::Polarity, Pans::InvertedBoth, -0.6, -0.2},
                          {Pan::Width, 1.5, 0.7, 0.1},
                          {Pan::MidSide, 0.5, 0.4, 0.0},
                          {Pan::MidSide, -0.5, 0.5, 0.3}}) {
        const auto got = Sides({{Pan::ParameterId(c.id), float(c.value)}}, 0.6F, 0.2F);
        EXPECT_NEAR(got.first, c.left, 1e-5) << c.id << " = " << c.value;
        EXPECT_NEAR(got.second, c.right, 1e-5) << c.id << " = " << c.value;
    }
}

TEST(StereoPanTest, BassStaysInTheMiddleAndOneSideIsLate) {
    for (const double rate : {8000.0, 44100.0, 192000.0}) {
        const auto play = [rate](const Settings& settings, const Signal& left, const Signal& right) {
            return Play(*Arrived(still, settings, float(rate)), left, right);
        };
        const auto frames = static_cast<std::size_t>(rate) / 4 * 4;
        const Settings bass = {{Id(Pan::BassMono), 200}};
        // The side alone passes a Butterworth high-pass; the middle stays whole.
        const auto sides = play(bass, Impulse(frames), Impulse(frames, -1.0F));
        const auto middle = play({bass[0], {Id(Pan::Pan), 1}}, Impulse(frames), Impulse(frames));
        for (const double hz : {50.0, 200.0, 300.0, 1000.0}) {
            const auto s = Velmora::Test::AnalogueFrequency(hz, 200.0, rate);
            const auto high = s * s / (s * s + s * std::sqrt(2.0) + 1.0);
            EXPECT_LT(std::abs(Transform(sides[1], hz, rate) + high), 1e-3) << hz << " Hz at " << rate;
            const auto panned = 1.0 - high + std::sqrt(2.0) * high;
            EXPECT_LT(std::abs(Transform(middle[1], hz, rate) - panned), 1e-3) << hz << " Hz at " << rate;
        }
        for (const float ms : {-30.0F, -0.5F, 12.0F, 30.0F}) {
            const Signal impulse = Impulse(static_cast<std::size_t>(rate * 0.04) / 4 * 4);
            const auto out = play({{Id(Pan::HaasDelay), ms}}, impulse, impulse);
            const Signal& late = out[ms > 0.0F ? 1 : 0];
            const auto at = std::lround(std::abs(ms) * 0.001F * static_cast<float>(rate));
            EXPECT_EQ(std::max_element(late.begin(), late.end()) - late.begin(), at)
                << ms << " ms at " << rate;
            EXPECT_EQ(out[ms > 0.0F ? 0 : 1], impulse) << rate;
        }
    }
}
