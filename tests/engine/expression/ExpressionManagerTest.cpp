// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/expression/ExpressionManager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <random>

using Velmora::i32;
using Velmora::u32;
using Velmora::u8;

namespace {

constexpr u32 voiceCount = 32;

/// Stands for the modulation sources behind the hooks.
class Recorder : public Velmora::engine::ExpressionManager {
public:
    Recorder() {
        std::iota(all.begin(), all.end(), 0U);
        PrepareExpression(44100, 44);
    }

    void Run(u32 blocks) {
        for (u32 i = 0; i < blocks; ++i) {
            UpdateExpression(all);
        }
    }
    void Settle() { Run(45); }

    /// What the matrix reads as source 5 of a voice.
    float Source5(u32 voice) const { return perVoice ? aftertouch[voice] : globalAftertouch; }

    std::array<u32, voiceCount> all{};
    std::array<int, voiceCount> notes{};
    bool perVoice = false;
    float globalAftertouch = 0.0F;
    std::array<float, voiceCount> aftertouch{};
    std::array<float, voiceCount> brightness{};

private:
    void OnPerVoiceAftertouch(bool separate) override {
        EXPECT_NE(separate, perVoice);
        perVoice = separate;
    }
    void WriteVoiceAftertouch(u32 voice, float value) override {
        EXPECT_TRUE(perVoice) << "the voice's buffer is the global one";
        aftertouch[voice] = value;
    }
    void WriteGlobalAftertouch(float value) override { globalAftertouch = value; }
    void WriteVoiceBrightness(u32 voice, float value) override { brightness[voice] = value; }
    i32 FindExpressionVoice(u8 note, u8 /*channel*/, u32 from) const override {
        const auto found = std::find(notes.begin() + from, notes.end(), note);
        return found == notes.end() ? noVoice : static_cast<i32>(found - notes.begin());
    }
};

TEST(ExpressionManager, SlidesStraightAndArrivesAfterFortyMilliseconds) {
    for (const float rate : {22050.0F, 44100.0F, 192000.0F}) {
        for (const u32 block : {4U, 44U, 192U}) {
            Recorder manager;
            manager.PrepareExpression(rate, block);
            manager.SetMpeEnabled(true);
            manager.StartVoiceExpression(7, 3);
            const double whole = 0.04 * rate / block;
            for (u32 tick = 1; tick <= whole + 1; ++tick) {
                // Said again and again, which must not stretch the slide.
                manager.SetGlobalBend(-4);
                manager.SetChannelBend(3, 16);
                manager.SetChannelPressure(3, 1);
                manager.SetChannelBrightness(3, 0.5F);
                manager.Run(1);
                const double way = std::min(tick / whole, 1.0);
                ASSERT_NEAR(manager.PitchOffset(7), 12 * way, 1e-3) << rate << " Hz, tick " << tick;
                ASSERT_NEAR(manager.PitchOffset(8), -4 * way, 1e-3) << "a voice of no channel";
                ASSERT_NEAR(manager.Source5(7), way, 1e-4);
                ASSERT_NEAR(manager.brightness[7], 0.5 * way, 1e-4);
            }
            EXPECT_EQ(manager.PitchOffset(7), 12.0F) << rate << " Hz, block " << block;
        }
    }
}

TEST(ExpressionManager, ANoteStartsWhereItsChannelAndTheWheelAreHeading) {
    Recorder manager;
    manager.SetMpeEnabled(true);
    manager.SetGlobalAftertouch(0.25F);
    manager.StartVoiceExpression(16, 7);
    EXPECT_EQ(manager.Source5(16), 0.25F) << "the first note of a phrase";
    manager.ReleaseVoiceExpression(16);
    manager.SetChannelBend(7, 24);
    manager.SetGlobalBend(2);
    manager.StartVoiceExpression(0, 7);
    EXPECT_EQ(manager.PitchOffset(0), 24.0F) << "and no wheel, as voice 16 sounds and would click";
    EXPECT_EQ(manager.PitchOffset(16), 0.0F) << "nor must that voice jump along";
    // A held note that shares the channel must not jump: the newcomer joins its slide.
    manager.SetChannelBend(7, 12);
    manager.Run(10);
    manager.StartVoiceExpression(20, 7);
    EXPECT_EQ(manager.PitchOffset(20), manager.PitchOffset(0));
    EXPECT_GT(manager.PitchOffset(20), 15.0F);
    manager.ResetExpression();
    manager.StartVoiceExpression(21, 7);
    EXPECT_EQ(manager.PitchOffset(21), 14.0F) << "nobody is left to share anything with";
}

TEST(ExpressionManager, AgreesWithASimpleModelThroughARandomPerformance) {
    struct Voice {
        bool sounds, isReleased, follows;
        u32 channel;
        std::array<float, 3> values; ///< bend, pressure, brightness
    };
    std::mt19937 random(7);
    Recorder manager;
    manager.SetMpeEnabled(true);
    std::array<Voice, voiceCount> voices{};
    std::array<std::array<float, 3>, 16> channels{};
    std::array<float, 3> global{};
    for (u32 step = 0; step < 4000; ++step) {
        const u32 v = random() % voiceCount;
        const u32 channel = random() % 16;
        const u8 sent = static_cast<u8>(channel + (random() % 2) * 16); // the upper bits say nothing
        const auto control = static_cast<u32>(random() % 3);
        const float value = static_cast<float>(random() % 1000) / 1000;
        switch (random() % 5) {
        case 0:
            manager.StartVoiceExpression(v, sent);
            for (Voice& other : voices) {
                other.follows = other.follows && !(other.isReleased && other.channel == channel);
            }
            voices[v] = {true, false, true, channel, {}};
            break;
        case 1:
            manager.ReleaseVoiceExpression(v);
            voices[v].isReleased = voices[v].sounds;
            break;
        case 2:
            manager.EndVoiceExpression(v);
            voices[v] = {};
            break;
        case 3:
            global[control] = value;
            control == 0   ? manager.SetGlobalBend(value)
            : control == 1 ? manager.SetGlobalAftertouch(value)
                           : manager.SetGlobalBrightness(value);
            break;
        default:
            channels[channel][control] = value;
            control == 0   ? manager.SetChannelBend(sent, value)
            : control == 1 ? manager.SetChannelPressure(sent, value)
                           : manager.SetChannelBrightness(sent, value);
        }
        manager.Settle();
        for (u32 i = 0; i < voiceCount; ++i) {
            Voice& voice = voices[i];
            voice.values = voice.follows ? channels[voice.channel] : voice.values;
            const auto sum = [&](u32 k) { return global[k] + voice.values[k]; };
            if (voice.sounds) {
                SCOPED_TRACE(testing::Message() << "step " << step << ", voice " << i);
                ASSERT_NEAR(manager.PitchOffset(i), sum(0), 1e-5);
                ASSERT_NEAR(manager.Source5(i), std::min(sum(1), 1.0F), 1e-6);
                ASSERT_NEAR(manager.brightness[i], std::min(sum(2), 1.0F), 1e-6);
            }
        }
    }
}

TEST(ExpressionManager, FollowsTheKindOfAftertouchThatWasPlayedLast) {
    Recorder manager;
    manager.notes = {60, 64, 60};
    for (const u32 voice : {0U, 1U, 2U}) {
        manager.StartVoiceExpression(voice, 0);
    }
    manager.SetGlobalAftertouch(0.8F);
    manager.Settle();
    manager.SetNotePressure(60, 0, 0.25F);
    manager.Run(1);
    for (const u32 voice : {0U, 1U, 2U}) {
        EXPECT_NEAR(manager.Source5(voice), 0.8, 0.03) << "slides from what it heard";
    }
    manager.Settle();
    for (const u32 voice : {0U, 1U, 2U}) {
        EXPECT_EQ(manager.Source5(voice), voice == 1 ? 0.0F : 0.25F) << "two voices play the note";
    }
    manager.StartVoiceExpression(2, 0);
    EXPECT_EQ(manager.Source5(2), 0.0F) << "a new key is not pressed yet";
    manager.SetGlobalAftertouch(0.8F);
    manager.Run(1);
    EXPECT_EQ(manager.Source5(1), 0.8F);
}

} // namespace
