// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/CSingleton.h"
#include "support/platform/DynamicLibrary.h"

#include <sndfile.h>

#include <functional>
#include <string>

namespace Velmora {
class Resources;
}

namespace Velmora::dsp {

/// libsndfile, bound while the program runs: only what decodes samples needs it, and the product brings its
/// own. Calling a function that the library lacks raises std::bad_function_call. Not for the audio path.
class SndFileLibrary : public CSingleton<SndFileLibrary> {
public:
    /// The one of the process, at the place that Locate() tells. Raises what the other constructor raises.
    SndFileLibrary();

    /// Where `resources` has the library; the system's own, without a folder, when none of the product's
    /// folders has it.
    static std::string Locate(const Resources& resources);

    /// Loads the library at `path` (UTF-8). Raises std::runtime_error when that fails.
    explicit SndFileLibrary(const std::string& path);

    /// Opens the file at `path` (UTF-8; plain bytes where the system's names are bytes) and fills `info`,
    /// which is zero before. Null when it is no sound file or cannot be read.
    SNDFILE* OpenForReading(const std::string& path, SF_INFO& info) const;

private:
    Platform::DynamicLibrary library; // stands as long as the functions below

public:
    std::function<decltype(sf_open)> sfOpen;
    /// In libraries for Windows only, whose `sfOpen` takes names in the system's code page.
    std::function<SNDFILE*(const wchar_t* path, int mode, SF_INFO* info)> sfWcharOpen;
    std::function<decltype(sf_close)> sfClose;
    std::function<decltype(sf_readf_float)> sfReadfFloat;
    std::function<decltype(sf_seek)> sfSeek;
    std::function<decltype(sf_strerror)> sfStrerror;
    std::function<decltype(sf_write_sync)> sfWriteSync;
    std::function<decltype(sf_writef_float)> sfWritefFloat;
    std::function<decltype(sf_get_chunk_iterator)> sfGetChunkIterator;
    std::function<decltype(sf_get_chunk_size)> sfGetChunkSize;
    std::function<decltype(sf_get_chunk_data)> sfGetChunkData;
    std::function<decltype(sf_open_virtual)> sfOpenVirtual;
    std::function<decltype(sf_command)> sfCommand;
    std::function<decltype(sf_readf_short)> sfReadfShort;
};

} // namespace Velmora::dsp
