// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace orphia::panel {

/// What of a sample is played, as its picture shows it: places from 0 to 1, and how the mouse moves them.
struct SampleEdges {
    enum Edge : std::size_t { TrimStart, TrimStop, LoopStart, LoopStop, CrossFade, Count };
    static constexpr std::array<std::string_view, Count> labels{"From", "To", "Loop from", "Loop to",
                                                                "Crossfade"};
    /// No closer than this when moved.
    static constexpr float leastLength = 0.001F;
    /// In points: how near the mouse must be, and how far the tabs of trims and loop reach from top and
    /// bottom.
    static constexpr float reach = 7.0F;
    static constexpr float tabHeight = 18.0F;

    /// In order of Edge. The crossfade is a share of the loop's length.
    std::array<float, Count> values{0.0F, 1.0F, 0.0F, 1.0F, 0.0F};
    bool isLooped = false;
    bool isReversed = false;
    /// The loop runs back and forth.
    bool turnsRound = false;

    bool operator==(const SampleEdges&) const = default;

    /// What is in force: the trims in order, the loop no farther than they reach. One that lies in front of
    /// them is a point.
    float First() const;
    float Last() const;
    float LoopFirst() const;
    float LoopLast() const;
    /// In places, as much as there is sound for beside the loop.
    float FadeLength() const;

    /// Where the handle of an edge is on a picture, in points from its left and top: the tabs of trims are at
    /// the top, those of the loop at the bottom, the crossfade's in the middle, where it begins as it is set.
    struct Place {
        float x = 0.0F;
        float y = 0.0F;
    };
    Place PlaceOf(Edge edge, float width, float height) const;
    /// What the mouse takes hold of: the nearest handle, else a line of the trims; the loop's only where it
    /// is looped.
    std::optional<Edge> At(Place mouse, float width, float height) const;
    /// The value of an edge when it is moved to a place: never past its partner.
    float Moved(Edge edge, float place) const;
    /// The place that an edge is at, for moving it by steps.
    float PlaceAlong(Edge edge) const;
};

} // namespace orphia::panel
