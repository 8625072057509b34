// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/midi/MidiMessage.h"
#include "host/parameters/ParameterInfo.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <optional>

namespace orphia::plugin {

/// Controllers of any channel that move parameters of the engine or macros, which the player has taught. The
/// audio thread hears, message threads ask and assign; nobody waits.
class MidiLearn {
public:
    /// Beyond these are messages of the channel's mode.
    static constexpr std::uint32_t controllerCount = 120;
    /// Parameters by their controllers.
    using Assignments = std::map<std::uint32_t, std::uint32_t>;

    /// Banks, data entry and registered parameters mean something together and are not to be had.
    static bool IsFree(std::uint32_t controller);

    /// The audio thread: what a message moves, if anything; then it is nothing else. The controller that is
    /// waited for is assigned.
    std::optional<host::ParameterSetting> Hear(const host::MidiMessage& message);

    /// The next controller that moves shall move this parameter, and it alone; a second call takes the place
    /// of the first. False for what no controller can move.
    bool Wait(std::uint32_t parameter);
    void StopWaiting() { waiting = 0; }
    std::optional<std::uint32_t> WaitsFor() const;

    void Assign(std::uint32_t controller, std::uint32_t parameter);
    void Forget(std::uint32_t controller);
    std::optional<std::uint32_t> ParameterOf(std::uint32_t controller) const;
    std::optional<std::uint32_t> ControllerOf(std::uint32_t parameter) const;

    Assignments All() const;
    void Replace(const Assignments& assignments);

private:
    /// The id and one more; 0 for none.
    using Marked = std::atomic<std::uint32_t>;

    static std::optional<std::uint32_t> Unmarked(const Marked& marked);

    std::array<Marked, controllerCount> assigned{};
    Marked waiting{0};
};

} // namespace orphia::plugin
