// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/core/PluginInstrument.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orphia::standalone {

/// Controllers of any channel that move parameters of the list or macros. The audio thread hears, a message
/// thread asks and assigns; nobody waits.
class MidiLearn {
public:
    /// Beyond these are messages of the channel's mode.
    static constexpr std::uint32_t controllerCount = 120;

    /// What a message moves, if anything: then it is nothing else. A controller that is waited for is
    /// assigned.
    std::optional<host::ParameterSetting> Hear(const host::MidiMessage& message);

    /// The next controller that moves shall move this parameter; a second call takes the place of the first.
    void Wait(std::uint32_t parameter) { waiting = parameter + 1; }
    void StopWaiting() { waiting = 0; }
    bool IsWaiting() const { return waiting != 0; }

    void Assign(std::uint32_t controller, std::uint32_t parameter);
    void Clear(std::uint32_t controller);
    std::optional<std::uint32_t> ParameterOf(std::uint32_t controller) const;

    /// An object of controllers and the symbols of what they move.
    std::string Format() const;
    /// Replaces all; what is not understood is left out.
    void Parse(std::string_view text);

private:
    /// The id and one more; 0 for none.
    std::array<std::atomic<std::uint32_t>, controllerCount> assigned{};
    std::atomic<std::uint32_t> waiting{0};
};

} // namespace orphia::standalone
