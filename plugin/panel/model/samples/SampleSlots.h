// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/core/PluginInstrument.h"
#include "plugin/panel/model/History.h"
#include "plugin/panel/model/samples/SampleEdges.h"
#include "plugin/panel/model/samples/SampleFiles.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>

namespace orphia::panel {

/// The twelve samples of the instrument, from 0, and all that a player does with them; it can be undone. For
/// the message thread, which waits for no file.
class SampleSlots {
public:
    static constexpr std::uint32_t count = 12;
    /// How hard the key of a sample is pressed to hear it.
    static constexpr std::uint8_t velocity = 100;

    SampleSlots(plugin::PluginInstrument& instrument, History& history);

    /// The file that it plays or, when it is missing, should play; empty for none.
    std::filesystem::path PathOf(std::uint32_t sample) const { return instrument.SamplePath(sample); }
    bool IsLoaded(std::uint32_t sample) const;
    /// Those with a path and without a sound; none as long as any may be on its way.
    SamplePaths Missing() const;
    /// Also those that are on their way.
    std::set<std::uint32_t> Taken() const;

    /// What was ordered, and a line for the player: what is read, or why nothing is.
    struct Ordered {
        SamplePaths paths;
        std::string line;
    };
    /// New sounds: they are played whole, and not where the ones before them began and ended. They come in
    /// their own time, see PluginInstrument::OrderSamples; one that is no sound does not.
    Ordered Load(const SamplePaths& paths, const std::string& remark = {});
    /// Files and folders that were dropped on a sample.
    Ordered Drop(const std::vector<std::filesystem::path>& dropped, std::uint32_t sample);
    /// From `sample` on, and then in front of it; nothing when all are taken.
    std::optional<std::uint32_t> FreeFrom(std::uint32_t sample) const;
    void Clear(std::uint32_t sample);
    /// One that is missing, and others beside it; all else of them stays.
    Ordered Found(std::uint32_t sample, const std::filesystem::path& path);

    static std::uint32_t IdOf(std::uint32_t sample, SampleEdges::Edge edge);
    static std::uint32_t RootId(std::uint32_t sample);
    SampleEdges EdgesOf(std::uint32_t sample) const;
    /// To a place of the sample, as the mouse does it.
    void Move(std::uint32_t sample, SampleEdges::Edge edge, float place);
    void ResetEdge(std::uint32_t sample, SampleEdges::Edge edge);
    /// The pitch at which it was recorded; false when it is out of range.
    bool SetRoot(std::uint32_t sample, double hertz);

    /// The key that plays it; nothing while keys choose no samples, or none chooses this one.
    std::optional<std::uint8_t> KeyOf(std::uint32_t sample) const;
    struct Head {
        std::uint32_t sample = 0;
        float place = 0.0F;

        bool operator==(const Head&) const = default;
    };
    /// What is heard; nothing while a live voice is.
    std::optional<Head> Playhead() const;

private:
    Ordered Order(plugin::PluginInstrument::SampleOrder order);
    float Position(std::uint32_t id) const { return instrument.Position(id); }
    std::uint32_t SampleInSlot(std::uint32_t slot) const;

    plugin::PluginInstrument& instrument;
    History& history;
};

/// The name of a pitch: "A3", or "A3 +12 ct" where it is not quite that.
std::string NoteName(double hertz);

} // namespace orphia::panel
