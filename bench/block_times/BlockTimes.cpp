// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/block_times/BlockTimes.h"

#include "bench/PlayedInstrument.h"
#include "support/platform/Platform.h"

#include <algorithm>
#include <array>
#include <bit>
#include <chrono>
#include <random>
#include <stdexcept>
#include <string>

namespace orphia::bench {

namespace {

/// Keys, wheels and effect types change all the time, the same way in each run.
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

/// One run as it comes, block by block.
struct Recording {
    std::vector<float> clock;
    std::vector<float> processor;
    /// Tells whether two runs sound the same.
    std::uint64_t sum = 0;
};

Recording Record(std::uint32_t rate, double seconds) {
    using Clock = std::chrono::steady_clock;
    PlayedInstrument played(rate, PlayedInstrument::Load::Everything, 0);
    Player player(played.Engine());
    const double blockSeconds = static_cast<double>(played.Engine().FramesPerBlock()) / rate;
    const auto blocks = static_cast<std::size_t>(seconds / blockSeconds);
    Recording recording;
    recording.clock.reserve(blocks);
    recording.processor.reserve(blocks);
    for (std::size_t block = 0; block < blocks; ++block) {
        player.BeforeBlock();
        const Velmora::u64 ranBefore = Velmora::Platform::ThreadNanoseconds();
        const Clock::time_point start = Clock::now();
        played.RunBlock();
        const std::chrono::duration<double> time = Clock::now() - start;
        const auto ran = static_cast<double>(Velmora::Platform::ThreadNanoseconds() - ranBefore);
        recording.clock.push_back(static_cast<float>(time.count() / blockSeconds));
        recording.processor.push_back(static_cast<float>(ran * 1e-9 / blockSeconds));
        for (const float x : played.Left()) {
            recording.sum = recording.sum * 31 + std::bit_cast<std::uint32_t>(x);
        }
    }
    return recording;
}

} // namespace

Distribution::Distribution(std::vector<float> unordered) : shares(std::move(unordered)) {
    std::sort(shares.begin(), shares.end());
}

float Distribution::Within(double part) const {
    return shares[static_cast<std::size_t>(part * static_cast<double>(shares.size() - 1))];
}

std::size_t Distribution::CountFrom(float low, float high) const {
    const auto first = std::lower_bound(shares.begin(), shares.end(), low);
    return static_cast<std::size_t>(std::lower_bound(first, shares.end(), high) - first);
}

BlockTimes MeasureBlocks(std::uint32_t rate, double seconds, unsigned runs) {
    BlockTimes times;
    std::uint64_t sum = 0;
    for (unsigned run = 0; run < runs; ++run) {
        Recording recording = Record(rate, seconds);
        if (run == 0) {
            sum = recording.sum;
            times.least = recording.clock;
        } else if (recording.sum != sum) {
            throw std::runtime_error("two runs of the same playing sound different");
        }
        std::transform(recording.clock.begin(), recording.clock.end(), times.least.begin(),
                       times.least.begin(), [](float a, float b) { return std::min(a, b); });
        times.runs.push_back(
            {Distribution(std::move(recording.clock)), Distribution(std::move(recording.processor))});
    }
    return times;
}

} // namespace orphia::bench
