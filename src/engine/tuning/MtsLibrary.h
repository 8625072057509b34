// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/platform/DynamicLibrary.h"
#include "support/platform/Types.h"

#include <memory>
#include <string>

namespace Velmora::engine {

/// The functions of a tuning library that the user installed. Older libraries lack some of them; what is
/// missing counts as "no". Notes are 0 to 127, channels 0 to 15 or `unknownChannel`.
class MtsLibrary {
public:
    static constexpr i32 unknownChannel = -1;

    /// The library at `path` (UTF-8), loaded at the first successful call and kept until the process ends, or
    /// null when there is none. Any thread but the audio thread: takes a mutex and loads.
    static std::shared_ptr<const MtsLibrary> Bind(const std::string& path);

    /// For Bind.
    explicit MtsLibrary(Platform::DynamicLibrary loaded);

    /// Counts a client in or out. Not for the audio thread.
    void Register() const;
    void Deregister() const;

    bool HasMaster() const { return hasMaster != nullptr && hasMaster(); }
    /// The next two are to be asked only while there is a master.
    bool ShouldFilterNote(u8 note, i32 channel) const;
    /// Frequency in Hz as the tuning source wrote it, sound or not; 0 without a table.
    double Frequency(u8 note, i32 channel) const;

private:
    bool HasChannelTuning(i32 channel) const;
    const double* Table(i32 channel) const;

    Platform::DynamicLibrary library;
    void (*registerClient)();
    void (*deregisterClient)();
    bool (*hasMaster)();
    const double* (*getTable)();
    const double* (*getChannelTable)(signed char channel);
    bool (*usesChannelTuning)(signed char channel);
    bool (*shouldFilter)(char note, signed char channel);
    bool (*shouldFilterOnChannel)(char note, signed char channel);
};

} // namespace Velmora::engine
