// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/parts/VocoderSession.h"

#include <cstdio>
#include <string>

namespace orphia::tools {

/// What is seen while a run goes on. With meters: a line of band meters and lights on the standard output,
/// refreshed on a terminal, one below the other elsewhere. Without: a progress bar on the error stream when
/// that is a terminal, else nothing.
class RunDisplay {
public:
    explicit RunDisplay(bool showsMeters);
    ~RunDisplay();
    RunDisplay(const RunDisplay&) = delete;
    RunDisplay& operator=(const RunDisplay&) = delete;

    void Show(double seconds, double expectedSeconds, const host::MeterReading& meters);
    /// Takes a refreshed line away again.
    void Clear();

private:
    bool showsMeters;
    std::FILE* stream;
    bool refreshes;
    bool lineShown = false;
};

/// Band meters over 40 dB, the lights HISS, BUZZ, PROG and CARR (overload), and what the limiter takes away.
std::string MeterLine(double seconds, const host::MeterReading& meters);

std::string ProgressLine(double seconds, double expectedSeconds, const host::MeterReading& meters);

} // namespace orphia::tools
