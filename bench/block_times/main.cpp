// SPDX-License-Identifier: GPL-3.0-or-later
// How long single blocks of the instrument take while it is played, against the time that they last; and what
// instances cost in memory and in time to create.
#include "bench/PlayedInstrument.h"
#include "bench/block_times/BlockTimes.h"
#include "bench/block_times/InstanceCosts.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>

namespace orphia::bench {
namespace {

constexpr std::size_t instanceCount = 50;

struct Options {
    double seconds = 60.0;
    std::uint32_t rate = 44100;
    unsigned runs = 3;
    std::string jsonPath;
};

void Print(const char* what, const InstanceCosts& costs) {
    fmt::print("{}: the first in {:.2f} ms, {} more in {:.2f} ms (median) and {:.2f} MiB each\n", what,
               costs.firstMilliseconds, instanceCount, costs.medianMilliseconds, costs.mebibytes);
}

void Print(const std::string& what, const Distribution& blocks) {
    fmt::print("{:<24} median {:6.2f} %, 99 % {:6.2f} %, 99.9 % {:6.2f} %, worst {:6.2f} %\n", what,
               100.0F * blocks.Within(0.5), 100.0F * blocks.Within(0.99), 100.0F * blocks.Within(0.999),
               100.0F * blocks.Within(1.0));
}

void PrintHistogram(const Distribution& blocks) {
    constexpr float width = 0.025F;
    for (unsigned step = 0; static_cast<float>(step) * width <= blocks.Within(1.0); ++step) {
        const float from = static_cast<float>(step) * width;
        const std::size_t count = blocks.CountFrom(from, from + width);
        if (count > 0) {
            fmt::print("  {:5.1f} to {:5.1f} %  {:8}\n", 100.0F * from, 100.0F * (from + width), count);
        }
    }
}

void Run(const Options& options) {
    const InstanceCosts processors = MeasureProcessors(options.rate, instanceCount);
    Print("processors", processors);
    const InstanceCosts instruments = MeasureInstruments(options.rate, instanceCount);
    Print("instruments", instruments);

    BlockTimes times = MeasureBlocks(options.rate, options.seconds, options.runs);
    const Distribution least(std::move(times.least));
    fmt::print("{} s of playing at {} Hz, {} blocks, in parts of a block's time\n", options.seconds,
               options.rate, least.shares.size());
    float worst = 0.0F;
    for (std::size_t run = 0; run < times.runs.size(); ++run) {
        Print(fmt::format("run {}, by the clock", run + 1), times.runs[run].clock);
        Print(fmt::format("run {}, on the processor", run + 1), times.runs[run].processor);
        worst = std::max(worst, times.runs[run].clock.Within(1.0));
    }
    Print("least of all runs", least);
    PrintHistogram(least);

    if (options.jsonPath.empty()) {
        return;
    }
    const nlohmann::json figures = {{"rate", options.rate},
                                    {"seconds", options.seconds},
                                    {"runs", options.runs},
                                    {"processor_first", processors.firstMilliseconds * 1e-3},
                                    {"processor", processors.medianMilliseconds * 1e-3},
                                    {"processor_memory", processors.mebibytes},
                                    {"instrument", instruments.medianMilliseconds * 1e-3},
                                    {"instrument_memory", instruments.mebibytes},
                                    {"block_median", least.Within(0.5)},
                                    {"block_99", least.Within(0.99)},
                                    {"block_999", least.Within(0.999)},
                                    {"block_worst", least.Within(1.0)},
                                    {"block_worst_once", worst}};
    std::ofstream file(options.jsonPath);
    if (!(file << figures.dump(2) << '\n' << std::flush)) {
        throw std::runtime_error(options.jsonPath + " cannot be written");
    }
}

} // namespace
} // namespace orphia::bench

int main(int argc, char** argv) {
    CLI::App app("Times of single blocks, and the cost of instances");
    orphia::bench::Options options;
    app.add_option("--seconds", options.seconds, "how long to play")->check(CLI::Range(1.0, 3600.0));
    app.add_option("--rate", options.rate, "sample rate in Hz")->check(CLI::Range(8000, 384000));
    app.add_option("--runs", options.runs, "how often to play the same")->check(CLI::Range(1, 100));
    app.add_option("--json", options.jsonPath, "file for the figures");
    CLI11_PARSE(app, argc, argv);
    try {
        orphia::bench::Run(options);
    } catch (const std::exception& error) {
        fmt::print(stderr, "orphia_block_times: {}\n", error.what());
        return 1;
    }
    return 0;
}
