// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/PluginRig.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

/// Bundles as hosts load them, in what all formats have in common.
namespace orphia::test {

class HostedPlugin {
public:
    static constexpr std::size_t longest = 512;

    virtual ~HostedPlugin() = default;
    virtual void Activate(double rate) = 0;
    /// In place. Without a transport none is told.
    virtual void Process(float* const* sound, std::uint32_t frames,
                         const std::vector<host::TimedEvent>& messages, const host::Transport* transport) = 0;
    /// In the next block, from a frame on where the format has such.
    virtual void SetValue(const std::string& name, double value, std::uint32_t frame) = 0;
    virtual std::uint32_t Latency() = 0;
    /// What the host keeps in its project.
    virtual std::string Save() = 0;
    virtual void Load(const std::string& state) = 0;
    virtual std::size_t ParameterCount() = 0;
    /// In a folder that may be moved with what is in there; false where the format has no such thing.
    virtual bool SaveProject(const std::string& /*folder*/) { return false; }
    virtual void LoadProject(const std::string& /*folder*/) {}
    /// The names of those that are there as files for hosts; loaded after Activate.
    virtual std::vector<std::string> Presets() { return {}; }
    virtual void LoadPreset(const std::string& /*name*/) {}
};

/// Where the bundles are: those that were built, or what the environment names.
inline std::string Bundles() {
    const char* const elsewhere = std::getenv("ORPHIA_BUNDLES");
    return elsewhere != nullptr ? elsewhere : ORPHIA_BUNDLES;
}

using MakePlugin = std::unique_ptr<HostedPlugin> (*)(bool isEffect);
std::unique_ptr<HostedPlugin> OpenClap(bool isEffect);
std::unique_ptr<HostedPlugin> OpenVst3(bool isEffect);
std::unique_ptr<HostedPlugin> OpenLv2(bool isEffect);
std::unique_ptr<HostedPlugin> OpenLightLv2(bool isEffect);
std::unique_ptr<HostedPlugin> OpenPlainLv2(bool isEffect);

struct Format {
    const char* name;
    MakePlugin open;
    /// How far into a block its hosts can move a parameter.
    std::uint32_t delay;
};
/// Those that this system has.
extern const std::vector<Format> formats;

/// A slider of a host moves.
struct Move {
    std::uint32_t frame;
    const char* name;
    double value;
};

/// All of a song in blocks of these lengths in turn; interleaved. Throws when a block is left.
inline std::vector<float> PlayHosted(HostedPlugin& plugin, const PluginSong& song,
                                     std::span<const Move> moves = {},
                                     const std::vector<std::uint32_t>& lengths = {64}) {
    constexpr std::size_t guard = 64;
    constexpr float untouched = 12345.0F;
    std::vector<float> result;
    std::size_t round = 0;
    for (std::uint32_t at = 0; at < song.frames;) {
        const std::uint32_t block = static_cast<std::uint32_t>(std::min<std::size_t>(
            {lengths[round++ % lengths.size()], song.frames - at, song.loop - at % song.loop}));
        std::array<std::vector<float>, 2> sides;
        sides.fill(std::vector<float>(block + 2 * guard, untouched));
        for (std::size_t n = 0; n < 2U * block; ++n) {
            const std::size_t from = 2U * at + n;
            sides[n % 2][guard + n / 2] = from < song.voice.samples.size() ? song.voice.samples[from] : 0.0F;
        }
        std::vector<host::TimedEvent> events;
        for (const host::TimedEvent& event : song.events) {
            if (event.frame >= at && event.frame < at + block) {
                events.push_back({event.frame - at, event.what});
            }
        }
        for (const Move& move : moves) {
            if (move.frame >= at && move.frame < at + block) {
                plugin.SetValue(move.name, move.value, move.frame - at);
            }
        }
        float* const sound[] = {sides[0].data() + guard, sides[1].data() + guard};
        const host::Transport transport = song.TransportAt(at);
        plugin.Process(sound, block, events, song.hasTransport ? &transport : nullptr);
        for (std::size_t n = 0; n < 2U * block; ++n) {
            result.push_back(sound[n % 2][n / 2]);
        }
        for (const std::vector<float>& side : sides) {
            if (std::count(side.begin(), side.begin() + guard, untouched) != guard ||
                std::count(side.end() - guard, side.end(), untouched) != guard) {
                throw std::runtime_error("something was written outside of a block");
            }
        }
        at += block;
    }
    return result;
}

/// Where two sounds of one length begin to differ, and how much at most; empty when they do not.
inline std::string Difference(const std::vector<float>& ours, const std::vector<float>& theirs) {
    float most = 0.0F;
    for (std::size_t n = 0; n < theirs.size(); ++n) {
        most = std::max(most, std::abs(ours[n] - theirs[n]));
    }
    const auto first = std::mismatch(ours.begin(), ours.end(), theirs.begin(), theirs.end()).first;
    return first == ours.end() ? std::string()
                               : "from frame " + std::to_string((first - ours.begin()) / 2) + ", at most " +
                                     std::to_string(most);
}

/// What a host keeps of it: without the first frames, which are as many as it is late once it plays.
inline std::vector<float> OnTime(HostedPlugin& plugin, PluginSong song) {
    const std::size_t asked = song.frames;
    song.frames += 64 * 16;
    std::vector<float> sound = PlayHosted(plugin, song);
    sound.erase(sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(2 * plugin.Latency()));
    sound.resize(2 * asked);
    return sound;
}

} // namespace orphia::test
