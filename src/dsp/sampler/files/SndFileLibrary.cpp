// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/files/SndFileLibrary.h"

#include "support/Resources.h"
#include "support/platform/Platform.h"

#include <filesystem>
#include <stdexcept>

namespace Velmora::dsp {

namespace {

constexpr const char* baseName = "libsndfile-2";

template <typename Function>
void Bind(std::function<Function>& function, const Platform::DynamicLibrary& library, const char* name) {
    function = library.FindFunction<Function>(name);
}

} // namespace

SndFileLibrary::SndFileLibrary() : SndFileLibrary(Locate(Resources::GetInstance())) {}

std::string SndFileLibrary::Locate(const Resources& resources) {
    std::string folder;
    try {
        folder = resources.FindLibraryFolder(baseName);
    } catch (const std::runtime_error&) {
        return Platform::SystemSoundFileLibrary();
    }
    return folder + baseName + std::string(Platform::LibrarySuffix());
}

SndFileLibrary::SndFileLibrary(const std::string& path) : library(path) {
    if (!library.IsOpen()) {
        throw std::runtime_error("ERROR : unable to load libsndfile at " + path + ": " + library.GetError());
    }
    Bind(sfOpen, library, "sf_open");
    Bind(sfWcharOpen, library, "sf_wchar_open");
    Bind(sfClose, library, "sf_close");
    Bind(sfReadfFloat, library, "sf_readf_float");
    Bind(sfSeek, library, "sf_seek");
    Bind(sfStrerror, library, "sf_strerror");
    Bind(sfWriteSync, library, "sf_write_sync");
    Bind(sfWritefFloat, library, "sf_writef_float");
    Bind(sfGetChunkIterator, library, "sf_get_chunk_iterator");
    Bind(sfGetChunkSize, library, "sf_get_chunk_size");
    Bind(sfGetChunkData, library, "sf_get_chunk_data");
    Bind(sfOpenVirtual, library, "sf_open_virtual");
    Bind(sfCommand, library, "sf_command");
    Bind(sfReadfShort, library, "sf_readf_short");
}

SNDFILE* SndFileLibrary::OpenForReading(const std::string& path, SF_INFO& info) const {
    info = {};
    if (!sfWcharOpen) {
        return sfOpen(path.c_str(), SFM_READ, &info);
    }
    const std::filesystem::path name(std::u8string(path.begin(), path.end()));
    return sfWcharOpen(name.wstring().c_str(), SFM_READ, &info);
}

} // namespace Velmora::dsp
