// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/reverb/Reverb.h"

#include "dsp/math/DenormalGuard.h"
#include "rigs/EffectRig.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace {

using namespace orphia::test;
using Velmora::dsp::Reverb;

/// Wet alone, and without filters and motion: a tank that only decays.
const Settings bare = {{Reverb::DryWet, 1.0F},      {Reverb::PreDelay, 0.0F}, {Reverb::Damping, 20000.0F},
                       {Reverb::HighCut, 20000.0F}, {Reverb::LowCut, 20.0F},  {Reverb::ModDepth, 0.0F}};

std::size_t Frames(double seconds, float rate = 44100.0F) {
    return static_cast<std::size_t>(seconds * static_cast<double>(rate)) / 4 * 4;
}

std::vector<Signal> Response(const Settings& settings, double seconds, float rate = 44100.0F) {
    const Velmora::dsp::DenormalGuard guard;
    const Signal impulse = Impulse(Frames(seconds, rate));
    return Play(*Make<Reverb>(bare, settings, rate), impulse, impulse);
}

double Energy(const Signal& signal, std::size_t from = 0, std::size_t to = SIZE_MAX) {
    double sum = 0.0;
    for (std::size_t n = from; n < std::min(to, signal.size()); ++n) {
        sum += static_cast<double>(signal[n]) * static_cast<double>(signal[n]);
    }
    return sum;
}

/// By backward integration: from 5 to 35 dB below the start.
double MeasuredDecay(const Signal& response, double rate) {
    double left = Energy(response);
    const double whole = left;
    std::size_t first = 0;
    for (std::size_t n = 0; n < response.size(); ++n) {
        first = left > whole * std::pow(10.0, -0.5) ? n : first;
        if (left < whole * std::pow(10.0, -3.5)) {
            return 2.0 * static_cast<double>(n - first) / rate;
        }
        left -= static_cast<double>(response[n]) * static_cast<double>(response[n]);
    }
    return 0.0;
}

/// Power about a frequency in a piece of a signal, in dB, under a window: the bass is far louder.
double PowerAbout(const Signal& signal, double hz, double from, double to) {
    Signal piece(signal.begin() + static_cast<std::ptrdiff_t>(Frames(from)),
                 signal.begin() + static_cast<std::ptrdiff_t>(Frames(to)));
    for (std::size_t n = 0; n < piece.size(); ++n) {
        const double turn =
            2.0 * Velmora::Test::pi * static_cast<double>(n) / static_cast<double>(piece.size());
        piece[n] *= static_cast<float>(1.0 - std::cos(turn));
    }
    double sum = 0.0;
    for (int n = -12; n <= 12; ++n) {
        sum += std::norm(Transform(piece, hz * (1.0 + 0.004 * n), 44100.0));
    }
    return 10.0 * std::log10(sum);
}

double Correlation(const Signal& a, const Signal& b) {
    const double cross = std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
    return cross / std::sqrt(Energy(a) * Energy(b));
}

/// Share of the samples beyond one standard deviation, against that of Gaussian noise.
double EchoDensity(const Signal& response, double from, double to) {
    const Signal piece(response.begin() + static_cast<std::ptrdiff_t>(Frames(from)),
                       response.begin() + static_cast<std::ptrdiff_t>(Frames(to)));
    const double deviation = Rms(piece);
    const auto beyond = std::count_if(piece.begin(), piece.end(), [deviation](float x) {
        return static_cast<double>(std::abs(x)) > deviation;
    });
    return static_cast<double>(beyond) / static_cast<double>(piece.size()) / std::erfc(std::sqrt(0.5));
}

} // namespace

