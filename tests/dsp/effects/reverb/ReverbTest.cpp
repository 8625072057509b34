// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/reverb/Reverb.h"

#include "dsp/math/DenormalGuard.h"
#include "rigs/EffectRig.h"

#include <numeric>

namespace {

using namespace orphia::test;
using Velmora::dsp::Reverb;

/// Wet alone, and without filters and motion: a tank that only decays.
const Settings bare = {{Reverb::DryWet, 1.0F},      {Reverb::PreDelay, 0.0F}, {Reverb::Damping, 20000.0F},
                       {Reverb::HighCut, 20000.0F}, {Reverb::LowCut, 20.0F},  {Reverb::ModDepth, 0.0F}};
std::vector<Signal> Response(const Settings& settings, double seconds, float rate = 44100.0F) {
    const Signal impulse = Impulse(static_cast<std::size_t>(seconds * static_cast<double>(rate)) / 4 * 4);
    return Play(*Make<Reverb>(bare, settings, rate), impulse, impulse);
}

/// Of y += c (x - y), for a loss of 3 dB at a frequency.
double LowPassStep(double hz, double rate) {
    const double k = 1.0 - std::cos(2.0 * Velmora::Test::pi * hz / rate);
    return std::sqrt(k * k + 2.0 * k) - k;
}

/// The plate of the paper as it is drawn there, sample by sample, with delays in whole samples and no swing.
/// Below its size only the taps shrink as much as is asked for, the lines by the root, the all-passes not at
/// all.
struct DrawnPlate {
    double rate;
    double decay;
    double size;
    double dampingHz;
    std::array<double, 4> diffusion;
    std::size_t now = 0;
    std::array<std::vector<double>, 12> lines = {};
    std::array<double, 2> damped = {};

    /// Of both sides to an impulse.
    std::vector<Signal> Response(std::size_t frames) {
        // Left: swung, line, all-pass, line; the same right; then those before the tank.
        constexpr struct {
            std::size_t line;
            int way;
            int sign;
        } taps[2][7] = {{{5, 266, 1},
                         {5, 2974, 1},
                         {6, 1913, -1},
                         {7, 1996, 1},
                         {1, 1990, -1},
                         {2, 187, -1},
                         {3, 1066, -1}},
                        {{1, 353, 1},
                         {1, 3627, 1},
                         {2, 1228, -1},
                         {3, 2673, 1},
                         {5, 2111, -1},
                         {6, 335, -1},
                         {7, 121, -1}}};
        std::vector<Signal> out(2, Signal(frames));
        const double t = std::tan(Velmora::Test::pi * 20.0 / rate);
        const double lineSize = size < 1.0 ? std::sqrt(size) : size;
        const double passSize = std::max(size, 1.0);
        const double way = (6036.0 * passSize + 15553.0 * lineSize) / 21589.0;
        double low = 0.0;
        for (now = 0; now < frames; ++now) {
            for (const std::size_t side : {0U, 1U}) {
                double sum = 0.0;
                for (const auto& tap : taps[side]) {
                    sum += tap.sign * Worn(tap.line, tap.way * size);
                }
                out[side][now] = static_cast<float>(0.84 * std::pow(2.2 * way / decay, 0.25) * sum);
            }
            // The low cut at its lowest.
            const double impulse = now == 1 ? 1.0 : 0.0;
            low += 2.0 * t / (1.0 + t) * (impulse - low);
            double x = (impulse - low) / (1.0 - t);
            for (const auto& [line, length] : {std::pair(8, 142), {9, 107}, {10, 379}, {11, 277}}) {
                const auto at = static_cast<std::size_t>(line);
                x = AllPass(at, Late(at, Scaled(length)), diffusion[at / 10], x);
            }
            const double crossing[] = {Worn(7, 3163 * lineSize), Worn(3, 3720 * lineSize)};
            Half(0, x + crossing[0], {672 * passSize, 4453 * lineSize, 1800 * passSize});
            Half(4, x + crossing[1], {908 * passSize, 4217 * lineSize, 2656 * passSize});
        }
        return out;
    }

