// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace orphia::plugin {

/// What is heard while bypassed: the voice, as late as the instrument would be, or silence. Goes over in 20
/// ms.
class DryPath {
public:
    static constexpr std::uint32_t mostFrames = 8192;
    static constexpr std::uint32_t mostLatency = 3 * mostFrames;

    /// Without a voice, bypassed is silent.
    explicit DryPath(bool passesVoice);

    /// The line is empty again, and the bypass as it is wanted.
    void Restart(double sampleRate);
    void SetBypassed(bool is) { isBypassed = is; }

    /// The voice of up to mostFrames frames, 0 to 2 channels; null ones are silent.
    void Take(const float* const* voice, std::uint32_t channels, std::uint32_t frames);
    /// Mixes into frames `from` to `to` of the sound that belongs to what was taken last.
    void Mix(float* const* sound, std::uint32_t from, std::uint32_t to, std::uint32_t latency);

private:
    static constexpr std::uint32_t size = mostFrames + mostLatency;
    static_assert((size & (size - 1)) == 0);

    std::array<std::vector<float>, 2> line;
    std::uint32_t start = 0;
    std::uint32_t end = 0;
    bool isBypassed = false;
    float amount = 0.0F;
    float step = 0.0F;
};

} // namespace orphia::plugin
