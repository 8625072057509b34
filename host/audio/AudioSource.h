// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

namespace orphia::host {

/// Stereo audio that is read once from front to back. Samples are interleaved, left first, at full scale 1,
/// and always finite.
class AudioSource {
public:
    static constexpr std::size_t channelCount = 2;
    static constexpr std::uint64_t endless = std::numeric_limits<std::uint64_t>::max();

    virtual ~AudioSource() = default;
    AudioSource(const AudioSource&) = delete;
    AudioSource& operator=(const AudioSource&) = delete;

    /// In Hz.
    virtual std::uint32_t SampleRate() const = 0;

    /// How many frames the whole source should have; `endless` for one that never ends. An estimate: only
    /// Read knows.
    virtual std::uint64_t ExpectedFrames() const = 0;

    /// Fills `samples`, an even number of them, and returns the frames read: fewer than asked for only at
    /// the end. Throws FileError.
    virtual std::size_t Read(std::span<float> samples) = 0;

protected:
    AudioSource() = default;
};

} // namespace orphia::host
