// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace orphia::host {

/// The names of the rows and columns of the instrument's modulation matrix, and where their routes are.
struct ModulationRoutes {
    /// "the LFO", "velocity", ...: in order of number.
    static std::span<const std::string_view> Sources();
    /// "the rate of the LFO", ...
    static std::span<const std::string_view> Destinations();
    /// The parameter with the amount, both counted from 0.
    static std::uint32_t AmountId(unsigned source, unsigned destination);
};

} // namespace orphia::host
