// SPDX-License-Identifier: GPL-3.0-or-later
// The source of modulation: its cycle, and what it makes of it.
#include "dsp/lfo/LFO.h"

#include "Waves.h"
#include "dsp/framework/RunChild.h"
#include "dsp/modulation/ModulationChannels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

namespace Velmora::dsp {
namespace {

using namespace Test;
using Settings = std::vector<std::pair<u32, float>>;

constexpr float rate = 44100.0F;
constexpr u32 blockSize = 44;
constexpr double blockSeconds = blockSize / 44100.0;

/// Two cycles a second at 120 beats per minute, free or locked.
const Settings twoHertz = {{LFO::RateUnSynced, 2.0F}, {LFO::RateSynced, 5.0F}};

/// Distance on the circle of phases.
double PhaseError(double a, double b) { return std::abs(std::remainder(a - b, 1.0)); }

/// A seeded source with its host. The phase shows as a rising saw unless a test says otherwise.
struct Source {
    explicit Source(const Settings& settings, bool perBlock = true) {
        Set({{LFO::ControlRate, perBlock ? 1.0F : 0.0F}, {LFO::Waveform, LFO::RisingSaw}});
        Set(settings);
        lfo.Initialize(rate, blockSize);
        lfo.Seed(1);
        inputs.Resize(3, 4, 4);
    }
    void Set(const Settings& settings) {
        for (const auto& [id, value] : settings) {
            lfo.SetParameterValue(id, value);
        }
    }
    void Modulate(u32 input, float value) {
        inputs[input][-1] = 1.0F;
        inputs[input][0] = value;
    }
    /// One block at the host's beat, which then moves on.
    void Block() {
        const float* in[] = {inputs[0], inputs[1], inputs[2]};
        float* out[] = {left.data(), right.data()};
        ProcessContext context;
        context.inputs = in;
        context.numInputs = 3;
        context.outputs = out;
        context.numOutputs = 2;
        context.numFrames = blockSize;
        context.tempo = tempo;
        context.songPosition = static_cast<float>(beat);
        context.isPlaying = playing ? 1 : 0;
        ASSERT_TRUE(RunChild(lfo, context));
        beat += playing ? static_cast<double>(tempo) / 60.0 * blockSeconds : 0.0;
    }
    double Phase() { return static_cast<double>(lfo.FindParameter(LFO::CurrentPhaseFeedback)->GetValue()); }
    double NextPhase() {
        Block();
        return Phase();
    }

    LFO lfo;
    ModulationChannels inputs;
    std::array<float, blockSize> left = {}, right = {};
    float tempo = 120.0F;
    double beat = 0.0;
    bool playing = false;
};

TEST(LFOTest, AFreeRateKeepsItsClosedFormOverMinutesAndTheGateRestartsARetriggeredCycle) {
    for (const float hertz : {0.037F, 3.3F, 173.0F}) {
        for (const float mode : {1.0F, 2.0F}) {
            Source source({{LFO::Mode, mode}, {LFO::RateUnSynced, hertz}, {LFO::PhaseInit, 90.0F}});
            for (u32 block = 0; block < 100000; ++block) {
                const u32 start = mode == 1.0F && block >= 60000 ? 60000 : 0;
                source.Set({{LFO::GateIn, block == 60000 ? 1.0F : 0.0F}});
                const double expected = 0.25 + (block - start) * blockSeconds * static_cast<double>(hertz);
                ASSERT_LT(PhaseError(source.NextPhase(), expected), 1e-5) << hertz << " Hz, mode " << mode;
            }
        }
    }
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
                ASSERT_LT(PhaseError(phase, beat * 0.75 + 0.1), exact ? 1e-5 : 1e-3) << block;
            }
        }
    }
}

TEST(LFOTest, JumpsStopsAndStartsOfTheHostLeaveARetriggeredCycleAsItIs) {
    // Sixteen beats a cycle, or two, at 2 beats a second. Half of the jumps lead before the song's start.
    for (const auto& [mode, index, beats] : {std::tuple(0.0F, 1.0F, 16.0), {1.0F, 4.0F, 2.0}}) {
        Source source({{LFO::Mode, mode}, {LFO::MidiSync, 1.0F}, {LFO::RateSynced, index}});
        source.Set({{LFO::GateIn, 1.0F}});
        for (u32 block = 0; block < 7000; ++block) {
            source.playing = block % 1000 >= 300;
            if (block % 1000 == 700 || block % 1000 == 0) {
                source.beat = block % 2000 < 1000 ? 0.0 : -250.0 * 2.0 * blockSeconds;
            } else if (block % 1000 == 300) {
                source.beat += 50.0;
            }
            const double expected = block * 2.0 * blockSeconds / beats;
            ASSERT_LT(PhaseError(source.NextPhase(), expected), 1e-5) << block << " mode " << mode;
        }
    }
}

