// SPDX-License-Identifier: GPL-3.0-or-later
// What the one that plays tells: positions that moved by themselves, meters.
#include "plugin/core/stage/Stage.h"

#include <bit>

namespace orphia::plugin {

namespace {

/// Parameters that one block looks after: all within a tenth of a second.
constexpr std::uint32_t watchedPerBlock = 2;

} // namespace

void Stage::See(std::uint32_t place) { seen[place] = current->instrument.Position(listed[place]); }

/// Controllers and other parameters move some of them, which a host wants to know. Each look is a walk
/// through cold memory, so they take place only behind such an event.
void Stage::WatchListed() {
    if (looksLeft == 0 || seats.IsOffered()) {
        return;
    }
    for (std::uint32_t n = 0; n < watchedPerBlock && looksLeft > 0; ++n, --looksLeft) {
        nextWatched = (nextWatched + 1) % static_cast<std::uint32_t>(listed.size());
        const std::uint32_t id = listed[nextWatched];
        const float before = seen[nextWatched];
        See(nextWatched);
        if (seen[nextWatched] != before && !exchange.IsWanted(id)) {
            exchange.Show(id, seen[nextWatched]);
            exchange.Tell(id);
        }
    }
}

void Stage::PublishMeters() {
    const auto readings = std::bit_cast<std::array<float, meterCount>>(current->instrument.TakeMeters());
    for (std::size_t n = 0; n < meterCount; ++n) {
        if (readings[n] > meters[n].load(std::memory_order_relaxed)) {
            meters[n].store(readings[n], std::memory_order_relaxed);
        }
    }
}

/// Not of one that is about to leave: what is shown is the next one's already.
void Stage::PublishReadings() {
    if (!watch.IsOn() || seats.IsOffered()) {
        return;
    }
    for (const std::uint32_t id : readable) {
        if (!exchange.IsWanted(id)) {
            exchange.Show(id, current->instrument.Position(id));
        }
    }
}

host::MeterReading Stage::TakeMeters() {
    std::array<float, meterCount> readings{};
    for (std::size_t n = 0; n < meterCount; ++n) {
        readings[n] = meters[n].exchange(0.0F, std::memory_order_relaxed);
    }
    return std::bit_cast<host::MeterReading>(readings);
}

} // namespace orphia::plugin
