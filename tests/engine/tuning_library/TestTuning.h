// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>

/// What the tuning library of the tests answers; the tests write it through TestTuning_State.
struct TestTuning {
    using Table = std::array<double, 128>;

    bool hasMaster = false;
    bool hasTable = true;
    int clients = 0;
    Table table{};
    std::array<Table, 16> channelTables{};
    std::array<bool, 16> hasChannelTable{};
    std::array<bool, 16> usesChannel{};
    /// The one note that has no place in the tuning, and the one that has none in the channels' tunings.
    int unmappedNote = -1;
    int unmappedOnChannels = -1;
    /// The channel that the last filter question came with.
    signed char lastChannel = -99;
};

extern "C" TestTuning* TestTuning_State(); // NOLINT(readability-identifier-naming)
