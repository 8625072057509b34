// SPDX-License-Identifier: GPL-3.0-or-later
// The low-frequency oscillators: the source of modulation, and those of effects.
#include "dsp/lfo/LFO.h"

#include "dsp/framework/RunChild.h"
#include "dsp/lfo/LFOSimple.h"
#include "dsp/modulation/ModulationChannels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <numbers>
#include <random>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

namespace Velmora::dsp {
namespace {

using Settings = std::vector<std::pair<u32, float>>;

constexpr float rate = 44100.0F;
constexpr u32 blockSize = 44;
constexpr double blockSeconds = blockSize / 44100.0;

/// Two cycles a second at 120 beats per minute, free or locked.
const Settings twoHertz = {{LFO::RateUnSynced, 2.0F}, {LFO::RateSynced, 5.0F}};

double Fraction(double x) { return x - std::floor(x); }

/// Sine, triangle, rising and falling ramp and square, at a phase in cycles.
double Wave(u32 shape, double x) {
    const double p = Fraction(x);
    const double waves[] = {std::sin(2.0 * std::numbers::pi * p),
                            1.0 - std::abs(4.0 * Fraction(p + 0.25) - 2.0), 2.0 * p - 1.0, 1.0 - 2.0 * p,
                            p < 0.5 ? 1.0 : -1.0};
    return waves[shape];
}

/// An oscillator with its host. The phase shows as a rising ramp unless a test says otherwise.
template <class M>
struct Host {
    explicit Host(const Settings& settings) {
        lfo.Initialize(rate, blockSize);
        inputs.Resize(3, 4, 4);
        Set(settings);
    }
    Host& Set(const Settings& settings) {
        for (const auto& [id, value] : settings) {
            lfo.SetParameterValue(id, value);
        }
        return *this;
    }
    Host& Modulate(u32 input, float value, float mark = 1.0F) {
        inputs[input][-1] = mark;
        inputs[input][0] = value;
        return *this;
    }
    /// One block at the host's beat, which then moves on.
    void Block() {
        const float* in[] = {inputs[0], inputs[1], inputs[2]};
        float* out[] = {sound[0].data(), sound[1].data()};
        ProcessContext context;
        context.inputs = in;
        context.numInputs = lfo.numInputs;
        context.outputs = out;
        context.numOutputs = 2;
        context.numFrames = blockSize;
        context.tempo = tempo;
        context.songPosition = static_cast<float>(beat);
        context.isPlaying = playing ? 1 : 0;
        ASSERT_TRUE(RunChild(lfo, context));
        beat += playing ? static_cast<double>(tempo) / 60.0 * blockSeconds : 0.0;
    }
    double NextPhase() {
        Block();
        return static_cast<double>(sound[0][0]) / 2.0 + 0.5;
    }
    /// expected(block), asked in front of each block, tells the phase in cycles.
    void ExpectPhases(u32 blocks, double tolerance, const std::function<double(u32)>& expected) {
        for (u32 block = 0; block < blocks; ++block) {
            const double wanted = expected(block);
            ASSERT_LT(std::abs(std::remainder(NextPhase() - wanted, 1.0)), tolerance) << block;
        }
    }
    void ExpectHertz(double hertz, u32 blocks = 3000, double tolerance = 1e-4) {
        ExpectPhases(blocks, tolerance, [=](u32 block) { return block * blockSeconds * hertz; });
    }
    /// Both channels, which are apart by `spread` cycles, through `made` of the wave.
    void ExpectWave(u32 shape, double start, double hertz, double spread, double (*made)(double)) {
        for (u32 n = 0; n < 300 * blockSize; ++n) {
            if (n % blockSize == 0) {
                Block();
            }
            for (const u32 side : {0U, 1U}) {
                const double x = start + n * hertz / 44100.0 + spread * side;
                if (std::abs(std::remainder(x, 0.5)) > 5e-5) { // an edge may fall a frame earlier or later
                    ASSERT_NEAR(sound[side][n % blockSize], made(Wave(shape, x)), 2e-5) << shape << ' ' << n;
                }
            }
        }
    }

