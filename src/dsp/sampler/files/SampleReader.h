// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/sampler/files/SampleData.h"
#include "support/platform/Types.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace Velmora {
class CLog;
}

namespace Velmora::dsp {

class SndFileLibrary;

/// Why a file gave no sample.
enum class SampleRefusal {
    None,
    NotAFile,     ///< missing, or a folder, pipe or device
    NotReadable,  ///< may not be read, or no sound that libsndfile knows
    Empty,        ///< no frames
    ChannelCount, ///< neither mono nor stereo
    TooShort,     ///< less than a millisecond
    TooLong,      ///< more decoded audio than a sample may have
    Truncated     ///< ended before the length that its header tells: damaged, or cut while it was read
};

/// A phrase for messages, in lower case; empty for None.
std::string_view Describe(SampleRefusal refusal);

/// Decodes sound files, whole and at their own rate. For the resource worker: it blocks, allocates and logs.
class SampleReader {
public:
    /// Most decoded audio of one sample, in bytes: 25 minutes of stereo at 44.1 kHz. Twelve slots of it are
    /// what a machine may be expected to hold.
    static constexpr std::size_t maximumBytes = std::size_t{512} << 20U;

    struct Result {
        std::shared_ptr<const SampleData> data; ///< null when refused
        SampleRefusal refusal = SampleRefusal::None;
        i32 channelCount = 0;    ///< as the header tells
        i32 sampleRate = 0;      ///< Hz, as the header tells
        std::int64_t frames = 0; ///< as the header tells; huge when it does not know
        std::string reason;      ///< libsndfile's words when it could not open the file
    };

    /// Reads with the libsndfile of the process, bound at the first read, and logs to the process's log.
    SampleReader() = default;
    /// Reads with `library` and logs to `log`; both must outlive this object. Refuses as too long what is
    /// more than `limit` bytes of decoded audio, at most maximumBytes.
    SampleReader(const SndFileLibrary& library, CLog& log, std::size_t limit = maximumBytes);

    /// The sample on the shelf (SampleShelf.h) or in the file at `path` (UTF-8), or why there is none.
    /// Samples that are no finite numbers are 0. Raises std::bad_alloc, and std::runtime_error or
    /// std::bad_function_call when libsndfile cannot be bound.
    Result Read(const std::string& path) const;

private:
    const SndFileLibrary* library = nullptr;
    CLog* log = nullptr;
    std::size_t limit = maximumBytes;
};

} // namespace Velmora::dsp