TEST(LFOTest, AOneShotEndsOneCycleAfterItsGateAndRestsJustBeforeItsStart) {
    for (const float synced : {0.0F, 1.0F}) {
        Source source(twoHertz);
        source.Set({{LFO::Mode, 0.0F}, {LFO::MidiSync, synced}, {LFO::PhaseInit, 90.0F}});
        for (const bool gated : {true, true, false}) {
            source.Set({{LFO::GateIn, gated ? 1.0F : 0.0F}});
            source.lfo.Retrigger();
            for (u32 block = 0; block < 700; ++block) {
                const double cycles = gated ? std::min(block * blockSeconds * 2.0, 0.999999) : 0.999999;
                ASSERT_LT(PhaseError(source.NextPhase(), 0.25 + cycles), 1e-6) << block << " sync " << synced;
            }
            source.Set({{LFO::GateIn, 0.0F}});
            source.Block();
        }
    }
}

TEST(LFOTest, SwingStretchesEvenCyclesAndKeepsThePairsOnTheBeat) {
    for (const float synced : {0.0F, 1.0F}) {
        // The first takes 60 % of a pair.
        Source swung(twoHertz);
        swung.Set({{LFO::MidiSync, synced}, {LFO::Swing, 60.0F}});
        swung.playing = true;
        for (u32 block = 0; block < 20000; ++block) {
            const double place = Fraction(block * blockSeconds);
            const double expected = place < 0.6 ? place / 0.6 : (place - 0.6) / 0.4;
            // At a change of speed a step is cut where the block is.
            const double allowed = block < 500 ? 1e-6 : 2.5e-3;
            ASSERT_LT(PhaseError(swung.NextPhase(), expected), allowed) << block << " sync " << synced;
        }
    }
}

TEST(LFOTest, KeysDoubleTheRatePerOctaveAndBySyncInWholeOctavesOnly) {
    using Case = std::tuple<float, float, float, double>;
    for (const auto& [synced, semitones, amount, factor] :
         {Case{0, 12, 100, 2.0}, Case{0, -12, 100, 0.5}, Case{0, 24, 50, 2.0}, Case{1, 5, 100, 1.0},
          Case{1, 7, 100, 2.0}, Case{1, -13, 100, 0.5}, Case{1, 12, 200, 4.0}}) {
        Source source(twoHertz);
        const float frequency = 261.6256F * std::exp2(semitones / 12.0F);
        source.Set({{LFO::MidiSync, synced}, {LFO::KbTracking, 1.0F}});
        source.Set({{LFO::KbTrackingAmount, amount}, {LFO::KbTrackingFreq, frequency}});
        for (u32 block = 0; block < 5000; ++block) {
            ASSERT_LT(PhaseError(source.NextPhase(), block * blockSeconds * 2.0 * factor), 1e-2)
                << semitones << " by " << amount;
        }
    }
}

TEST(LFOTest, EveryNoteLengthIsExactInBeats) {
    constexpr double scales[] = {1.0, 2.0 / 3.0, 1.5};
    for (u32 choice = 0; choice < 27; ++choice) {
        const u32 type = choice / 9;
        const u32 length = choice % 9;
        Source source({{LFO::MidiSync, 1.0F}, {LFO::Mode, LFO::RetriggeredCycle}});
        source.Set({{LFO::RateSynced, static_cast<float>(length)}});
        source.Set({{LFO::RateSyncedType, static_cast<float>(type)}});
        source.tempo = 97.0F;
        for (u32 block = 0; block < 3000; ++block) {
            const double bars = block * blockSeconds * 97.0 / 240.0;
            ASSERT_LT(PhaseError(source.NextPhase(), bars / (8.0 * std::exp2(-1.0 * length) * scales[type])),
                      1e-4)
                << "type " << type << ", length " << length << ", block " << block;
        }
    }
}

TEST(LFOTest, ARoutedRateMovesTheKnobAndTheTable) {
    Source free({{LFO::RateUnSynced, 0.25F}});
    Source synced({{LFO::MidiSync, 1.0F}, {LFO::RateSynced, 3.0F}});
    for (Source* source : {&free, &synced}) {
        source->Modulate(0, 0.25F);
        source->Block();
    }
    // Half a hertz; two steps of eight on from one bar, a quarter.
    EXPECT_NEAR(free.NextPhase(), 0.5 * blockSeconds, 1e-8);
    EXPECT_NEAR(synced.NextPhase(), 2.0 * blockSeconds, 1e-8);
    free.inputs[0][-1] = 0.0F;
    const double before = free.NextPhase();
    EXPECT_NEAR(free.NextPhase() - before, 0.25 * blockSeconds, 1e-8);
}

