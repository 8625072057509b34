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

/// The plate of the paper as it is drawn there, sample by sample, with delays in whole samples and no swing.
/// Below its size only the taps shrink as much as is asked for, the lines by the root, the all-passes not at
/// all.
struct DrawnPlate {
    double rate;
    double decay;
    double size;
    double dampingHz;
    double lowCutHz;
    double highCutHz;
    std::array<double, 4> diffusion;
    std::size_t now = 0;
    std::array<std::vector<double>, 12> lines = {};
    std::array<double, 2> damped = {};

    /// Of both sides to an impulse.
    std::vector<Signal> Response(std::size_t frames) {
        // Left: swung, line, all-pass, line; the same right; then those before the tank.
        constexpr int taps[2][7][3] = {{{5, 266, 1},
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
        const double t = std::tan(Velmora::Test::pi * lowCutHz / rate);
        const double lineSize = size < 1.0 ? std::sqrt(size) : size;
        const double passSize = std::max(size, 1.0);
        const double round = (6036.0 * passSize + 15553.0 * lineSize) / 21589.0;
        double low = 0.0;
        double high = 0.0;
        for (now = 0; now < frames; ++now) {
            for (const std::size_t side : {0U, 1U}) {
                double sum = 0.0;
                for (const auto& [line, way, sign] : taps[side]) {
                    sum += sign * Worn(static_cast<std::size_t>(line), way * size);
                }
                out[side][now] = static_cast<float>(0.84 * std::pow(2.2 * round / decay, 0.25) * sum);
            }
            const double impulse = now == 1 ? 1.0 : 0.0;
            low += 2.0 * t / (1.0 + t) * (impulse - low);
            high += StepOf(highCutHz) * ((impulse - low) / (1.0 - t) - high);
            double x = high;
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

    /// Of y += c (x - y), for a loss of 3 dB at a frequency.
    double StepOf(double hz) const {
        const double k = 1.0 - std::cos(2.0 * Velmora::Test::pi * hz / rate);
        return hz < 20000.0 ? std::sqrt(k * k + 2.0 * k) - k : 1.0;
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
        dark += StepOf(dampingHz) * (line - dark);
        lines[first + 3].push_back(AllPass(first + 2, Worn(first + 2, ways[2]), diffusion[3], dark));
    }
};

} // namespace

TEST(ReverbTest, ItsResponseIsThatOfThePlateAsDrawn) {
    for (DrawnPlate plate : {DrawnPlate{44100.0, 2.2, 1.0, 20000.0, 20.0, 20000.0, {0.75, 0.625, 0.7, 0.5}},
                             DrawnPlate{22050.0, 0.4, 1.7, 2000.0, 300.0, 4000.0, {0.3, 0.9, 0.2, 0.8}},
                             DrawnPlate{96000.0, 9.0, 0.25, 700.0, 20.0, 2500.0, {0.0, 0.5, 0.0, 0.6}}}) {
        Settings settings = {{Reverb::Decay, static_cast<float>(plate.decay)},
                             {Reverb::Size, static_cast<float>(plate.size)},
                             {Reverb::Damping, static_cast<float>(plate.dampingHz)},
                             {Reverb::LowCut, static_cast<float>(plate.lowCutHz)},
                             {Reverb::HighCut, static_cast<float>(plate.highCutHz)}};
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

/// The first line of the first half by a sine, that of the second a quarter of a cycle ahead.
TEST(ReverbTest, TheFirstLinesOfTheHalvesSwing) {
    const auto first = [](float depthMs, std::size_t start, std::size_t side) {
        Settings settings = {{Reverb::ModDepth, depthMs}, {Reverb::ModRate, 1.0F}};
        for (const u32 id : {Reverb::InputDiffusion1, Reverb::InputDiffusion2, Reverb::DecayDiffusion1}) {
            settings.emplace_back(id, 0.0F);
        }
        Signal impulse(44000, 0.0F);
        impulse[start] = 1.0F;
        const Signal out = Play(*Make<Reverb>(bare, settings), impulse, impulse)[side];
        return std::max_element(out.begin(), out.end()) - out.begin();
    };
    for (const std::size_t start : {100U, 9000U, 20000U, 33000U}) {
        for (const std::size_t side : {0U, 1U}) {
            // Left hears the second half first.
            const auto swung = static_cast<double>(first(1.0F, start, side));
            const double read = swung / 44100.0 - (side == 0 ? 266.0 : 353.0) / 29761.0;
            const double turn = 2.0 * Velmora::Test::pi * (read + (side == 0 ? 0.25 : 0.0));
            EXPECT_NEAR(swung - static_cast<double>(first(0.0F, start, side)), 44.1 * std::sin(turn), 1.1)
                << start << ", side " << side;
        }
    }
    // From frame to frame in a line: steps would be heard above a deep tone.
    const Signal tone = Tone(44000, 210.0, 44100.0, 0.25);
    const auto fast = Make<Reverb>(bare);
    fast->SetParameterNormalized(Reverb::ModRate, 1.0F);
    fast->SetParameterNormalized(Reverb::ModDepth, 1.0F);
    EXPECT_LT(PeakAbove6k(Play(*fast, tone, tone)[0], 22000, 44000), 1e-4);
}

/// The note lengths are the delay's.
TEST(ReverbTest, ThePreDelayIsExactInMillisecondsAndInBeats) {
    struct Case {
        float rate, tempo, step;
        double ms;
    };
    for (const Case& c : {Case{22050, 0, 5, 90},
                          {96000, notANumber, 5, 90},
                          {44100, 120, 0, 500},
                          {44100, 101, 4, 396.04},
                          {44100, 101, 14, 74.257}}) {
        double first[2];
        for (const float on : {0.0F, 1.0F}) {
            const Signal impulse = Impulse(static_cast<std::size_t>(0.8F * c.rate) / 4 * 4);
            const auto reverb = Make<Reverb>(
                bare, {{Reverb::PreDelay, 90.0F * on}, {Reverb::TempoSync, on}, {Reverb::SyncRate, c.step}},
                c.rate);
            const Signal out = Play(*reverb, impulse, impulse, {0, 0.0F, c.tempo})[0];
            first[on > 0.0F] = static_cast<double>(
                std::find_if(out.begin(), out.end(), [](float x) { return x != 0.0F; }) - out.begin());
        }
        EXPECT_NEAR(first[1] - first[0], c.ms * 0.001 * static_cast<double>(c.rate), 0.51) << c.step;
    }
}

TEST(ReverbTest, AFrozenTailKeepsItsLevelAndHearsNothingNew) {
    const Velmora::dsp::DenormalGuard guard;
    const Signal silence(44000, 0.0F);
    const Signal noise = Noise(44000, 0.5F, 3);
    const auto reverb = Make<Reverb>({{Reverb::DryWet, 1.0F}});
    Play(*reverb, noise, noise);
    reverb->SetParameterValue(Reverb::Freeze, 1.0F);
    Play(*reverb, noise, noise);
    const double before = Rms(Play(*reverb, silence, silence)[0]);
    EXPECT_GT(before, 0.1);
    for (int second = 1; second < 20; ++second) {
        EXPECT_NEAR(Rms(Play(*reverb, noise, noise)[0]) / before, 1.0, 0.03) << second << " s";
    }
}
