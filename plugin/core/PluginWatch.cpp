// SPDX-License-Identifier: GPL-3.0-or-later
// What an editor sees.
#include "plugin/core/PluginInside.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace orphia::plugin {

void PluginInstrument::SetWatched(bool isWatched) {
    Watch& watch = inside->stage.watch;
    isWatched ? watch.Add() : watch.Remove();
}

bool PluginInstrument::Play(const host::MidiMessage& message) { return inside->stage.watch.Play(message); }

PluginInstrument::Keys PluginInstrument::HeldKeys() const {
    const Watch& watch = inside->stage.watch;
    Keys keys;
    keys.held = std::bitset<128>(watch.held[1].load(std::memory_order_relaxed)) << 64U |
                std::bitset<128>(watch.held[0].load(std::memory_order_relaxed));
    const std::uint32_t newest = watch.newest.load(std::memory_order_relaxed);
    keys.newest = newest & 0x7FU;
    keys.velocity = static_cast<float>(newest >> 8U) / 127.0F;
    return keys;
}

/// The share of the processor comes from the ratio of its own clock to the system's, between two calls of
/// this.
PluginInstrument::Levels PluginInstrument::TakeLevels() {
    Watch& watch = inside->stage.watch;
    Levels levels;
    levels.voice = Watch::Take(watch.voicePeak);
    levels.output = {Watch::Take(watch.outputPeak[0]), Watch::Take(watch.outputPeak[1])};
    levels.sampleRate = inside->rate;
    Inside::Clocks now;
    now.ticks = Watch::Ticks();
    now.time = std::chrono::steady_clock::now();
    now.busy = watch.busyTicks.load(std::memory_order_relaxed);
    now.frames = watch.frames.load(std::memory_order_relaxed);
    const Inside::Clocks before = std::exchange(inside->clocks, now);
    const double seconds = std::chrono::duration<double>(now.time - before.time).count();
    const auto ticks = static_cast<double>(now.ticks - before.ticks);
    const double sound = static_cast<double>(now.frames - before.frames) / std::max(1U, inside->rate.load());
    if (before.ticks != 0 && seconds > 0.0 && ticks > 0.0 && sound > 0.0) {
        levels.processor =
            static_cast<float>(static_cast<double>(now.busy - before.busy) / ticks * seconds / sound);
    }
    return levels;
}

} // namespace orphia::plugin
