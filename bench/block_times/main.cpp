// SPDX-License-Identifier: GPL-3.0-or-later
// How long single blocks of the instrument take while it is played, against the time that they last; and what
// instances cost in memory and in time to create.
#include "bench/PlayedInstrument.h"
#include "support/platform/Platform.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <vector>

namespace orphia::bench {
namespace {

using Clock = std::chrono::steady_clock;

/// What this thread really ran, in milliseconds: without the times at which others had the processor.
double ThreadMilliseconds() { return static_cast<double>(Velmora::Platform::ThreadNanoseconds()) * 1e-6; }

double Milliseconds(Clock::duration time) { return std::chrono::duration<double, std::milli>(time).count(); }

/// Keys, wheels and effect types change all the time.
class Player {
public:
    explicit Player(host::Instrument& played) : instrument(played) {}

    void BeforeBlock() {
        if (Below(20) == 0) {
            const unsigned key = 36 + Below(48);
            isDown[key] ? instrument.NoteOff(key) : instrument.NoteOn(key);
            isDown[key] = !isDown[key];
        }
        if (Below(8) == 0) {
            const auto high = static_cast<unsigned char>(Below(128));
            instrument.Send(host::MidiMessage{0xE0, 0, high});
            instrument.Send(host::MidiMessage{0xB0, 1, high});
        }
        if (Below(2000) == 0) {
            instrument.Set("FX" + std::to_string(1 + Below(3)) + "_ModuleType", std::to_string(Below(12)));
        }
    }

private:
    unsigned Below(unsigned limit) { return static_cast<unsigned>(random() % limit); }

    host::Instrument& instrument;
    std::mt19937 random{7};
    std::array<bool, 128> isDown{};
};

void PrintHistogram(const char* what, std::vector<double>& shares) {
    std::sort(shares.begin(), shares.end());
    const auto at = [&shares](double part) {
        return shares[static_cast<std::size_t>(part * static_cast<double>(shares.size() - 1))];
    };
    fmt::print(
        "{}, share of a block's time: median {:.2f} %, 99 % {:.2f} %, 99.9 % {:.2f} %, worst {:.2f} %\n",
        what, at(0.5), at(0.99), at(0.999), shares.back());
    constexpr double width = 2.5;
    for (double from = 0.0; from <= shares.back(); from += width) {
        const auto first = std::lower_bound(shares.begin(), shares.end(), from);
        const auto count = std::lower_bound(first, shares.end(), from + width) - first;
        if (count > 0) {
            fmt::print("  {:5.1f} to {:5.1f} %  {:8}\n", from, from + width, count);
        }
    }
}

void MeasureBlocks(std::uint32_t rate, double seconds) {
    PlayedInstrument played(rate, PlayedInstrument::Load::Everything, 0);
    Player player(played.Engine());
    const double blockMilliseconds = 1000.0 * played.Engine().FramesPerBlock() / rate;
    const auto blocks = static_cast<std::size_t>(seconds * 1000.0 / blockMilliseconds);
    std::vector<double> shares;
    shares.reserve(blocks);
    std::vector<double> ranShares;
    ranShares.reserve(blocks);
    for (std::size_t block = 0; block < blocks; ++block) {
        player.BeforeBlock();
        const double ranBefore = ThreadMilliseconds();
        const auto start = Clock::now();
        played.RunBlock();
        shares.push_back(100.0 * Milliseconds(Clock::now() - start) / blockMilliseconds);
        ranShares.push_back(100.0 * (ThreadMilliseconds() - ranBefore) / blockMilliseconds);
    }
    fmt::print("{} s of playing at {} Hz, {} blocks\n", seconds, rate, blocks);
    PrintHistogram("by the clock", shares);
    PrintHistogram("on the processor", ranShares);
}

void MeasureInstances(std::uint32_t rate, std::size_t count) {
    Library();
    std::vector<std::unique_ptr<host::Instrument>> instruments;
    const auto before = Velmora::Platform::ResidentMemory();
    const auto start = Clock::now();
    for (std::size_t i = 0; i < count; ++i) {
        instruments.push_back(std::make_unique<host::Instrument>(Library(), rate, 1));
    }
    const double time = Milliseconds(Clock::now() - start);
    const auto grown = static_cast<double>(Velmora::Platform::ResidentMemory() - before);
    fmt::print("{} instances at {} Hz: {:.2f} ms and {:.2f} MiB each\n", count, rate,
               time / static_cast<double>(count), grown / 1048576.0 / static_cast<double>(count));
}

} // namespace
} // namespace orphia::bench

int main(int argc, char** argv) {
    CLI::App app("Times of single blocks, and the cost of instances");
    double seconds = 60.0;
    std::uint32_t rate = 44100;
    app.add_option("--seconds", seconds, "how long to play")->check(CLI::Range(1.0, 3600.0));
    app.add_option("--rate", rate, "sample rate in Hz")->check(CLI::Range(8000, 384000));
    CLI11_PARSE(app, argc, argv);
    orphia::bench::MeasureInstances(rate, 1);
    orphia::bench::MeasureInstances(rate, 50);
    orphia::bench::MeasureBlocks(rate, seconds);
    return 0;
}
