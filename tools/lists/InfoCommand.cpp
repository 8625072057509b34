// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/common/Paths.h"
#include "host/instrument/Instrument.h"
#include "host/player/BlockAdapter.h"
#include "support/platform/Platform.h"
#include "tools/lists/ListCommands.h"
#include "tools/options/InstrumentOptions.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <vector>

namespace orphia::tools {

namespace {

using host::EngineLibrary;
using host::Instrument;

constexpr std::size_t instanceCount = 16;
constexpr double mebibyte = 1024.0 * 1024.0;

/// What of this process is in memory, in bytes; nothing where the system does not tell.
std::optional<double> ResidentBytes() {
    const auto bytes = static_cast<double>(Velmora::Platform::ResidentMemory());
    return bytes > 0.0 ? std::optional(bytes) : std::nullopt;
}

/// A moment of it, so that its memory is touched.
void PlayABit(Instrument& instrument) {
    std::vector<float> sound(std::size_t{instrument.FramesPerBlock()} * 2 * 50, 0.1F);
    instrument.NoteOn(60);
    host::BlockAdapter(instrument, host::BlockAdapter::Mode::WholeBlocks).Process(sound, sound);
}

struct Costs {
    /// In order of length.
    std::vector<double> creationSeconds;
    /// Of one instance.
    std::optional<double> bytes;
};

Costs Measure(const std::shared_ptr<const EngineLibrary>& library, std::uint32_t rate) {
    using Clock = std::chrono::steady_clock;
    std::vector<std::unique_ptr<Instrument>> instances;
    Costs costs;
    // The first one also makes what all share.
    instances.push_back(std::make_unique<Instrument>(library, rate));
    PlayABit(*instances.back());
    const std::optional<double> before = ResidentBytes();
    for (std::size_t i = 0; i < instanceCount; ++i) {
        const Clock::time_point start = Clock::now();
        instances.push_back(std::make_unique<Instrument>(library, rate));
        costs.creationSeconds.push_back(std::chrono::duration<double>(Clock::now() - start).count());
        PlayABit(*instances.back());
    }
    const std::optional<double> after = ResidentBytes();
    std::sort(costs.creationSeconds.begin(), costs.creationSeconds.end());
    if (before && after) {
        costs.bytes = (*after - *before) / instanceCount;
    }
    return costs;
}

void PrintEngine(const EngineLibrary& library) {
    fmt::print("engine      {}\n", library.Name());
    fmt::print("vendor      {}\n", library.Vendor());
    fmt::print("version     {}, interface {}\n", library.Version(), library.InterfaceVersion());
    fmt::print("library     {}\n", host::TextOf(library.Path()));
}

void PrintBlocks(Instrument& instrument) {
    const std::uint32_t latency = host::BlockAdapter(instrument).Latency();
    const double rate = instrument.SampleRate();
    fmt::print("parameters  {}\n", instrument.Catalog().Parameters().size());
    fmt::print("rate        {} Hz\n", instrument.SampleRate());
    fmt::print("block       {} frames, {:.3f} ms\n", instrument.FramesPerBlock(),
               1000.0 * instrument.FramesPerBlock() / rate);
    fmt::print("latency     {} frames, {:.3f} ms, in a host with blocks of its own; none in files\n", latency,
               1000.0 * latency / rate);
}

void PrintCosts(const Costs& costs) {
    fmt::print("creation    {:.1f} ms at best, {:.1f} ms as the median of {}\n",
               1000.0 * costs.creationSeconds.front(), 1000.0 * costs.creationSeconds[instanceCount / 2],
               instanceCount);
    fmt::print("memory      {}\n", costs.bytes ? fmt::format("{:.1f} MiB an instance, mean of {}",
                                                             *costs.bytes / mebibyte, instanceCount)
                                               : "not told by this system");
}

} // namespace

InfoCommand::InfoCommand(CLI::App& app)
    : Command(app, "info", "Tell of the engine, and measure what an instance takes") {
    AddEngineOption(*command, enginePath);
    command->add_option("--rate", sampleRate, "sample rate; else 44100")->type_name("HZ");
    command->footer("Example:\n  orphia info --rate 48000");
}

void InfoCommand::Run() {
    CheckRate(sampleRate);
    const std::shared_ptr<const EngineLibrary> library = EngineLibrary::Load(enginePath);
    Instrument instrument(library, sampleRate);
    PrintEngine(*library);
    PrintBlocks(instrument);
    PrintCosts(Measure(library, sampleRate));
}

} // namespace orphia::tools
