// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/run/RunDisplay.h"

#include "tools/terminal/Terminal.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

namespace orphia::tools {

namespace {

/// From nothing to full, in eighths.
constexpr std::array<std::string_view, 9> bars = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr double meterRange = 40.0;
constexpr float lightThreshold = 0.1F;

std::string_view BarOf(float level) {
    const double decibels = 20.0 * std::log10(std::max(static_cast<double>(level), 1e-9));
    const double height = std::clamp(1.0 + decibels / meterRange, 0.0, 1.0);
    return bars[static_cast<std::size_t>(std::lround(height * (bars.size() - 1)))];
}

std::string Light(float level, std::string_view name) {
    return level > lightThreshold ? std::string(name) : std::string(name.size(), '.');
}

/// As wide while it rests, so that a line that is refreshed covers the one before.
std::string LimiterText(float reduction) {
    return reduction >= 0.05F ? fmt::format(" LIM {:5.1f} dB", -reduction) : std::string(13, ' ');
}

} // namespace

RunDisplay::RunDisplay(bool meters)
    : showsMeters(meters), stream(meters ? stdout : stderr), refreshes(IsTerminal(stream)) {}

RunDisplay::~RunDisplay() { Clear(); }

void RunDisplay::Show(double seconds, double expectedSeconds, const host::MeterReading& meters) {
    if (!showsMeters && !refreshes) {
        return;
    }
    std::string line =
        showsMeters ? MeterLine(seconds, meters) : ProgressLine(seconds, expectedSeconds, meters);
    if (!refreshes) {
        line.erase(line.find_last_not_of(' ') + 1);
    }
    fmt::print(stream, "{}{}{}", refreshes ? "\r" : "", line, refreshes ? "" : "\n");
    std::fflush(stream);
    lineShown = refreshes;
}

void RunDisplay::Clear() {
    if (lineShown) {
        fmt::print(stream, "\r\x1b[K");
        std::fflush(stream);
        lineShown = false;
    }
}

std::string MeterLine(double seconds, const host::MeterReading& meters) {
    std::string line = fmt::format("{:8.2f} s |", seconds);
    for (const float band : meters.bands) {
        line += BarOf(band);
    }
    return line + fmt::format("| {} {} {} {}{}", Light(meters.hiss, "HISS"), Light(meters.buzz, "BUZZ"),
                              Light(meters.programOverload, "PROG"), Light(meters.carrierOverload, "CARR"),
                              LimiterText(meters.limiterReduction));
}

std::string ProgressLine(double seconds, double expectedSeconds, const host::MeterReading& meters) {
    constexpr int width = 40;
    const double share = expectedSeconds > 0.0 ? std::clamp(seconds / expectedSeconds, 0.0, 1.0) : 0.0;
    const int filled = static_cast<int>(std::lround(share * width));
    return fmt::format("[{}{}] {:3.0f} %{}", std::string(static_cast<std::size_t>(filled), '#'),
                       std::string(static_cast<std::size_t>(width - filled), '.'), share * 100.0,
                       LimiterText(meters.limiterReduction));
}

} // namespace orphia::tools
