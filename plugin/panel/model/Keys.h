// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

namespace orphia::panel {

/// The keys of a keyboard on a screen, as MIDI numbers them.
struct Keys {
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
    /// What a key of the computer plays above the C of its octave: the row of A for white keys, the one above
    /// for black ones.
    static std::optional<int> OfComputer(char letter) {
        constexpr char letters[] = "awsedftgyhujkolp";
        for (int n = 0; letters[n] != '\0'; ++n) {
            if (letters[n] == letter) {
                return n;
            }
        }
        return std::nullopt;
    }
};

} // namespace orphia::panel
