// SPDX-License-Identifier: GPL-3.0-or-later
// The audio thread of the plug-in.
#include "plugin/core/PluginInside.h"

#include <algorithm>
#include <array>
#include <variant>

namespace orphia::plugin {

void PluginInstrument::Inside::KeepEvents(const PluginBlock& block) {
    for (const host::TimedEvent& event : block.events) {
        if (kept.size() < PluginBlock::mostEvents) {
            kept.push_back({0, event.what});
        }
    }
}

void PluginInstrument::Inside::Process(const PluginBlock& block) {
    int nobody = Nobody;
    if (!holder.compare_exchange_strong(nobody, AudioThread, std::memory_order_acquire)) {
        // It came back in the very moment in which a message thread took its place: this once, silence.
        KeepEvents(block);
        for (std::uint32_t side = 0; side < 2; ++side) {
            std::fill_n(block.output[side], block.frames, 0.0F);
        }
        return;
    }
    Watch& watch = stage.watch;
    const bool isWatched = watch.IsOn();
    const std::uint64_t begun = isWatched ? Watch::Ticks() : 0;
    if (block.frames == 0) {
        KeepEvents(block);
    }
    for (std::uint32_t start = 0; start < block.frames; start += DryPath::mostFrames) {
        ProcessPiece(block, start, std::min(block.frames - start, DryPath::mostFrames));
    }
    if (isWatched) {
        Watch::Raise(watch.outputPeak[0], block.output[0], block.frames);
        Watch::Raise(watch.outputPeak[1], block.output[1], block.frames);
        watch.busyTicks.fetch_add(Watch::Ticks() - begun, std::memory_order_relaxed);
        watch.frames.fetch_add(block.frames, std::memory_order_relaxed);
    }
    latency.store(adapter.Latency(), std::memory_order_relaxed);
    lastFrames.store(block.frames, std::memory_order_relaxed);
    calls.fetch_add(1, std::memory_order_relaxed);
    holder.store(Nobody, std::memory_order_release);
}

/// Those of the piece, and at the last piece all that are left.
void PluginInstrument::Inside::GatherEvents(const PluginBlock& block, std::uint32_t start,
                                            std::uint32_t count) {
    events.clear();
    std::swap(events, kept);
    stage.watch.TakeMessages([this](const host::MidiMessage& message) {
        if (events.size() < PluginBlock::mostEvents) {
            events.push_back({0, message});
        }
    });
    const bool isLast = start + count == block.frames;
    for (const host::TimedEvent& event : block.events) {
        if (event.frame >= start && (isLast || event.frame < start + count) &&
            events.size() < PluginBlock::mostEvents) {
            events.push_back({std::min(event.frame - start, count - 1), event.what});
        }
    }
}

void PluginInstrument::Inside::ProcessPiece(const PluginBlock& block, std::uint32_t start,
                                            std::uint32_t count) {
    std::array<const float*, 2> voice{};
    const std::uint32_t channels = std::min(block.voiceChannels, 2U);
    for (std::uint32_t channel = 0; channel < channels; ++channel) {
        voice[channel] = block.voice[channel] + start;
    }
    const std::array<float*, 2> output{block.output[0] + start, block.output[1] + start};
    GatherEvents(block, start, count);
    if (stage.watch.IsOn()) {
        for (std::uint32_t channel = 0; channel < channels; ++channel) {
            Watch::Raise(stage.watch.voicePeak, voice[channel], count);
        }
    }
    if (wantedBypass.load(std::memory_order_relaxed) >= 0) {
        dry.SetBypassed(wantedBypass.exchange(-1) > 0);
    }
    dry.Take(voice.data(), channels, count);
    if (stage.Current() != nullptr) {
        host::Transport transport = block.transport != nullptr ? *block.transport : host::Transport{};
        if (transport.isPlaying && start > 0) {
            transport.beat += start / static_cast<double>(rate) * transport.tempo / 60.0;
        }
        stage.Begin(block.transport != nullptr ? &transport : nullptr, count);
        adapter.Process(voice.data(), channels, output.data(), count, events);
    } else {
        std::fill_n(output[0], count, 0.0F);
        std::fill_n(output[1], count, 0.0F);
    }
    MixDry(output.data(), count);
}

void PluginInstrument::Inside::MixDry(float* const* output, std::uint32_t frames) {
    const std::uint32_t late = adapter.Latency();
    std::uint32_t done = 0;
    for (const host::TimedEvent& event : events) {
        const auto* const setting = std::get_if<host::ParameterSetting>(&event.what);
        if (setting != nullptr && setting->id == PluginParameters::bypass) {
            dry.Mix(output, done, event.frame, late);
            done = event.frame;
            dry.SetBypassed(setting->number >= 0.5F);
        }
    }
    dry.Mix(output, done, frames, late);
}

void PluginInstrument::Process(const PluginBlock& block) { inside->Process(block); }

void PluginInstrument::Reset() {
    Inside& in = *inside;
    // Then nothing is on its way, and message threads change what there is.
    if (!in.isActive) {
        return;
    }
    int nobody = Inside::Nobody;
    if (in.holder.compare_exchange_strong(nobody, Inside::AudioThread, std::memory_order_acquire)) {
        in.stage.Restart();
        in.adapter.Reset();
        in.dry.Restart(in.rate);
        in.kept.clear();
        in.holder.store(Inside::Nobody, std::memory_order_release);
    }
}

} // namespace orphia::plugin
