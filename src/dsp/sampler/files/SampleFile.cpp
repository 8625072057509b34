// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/files/SampleFile.h"

#include "dsp/sampler/files/SndFileLibrary.h"
#include "support/CLog.h"

#include <algorithm>
#include <functional>
#include <mutex>
#include <string_view>

namespace Velmora::dsp {

namespace {

constexpr std::string_view logCategory = "audio_engine";

static_assert(sizeof(SF_INSTRUMENT) == sizeof(SampleData::Instrument));

} // namespace

SampleFile::SampleFile(const SndFileLibrary& libraryToUse, CLog& logToUse)
    : library(libraryToUse), log(logToUse) {}

// Delegates, so that the destructor closes the file if the log raises.
SampleFile::SampleFile(const SndFileLibrary& libraryToUse, CLog& logToUse, const std::string& path)
    : SampleFile(libraryToUse, logToUse) {
    if (!library.sfClose) {
        throw std::bad_function_call(); // what could not be closed again is not opened
    }
    {
        // libsndfile writes what it finds in a header to a buffer of the whole process.
        static std::mutex opening;
        const std::lock_guard lock(opening);
        handle = library.OpenForReading(path, info);
        if (handle == nullptr && library.sfStrerror) {
            openError = library.sfStrerror(nullptr);
        }
    }
    log.Log(logCategory, LogLevel::Info, "libsndfile: Opened sample file " + path);
}

SampleFile::~SampleFile() {
    if (handle == nullptr || library.sfClose(handle) == 0) {
        return;
    }
    try {
        log.Log(logCategory, LogLevel::Error, "libsndfile: error while closing sample file");
    } catch (...) { // NOLINT(bugprone-empty-catch): a lost line does not end the program
    }
}

bool SampleFile::IsLengthPromised() const {
    // MPEG audio has no length: it is worked out from the size of the file unless an encoder noted it, so
    // that a tag behind the audio counts as audio.
    const int codec = info.format & SF_FORMAT_SUBMASK;
    return IsLengthKnown() && codec != SF_FORMAT_MPEG_LAYER_I && codec != SF_FORMAT_MPEG_LAYER_II &&
           codec != SF_FORMAT_MPEG_LAYER_III;
}

std::size_t SampleFile::Read(float* samples, std::size_t frames) const {
    const auto asked = static_cast<sf_count_t>(frames);
    const sf_count_t came = library.sfReadfFloat(handle, samples, asked);
    return static_cast<std::size_t>(std::clamp<sf_count_t>(came, 0, asked));
}

SampleData::Instrument SampleFile::ReadInstrument() const {
    alignas(SF_INSTRUMENT) SampleData::Instrument record{};
    const int size = static_cast<int>(record.size());
    const bool isThere = library.sfCommand(handle, SFC_GET_INSTRUMENT, record.data(), size) != 0;
    return isThere ? record : SampleData::Instrument{};
}

} // namespace Velmora::dsp