TEST(LFOTest, WaveformsFollowTheirFormulasUnderOffsetSpreadAmplitudeAndPolarity) {
    constexpr std::pair<u32, u32> waveforms[] = {
        {LFO::Sine, 0}, {LFO::Triangle, 1}, {LFO::RisingSaw, 2}, {LFO::FallingSaw, 3}, {LFO::Square, 4}};
    for (const auto& [waveform, shape] : waveforms) {
        for (const float single : {0.0F, 1.0F}) {
            Source source({{LFO::RateUnSynced, 7.3F}, {LFO::PhaseInit, 45.0F}, {LFO::Amp, 0.5F}}, false);
            source.Set({{LFO::Waveform, static_cast<float>(waveform)}, {LFO::Unipolar, single}});
            source.Set({{LFO::Stereo, 1.0F}, {LFO::StereoSpread, 72.0F}});
            source.Modulate(1, 0.25F);
            source.Modulate(2, 0.3F);
            for (u32 n = 0; n < 300 * blockSize; ++n) {
                if (n % blockSize == 0) {
                    source.Block();
                }
                for (const bool isRight : {false, true}) {
                    const float out = (isRight ? source.right : source.left)[n % blockSize];
                    const double x = 0.125 + 0.3 + n * 7.3 / 44100.0 + (isRight ? 0.2 : 0.0);
                    if (std::abs(std::remainder(x, 0.5)) > 5e-5) {
                        const double wave = Wave(shape, x);
                        ASSERT_NEAR(out, 0.75 * (single > 0.5F ? (wave + 1.0) * 0.5 : wave), 2e-5)
                            << waveform << " at " << x;
                    }
                }
            }
        }
    }
}

TEST(LFOTest, SampleAndHoldDrawsOncePerCycleAndTheSecondChannelFollowsByTwiceTheSpreadOrMirrored) {
    for (const auto& [degrees, frames, isMirror] :
         {std::tuple(0.0F, 0U, 0.0F), {45.0F, 25U, 0.0F}, {180.0F, 100U, 0.0F}, {45.0F, 0U, 1.0F}}) {
        // 100 frames a cycle.
        Source source({{LFO::Waveform, LFO::SampleAndHold}, {LFO::RateUnSynced, 441.0F}}, false);
        source.Set({{LFO::Stereo, 1.0F}, {LFO::StereoSpread, degrees}, {LFO::SnHStereoMode, isMirror}});
        std::vector<float> left;
        double different = 0.0;
        double sum = 0.0;
        for (u32 block = 0; block < 10000; ++block) {
            source.Block();
            left.insert(left.end(), source.left.begin(), source.left.end());
            for (std::size_t i = 0; i < blockSize && block > 4; ++i) {
                const float expected = left[left.size() - blockSize - frames + i];
                different += source.right[i] != (isMirror > 0.5F ? -expected : expected) ? 1.0 : 0.0;
                sum += static_cast<double>(source.left[i]);
            }
        }
        // Rounding may move a cycle's border by a frame.
        EXPECT_LE(different, isMirror > 0.5F ? 0.0 : 4400.0) << degrees << " degrees";
        const std::set<float> values(left.begin(), left.end());
        EXPECT_NEAR(static_cast<double>(values.size()), 4400.0, 1.0);
        EXPECT_NEAR(*values.begin(), -0.995F, 0.005F);
        EXPECT_NEAR(*values.rbegin(), 0.995F, 0.005F);
        EXPECT_NEAR(sum / static_cast<double>(left.size()), 0.0, 0.03);
    }
}

TEST(LFOTest, TheFadeRisesExponentiallyAndNeverOvershoots) {
    for (const auto& [seconds, perBlock] : {std::pair(0.5F, true), {0.5F, false}, {1e-4F, false}}) {
        Source source({{LFO::Waveform, LFO::Square}, {LFO::RateUnSynced, 0.01F}}, perBlock);
        source.Set({{LFO::Fade, seconds}});
        source.lfo.Retrigger();
        for (u32 block = 0; block < 600; ++block) {
            source.Block();
            const double place = std::min(block * blockSeconds / static_cast<double>(seconds), 1.0);
            ASSERT_NEAR(source.left[0], std::expm1(10.0 * place) / std::expm1(10.0), 2e-3) << block;
            ASSERT_LE(*std::max_element(source.left.begin(), source.left.end()), 1.0F);
        }
    }
}

TEST(LFOTest, SmoothingReachesAStepInItsTimeInSecondsOrInCycles) {
    Source seconds({{LFO::RateUnSynced, 0.5F}, {LFO::Smooth, 0.4F}});
    Source cycles({{LFO::RateUnSynced, 0.5F}, {LFO::Smooth, 0.2F}, {LFO::SmoothRateLinked, 1.0F}});
    Source synced({{LFO::MidiSync, 1.0F}, {LFO::RateSynced, 3.0F}, {LFO::Smooth, 0.2F}});
    synced.Set({{LFO::SmoothRateLinked, 1.0F}});
    for (Source* source : {&seconds, &cycles, &synced}) {
        source->Set({{LFO::Waveform, LFO::Square}});
        // From 0 to 1 within the first half cycle, 1 s.
        for (u32 block = 0; block < 900; ++block) {
            source->Block();
            ASSERT_NEAR(source->left[0], 1.0 - std::exp(-5.0 * (block + 1) * blockSeconds / 0.4), 1e-5)
                << block;
        }
        source->lfo.Reset(true);
        EXPECT_EQ(source->NextPhase(), 0.0) << "a reset brings back the start";
        EXPECT_LT(source->left[0], 0.02F);
    }
}

} // namespace
} // namespace Velmora::dsp