TEST(ReverbTest, TheTailTakesTheSetTimeToFallBySixtyDecibels) {
    struct Case {
        float rate;
        float decay;
        float size;
        float diffusion;
    };
    for (const auto& [rate, decay, size, diffusion] : std::vector<Case>{{8000.0F, 1.0F, 1.0F, 0.7F},
                                                                        {44100.0F, 0.5F, 0.25F, 0.7F},
                                                                        {44100.0F, 2.2F, 1.0F, 0.9F},
                                                                        {44100.0F, 4.0F, 2.0F, 0.0F},
                                                                        {44100.0F, 20.0F, 0.6F, 0.5F},
                                                                        {192000.0F, 1.5F, 0.5F, 0.7F}}) {
        const auto response =
            Response({{Reverb::Decay, decay}, {Reverb::Size, size}, {Reverb::DecayDiffusion1, diffusion}},
                     static_cast<double>(decay), rate);
        for (const Signal& side : response) {
            const double got = MeasuredDecay(side, static_cast<double>(rate));
            EXPECT_NEAR(got / static_cast<double>(decay), 1.0, 0.06)
                << rate << " Hz, expected " << decay << " s at size " << size << ", got " << got;
        }
    }
    // The swing costs some of the highest treble.
    const auto swung = Response({{Reverb::Decay, 3.0F}, {Reverb::ModDepth, 0.25F}}, 3.0);
    EXPECT_NEAR(MeasuredDecay(swung[0], 44100.0), 3.0, 0.3);
}

TEST(ReverbTest, DampingShortensTheTrebleByItsLossPerHalfOfTheLoop) {
    // Two halves of 21589 samples at 29761 Hz, which every frequency takes where nothing is diffused; first
    // order loses 10 log(1 + r * r) dB at r times its corner.
    const double halfLoop = 0.5 * 21589.0 / 29761.0;
    for (const float size : {0.5F, 1.0F}) {
        const auto response = Response({{Reverb::Decay, 6.0F},
                                        {Reverb::Damping, 1000.0F},
                                        {Reverb::Size, size},
                                        {Reverb::DecayDiffusion1, 0.0F},
                                        {Reverb::DecayDiffusion2, 0.0F}},
                                       2.4)[0];
        for (const auto& [hz, loss] :
             {std::pair{250.0, 10.0 * std::log10(1.0625)}, {2000.0, 10.0 * std::log10(5.0)}}) {
            const double expected = 10.0 + loss / (halfLoop * static_cast<double>(size));
            const double got = PowerAbout(response, hz, 0.4, 1.0) - PowerAbout(response, hz, 1.4, 2.0);
            EXPECT_NEAR(got, expected, 2.5) << hz << " Hz at size " << size << ", dB a second";
        }
    }
}

TEST(ReverbTest, CutsHaveTheirCornersAndKeepOutTheSteady) {
    for (const float rate : {8000.0F, 44100.0F, 192000.0F}) {
        const auto open = Response({{Reverb::Decay, 0.3F}}, 1.5, rate)[1];
        for (const auto& [id, hz] : {std::pair{Reverb::LowCut, 300.0F}, {Reverb::HighCut, 2500.0F}}) {
            const auto cut = Response({{Reverb::Decay, 0.3F}, {id, hz}}, 1.5, rate)[1];
            const auto at = static_cast<double>(hz);
            const double got = 20.0 * std::log10(std::abs(Transform(cut, at, static_cast<double>(rate)) /
                                                          Transform(open, at, static_cast<double>(rate))));
            EXPECT_NEAR(got, -3.01, 0.1) << hz << " Hz at rate " << rate;
        }
    }
    const Velmora::dsp::DenormalGuard guard;
    const auto reverb = Make<Reverb>(bare, {{Reverb::Decay, 0.2F}});
    EXPECT_LT(Peak(Play(*reverb, Signal(88000, 1.0F), Signal(88000, 1.0F))[0], 60000), 1e-4F);
    EXPECT_LT(Peak(Play(*reverb, Signal(88000, 0.0F), Signal(88000, 0.0F))[0], 80000), 1e-12F);
}

