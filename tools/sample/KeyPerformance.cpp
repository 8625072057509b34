// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/sample/KeyPerformance.h"

#include "tools/terminal/Terminal.h"

#include <algorithm>

namespace orphia::tools {

KeyPerformance::KeyPerformance(host::Instrument& target, unsigned chosenKey, double held, double expected)
    : instrument(target), adapter(target, host::BlockAdapter::Mode::WholeBlocks), key(chosenKey),
      playingId(target.Catalog().Find("IsPlayingSample").id), heldSeconds(held),
      expectedSeconds(std::min(held, expected)) {}

std::size_t KeyPerformance::Render(std::span<float> output) {
    const std::size_t block = std::size_t{instrument.FramesPerBlock()} * 2;
    std::size_t sounding = 0;
    for (std::size_t start = 0; start < output.size(); start += block) {
        const std::size_t count = std::min(block, output.size() - start);
        RenderBlock(output.subspan(start, count));
        sounding += hasEnded ? 0 : count / 2;
    }
    return sounding;
}

void KeyPerformance::RenderBlock(std::span<float> output) {
    const double seconds = static_cast<double>(framesDone) / instrument.SampleRate();
    const bool isFirst = framesDone == 0;
    if (isFirst) {
        instrument.NoteOn(key);
        isDown = true;
    } else if (isDown && seconds >= heldSeconds) {
        instrument.NoteOff(key);
        isDown = false;
    }
    adapter.Process({}, output);
    framesDone += output.size() / 2;
    hasEnded = !IsPlaying();
    if (isFirst && hasEnded) {
        Warn("with these settings the key plays nothing");
    }
}

} // namespace orphia::tools
