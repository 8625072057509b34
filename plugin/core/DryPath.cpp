// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/core/DryPath.h"

#include <algorithm>
#include <cmath>

namespace orphia::plugin {

namespace {

constexpr double fadeSeconds = 0.02;

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
    for (std::uint32_t side = 0; side < line.size(); ++side) {
        const float* const source = channels > 0 ? voice[std::min(side, channels - 1)] : nullptr;
        for (std::uint32_t n = 0; n < frames; ++n) {
            const float sample = source != nullptr ? source[n] : 0.0F;
            line[side][(start + n) % size] = std::isfinite(sample) ? sample : 0.0F;
        }
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
