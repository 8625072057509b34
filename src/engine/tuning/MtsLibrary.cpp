// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/tuning/MtsLibrary.h"

#include <map>
#include <mutex>
#include <utility>

namespace Velmora::engine {

std::shared_ptr<const MtsLibrary> MtsLibrary::Bind(const std::string& path) {
    static std::mutex binding;
    static std::map<std::string, std::shared_ptr<const MtsLibrary>> bound;
    // The system takes an empty path for the running program.
    if (path.empty()) {
        return nullptr;
    }
    const std::lock_guard lock(binding);
    if (const auto known = bound.find(path); known != bound.end()) {
        return known->second;
    }
    Platform::DynamicLibrary loaded(path);
    // A failure is not kept: the next instrument finds what was installed meanwhile.
    return loaded.IsOpen()
               ? bound.emplace(path, std::make_shared<const MtsLibrary>(std::move(loaded))).first->second
               : nullptr;
}

MtsLibrary::MtsLibrary(Platform::DynamicLibrary loaded)
    : library(std::move(loaded)), registerClient(library.FindFunction<void()>("MTS_RegisterClient")),
      deregisterClient(library.FindFunction<void()>("MTS_DeregisterClient")),
      hasMaster(library.FindFunction<bool()>("MTS_HasMaster")),
      getTable(library.FindFunction<const double*()>("MTS_GetTuningTable")),
      getChannelTable(library.FindFunction<const double*(signed char)>("MTS_GetMultiChannelTuningTable")),
      usesChannelTuning(library.FindFunction<bool(signed char)>("MTS_UseMultiChannelTuning")),
      shouldFilter(library.FindFunction<bool(char, signed char)>("MTS_ShouldFilterNote")),
      shouldFilterOnChannel(
          library.FindFunction<bool(char, signed char)>("MTS_ShouldFilterNoteMultiChannel")) {}

void MtsLibrary::Register() const {
    if (registerClient != nullptr) {
        registerClient();
    }
}

void MtsLibrary::Deregister() const {
    if (deregisterClient != nullptr) {
        deregisterClient();
    }
}

bool MtsLibrary::HasChannelTuning(i32 channel) const {
    return channel != unknownChannel && usesChannelTuning != nullptr && getChannelTable != nullptr &&
           usesChannelTuning(static_cast<signed char>(channel)) &&
           getChannelTable(static_cast<signed char>(channel)) != nullptr;
}

bool MtsLibrary::ShouldFilterNote(u8 note, i32 channel) const {
    const auto filter = HasChannelTuning(channel) ? shouldFilterOnChannel : shouldFilter;
    return filter != nullptr && filter(static_cast<char>(note), static_cast<signed char>(channel));
}

const double* MtsLibrary::Table(i32 channel) const {
    if (HasChannelTuning(channel)) {
        return getChannelTable(static_cast<signed char>(channel));
    }
    return getTable != nullptr ? getTable() : nullptr;
}

double MtsLibrary::Frequency(u8 note, i32 channel) const {
    const double* table = Table(channel);
    // The source rewrites its tables at any time: one read, that the compiler may not repeat.
    return table != nullptr ? static_cast<const volatile double&>(table[note]) : 0.0;
}

} // namespace Velmora::engine
