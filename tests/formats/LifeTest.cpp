// SPDX-License-Identifier: GPL-3.0-or-later
// What remains of bundles that hosts have closed.
#include "FormatRig.h"
#include "plugin/HeldResources.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>

namespace orphia::test {

namespace {

/// Seconds that an instance takes until it can play.
double OpenAndClose(const Format& format, unsigned count) {
    double seconds = 0.0;
    for (unsigned n = 0; n < count; ++n) {
        const auto start = std::chrono::steady_clock::now();
        const auto plugin = format.open(n % 2 == 1);
        plugin->Activate(pluginRate);
        seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        PluginSong song = Notes();
        song.frames = 640;
        PlayHosted(*plugin, song);
        plugin->Save();
    }
    return seconds / count;
}

TEST(FormatsLife, TwoHundredClosedInstancesLeaveNoThreadNoFileAndNoMemory) {
    for (const Format& format : formats) {
        SCOPED_TRACE(format.name);
        OpenAndClose(format, 10);
        const HeldResources before;
        const double seconds = OpenAndClose(format, 200);
        const HeldResources after;
        before.ExpectNoMoreNow();
        std::printf(
            "%s: %.0f ms to find, create and activate, %+.1f kB an instance\n", format.name, 1000.0 * seconds,
            (static_cast<double>(after.memory) - static_cast<double>(before.memory)) / 200.0 / 1024.0);
    }
}

} // namespace

} // namespace orphia::test
