// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace orphia::host {

/// Where a song is, for what follows its beat.
struct Transport {
    /// In beats per minute.
    double tempo = 120.0;
    /// In quarter notes.
    double beat = 0.0;
    bool isPlaying = true;
};

} // namespace orphia::host
