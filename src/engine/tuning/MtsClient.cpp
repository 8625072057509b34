// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/tuning/MtsClient.h"

#include "support/platform/Platform.h"

#include <cmath>

namespace Velmora::engine {

namespace {

constexpr u8 channelCount = 16;
/// Note number of 1 Hz, that is 69 - 12 log2(440).
constexpr double noteOfOneHertz = -36.376316562295926;

} // namespace

MtsClient::MtsClient() : MtsClient(Platform::TuningLibraryPath()) {}

MtsClient::MtsClient(const std::string& libraryPath) : library(MtsLibrary::Bind(libraryPath)) {
    if (library != nullptr) {
        library->Register();
    }
}

MtsClient::~MtsClient() {
    if (library != nullptr) {
        library->Deregister();
    }
}

i32 MtsClient::ChannelToPass(u8 channel) const {
    return usesChannels && channel < channelCount ? channel : MtsLibrary::unknownChannel;
}

bool MtsClient::AskFilter(u8 note, u8 channel) const {
    return library->HasMaster() && library->ShouldFilterNote(note, ChannelToPass(channel));
}

float MtsClient::AskRetuning(u8 note, u8 channel) const {
    if (!library->HasMaster()) {
        return 0.0F;
    }
    const double frequency = library->Frequency(note, ChannelToPass(channel));
    if (!(frequency > 0.0) || !std::isfinite(frequency)) {
        return 0.0F;
    }
    return static_cast<float>(12.0 * std::log2(frequency) + noteOfOneHertz - note);
}

} // namespace Velmora::engine
