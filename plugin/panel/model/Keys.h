// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace orphia::panel {

/// The keys of a keyboard on a screen, as MIDI numbers them.
struct Keys {
    /// Of a computer: white keys on the row of A, black ones on the row above.
    static constexpr std::string_view letters = "awsedftgyhujkolp";

    static bool IsBlack(int key) {
        constexpr unsigned black = 0b010101001010U;
        return (black >> static_cast<unsigned>(key % 12) & 1U) != 0;
    }
    /// How many white keys are below it.
    static int WhitesBelow(int key) {
        int count = key / 12 * 7;
        for (int n = key / 12 * 12; n < key; ++n) {
            count += IsBlack(n) ? 0 : 1;
        }
        return count;
    }
    /// What a letter plays above the C of its octave.
    static std::optional<int> OfComputer(char letter) {
        const std::size_t place = letters.find(letter);
        return place == std::string_view::npos ? std::nullopt : std::optional(static_cast<int>(place));
    }
};

} // namespace orphia::panel
