// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/engine/MeterReading.h"
#include "host/instrument/Instrument.h"
#include "host/midi/MidiFile.h"
#include "python/native/Moves.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace orphia::python {

/// Stereo sound as arrays hold it, one side behind the other; a mono one has equal sides.
struct Planes {
    const float* left = nullptr;
    const float* right = nullptr;
    std::size_t frames = 0;
};

/// Fills `target` with interleaved frames from `start` on; behind the end of the sound there is silence.
void Interleave(const Planes& sound, std::size_t start, std::span<float> target);

/// A whole passage in memory, as the command `orphia render` does it in a file: as long as the longer one of
/// song and voice, and a tail.
struct RenderJob {
    const host::MidiFile* song = nullptr;
    Planes voice;
    Moves moves;
    /// In seconds; without, until the last echo is silent.
    std::optional<double> tail;
    /// Asked now and then; true ends the pass.
    std::function<bool()> shouldStop;
};

struct RenderedSound {
    std::vector<float> left;
    std::vector<float> right;
    /// A reading each `meterFrames` frames.
    std::vector<host::MeterReading> meters;
    std::uint32_t meterFrames = 0;
    /// It still sounded when the longest tail was over.
    bool isCut = false;
    bool isStopped = false;
};

/// What no tail was asked for may take to fall silent, in seconds.
inline constexpr double longestFade = 30.0;

/// The instrument must be new and set up. Its latency does not show.
RenderedSound RenderAll(host::Instrument& instrument, RenderJob job);

} // namespace orphia::python
