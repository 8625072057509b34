// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/BlockAdapter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace orphia::host {

namespace {

constexpr std::uint32_t blockFrames = 12;

/// Repeats the voice, its right side negated, and adds the last note and setting; keeps what it was told.
class EchoEngine : public BlockEngine {
public:
    std::uint32_t FramesPerBlock() const override { return blockFrames; }
    bool Send(const MidiMessage& message) override {
        if (taken == capacity) {
            return false;
        }
        ++taken;
        note = message.data1;
        notes.push_back({blocks, message.data1});
        return true;
    }
    void Set(const ParameterSetting& setting) override { offset = setting.number; }
    void ProcessBlock(const float* const* voice, std::uint32_t channels, float* const* output) override {
        channelCounts.push_back(channels);
        for (std::uint32_t n = 0; n < blockFrames; ++n) {
            const float left = channels > 0 ? voice[0][n] : 0.0F;
            const float right = channels > 1 ? voice[1][n] : left;
            output[0][n] = left + static_cast<float>(note) + offset;
            output[1][n] = -right;
        }
        ++blocks;
        taken = 0;
    }

    struct Note {
        int block;
        int number;
        bool operator==(const Note&) const = default;
    };
    int capacity = 1000;
    int taken = 0;
    int note = 0;
    float offset = 0.0F;
    int blocks = 0;
    std::vector<Note> notes;
    std::vector<std::uint32_t> channelCounts;
};

MidiMessage NoteOn(int number) { return {0x90, static_cast<std::uint8_t>(number), 100}; }

using Stereo = std::array<std::vector<float>, 2>;

Stereo Ramp(std::uint32_t frames) {
    Stereo sound;
    for (std::uint32_t n = 0; n < frames; ++n) {
        sound[0].push_back(static_cast<float>(n + 1) * 1000.0F);
        sound[1].push_back(static_cast<float>(n + 1));
    }
    return sound;
}

/// In place, in pieces of random lengths up to a longest one, with the events of each piece.
Stereo RunInPieces(EchoEngine& engine, std::uint32_t frames, std::uint32_t longest, unsigned seed,
                   const std::vector<TimedEvent>& events) {
    BlockAdapter adapter(engine);
    Stereo sound = Ramp(frames);
    std::mt19937 random(seed);
    for (std::uint32_t done = 0; done < frames;) {
        const std::uint32_t count =
            std::min(frames - done, std::uniform_int_distribution<std::uint32_t>(1, longest)(random));
        std::vector<TimedEvent> here;
        for (const TimedEvent& event : events) {
            if (event.frame >= done && event.frame < done + count) {
                here.push_back({event.frame - done, event.what});
            }
        }
        const std::array<float*, 2> buffers{sound[0].data() + done, sound[1].data() + done};
        adapter.Process(buffers.data(), 2, buffers.data(), count, here);
        done += count;
    }
    return sound;
}

TEST(BlockAdapter, AnyLengthsGiveTheSameSoundOneBlockLate) {
    constexpr std::uint32_t frames = 600;
    const std::vector<TimedEvent> events = {{0, NoteOn(1)},
                                            {11, NoteOn(2)},
                                            {12, NoteOn(3)},
                                            {100, ParameterSetting{0, ParameterSetting::Scale::Value, 0.5F}},
                                            {599, NoteOn(4)}};
    const Stereo voice = Ramp(frames);
    for (unsigned seed = 1; seed <= 20; ++seed) {
        EchoEngine engine;
        const Stereo sound = RunInPieces(engine, frames, seed * 3, seed, events);
        for (std::uint32_t n = 0; n < frames; ++n) {
            const std::uint32_t source = n - blockFrames;
            const float added =
                (n < 2 * blockFrames ? 2.0F : 3.0F) + (source / blockFrames >= 8 ? 0.5F : 0.0F);
            const float left = n < blockFrames ? 0.0F : voice[0][source] + added;
            const float right = n < blockFrames ? 0.0F : -voice[1][source];
            ASSERT_EQ(sound[0][n], left) << "frame " << n << ", pieces of seed " << seed;
            ASSERT_EQ(sound[1][n], right) << "frame " << n << ", pieces of seed " << seed;
        }
        const std::vector<EchoEngine::Note> notes = {{0, 1}, {0, 2}, {1, 3}, {49, 4}};
        EXPECT_EQ(engine.notes, notes);
    }
}

TEST(BlockAdapter, WholeBlocksAreNotLateAndTheEndMayBeShort) {
    EchoEngine engine;
    BlockAdapter adapter(engine, BlockAdapter::Mode::WholeBlocks);
    EXPECT_EQ(adapter.Latency(), 0U);
    std::vector<float> voice(2 * (2 * blockFrames + 5));
    for (std::size_t n = 0; n < voice.size(); ++n) {
        voice[n] = static_cast<float>(n + 1);
    }
    std::vector<float> output(voice.size());
    const std::vector<TimedEvent> events = {{blockFrames, NoteOn(7)}};
    adapter.Process(voice, output, events);
    for (std::size_t n = 0; n < output.size(); ++n) {
        const float expected = n % 2 == 0 ? voice[n] + (n / 2 < blockFrames ? 0.0F : 7.0F) : -voice[n];
        ASSERT_EQ(output[n], expected) << "sample " << n;
    }
    EXPECT_EQ(engine.blocks, 3);
}

TEST(BlockAdapter, WhatABlockDoesNotTakeComesInOrderInTheNextOnes) {
    EchoEngine engine;
    engine.capacity = 2;
    BlockAdapter adapter(engine);
    std::vector<TimedEvent> events;
    for (int number = 1; number <= 5; ++number) {
        events.push_back({0, NoteOn(number)});
    }
    std::vector<float> output(2 * 4 * blockFrames);
    adapter.Process({}, output, events);
    const std::vector<EchoEngine::Note> notes = {{0, 1}, {0, 2}, {1, 3}, {1, 4}, {2, 5}};
    EXPECT_EQ(engine.notes, notes);
}

TEST(BlockAdapter, TellsTheEngineWhetherThereIsAVoiceAndSpreadsAMonoOne) {
    EchoEngine engine;
    BlockAdapter adapter(engine, BlockAdapter::Mode::WholeBlocks);
    const Stereo voice = Ramp(blockFrames);
    Stereo sound = Ramp(blockFrames);
    const std::array<float*, 2> output{sound[0].data(), sound[1].data()};
    adapter.Process(nullptr, 0, output.data(), blockFrames);
    const std::array<const float*, 1> mono{voice[0].data()};
    adapter.Process(mono.data(), 1, output.data(), blockFrames);
    const std::vector<std::uint32_t> counts = {0, 2};
    EXPECT_EQ(engine.channelCounts, counts);
    EXPECT_EQ(sound[1][3], -4000.0F);
    adapter.Process(nullptr, 0, output.data(), 0);
    EXPECT_EQ(engine.blocks, 2) << "no frames, no block";
}

TEST(BlockAdapter, AResetForgetsWhatIsOnItsWay) {
    EchoEngine engine;
    BlockAdapter adapter(engine);
    std::vector<float> ones(2 * (blockFrames + 5), 1.0F);
    std::vector<float> output(ones.size());
    adapter.Process(ones, output);
    adapter.Reset();
    adapter.Process(ones, output);
    EXPECT_TRUE(
        std::all_of(output.begin(), output.begin() + 2 * blockFrames, [](float s) { return s == 0.0F; }));
    EXPECT_EQ(output[2 * blockFrames], 1.0F);
}

} // namespace

} // namespace orphia::host
