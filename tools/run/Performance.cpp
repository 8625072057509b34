// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/run/Performance.h"

#include "tools/run/RenderOutput.h"
#include "tools/run/RunDisplay.h"
#include "tools/terminal/Terminal.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace orphia::tools {

namespace {

/// What no tail was asked for may take to fall silent.
constexpr double longestFade = 30.0;
/// As long as that nothing is heard before a sound is over: echoes lie up to 2 s apart.
constexpr double silenceAtEnd = 2.1;

std::uint64_t FramesOf(double seconds, const RenderOutput& output) {
    return static_cast<std::uint64_t>(std::llround(seconds * output.SampleRate()));
}

/// One chunk. Returns the frames that belong to the passage.
std::size_t RenderChunk(Performance& performance, RenderOutput& output) {
    if (StopSignal() != 0) {
        throw Stopped();
    }
    return output.Render([&performance](std::span<float> chunk) { return performance.Render(chunk); });
}

void Show(RunDisplay& display, Performance& performance, RenderOutput& output) {
    const host::MeterReading meters = performance.TakeMeters();
    output.NoteReduction(meters.limiterReduction);
    display.Show(output.Seconds(), performance.ExpectedSeconds(), meters);
}

void RenderWithTail(Performance& performance, RenderOutput& output, std::uint64_t tailFrames,
                    RunDisplay& display) {
    std::size_t frames = output.ChunkFrames();
    while (frames == output.ChunkFrames()) {
        const std::size_t passage = RenderChunk(performance, output);
        const std::uint64_t extra = std::min<std::uint64_t>(frames - passage, tailFrames);
        tailFrames -= extra;
        frames = passage + static_cast<std::size_t>(extra);
        output.Write(frames);
        if (frames > 0) {
            Show(display, performance, output);
        }
    }
}

void RenderUntilSilent(Performance& performance, RenderOutput& output, RunDisplay& display) {
    const std::uint64_t longestTail = FramesOf(longestFade, output);
    std::uint64_t passageFrames = 0;
    std::uint64_t tailFrames = 0;
    while (tailFrames < longestTail && !(performance.IsDone() && output.HeldSeconds() >= silenceAtEnd)) {
        const std::size_t passage = RenderChunk(performance, output);
        const std::uint64_t extra =
            std::min<std::uint64_t>(output.ChunkFrames() - passage, longestTail - tailFrames);
        output.WriteWhatSounds(passage, passage + static_cast<std::size_t>(extra));
        passageFrames += passage;
        tailFrames = output.FramesDone() - passageFrames;
        Show(display, performance, output);
    }
    if (tailFrames >= longestTail) {
        Warn(fmt::format("the sound was cut {} s after its end; a longer --tail keeps it", longestFade));
    }
}

} // namespace

void RenderWhole(Performance& performance, RenderOutput& output, std::optional<double> tailSeconds,
                 RunDisplay& display) {
    if (tailSeconds) {
        RenderWithTail(performance, output, FramesOf(*tailSeconds, output), display);
    } else {
        RenderUntilSilent(performance, output, display);
    }
    display.Clear();
}

} // namespace orphia::tools
