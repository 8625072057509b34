// SPDX-License-Identifier: GPL-3.0-or-later
// Plays the instrument without plan or rest for hours of its own time, as fast as it goes, and looks every
// minute whether it still is what it was: no number that is not finite, no voice that stays, no memory that
// grows.
//
// Each minute's end loads sixty presets and takes back all that was set, so that the live heap can be
// compared from minute to minute. From minute 5 on it may grow by 256 kB: an hour finds 100 bytes that every
// preset leaves, which are 330 kB by then. The resident memory is told, not judged.
//
//   orphia_soak [--minutes N] [--seed N]      an hour, seed 1
#include "soak/LiveHeap.h"
#include "soak/RandomPlayer.h"
#include "soak/RudeHost.h"
#include "support/platform/Platform.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <utility>

namespace {

using namespace orphia::test;

struct Options {
    double minutes = 60.0;
    unsigned seed = 1;
};

/// Of one minute: the instrument's share, and that of the bare processor.
constexpr double playedSeconds = 45.0;
constexpr double rudeSeconds = 15.0;
/// What is kept for later use has grown to its full size by then.
constexpr int settledMinute = 5;
/// From there on.
constexpr double heapBound = 256e3;

class Soak {
public:
    explicit Soak(const Options& chosen)
        : options(chosen), player(watch, options.seed, counts), host(watch, options.seed + 1, counts) {}

    bool Run() {
        const auto start = std::chrono::steady_clock::now();
        for (int minute = 1; minutesDone < options.minutes; ++minute) {
            const double share = std::min(1.0, options.minutes - minutesDone);
            player.Play(playedSeconds * share);
            host.Play(rudeSeconds * share);
            minutesDone += share;
            EndMinute(minute);
        }
        wallMinutes = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / 60.0;
        Report();
        return counts.badBlocks == 0 && counts.stuck == 0 && !heapGrew;
    }

private:
    void EndMinute(int minute) {
        Check(minute, "player", player.EndAllNotes());
        Check(minute, "host", host.EndAllNotes());
        player.BrowsePresets();
        Check(minute, "player", player.ComeToRest());
        Check(minute, "host", host.ComeToRest());
        heap = LiveHeapBytes();
        resident = Velmora::Platform::ResidentMemory();
        if (minute <= settledMinute) {
            settledHeap = heap;
            settledResident = resident;
        }
        const double growth = static_cast<double>(heap) - static_cast<double>(settledHeap);
        heapGrew = growth > heapBound;
        if (heapGrew) {
            std::printf("minute %d: the heap grew by %.0f kB since minute %d\n", minute, growth * 1e-3,
                        settledMinute);
        }
        std::printf("minute %d: heap %zu bytes, resident %.1f MB, %llu bad blocks, %llu stuck\n", minute,
                    heap, static_cast<double>(resident) * 1e-6,
                    static_cast<unsigned long long>(counts.badBlocks),
                    static_cast<unsigned long long>(counts.stuck));
        std::fflush(stdout);
    }

    void Check(int minute, const char* who, const std::string& fault) {
        if (!fault.empty()) {
            ++counts.stuck;
            std::printf("minute %d: %s: %s\n", minute, who, fault.c_str());
        }
    }

    void Report() const {
        const std::pair<const char*, std::uint64_t> lines[] = {
            {"blocks", counts.blocks},
            {"blocks that were heard", counts.heardBlocks},
            {"notes", counts.notes},
            {"settings", counts.settings},
            {"presets", counts.presets},
            {"samples loaded", counts.loadedSamples},
            {"samples refused", counts.refusedSamples},
            {"tempo changes", counts.tempos},
            {"resets", counts.resets},
            {"changes of the rate", counts.rates},
            {"most voices at once", counts.mostVoices},
            {"blocks with a number that is not finite", counts.badBlocks},
            {"stuck voices or sounds", counts.stuck},
            {"live heap at the end, bytes", heap}};
        for (const auto& [what, count] : lines) {
            std::printf("%12llu %s\n", static_cast<unsigned long long>(count), what);
        }
        std::printf("%+12lld bytes of heap since minute %d\n",
                    static_cast<long long>(heap) - static_cast<long long>(settledHeap), settledMinute);
        std::printf("%+12.1f MB resident since minute %d, %.1f at the end\n",
                    (static_cast<double>(resident) - static_cast<double>(settledResident)) * 1e-6,
                    settledMinute, static_cast<double>(resident) * 1e-6);
        std::printf("soak: %.1f minutes of sound in %.1f minutes, seed %u\n", minutesDone, wallMinutes,
                    options.seed);
    }

    Options options;
    SoakCounts counts;
    VoiceWatch watch;
    RandomPlayer player;
    RudeHost host;
    double minutesDone = 0.0;
    double wallMinutes = 0.0;
    std::size_t heap = 0;
    std::size_t settledHeap = 0;
    std::uint64_t resident = 0;
    std::uint64_t settledResident = 0;
    bool heapGrew = false;
};

/// False for anything that is no option.
bool Parse(int count, char** arguments, Options& options) {
    for (int i = 1; i + 1 < count; i += 2) {
        const std::string name = arguments[i];
        char* end = nullptr;
        const double number = std::strtod(arguments[i + 1], &end);
        if (*end != '\0' || !(number > 0.0)) {
            return false;
        }
        if (name == "--minutes") {
            options.minutes = number;
        } else if (name == "--seed") {
            options.seed = static_cast<unsigned>(number);
        } else {
            return false;
        }
    }
    return count % 2 == 1;
}

} // namespace

int main(int count, char** arguments) {
    Options options;
    if (!Parse(count, arguments, options)) {
        std::fputs("usage: orphia_soak [--minutes N] [--seed N]\n", stderr);
        return 2;
    }
    try {
        std::printf("soak: %g minutes of sound, seed %u\n", options.minutes, options.seed);
        return Soak(options).Run() ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "soak: %s\n", error.what());
        return 1;
    }
}
