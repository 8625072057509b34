// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/player/BlockAdapter.h"

#include <algorithm>
#include <cstddef>

namespace orphia::host {

namespace {

/// Left and right of some audio, a step apart from frame to frame; null where there is none.
template <class Sample>
struct Sides {
    Sample* left;
    Sample* right;
    std::size_t step;

    Sample* Side(std::size_t side) const { return side == 0 ? left : right; }
};

void Copy(const float* source, std::size_t sourceStep, float* target, std::size_t targetStep,
          std::uint32_t count) {
    if (sourceStep == 1 && targetStep == 1) {
        std::copy_n(source, count, target);
        return;
    }
    for (std::uint32_t n = 0; n < count; ++n) {
        target[n * targetStep] = source[n * sourceStep];
    }
}

} // namespace

/// One call's audio, as it goes through the adapter in pieces.
struct ORPHIA_PRIVATE BlockAdapter::Passage {
    Sides<const float> voice;
    Sides<float> output;
    std::uint32_t frames;
    std::span<const TimedEvent> events;
    std::uint32_t done = 0;
    std::size_t nextEvent = 0;
};

BlockAdapter::BlockAdapter(BlockEngine& blockEngine, Mode blockMode)
    : engine(blockEngine), mode(blockMode), blockFrames(blockEngine.FramesPerBlock()) {
    for (auto* sides : {&in, &out}) {
        for (std::vector<float>& side : *sides) {
            side.resize(BlockEngine::longestBlock);
        }
    }
    waiting.reserve(maxWaiting);
}

void BlockAdapter::Reset() {
    filled = 0;
    hasVoice = false;
    waiting.clear();
    for (std::vector<float>& side : out) {
        std::fill(side.begin(), side.end(), 0.0F);
    }
}

void BlockAdapter::Process(const float* const* voice, std::uint32_t voiceChannels, float* const* output,
                           std::uint32_t frames, std::span<const TimedEvent> events) {
    const float* const left = voiceChannels > 0 ? voice[0] : nullptr;
    Run({{left, voiceChannels > 1 ? voice[1] : left, 1}, {output[0], output[1], 1}, frames, events});
}

void BlockAdapter::Process(std::span<const float> voice, std::span<float> output,
                           std::span<const TimedEvent> events) {
    const float* const left = voice.empty() ? nullptr : voice.data();
    Run({{left, left != nullptr ? left + 1 : nullptr, 2},
         {output.data(), output.data() + 1, 2},
         static_cast<std::uint32_t>(output.size() / 2),
         events});
}

void BlockAdapter::FollowEngine() {
    if (const std::uint32_t frames = engine.FramesPerBlock(); frames != blockFrames) {
        blockFrames = frames;
        filled = 0;
        hasVoice = false;
        for (std::vector<float>& side : out) {
            std::fill(side.begin(), side.end(), 0.0F);
        }
    }
}

void BlockAdapter::Run(Passage passage) {
    FollowEngine();
    while (passage.done < passage.frames) {
        const std::uint32_t count = std::min(passage.frames - passage.done, blockFrames - filled);
        HandEvents(passage, passage.done + count);
        Collect(passage, count);
        if (mode == Mode::WholeBlocks) {
            FillUp(count);
            RenderBlock();
            GiveOut(passage, count);
        } else {
            GiveOut(passage, count);
            filled += count;
            if (filled == blockFrames) {
                RenderBlock();
            }
        }
        passage.done += count;
    }
}

/// The events in front of a frame; in front of the end, all that are left.
void BlockAdapter::HandEvents(Passage& passage, std::uint32_t endFrame) {
    while (passage.nextEvent < passage.events.size() &&
           (passage.events[passage.nextEvent].frame < endFrame || endFrame == passage.frames)) {
        const auto& what = passage.events[passage.nextEvent++].what;
        if (const auto* setting = std::get_if<ParameterSetting>(&what)) {
            engine.Set(*setting);
        } else {
            Hand(std::get<MidiMessage>(what));
        }
    }
}

void BlockAdapter::Hand(const MidiMessage& message) {
    const bool isTaken = waiting.empty() && engine.Send(message);
    if (!isTaken && waiting.size() < maxWaiting) {
        waiting.push_back(message);
    }
}

void BlockAdapter::HandWaiting() {
    auto next = waiting.begin();
    while (next != waiting.end() && engine.Send(*next)) {
        ++next;
    }
    waiting.erase(waiting.begin(), next);
}

void BlockAdapter::Collect(const Passage& passage, std::uint32_t count) {
    hasVoice = hasVoice || passage.voice.left != nullptr;
    for (std::size_t side = 0; side < in.size(); ++side) {
        float* const target = in[side].data() + filled;
        const float* const source = passage.voice.Side(side);
        if (source == nullptr) {
            std::fill_n(target, count, 0.0F);
            continue;
        }
        Copy(source + passage.done * passage.voice.step, passage.voice.step, target, 1, count);
    }
}

void BlockAdapter::GiveOut(const Passage& passage, std::uint32_t count) {
    for (std::size_t side = 0; side < out.size(); ++side) {
        Copy(out[side].data() + filled, 1, passage.output.Side(side) + passage.done * passage.output.step,
             passage.output.step, count);
    }
}

void BlockAdapter::FillUp(std::uint32_t from) {
    for (std::vector<float>& side : in) {
        std::fill(side.begin() + static_cast<std::ptrdiff_t>(from), side.end(), 0.0F);
    }
}

void BlockAdapter::RenderBlock() {
    const std::array<const float*, 2> voice{in[0].data(), in[1].data()};
    const std::array<float*, 2> output{out[0].data(), out[1].data()};
    engine.ProcessBlock(voice.data(), hasVoice ? 2 : 0, output.data());
    filled = 0;
    hasVoice = false;
    HandWaiting();
}

} // namespace orphia::host
