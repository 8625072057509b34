// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/expression/ExpressionManager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
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

    void Run(u32 blocks = 1) {
        for (u32 i = 0; i < blocks; ++i) {
            UpdateExpression(all);
        }
    }

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

/// Slides straight to its target in a number of blocks.
struct Slide {
    void GoTo(double value, double blocks) {
        step = value != target ? std::abs(value - current) / blocks : step;
        target = value;
    }
    void Next() { current += std::clamp(target - current, -step, step); }
    void Jump() { current = target; }
    double current = 0.0, target = 0.0, step = 0.0;
};

TEST(ExpressionManager, AgreesWithASimpleModelThroughARandomPerformance) {
    struct Voice {
        bool sounds, isReleased, follows;
        u32 channel;
        std::array<double, 3> values; ///< bend, pressure, brightness
    };
    for (const auto& [rate, blockSize] : {std::pair(22050.0F, 44U), {44100.0F, 4U}, {192000.0F, 192U}}) {
        std::mt19937 random(7);
        Recorder manager;
        manager.PrepareExpression(rate, blockSize);
        manager.SetMpeEnabled(true);
        const double blocks = 0.04 * static_cast<double>(rate) / blockSize;
        std::array<Voice, voiceCount> voices{};
        std::array<std::array<Slide, 3>, 16> channels{};
        std::array<Slide, 3> global{};
        for (u32 step = 0; step < 8000; ++step) {
            SCOPED_TRACE(step);
            const auto v = static_cast<u32>(random() % voiceCount);
            const auto channel = static_cast<u32>(random() % 16);
            const u8 sent = static_cast<u8>(channel + (random() % 2) * 16); // the upper bits say nothing
            const auto control = static_cast<u32>(random() % 3);
            // Often what was said before, which must not stretch a slide.
            const float value = static_cast<float>(random() % 4) / 4;
            const auto follows = [channel](const Voice& voice) {
                return voice.follows && voice.channel == channel;
            };
            switch (random() % 6) {
            case 0:
                if (std::none_of(voices.begin(), voices.end(), [](const Voice& any) { return any.sounds; })) {
                    global[0].Jump();
                    global[1].Jump();
                }
                voices[v].follows = false;
                for (Voice& other : voices) {
                    other.follows = other.follows && !(other.isReleased && other.channel == channel);
                }
                if (std::none_of(voices.begin(), voices.end(), follows)) {
                    for (Slide& slide : channels[channel]) {
                        slide.Jump();
                    }
                }
                voices[v] = {true, false, true, channel, {}};
                manager.StartVoiceExpression(v, sent);
                break;
            case 1:
                voices[v].isReleased = voices[v].sounds;
                manager.ReleaseVoiceExpression(v);
                break;
            case 2: // now and then all at once
                for (u32 i = step % 50 == 0 ? 0 : v; i <= (step % 50 == 0 ? voiceCount - 1 : v); ++i) {
                    voices[i] = {};
                    manager.EndVoiceExpression(i);
                }
                break;
            case 3:
                global[control].GoTo(value, control == 2 ? 0.0 : blocks);
                control == 0   ? manager.SetGlobalBend(value)
                : control == 1 ? manager.SetGlobalAftertouch(value)
                               : manager.SetGlobalBrightness(value);
                break;
            default:
                channels[channel][control].GoTo(value, blocks);
                control == 0   ? manager.SetChannelBend(sent, value)
                : control == 1 ? manager.SetChannelPressure(sent, value)
                               : manager.SetChannelBrightness(sent, value);
            }
            global[2].Jump();
            for (auto count = 1 + random() % 20; count > 0; --count) {
                manager.Run();
                std::for_each(global.begin(), global.end(), [](Slide& slide) { slide.Next(); });
                for (auto& slides : channels) {
                    std::for_each(slides.begin(), slides.end(), [](Slide& slide) { slide.Next(); });
                }
            }
            for (u32 i = 0; i < voiceCount; ++i) {
                Voice& voice = voices[i];
                for (u32 k = 0; k < 3 && voice.follows; ++k) {
                    voice.values[k] = channels[voice.channel][k].current;
                }
                const auto sum = [&](u32 k) { return global[k].current + voice.values[k]; };
                if (voice.sounds) {
                    ASSERT_NEAR(manager.PitchOffset(i), sum(0), 1e-4) << "voice " << i;
                    ASSERT_NEAR(manager.Source5(i), std::min(sum(1), 1.0), 1e-4) << "voice " << i;
                    ASSERT_NEAR(manager.brightness[i], std::min(sum(2), 1.0), 1e-4) << "voice " << i;
                }
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
    manager.Run(45);
    manager.SetNotePressure(60, 0, 0.25F);
    manager.Run();
    for (const u32 voice : {0U, 1U, 2U}) {
        EXPECT_NEAR(manager.Source5(voice), 0.8, 0.03) << "slides from what it heard";
    }
    manager.Run(45);
    for (const u32 voice : {0U, 1U, 2U}) {
        EXPECT_EQ(manager.Source5(voice), voice == 1 ? 0.0F : 0.25F) << "two voices play the note";
    }
    manager.StartVoiceExpression(2, 0);
    EXPECT_EQ(manager.Source5(2), 0.0F) << "a new key is not pressed yet";
    manager.SetGlobalAftertouch(0.8F);
    manager.Run();
    EXPECT_EQ(manager.Source5(1), 0.8F);
}

} // namespace