TEST(ReverbTest, EchoesGrowDenseAndDiffusionMakesThemSo) {
    const auto dense = Response({{Reverb::Decay, 3.0F}}, 1.2)[0];
    const Settings plain = {{Reverb::Decay, 3.0F},
                            {Reverb::InputDiffusion1, 0.0F},
                            {Reverb::InputDiffusion2, 0.0F},
                            {Reverb::DecayDiffusion1, 0.0F},
                            {Reverb::DecayDiffusion2, 0.0F}};
    const double first = EchoDensity(dense, 0.0, 0.08);
    const double last = EchoDensity(dense, 0.8, 1.2);
    EXPECT_LT(first, 0.4);
    EXPECT_LT(first, EchoDensity(dense, 0.08, 0.2));
    EXPECT_GT(last, 0.85);
    EXPECT_LT(EchoDensity(Response(plain, 1.2)[0], 0.8, 1.2), 0.2);
}

TEST(ReverbTest, OneSideInGivesTwoThatHaveLittleInCommonAndWidthJoinsThem) {
    const Signal noise = Noise(88000, 0.5F, 1);
    const Signal silence(noise.size(), 0.0F);
    const auto play = [&](float width, const Signal& left, const Signal& right) {
        return Play(*Make<Reverb>(bare, {{Reverb::Width, width}}), left, right);
    };
    const auto wide = play(1.0F, noise, noise);
    EXPECT_LT(std::abs(Correlation(wide[0], wide[1])), 0.1);
    EXPECT_NEAR(Rms(wide[0]) / Rms(wide[1]), 1.0, 0.15);
    const auto single = play(1.0F, noise, silence);
    EXPECT_EQ(play(1.0F, silence, noise), single);
    EXPECT_NEAR(Rms(single[1]) / Rms(wide[1]), 0.5, 0.001);
    const auto narrow = play(0.0F, noise, noise);
    EXPECT_EQ(narrow[0], narrow[1]);
    EXPECT_NEAR(Rms(narrow[0]) / Rms(wide[0]), 1.0, 0.15);
}

TEST(ReverbTest, ThePreDelayIsExactInMillisecondsAndInBeats) {
    for (const float rate : {22050.0F, 44100.0F, 96000.0F}) {
        const auto both = Response({}, 0.9, rate);
        // One sample, and the way from the entry of the tank to the nearest taps, at 29761 Hz.
        for (const auto& [side, way] : {std::pair{0U, 266.0F}, {1U, 353.0F}}) {
            const auto first = static_cast<std::size_t>(std::lround(way * rate / 29761.0F)) + 1;
            EXPECT_EQ(Energy(both[side], 0, first), 0.0) << side;
            EXPECT_NE(both[side][first], 0.0F) << side;
        }
        const Signal& at = both[0];
        for (const float ms : {1.0F, 37.3F, 250.0F}) {
            const auto late = Response({{Reverb::PreDelay, ms}}, 0.9, rate)[0];
            const auto shift = static_cast<std::size_t>(std::lround(ms * 0.001F * rate));
            EXPECT_EQ(Peak(Signal(late.begin(), late.begin() + static_cast<std::ptrdiff_t>(shift))), 0.0F);
            for (std::size_t n = shift; n < late.size(); ++n) {
                ASSERT_NEAR(late[n], at[n - shift], 1e-5F) << ms << " ms at rate " << rate;
            }
        }
    }
    const Signal noise = Noise(44000, 0.5F, 2);
    const auto play = [&](const Settings& settings, float tempo) {
        return Play(*Make<Reverb>(bare, settings), noise, noise, {0, 0.0F, tempo});
    };
    // Straight; too long, hence halved three times; no tempo.
    for (const auto& [step, tempo, ms] : {std::tuple{10.0F, 100.0F, 200.0F},
                                          {0.0F, 100.0F, 300.0F},
                                          {14.0F, 0.0F, 90.0F},
                                          {14.0F, notANumber, 90.0F},
                                          {14.0F, infinity, 90.0F}}) {
        const Settings synced = {
            {Reverb::TempoSync, 1.0F}, {Reverb::SyncRate, step}, {Reverb::PreDelay, 90.0F}};
        EXPECT_EQ(play(synced, tempo), play({{Reverb::PreDelay, ms}}, 120.0F)) << step << ", " << tempo;
    }
}

