// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/voices/Glider.h"

#include "dsp/framework/RunChild.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>

namespace Velmora::engine {
namespace {

/// A block takes a millisecond.
struct Rig {
    explicit Rig(float seconds) {
        Set(Glider::On, 1.0F);
        Set(Glider::Time, seconds);
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
    Glider glider;
    const float* input = nullptr;
};

TEST(GliderTest, ANoteGlidesInAStraightLineInItsTimeOrInThatOfItsOctaves) {
    for (const auto& [speed, seconds, blocksPerOctave] :
         {std::tuple(0.0F, 0.1F, 0.0), {1.0F, 0.1F, 100.0}, {1.0F, 0.0F, 1e-9}}) {
        Rig rig(seconds);
        rig.Set(Glider::Speed, speed);
        rig.Start(7, 60);
        EXPECT_EQ(rig.glider.CurrentNote(7), 60.0F) << "the first note jumps";
        rig.Run(7, 3);
        int from = 60;
        for (const auto& [to, isStepped] : {std::pair(84, false), {78, true}, {48, true}, {60, false}}) {
            rig.Set(Glider::Quantize, isStepped ? 1.0F : 0.0F);
            const double octaves = std::abs(to - from) / 12.0;
            const double blocks = speed > 0.5F ? octaves * blocksPerOctave : 100.0;
            rig.Start(4, static_cast<u8>(to)); // from the last note, though voice 7 was older
            for (u32 block = 1; block < 300; ++block) {
                const double exact = from + (to - from) * std::min(block / blocks, 1.0);
                const auto note = static_cast<double>(rig.Run(4, 1));
                const double behind = to > from ? exact - note : note - exact;
                ASSERT_NEAR(behind, isStepped ? 0.5 : 0.0, isStepped ? 0.501 : 1e-3) << to << ", " << block;
                ASSERT_TRUE(!isStepped || note == std::round(note));
                ASSERT_EQ(rig.glider.CurrentNote(7), 60.0F);
            }
            from = to;
        }
        rig.glider.Reset(false);
        rig.Start(4, 50);
        EXPECT_EQ(rig.glider.CurrentNote(4), 50.0F);
    }
}

TEST(GliderTest, ATimeThatMovesChangesAGlideUnderWay) {
    Rig rig(0.5F);
    rig.Start(0, 60);
    rig.Start(1, 72);
    EXPECT_NEAR(rig.Run(1, 50), 61.2F, 1e-3F);
    rig.Set(Glider::Time, 0.1F);
    EXPECT_NEAR(rig.Run(1, 50), 67.2F, 1e-3F);
    const float modulation[] = {1.0F, 0.3F}; // the mark, then the sample
    rig.input = modulation + 1;
    EXPECT_NEAR(rig.Run(1, 50), 68.7F, 1e-3F);
    rig.Set(Glider::On, 0.0F);
    EXPECT_EQ(rig.Run(1, 20), 72.0F) << "off, the note is its target, and nothing moves";
    rig.Set(Glider::On, 1.0F);
    EXPECT_NEAR(rig.Run(1, 0), 68.7F, 1e-3F);
}

TEST(GliderTest, AGlideStartsFromThePresentNoteOrTheTargetOfTheLastVoice) {
    for (const float fromTarget : {0.0F, 1.0F}) {
        Rig rig(0.1F);
        rig.Set(Glider::StartFromLastTarget, fromTarget);
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
        rig.Start(4, 90);
        EXPECT_EQ(rig.glider.CurrentNote(4), 50.0F);
    }
}

} // namespace
} // namespace Velmora::engine
