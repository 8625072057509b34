// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/sampler/files/SampleFile.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace Velmora::dsp {

/// Reads a mono or stereo file to its end, piece by piece: memory follows what comes, whatever the header
/// says. Samples that are no finite numbers are 0.
class SampleDecoder {
public:
    using Channels = std::array<std::vector<float>, 2>;

    /// The file must outlive this object. `limit` is the most frames that make sense; to tell that there are
    /// more, one more is read. `fileBytes` is the size of the file, a hint on how far to believe its header.
    SampleDecoder(const SampleFile& file, std::size_t limit, std::uintmax_t fileBytes);

    /// Reads everything; once. Raises std::bad_alloc.
    void Run();

    /// Frames that came.
    std::size_t Frames() const { return done; }
    /// The samples, with room for the guard of a SampleData behind them; the second is empty for mono.
    Channels TakeChannels() { return std::move(channels); }

private:
    void Reserve(std::size_t frames);
    void Grow(std::size_t frames);
    std::size_t ReadMono(std::size_t frames);
    std::size_t ReadStereo(std::size_t frames);

    const SampleFile& file;
    std::size_t channelCount;
    std::size_t wanted;
    std::size_t done = 0;
    Channels channels;
};

} // namespace Velmora::dsp