    long Scaled(double way) const { return std::lround(way * rate / 29761.0); }
    double Late(std::size_t line, long delay) const {
        return static_cast<long>(now) < delay ? 0.0 : lines[line][now - static_cast<std::size_t>(delay)];
    }
    /// Every sample of waiting costs the same share of the level.
    double Worn(std::size_t line, double way) const {
        const long delay = Scaled(way);
        return Late(line, delay) * std::pow(10.0, -3.0 * static_cast<double>(delay) / (decay * rate));
    }
    double AllPass(std::size_t line, double delayed, double factor, double x) {
        lines[line].push_back(x - factor * delayed);
        return delayed + factor * lines[line].back();
    }
    void Half(std::size_t first, double x, const std::array<double, 3>& ways) {
        const double line = Worn(first + 1, ways[1]);
        lines[first + 1].push_back(AllPass(first, Worn(first, ways[0]), -diffusion[2], x));
        double& dark = damped[first / 4];
        dark += (dampingHz < 20000.0 ? LowPassStep(dampingHz, rate) : 1.0) * (line - dark);
        lines[first + 3].push_back(AllPass(first + 2, Worn(first + 2, ways[2]), diffusion[3], dark));
    }
};

} // namespace

TEST(ReverbTest, ItsResponseIsThatOfThePlateAsDrawn) {
    for (DrawnPlate plate : {DrawnPlate{44100.0, 2.2, 1.0, 20000.0, {0.75, 0.625, 0.7, 0.5}},
                             DrawnPlate{22050.0, 0.4, 1.7, 2000.0, {0.3, 0.9, 0.2, 0.8}},
                             DrawnPlate{96000.0, 9.0, 0.4, 700.0, {0.0, 0.5, 0.0, 0.6}}}) {
        Settings settings = {{Reverb::Decay, static_cast<float>(plate.decay)},
                             {Reverb::Size, static_cast<float>(plate.size)},
                             {Reverb::Damping, static_cast<float>(plate.dampingHz)}};
        for (u32 n = 0; n < 4; ++n) {
            settings.emplace_back(Reverb::InputDiffusion1 + n, static_cast<float>(plate.diffusion[n]));
        }
        auto response = Response(settings, 0.6, static_cast<float>(plate.rate));
        const auto expected = plate.Response(response[0].size());
        for (const std::size_t side : {0U, 1U}) {
            std::transform(response[side].begin(), response[side].end(), expected[side].begin(),
                           response[side].begin(), std::minus<>());
            EXPECT_LT(Rms(response[side]) / Rms(expected[side]), 0.001) << plate.rate << " Hz, side " << side;
        }
    }
}

/// That of noise is spread by 5.6 dB.
TEST(ReverbTest, TheSmallestTankDoesNotRing) {
    double variance = 0.0;
    for (const std::size_t start : {400U, 1500U, 2700U, 4000U}) {
        Signal impulse(132000, 0.0F);
        impulse[start] = 1.0F;
        const auto reverb = Make<Reverb>(bare, {{Reverb::Size, 0.25F}, {Reverb::ModDepth, 0.25F}});
        const Signal late = Play(*reverb, impulse, impulse)[start % 2];
        const auto spectrum = Spectrum(Signal(late.begin() + 22050, late.end()));
        constexpr std::size_t count = 600;
        for (std::size_t first = 446; first < 7430; first += count) {
            double sum = 0.0;
            double squares = 0.0;
            for (std::size_t bin = first; bin < first + count; ++bin) {
                const double level = 20.0 * std::log10(spectrum[bin]);
                sum += level / count;
                squares += level * level / count;
            }
            variance += (squares - sum * sum) / 48.0;
        }
    }
    EXPECT_LT(std::sqrt(variance), 7.0);
}

TEST(ReverbTest, CutsHaveTheirCornersAndKeepOutTheSteady) {
    for (const float rate : {8000.0F, 192000.0F}) {
        const auto open = Response({{Reverb::Decay, 0.3F}}, 1.5, rate)[1];
        for (const auto& [id, hz] : {std::pair{Reverb::LowCut, 300.0F}, {Reverb::HighCut, 2500.0F}}) {
            const auto cut = Response({{Reverb::Decay, 0.3F}, {id, hz}}, 1.5, rate)[1];
            const auto at = static_cast<double>(hz);
            const double got = 20.0 * std::log10(std::abs(Transform(cut, at, static_cast<double>(rate)) /
                                                          Transform(open, at, static_cast<double>(rate))));
            EXPECT_NEAR(got, -3.01, 0.1) << hz << " Hz at rate " << rate;
        }
    }
    const auto reverb = Make<Reverb>(bare, {{Reverb::Decay, 0.2F}});
    EXPECT_LT(Peak(Play(*reverb, Signal(88000, 1.0F), Signal(88000, 1.0F))[0], 60000), 1e-4F);
}