TEST(ReverbTest, AFrozenTailKeepsItsLevelAndHearsNothingNew) {
    const Velmora::dsp::DenormalGuard guard;
    const Signal silence(44000, 0.0F);
    const Signal noise = Noise(44000, 0.5F, 3);
    const auto reverb = Make<Reverb>({{Reverb::DryWet, 1.0F}, {Reverb::LowCut, 20.0F}});
    const auto deaf = Make<Reverb>({{Reverb::DryWet, 1.0F}, {Reverb::LowCut, 20.0F}});
    for (Reverb* each : {reverb.get(), deaf.get()}) {
        Play(*each, noise, noise);
        each->SetParameterValue(Reverb::Freeze, 1.0F);
        Play(*each, noise, noise);
    }
    const double before = Rms(Play(*reverb, silence, silence)[0]);
    Play(*deaf, silence, silence);
    EXPECT_GT(before, 0.1);
    for (int second = 1; second < 30; ++second) {
        const auto heard = Play(*reverb, silence, silence);
        EXPECT_NEAR(Rms(heard[0]) / before, 1.0, 0.03) << second << " s";
        EXPECT_EQ(Play(*deaf, noise, noise), heard) << second << " s";
    }
    reverb->SetParameterValue(Reverb::Freeze, 0.0F);
    Play(*reverb, silence, silence);
    const double lost = Rms(Play(*reverb, silence, silence)[0]) / before;
    EXPECT_NEAR(20.0 * std::log10(lost), -1.5 * 60.0 / 2.2, 12.0);
}

TEST(ReverbTest, TheStartIsAsLoudAsTheDrySoundAndRatesAgree) {
    // White noise through the one-pole of a voice: 6 dB less per octave above 500 Hz.
    const auto voice = [](u32 seed) {
        Signal noise = Noise(220000, 2.0F, seed);
        float state = 0.0F;
        for (float& x : noise) {
            x = state += 0.07F * (x - state);
        }
        return noise;
    };
    const Signal left = voice(4);
    for (const float mix : {0.0F, 0.3F, 0.6F, 1.0F}) {
        for (const Signal& right : {left, voice(5)}) {
            const auto out = Play(*Make<Reverb>({{Reverb::DryWet, mix}}), left, right)[0];
            EXPECT_NEAR(20.0 * std::log10(Rms(out, 88000) / Rms(left, 88000)), 0.0, 3.0) << mix;
            EXPECT_TRUE(mix > 0.0F || out == left);
        }
    }
    const auto reference = Response({}, 1.6)[0];
    for (const float rate : {22050.0F, 96000.0F, 384000.0F}) {
        const auto response = Response({}, 1.6, rate)[0];
        for (const double seconds : {0.1, 0.3, 1.0}) {
            EXPECT_NEAR(Energy(response, Frames(seconds, rate)) / Energy(reference, Frames(seconds)), 1.0,
                        0.1)
                << rate << " Hz after " << seconds;
        }
    }
}

TEST(ReverbTest, ControlsAreSmoothAndNoneIsIdle) {
    std::vector<Settings> where(Reverb::parameterCount, {{Reverb::DryWet, 1.0F}});
    where[Reverb::SyncRate].emplace_back(Reverb::TempoSync, 1.0F);
    ExpectEveryParameterToAct<Reverb>(where);
    ExpectNoSteps<Reverb>({{Reverb::DryWet, 0.7F}}, 0.009F);
    ExpectModulationToMove<Reverb>({Reverb::DryWet, Reverb::PreDelay, Reverb::Size, Reverb::Decay,
                                    Reverb::Damping, Reverb::HighCut, Reverb::ModDepth, Reverb::Width},
                                   {{Reverb::DryWet, 0.7F}});
}

TEST(ReverbTest, BlocksResetsAndFaultsLeaveNoTrace) {
    ExpectNoTraceOfBlocksResetsAndFaults<Reverb>(
        {{Reverb::DryWet, 0.8F}, {Reverb::ModDepth, 1.0F}, {Reverb::ModRate, 5.0F}},
        {{Reverb::Size, 0.5F}, {Reverb::PreDelay, 40.0F}, {Reverb::Damping, 900.0F}, {Reverb::Decay, 9.0F}},
        200.0F);
}
