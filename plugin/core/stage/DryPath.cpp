// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/core/stage/DryPath.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orphia::plugin {

namespace {

constexpr double fadeSeconds = 0.02;

/// Silence without a source, and where it is not finite.
void Keep(const float* source, std::uint32_t count, float* target) {
    if (source == nullptr) {
        std::fill_n(target, count, 0.0F);
        return;
    }
    for (std::uint32_t n = 0; n < count; ++n) {
        target[n] = std::fabs(source[n]) <= std::numeric_limits<float>::max() ? source[n] : 0.0F;
    }
}

} // namespace

DryPath::DryPath(bool passesVoice) {
    for (std::vector<float>& side : line) {
        side.resize(passesVoice ? size : 0);
    }
}

void DryPath::Restart(double sampleRate) {
    for (std::vector<float>& side : line) {
        std::fill(side.begin(), side.end(), 0.0F);
    }
    step = static_cast<float>(1.0 / (fadeSeconds * sampleRate));
    amount = isBypassed ? 1.0F : 0.0F;
}

void DryPath::Take(const float* const* voice, std::uint32_t channels, std::uint32_t frames) {
    start = end;
    end += frames;
    if (line[0].empty()) {
        return;
    }
    // What does not fit behind the end of the line goes on at its beginning.
    const std::uint32_t at = start % size;
    const std::uint32_t fitting = std::min(frames, size - at);
    for (std::uint32_t side = 0; side < line.size(); ++side) {
        const float* const source = channels > 0 ? voice[std::min(side, channels - 1)] : nullptr;
        Keep(source, fitting, line[side].data() + at);
        Keep(source != nullptr ? source + fitting : nullptr, frames - fitting, line[side].data());
    }
}

void DryPath::Mix(float* const* sound, std::uint32_t from, std::uint32_t to, std::uint32_t latency) {
    const float target = isBypassed ? 1.0F : 0.0F;
    if (amount == 0.0F && target == 0.0F) {
        return;
    }
    const std::uint32_t late = std::min(latency, mostLatency);
    for (std::uint32_t n = from; n < to; ++n) {
        amount += std::clamp(target - amount, -step, step);
        for (std::uint32_t side = 0; side < line.size(); ++side) {
            const float dry = line[side].empty() ? 0.0F : line[side][(start + n - late) % size];
            sound[side][n] = amount == 1.0F ? dry : sound[side][n] + amount * (dry - sound[side][n]);
        }
    }
}

} // namespace orphia::plugin
