// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/voices/Glider.h"

#include "dsp/framework/RunChild.h"

#include <gtest/gtest.h>

#include <cmath>
#include <utility>

namespace Velmora::engine {
namespace {

using NoteGlider = Glider;

/// A block takes a millisecond.
struct Rig {
    explicit Rig(float seconds = 0.1F, float speed = 0.0F) {
        Set(NoteGlider::On, 1.0F);
        Set(NoteGlider::Time, seconds);
        Set(NoteGlider::Speed, speed);
        glider.Initialize(48000.0F, 48);
        glider.Reset(true);
    }
    void Set(u32 id, float value) { glider.SetParameterValue(id, value); }
    void Start(u32 voice, u8 note) { glider.StartNote(voice, note, nullptr, 0); }
    float Run(u32 voice, u32 blocks) {
        for (u32 block = 0; block < blocks; ++block) {
            dsp::ProcessContext context;
            context.inputs = &input;
            context.numInputs = 1;
            EXPECT_TRUE(dsp::RunChild(glider, context));
        }
        return glider.CurrentNote(voice);
    }
    /// Plays one note after another and counts the blocks of the glide between them.
    u32 BlocksOfGlide(u8 from, u8 to) {
        glider.ResetTargets();
        Start(0, from);
        Run(0, 1);
        Start(1, to);
        u32 blocks = 0;
        while (glider.CurrentNote(1) != static_cast<float>(to) && ++blocks < 10000) {
            Run(1, 1);
        }
        return blocks;
    }
    NoteGlider glider;
    const float* input = nullptr;
};

TEST(GliderTest, TheFirstNoteJumpsAndTheNextGlidesInAStraightLine) {
    Rig rig;
    EXPECT_EQ((rig.Start(7, 60), rig.glider.CurrentNote(7)), 60.0F);
    rig.Run(7, 3);
    for (const bool quantized : {false, true}) {
        rig.Set(NoteGlider::Quantize, quantized ? 1.0F : 0.0F);
        for (const auto& [from, to] : {std::pair(60, 72), std::pair(72, 48)}) {
            rig.Start(4, static_cast<u8>(to)); // from the last note, though voice 7 was older
            for (u32 block = 1; block < 100; ++block) {
                const double exact = from + (to - from) * (block / 100.0);
                const float note = rig.Run(4, 1);
                ASSERT_TRUE(!quantized || note == std::round(note));
                const double behind = to > from ? exact - note : note - exact;
                ASSERT_NEAR(behind, quantized ? 0.5 : 0.0, quantized ? 0.501 : 1e-3) << block;
                ASSERT_EQ(rig.glider.CurrentNote(7), 60.0F);
            }
            EXPECT_EQ(rig.Run(4, 2), static_cast<float>(to));
        }
        rig.glider.Reset(false);
        EXPECT_EQ((rig.Start(4, 60), rig.glider.CurrentNote(4)), 60.0F);
    }
}

TEST(GliderTest, SpeedTellsWhetherTheTimeIsThatOfTheGlideOrOfAnOctave) {
    for (const auto& [interval, factor] : {std::pair(24, 2.0), std::pair(-6, 0.5)}) {
        const auto to = static_cast<u8>(60 + interval);
        EXPECT_NEAR(Rig(0.1F, 0.0F).BlocksOfGlide(60, to), 100.0, 1.0) << interval;
        EXPECT_NEAR(Rig(0.1F, 1.0F).BlocksOfGlide(60, to), 100.0 * factor, 1.0) << interval;
        EXPECT_EQ(Rig(0.0F, 1.0F).BlocksOfGlide(60, to), 1U);
    }
}

TEST(GliderTest, ATimeThatMovesChangesAGlideUnderWay) {
    Rig rig(0.5F);
    rig.Start(0, 60);
    rig.Start(1, 72);
    EXPECT_NEAR(rig.Run(1, 50), 61.2F, 1e-3F);
    rig.Set(NoteGlider::Time, 0.1F);
    EXPECT_NEAR(rig.Run(1, 50), 67.2F, 1e-3F);
    const float modulation[] = {1.0F, 0.3F}; // the mark, then the sample
    rig.input = modulation + 1;
    EXPECT_NEAR(rig.Run(1, 50), 68.7F, 1e-3F);
    rig.Set(NoteGlider::On, 0.0F);
    EXPECT_EQ(rig.Run(1, 20), 72.0F) << "off, the note is its target";
    rig.Set(NoteGlider::On, 1.0F);
    EXPECT_NEAR(rig.Run(1, 0), 68.7F, 1e-3F) << "and nothing moved";
}

TEST(GliderTest, AGlideStartsFromThePresentNoteOrTheTargetOfTheLastVoice) {
    for (const float fromTarget : {0.0F, 1.0F}) {
        Rig rig;
        rig.Set(NoteGlider::StartFromLastTarget, fromTarget);
        rig.Start(0, 60);
        rig.Start(1, 72);
        rig.Run(1, 50);
        rig.Start(2, 80);
        EXPECT_NEAR(rig.glider.CurrentNote(2), fromTarget > 0.5F ? 72.0F : 66.0F, 1e-3F);
        rig.glider.ReleaseVoice(2, 1);
        rig.glider.ReleaseVoice(0, 0); // not the last started: nothing changes
        rig.Run(2, 100);
        rig.Start(3, 50);
        EXPECT_EQ(rig.glider.CurrentNote(3), 72.0F);
        rig.glider.ReleaseVoice(3, -1);
        rig.Run(3, 100);
        EXPECT_EQ((rig.Start(4, 90), rig.glider.CurrentNote(4)), 50.0F);
    }
}

} // namespace
} // namespace Velmora::engine
