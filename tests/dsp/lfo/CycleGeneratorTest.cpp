// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/lfo/CycleGenerator.h"

#include "LFORig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>

namespace Velmora::dsp {
namespace {

using namespace Test;

TEST(CycleGeneratorTest, FreeRateKeepsItsClosedFormOverMinutes) {
    for (const float hertz : {0.037F, 3.3F, 173.0F}) {
        for (const float mode : {1.0F, 2.0F}) {
            LFORig source({{LFO::Mode, mode}, {LFO::RateUnSynced, hertz}, {LFO::PhaseInit, 90.0F}});
            for (u32 block = 0; block < 100000; ++block) {
                const double expected = 0.25 + block * blockSeconds * static_cast<double>(hertz);
                ASSERT_LT(PhaseError(source.NextPhase(), expected), 1e-5) << hertz << " Hz, mode " << mode;
            }
        }
    }
}

TEST(CycleGeneratorTest, CyclesFromBeatZeroStayOnTheBeatOverTempoChangesLoopsAndRestarts) {
    // Free-running, with SppHardFollow, and retriggered with SppHardFollow. Triplets of half a bar: three
    // quarters of a cycle per beat.
    for (const auto& [mode, hard] : {std::pair(2.0F, 0.0F), {2.0F, 1.0F}, {1.0F, 1.0F}}) {
        LFORig source({{LFO::Mode, mode}, {LFO::MidiSync, 1.0F}, {LFO::RateSynced, 4.0F}});
        source.Set({{LFO::RateSyncedType, 1.0F}, {LFO::PhaseInit, 36.0F}, {LFO::SppHardFollow, hard}});
        const bool exact = mode == 2.0F && hard == 1.0F;
        source.playing = true;
        source.beat = 2.3;
        double beatsSinceJump = mode == 2.0F ? 100.0 : 0.0;
        u32 compared = 0;
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
                ++compared;
            }
        }
        EXPECT_GT(compared, 8000U);
    }
}

TEST(CycleGeneratorTest, JumpsStopsAndStartsOfTheHostLeaveARetriggeredCycleAsItIs) {
    // Sixteen beats a cycle, or two, at 2 beats a second. Half of the jumps lead before the song's start.
    for (const auto& [mode, index, beats] : {std::tuple(0.0F, 1.0F, 16.0), {1.0F, 4.0F, 2.0}}) {
        LFORig source({{LFO::Mode, mode}, {LFO::MidiSync, 1.0F}, {LFO::RateSynced, index}});
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

TEST(CycleGeneratorTest, AOneShotEndsOneCycleAfterItsGateAndRestsJustBeforeItsStart) {
    for (const float synced : {0.0F, 1.0F}) {
        LFORig source(twoHertz);
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

TEST(CycleGeneratorTest, TheGateRestartsARetriggeredCycleButNotAFreeRunningOne) {
    for (const float mode : {1.0F, 2.0F}) {
        LFORig source(twoHertz);
        source.Set({{LFO::Mode, mode}});
        for (u32 block = 0; block < 100; ++block) {
            source.Block();
        }
        const double before = source.Phase();
        source.Set({{LFO::GateIn, 1.0F}});
        EXPECT_NEAR(source.NextPhase(), mode == 2.0F ? before + 2.0 * blockSeconds : 0.0, 1e-6);
    }
}

TEST(CycleGeneratorTest, SwingStretchesEvenCyclesAndKeepsThePairsOnTheBeat) {
    for (const float synced : {0.0F, 1.0F}) {
        // The first takes 60 % of a pair.
        LFORig swung(twoHertz);
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

TEST(CycleGeneratorTest, KeysDoubleTheRatePerOctaveAndBySyncInWholeOctavesOnly) {
    struct Case {
        float synced, semitones, amount;
        double factor;
    };
    for (const Case& c :
         {Case{0, 12, 100, 2.0}, Case{0, -12, 100, 0.5}, Case{0, 24, 50, 2.0}, Case{1, 1, 100, 1.0},
          Case{1, 5, 100, 1.0}, Case{1, 7, 100, 2.0}, Case{1, -13, 100, 0.5}, Case{1, 12, 200, 4.0}}) {
        LFORig source(twoHertz);
        const float frequency = 261.6256F * std::exp2(c.semitones / 12.0F);
        source.Set({{LFO::MidiSync, c.synced}, {LFO::KbTracking, 1.0F}});
        source.Set({{LFO::KbTrackingAmount, c.amount}, {LFO::KbTrackingFreq, frequency}});
        double turned = 0.0;
        double last = source.NextPhase();
        for (u32 block = 0; block < 5000; ++block) {
            const double phase = source.NextPhase();
            turned += Fraction(phase - last);
            last = phase;
        }
        EXPECT_NEAR(turned, 5000 * blockSeconds * 2.0 * c.factor, 1e-2) << c.semitones << " by " << c.amount;
    }
}

TEST(CycleGeneratorTest, EveryNoteLengthIsExactInBeats) {
    constexpr double bars[] = {8.0, 4.0, 2.0, 1.0, 0.5, 0.25, 0.125, 0.0625, 0.03125};
    constexpr double scales[] = {1.0, 2.0 / 3.0, 1.5};
    for (u32 type = 0; type < std::size(scales); ++type) {
        for (u32 length = 0; length < std::size(bars); ++length) {
            LFORig source({{LFO::MidiSync, 1.0F}, {LFO::Mode, LFO::RetriggeredCycle}});
            source.Set({{LFO::RateSynced, static_cast<float>(length)}});
            source.Set({{LFO::RateSyncedType, static_cast<float>(type)}});
            source.tempo = 97.0F;
            for (u32 block = 0; block < 3000; ++block) {
                const double beats = block * blockSeconds * 97.0 / 60.0;
                ASSERT_LT(PhaseError(source.NextPhase(), beats / (4.0 * bars[length] * scales[type])), 1e-4)
                    << "type " << type << ", length " << bars[length] << ", block " << block;
            }
        }
    }
}

TEST(CycleGeneratorTest, ARoutedRateMovesTheKnobAndTheTable) {
    LFORig free({{LFO::RateUnSynced, 0.25F}});
    LFORig synced({{LFO::MidiSync, 1.0F}, {LFO::RateSynced, 3.0F}});
    for (LFORig* source : {&free, &synced}) {
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

TEST(CycleGeneratorTest, OncePerBlockGivesTheFirstSampleOfEachBlock) {
    for (const auto& [mode, synced] :
         {std::pair(0.0F, 0.0F), {0.0F, 1.0F}, {1.0F, 0.0F}, {1.0F, 1.0F}, {2.0F, 0.0F}, {2.0F, 1.0F}}) {
        LFORig sparse(twoHertz);
        LFORig dense(twoHertz, false);
        for (LFORig* source : {&sparse, &dense}) {
            source->Set({{LFO::Mode, mode}, {LFO::MidiSync, synced}, {LFO::PhaseInit, 10.0F}});
        }
        for (u32 block = 0; block < 3000; ++block) {
            sparse.playing = dense.playing = block > 500 && block % 1000 < 900;
            dense.Block();
            ASSERT_LT(PhaseError(sparse.NextPhase(), dense.Phase()), 1e-4)
                << block << " mode " << mode << " sync " << synced;
        }
    }
}

} // namespace
} // namespace Velmora::dsp