TEST(ReverbTest, OneSideInGivesTwoThatHaveLittleInCommonAndWidthJoinsThem) {
    const Signal noise = Noise(88000, 0.5F, 1);
    const Signal silence(noise.size(), 0.0F);
    const auto play = [&](float width, const Signal& left, const Signal& right) {
        return Play(*Make<Reverb>(bare, {{Reverb::Width, width}}), left, right);
    };
    const auto wide = play(1.0F, noise, noise);
    const double cross = std::inner_product(wide[0].begin(), wide[0].end(), wide[1].begin(), 0.0);
    EXPECT_LT(std::abs(cross) / (Rms(wide[0]) * Rms(wide[1]) * 88000.0), 0.1);
    const auto single = play(1.0F, noise, silence);
    EXPECT_EQ(play(1.0F, silence, noise), single);
    EXPECT_NEAR(Rms(single[1]) / Rms(wide[1]), 0.5, 0.001);
    const auto narrow = play(0.0F, noise, noise);
    EXPECT_EQ(narrow[0], narrow[1]);
    EXPECT_NEAR(Rms(narrow[0]) / std::hypot(Rms(wide[0]), Rms(wide[1])), std::sqrt(0.5), 0.03);
}

TEST(ReverbTest, ThePreDelayIsExactInMillisecondsAndInBeats) {
    const auto first = [](const Settings& settings, float rate, float tempo) {
        const Signal impulse = Impulse(static_cast<std::size_t>(0.8F * rate) / 4 * 4);
        const Signal out = Play(*Make<Reverb>(bare, settings, rate), impulse, impulse, {0, 0.0F, tempo})[0];
        return static_cast<double>(std::find_if(out.begin(), out.end(), [](float x) { return x != 0.0F; }) -
                                   out.begin());
    };
    for (const float rate : {22050.0F, 96000.0F}) {
        for (const float ms : {1.0F, 37.3F, 250.0F}) {
            const double shift = first({{Reverb::PreDelay, ms}}, rate, 120.0F) - first({}, rate, 120.0F);
            EXPECT_NEAR(shift, static_cast<double>(ms * 0.001F * rate), 0.51) << ms << " ms at " << rate;
        }
    }
    const double beats[] = {4.0, 3.0,   2.0,       1.5,  4.0 / 3.0, 1.0,       0.75, 2.0 / 3.0,
                            0.5, 0.375, 1.0 / 3.0, 0.25, 0.1875,    1.0 / 6.0, 0.125};
    const double atOnce = first({}, 44100.0F, 120.0F);
    for (u32 step = 0; step < 15; ++step) {
        for (const float tempo : {120.0F, 101.0F, 0.0F, notANumber}) {
            double seconds = tempo > 0.0F ? beats[step] * 60.0 / static_cast<double>(tempo) : 0.09;
            while (seconds > 0.5) {
                seconds /= 2.0;
            }
            const Settings synced = {{Reverb::TempoSync, 1.0F},
                                     {Reverb::SyncRate, static_cast<float>(step)},
                                     {Reverb::PreDelay, 90.0F}};
            EXPECT_NEAR(first(synced, 44100.0F, tempo) - atOnce, seconds * 44100.0, 0.51)
                << step << ", " << tempo;
        }
    }
}

TEST(ReverbTest, AFrozenTailKeepsItsLevelAndHearsNothingNew) {
    const Velmora::dsp::DenormalGuard guard;
    const Signal silence(44000, 0.0F);
    const Signal noise = Noise(44000, 0.5F, 3);
    const auto reverb = Make<Reverb>({{Reverb::DryWet, 1.0F}});
    const auto deaf = Make<Reverb>({{Reverb::DryWet, 1.0F}});
    for (Reverb* each : {reverb.get(), deaf.get()}) {
        Play(*each, noise, noise);
        each->SetParameterValue(Reverb::Freeze, 1.0F);
        Play(*each, noise, noise);
        Play(*each, silence, silence);
    }
    const double before = Rms(Play(*reverb, silence, silence)[0]);
    Play(*deaf, noise, noise);
    for (int second = 1; second < 20; ++second) {
        const auto heard = Play(*reverb, silence, silence);
        EXPECT_NEAR(Rms(heard[0]) / before, 1.0, 0.03) << second << " s";
        EXPECT_EQ(Play(*deaf, noise, noise), heard) << second << " s";
    }
    EXPECT_GT(before, 0.1);
}
