// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/sampler/files/SampleData.h"

#include <sndfile.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Velmora {
class CLog;
}

namespace Velmora::dsp {

class SndFileLibrary;

/// A sound file open for reading, closed with its owner. For the resource worker.
class SampleFile {
public:
    /// Opens the file at `path` (UTF-8) and logs that it did, also when it could not; library and log must
    /// outlive this object. Raises std::bad_function_call when the library lacks what opens and closes.
    SampleFile(const SndFileLibrary& library, CLog& log, const std::string& path);
    /// Logs when libsndfile tells of an error.
    ~SampleFile();
    SampleFile(const SampleFile&) = delete;
    SampleFile& operator=(const SampleFile&) = delete;

    bool IsOpen() const { return handle != nullptr; }
    /// libsndfile's words on why the file is not open.
    const std::string& OpenError() const { return openError; }

    /// What the header tells.
    const SF_INFO& Info() const { return info; }
    /// False when the header does not tell a length.
    bool IsLengthKnown() const { return info.frames < SF_COUNT_MAX; }
    /// Whether a sound file has all the frames that its header tells.
    bool IsLengthPromised() const;

    /// The samples of each channel, of one length, with room for the guard of a SampleData behind them; the
    /// second is empty for mono.
    using Channels = std::array<std::vector<float>, 2>;

    /// Reads a mono or stereo file to its end, piece by piece: memory follows what comes, whatever the header
    /// says. Samples that are no finite numbers are 0. `limit` is the most frames that make sense; to tell
    /// that there are more, one more is read. `bytes` is the size of the file, a hint on how far to believe
    /// its header. Once; raises std::bad_alloc.
    Channels ReadAll(std::size_t limit, std::uintmax_t bytes) const;
    /// Zero when the file has none.
    SampleData::Instrument ReadInstrument() const;

private:
    class Decoder;

    SampleFile(const SndFileLibrary& library, CLog& log);

    /// Reads the next `frames`, with the channels of a frame side by side. Returns how many came; fewer than
    /// asked for only at the end.
    std::size_t Read(float* samples, std::size_t frames) const;

    const SndFileLibrary& library;
    CLog& log;
    SF_INFO info{};
    SNDFILE* handle = nullptr;
    std::string openError;
};

} // namespace Velmora::dsp
