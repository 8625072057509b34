// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/block_times/InstanceCosts.h"

#include "bench/PlayedInstrument.h"
#include "processor/boundary/IProcessor_V8.h"
#include "support/platform/Platform.h"

#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <vector>

namespace orphia::bench {

namespace {

/// `make` returns a smart pointer.
template <class F>
InstanceCosts Measure(std::size_t count, F make) {
    using Clock = std::chrono::steady_clock;
    // What was freed before would otherwise be used again, and neither count nor cost time.
    malloc_trim(0);
    std::vector<decltype(make())> instances;
    std::vector<double> times;
    instances.reserve(count + 1);
    times.reserve(count);
    const auto makeOne = [&] {
        const Clock::time_point start = Clock::now();
        instances.push_back(make());
        return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    };
    InstanceCosts costs;
    costs.firstMilliseconds = makeOne();
    const auto before = static_cast<double>(Velmora::Platform::ResidentMemory());
    for (std::size_t i = 0; i < count; ++i) {
        times.push_back(makeOne());
    }
    const double grown = static_cast<double>(Velmora::Platform::ResidentMemory()) - before;
    std::sort(times.begin(), times.end());
    costs.medianMilliseconds = times[count / 2];
    costs.mebibytes = grown / (1024.0 * 1024.0) / static_cast<double>(count);
    return costs;
}

} // namespace

InstanceCosts MeasureProcessors(std::uint32_t rate, std::size_t count) {
    const auto library = Library();
    return Measure(count, [&] {
        auto processor = library->CreateProcessor(1);
        processor->Connect(nullptr);
        const Velmora::Processor::ProcessorSetup setup{static_cast<float>(rate)};
        processor->Initialize(&setup);
        return processor;
    });
}

InstanceCosts MeasureInstruments(std::uint32_t rate, std::size_t count) {
    const auto library = Library();
    return Measure(count, [&] { return std::make_unique<host::Instrument>(library, rate, 1); });
}

} // namespace orphia::bench