    M lfo;
    ModulationChannels inputs;
    std::array<std::array<float, blockSize>, 2> sound = {};
    float tempo = 120.0F;
    double beat = 0.0;
    bool playing = false;
};

/// A seeded one.
struct Source : Host<LFO> {
    explicit Source(const Settings& settings, bool perBlock = true)
        : Host({{LFO::ControlRate, perBlock ? 1.0F : 0.0F}, {LFO::Waveform, LFO::RisingSaw}}) {
        Set(settings).lfo.Seed(1);
    }
};

TEST(LFOTest, TheRateIsThatOfHertzKeysNotesAndRoutingsAndAGateRestartsTheCycle) {
    for (const float hertz : {0.037F, 3.3F, 173.0F}) {
        for (const float mode : {1.0F, 2.0F}) {
            Source source({{LFO::Mode, mode}, {LFO::RateUnSynced, hertz}, {LFO::PhaseInit, 90.0F}});
            source.ExpectPhases(100000, 1e-5, [&](u32 block) {
                const u32 start = mode == 1.0F && block >= 60000 ? 60000 : 0;
                source.Set({{LFO::GateIn, block == 60000 ? 1.0F : 0.0F}});
                return 0.25 + (block - start) * blockSeconds * static_cast<double>(hertz);
            });
        }
    }
    for (u32 choice = 0; choice < 27; ++choice) {
        SCOPED_TRACE(choice);
        const auto length = static_cast<float>(choice % 9);
        constexpr double scales[] = {1.0, 2.0 / 3.0, 1.5};
        const double beats = 32.0 * std::exp2(-static_cast<double>(length)) * scales[choice / 9];
        Source source({{LFO::MidiSync, 1.0F}, {LFO::Mode, 1.0F}, {LFO::RateSynced, length}});
        source.Set({{LFO::RateSyncedType, static_cast<float>(choice / 9)}}).tempo = 97.0F;
        source.ExpectHertz(97.0 / 60.0 / beats);
        // Of effects: plain, dotted and triplet notes.
        Host<LFOSimple> simple({{LFOSimple::Shape, LFOSimple::RampUp}});
        const u32 type = LFOSimple::Beats + (3 - choice / 9) % 3;
        simple.Set({{LFOSimple::RateType, static_cast<float>(type)}}).tempo = 97.0F;
        simple.lfo.SetParameterNormalized(LFOSimple::Rate, (length + 0.5F) / 9.0F);
        simple.ExpectHertz(97.0 / 60.0 / beats);
    }
    for (const float tempo : {0.0F, -3.0F, std::nanf("")}) {
        Host<LFOSimple> simple({{LFOSimple::Shape, LFOSimple::RampUp}, {LFOSimple::Rate, 0.7F}});
        simple.Set({{LFOSimple::RateType, LFOSimple::Beats}}).tempo = tempo;
        simple.ExpectHertz(static_cast<double>(0.7F));
    }
    // By sync in whole octaves only.
    using Case = std::tuple<float, float, float, double>;
    for (const auto& [synced, semitones, amount, factor] :
         {Case{0, 12, 100, 2.0}, Case{0, -12, 100, 0.5}, Case{0, 24, 50, 2.0}, Case{1, 5, 100, 1.0},
          Case{1, 7, 100, 2.0}, Case{1, -13, 100, 0.5}, Case{1, 12, 200, 4.0}}) {
        Source source(twoHertz);
        const float frequency = 261.6256F * std::exp2(semitones / 12.0F);
        source.Set({{LFO::MidiSync, synced}, {LFO::KbTracking, 1.0F}});
        source.Set({{LFO::KbTrackingAmount, amount}, {LFO::KbTrackingFreq, frequency}});
        source.ExpectHertz(2.0 * factor, 5000, 1e-2);
    }
    // Two steps of eight on from one bar, a quarter.
    Source({{LFO::MidiSync, 1.0F}, {LFO::RateSynced, 3.0F}}).Modulate(0, 0.25F).ExpectHertz(2.0, 9);
    Source({{LFO::RateUnSynced, 0.25F}}).Modulate(0, 0.25F).ExpectHertz(0.5, 9, 1e-6);
    Source({{LFO::RateUnSynced, 0.25F}}).Modulate(0, 0.25F, 0.0F).ExpectHertz(0.25, 9, 1e-6);
}

TEST(LFOTest, CyclesFromBeatZeroStayOnTheBeatOverTempoChangesLoopsAndRestarts) {
    // Free-running, with SppHardFollow, and retriggered with SppHardFollow. Triplets of half a bar: three
    // quarters of a cycle per beat.
    for (const auto& [mode, hard] : {std::pair(2.0F, 0.0F), {2.0F, 1.0F}, {1.0F, 1.0F}}) {
        Source source({{LFO::Mode, mode}, {LFO::MidiSync, 1.0F}, {LFO::RateSynced, 4.0F}});
        source.Set({{LFO::RateSyncedType, 1.0F}, {LFO::PhaseInit, 36.0F}, {LFO::SppHardFollow, hard}});
        const bool exact = mode == 2.0F && hard == 1.0F;
        source.beat = 2.3;
        double beatsSinceJump = mode == 2.0F ? 100.0 : 0.0;
        for (u32 block = 0; block < 20000; ++block) {
            source.tempo = 120.0F + 40.0F * std::sin(static_cast<float>(block) * 1e-3F);
            source.playing = mode == 1.0F || block % 5000 < 4700;
            if (mode == 2.0F && source.beat > 9.7) {
                source.beat -= 4.9;
                beatsSinceJump = 0.0;
            }
            const double beat = source.beat;
            const double phase = source.NextPhase();
            beatsSinceJump += source.beat - beat;
            // Without hard following a jump is made good where the next cycle begins.
            if (source.playing && (exact || beatsSinceJump > 1.4)) {
                const double error = std::remainder(phase - beat * 0.75 - 0.1, 1.0);
                ASSERT_LT(std::abs(error), exact ? 1e-5 : 1e-3) << block;
            }
        }
    }
    // Those of effects glide after a jump. Two beats: one cycle a second.
    Host<LFOSimple> simple({{LFOSimple::Shape, LFOSimple::RampUp}, {LFOSimple::RateType, LFOSimple::Beats}});
    simple.lfo.SetParameterNormalized(LFOSimple::Rate, 0.5F);
    simple.playing = true;
    simple.beat = 7.0;
    simple.ExpectPhases(200, 1e-4, [](u32 block) { return 0.5 + block * blockSeconds; });
    const double jump = simple.beat += 1.2;
    double last = simple.NextPhase();
    for (u32 block = 1; block < 300; ++block) {
        const double next = simple.NextPhase();
        ASSERT_LT(std::abs(std::remainder(next - last, 1.0)), 0.03) << "no step";
        last = next;
    }
    simple.ExpectPhases(99, 0.01, [=](u32 block) { return jump / 2.0 + (block + 300) * blockSeconds; });
    simple.lfo.Reset(true);
    simple.beat = 11.5;
    simple.ExpectPhases(9, 1e-3, [](u32 block) { return 0.75 + block * blockSeconds; });
}

TEST(LFOTest, AOneShotEndsOneCycleAfterItsGateAndSwingStretchesEvenCycles) {
    for (const float synced : {0.0F, 1.0F}) {
        Source source(twoHertz);
        source.Set({{LFO::Mode, 0.0F}, {LFO::MidiSync, synced}, {LFO::PhaseInit, 90.0F}});
        for (const bool gated : {true, true, false}) {
            source.Set({{LFO::GateIn, gated ? 1.0F : 0.0F}}).lfo.Retrigger();
            source.ExpectPhases(700, 1e-6, [gated](u32 block) { // it rests just before its start
                return 0.25 + (gated ? std::min(block * blockSeconds * 2.0, 0.999999) : 0.999999);
            });
            source.Set({{LFO::GateIn, 0.0F}}).Block();
        }
        // The first takes 60 % of a pair, which stays on the beat.
        Source swung(twoHertz);
        swung.Set({{LFO::MidiSync, synced}, {LFO::Swing, 60.0F}}).playing = true;
        // At a change of speed a step is cut where the block is.
        swung.ExpectPhases(20000, 2.5e-3, [](u32 block) {
            const double place = Fraction(block * blockSeconds);
            return place < 0.6 ? place / 0.6 : (place - 0.6) / 0.4;
        });
    }
}

TEST(LFOTest, WaveformsFollowTheirFormulasUnderOffsetSpreadAmplitudeAndPolarity) {
    constexpr u32 waveforms[] = {LFO::Sine, LFO::Triangle, LFO::RisingSaw, LFO::FallingSaw, LFO::Square};
    for (u32 shape = 0; shape < 5; ++shape) {
        for (const bool single : {false, true}) {
            Source source({{LFO::RateUnSynced, 7.3F}, {LFO::PhaseInit, 45.0F}, {LFO::Amp, 0.5F}}, false);
            source.Set({{LFO::Waveform, static_cast<float>(waveforms[shape])}, {LFO::Stereo, 1.0F}});
            source.Set({{LFO::Unipolar, single ? 1.0F : 0.0F}, {LFO::StereoSpread, 72.0F}});
            source.Modulate(1, 0.25F).Modulate(2, 0.3F);
            source.ExpectWave(
                shape, 0.125 + 0.3, 7.3, 0.2,
                single ? [](double wave) { return 0.375 * (wave + 1.0); }
                       : [](double wave) { return 0.75 * wave; });
        }
        Host<LFOSimple> simple({{LFOSimple::Shape, static_cast<float>(shape)}, {LFOSimple::Phase, 36.0F}});
        simple.Set({{LFOSimple::RateType, LFOSimple::Hertz}, {LFOSimple::Rate, 7.3F}}).lfo.SetShift(0.3F);
        simple.ExpectWave(shape, 0.1, 7.3, 0.3, [](double wave) { return wave; });
    }
}

TEST(LFOTest, TheFadeRisesExponentiallyAndSmoothingTakesItsTimeInSecondsOrInCycles) {
    for (const auto& [seconds, perBlock] : {std::pair(0.5F, true), {0.5F, false}, {1e-4F, false}}) {
        Source source({{LFO::Waveform, LFO::Square}, {LFO::RateUnSynced, 0.01F}}, perBlock);
        source.Set({{LFO::Fade, seconds}}).lfo.Retrigger();
        for (u32 block = 0; block < 600; ++block) {
            source.Block();
            const double place = std::min(block * blockSeconds / static_cast<double>(seconds), 1.0);
            ASSERT_NEAR(source.sound[0][0], std::expm1(10.0 * place) / std::expm1(10.0), 2e-3) << block;
            ASSERT_LE(*std::max_element(source.sound[0].begin(), source.sound[0].end()), 1.0F);
        }
    }
    // A cycle of 2 s, in hertz and in beats.
    for (const auto& [synced, linked, smooth] : {std::tuple(0.0F, 0.0F, 0.4F), {0, 1, 0.2F}, {1, 1, 0.2F}}) {
        Source source({{LFO::Waveform, LFO::Square}, {LFO::RateUnSynced, 0.5F}, {LFO::RateSynced, 3.0F}});
        source.Set({{LFO::MidiSync, synced}, {LFO::SmoothRateLinked, linked}, {LFO::Smooth, smooth}});
        for (u32 block = 0; block < 900; ++block) {
            source.Block();
            ASSERT_NEAR(source.sound[0][0], 1.0 - std::exp(-5.0 * (block + 1) * blockSeconds / 0.4), 1e-5);
        }
        source.lfo.Reset(true);
        source.Block();
        EXPECT_LT(source.sound[0][0], 0.02F) << "a reset brings back the start";
    }
}

TEST(LFOTest, EachCycleDrawsAValueWhichTheSecondChannelFollowsOrMirrors) {
    for (const auto& [degrees, late, mirrors] :
         {std::tuple(0.0F, 0U, false), {45.0F, 25U, false}, {180.0F, 100U, false}, {45.0F, 0U, true}}) {
        // 100 frames a cycle; the second channel follows by twice the spread.
        Source source({{LFO::Waveform, LFO::SampleAndHold}, {LFO::RateUnSynced, 441.0F}}, false);
        source.Set({{LFO::Stereo, 1.0F}, {LFO::StereoSpread, degrees}, {LFO::SnHStereoMode, mirrors}});
        std::vector<float> left;
        u32 different = 0;
        for (u32 n = 0; n < 10000 * blockSize; ++n) {
            if (n % blockSize == 0) {
                source.Block();
            }
            left.push_back(source.sound[0][n % blockSize]);
            const float expected = n < 200 ? 0.0F : left[n - late] * (mirrors ? -1.0F : 1.0F);
            different += n < 200 || source.sound[1][n % blockSize] == expected ? 0 : 1;
        }
        // Rounding may move a cycle's border by a frame.
        EXPECT_LE(different, mirrors ? 0U : 4400U) << degrees << " degrees";
        const std::set<float> values(left.begin(), left.end());
        EXPECT_NEAR(static_cast<double>(values.size()), 4400.0, 1.0);
        EXPECT_NEAR(*values.rbegin() - *values.begin(), 1.99F, 0.01F) << "all of the range";
    }
    Source slow({{LFO::Waveform, LFO::SampleAndHold}, {LFO::RateUnSynced, 0.1F}});
    slow.Set({{LFO::Stereo, 1.0F}, {LFO::StereoSpread, 45.0F}});
    for (u32 gate = 0; gate < 5; ++gate) {
        slow.Block();
        const float held[] = {slow.sound[0][0], slow.sound[1][0]};
        slow.lfo.Retrigger();
        slow.Block();
        EXPECT_NE(slow.sound[0][0], held[0]) << "a gate draws anew";
        EXPECT_NE(slow.sound[1][0], held[1]) << "for the second channel too, at once";
    }
}

TEST(LFOTest, OneThatIsNotHeardGoesOnAsIfItWere) {
    for (u32 waveform = 0; waveform < LFO::WaveformCount; ++waveform) {
        for (const u32 id : std::initializer_list<u32>{LFO::Fade, LFO::Smooth, LFO::Mode, LFO::Unipolar}) {
            const Settings settings = {{LFO::Waveform, static_cast<float>(waveform)},
                                       {LFO::RateUnSynced, 3.0F},
                                       {id, id == LFO::Mode ? 1.0F : 0.3F}};
            Source always(settings);
            Source sometimes(settings);
            std::mt19937 random(waveform);
            for (u32 block = 0; block < 2000; ++block) {
                const bool isHeard = random() % 3 == 0;
                sometimes.lfo.SetHeard(isHeard);
                for (Source* source : {&always, &sometimes}) {
                    if (block % 600 == 599) {
                        source->lfo.Retrigger();
                    }
                    source->Block();
                }
                if (isHeard) {
                    ASSERT_EQ(sometimes.sound[0][0], always.sound[0][0])
                        << waveform << ' ' << id << ' ' << block;
                }
            }
        }
    }
}

} // namespace
} // namespace Velmora::dsp
