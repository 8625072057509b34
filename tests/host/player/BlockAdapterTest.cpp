// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/player/BlockAdapter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>
#include <vector>

namespace orphia::host {

namespace {

constexpr std::size_t block = 8;
constexpr std::size_t frames = 40 * block;

/// Adds to the voice what it was told so far; takes two messages a block.
class AddingEngine final : public BlockEngine {
public:
    std::uint32_t FramesPerBlock() const override { return length; }
    bool Send(const MidiMessage& message) override {
        if (taken < 2) {
            sum += static_cast<float>(message.data1);
            return ++taken > 0;
        }
        return false;
    }
    void Set(const ParameterSetting& setting) override { sum += setting.number; }
    void ProcessBlock(const float* const* voice, std::uint32_t channels, float* const* output) override {
        for (std::size_t n = 0; n < 2 * std::size_t{length}; ++n) {
            output[n % 2][n / 2] = sum + (channels == 0 ? 0.25F : voice[n % 2][n / 2]);
        }
        taken = 0;
    }

    std::uint32_t length = block;

private:
    float sum = 0.0F;
    int taken = 0;
};

/// Interleaved, with as many events as blocks take, but not evenly, and what an engine makes of it block by
/// block.
struct Song {
    std::vector<float> voice;
    std::vector<TimedEvent> events;
    std::vector<float> expected;

    explicit Song(std::mt19937& random) {
        std::deque<float> waiting;
        float sum = 0.0F;
        for (std::uint32_t frame = 0; frame < frames; ++frame) {
            voice.insert(voice.end(), {static_cast<float>(random() % 64), static_cast<float>(random() % 64)});
            if (random() % 5 == 0) {
                events.push_back({frame, MidiMessage{0x90, static_cast<std::uint8_t>(random() % 128), 1}});
                waiting.push_back(static_cast<float>(std::get<MidiMessage>(events.back().what).data1));
            } else if (random() % 20 == 0) {
                events.push_back({frame, ParameterSetting{1, ParameterSetting::Scale::Value, 1000.0F}});
                sum += 1000.0F;
            }
            for (int n = 0; frame % block == block - 1 && n < 2 && !waiting.empty(); ++n) {
                sum += waiting.front();
                waiting.pop_front();
            }
            while (frame % block == block - 1 && expected.size() < voice.size()) {
                expected.push_back(sum + voice[expected.size()]);
            }
        }
    }
};

/// Also behind a reset, or when the engine's blocks have become longer or shorter, as with an instrument at
/// another rate.
TEST(BlockAdapter, PiecesOfAnyLengthGiveWhatWholeBlocksGiveOneBlockLate) {
    std::mt19937 random(1);
    const Song song(random);
    for (const std::size_t longest : {0U, 1U, 7U, 8U, 9U, 40U}) {
        using Mode = BlockAdapter::Mode;
        AddingEngine engine;
        BlockAdapter adapter(engine, longest == 0 ? Mode::WholeBlocks : Mode::AnyLength);
        for (const std::uint32_t length : {BlockEngine::longestBlock, 4U, std::uint32_t{block}}) {
            std::vector<float> other(2 * frames + 6, 3.0F);
            adapter.Process(other, other);
            engine.length = length;
            EXPECT_EQ(adapter.Latency(), longest == 0 ? 0 : length);
        }
        if (longest == 7) {
            adapter.Reset();
        }
        std::vector<float> sound = song.voice;
        for (std::size_t at = 0, count = 0; at < frames; at += count) {
            count = std::min(longest == 0 ? block : 1 + random() % longest, frames - at);
            std::vector<TimedEvent> events;
            for (const TimedEvent& event : song.events) {
                if (event.frame >= at && event.frame < at + count) {
                    events.push_back({static_cast<std::uint32_t>(event.frame - at), event.what});
                }
            }
            const std::span piece = std::span(sound).subspan(2 * at, 2 * count);
            adapter.Process(piece, piece, events);
        }
        std::rotate(sound.begin(), sound.begin() + 2 * adapter.Latency(), sound.end());
        const auto late = sound.end() - 2 * adapter.Latency();
        EXPECT_TRUE(std::equal(sound.begin(), late, song.expected.begin())) << longest;
        EXPECT_TRUE(std::all_of(late, sound.end(), [](float x) { return x == 0.0F; })) << longest;
    }
}

TEST(BlockAdapter, AMonoVoiceIsOnBothSidesAndAnEventBehindTheEndIsInTime) {
    AddingEngine engine;
    BlockAdapter adapter(engine);
    std::vector<float> left(2 * block, 3.0F);
    std::vector<float> right(2 * block);
    float* const output[] = {left.data(), right.data()};
    const TimedEvent late{1000, MidiMessage{0x90, 100, 1}};
    adapter.Process(output, 1, output, 2 * block, {&late, 1});
    EXPECT_EQ(right[block], 3.0F);
    EXPECT_EQ(left, right);
    std::vector<float> sound(4 * block);
    adapter.Process({}, sound);
    EXPECT_EQ(sound.front(), 103.0F);
    EXPECT_EQ(sound.back(), 100.25F) << "without a voice";
}

} // namespace

} // namespace orphia::host
