// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/samples/SampleEdges.h"

#include <algorithm>
#include <cmath>

namespace orphia::panel {

namespace {

constexpr float middle = 0.5F;

} // namespace

float SampleEdges::First() const { return values[TrimStart]; }
float SampleEdges::Last() const { return std::max(values[TrimStop], First()); }
float SampleEdges::LoopLast() const { return std::min(values[LoopStop], Last()); }
float SampleEdges::LoopFirst() const { return std::min(std::max(values[LoopStart], First()), LoopLast()); }

/// What fades in lies before the loop, behind it when it is played from the end, and on both sides when it
/// turns round.
float SampleEdges::FadeLength() const {
    const float before = std::max(0.0F, LoopFirst() - First());
    const float behind = Last() - LoopLast();
    const float limit = turnsRound ? std::min(before, behind) : isReversed ? behind : before;
    return std::min(values[CrossFade] * (LoopLast() - LoopFirst()), limit);
}

/// Back from the end at which the loop jumps.
float SampleEdges::PlaceAlong(Edge edge) const {
    switch (edge) {
    case TrimStart:
        return First();
    case TrimStop:
        return Last();
    case LoopStart:
        return LoopFirst();
    case LoopStop:
        return LoopLast();
    default: {
        const float length = values[CrossFade] * (LoopLast() - LoopFirst());
        return isReversed ? LoopFirst() + length : LoopLast() - length;
    }
    }
}

SampleEdges::Place SampleEdges::PlaceOf(Edge edge, float width, float height) const {
    const float x = PlaceAlong(edge) * width;
    if (edge == CrossFade) {
        return {x, middle * height};
    }
    const float halfTab = middle * tabHeight;
    return {x, edge == TrimStart || edge == TrimStop ? halfTab : height - halfTab};
}

std::optional<SampleEdges::Edge> SampleEdges::At(Place mouse, float width, float height) const {
    std::optional<Edge> nearest;
    float best = reach;
    const auto offer = [&](Edge edge, float distance) {
        if (distance < best) {
            best = distance;
            nearest = edge;
        }
    };
    const bool isAtBottom = mouse.y > height - tabHeight;
    for (const Edge edge : {TrimStart, TrimStop}) {
        // Two that are at one place: each is taken from its own side.
        const float side = edge == TrimStart ? mouse.x - First() * width : Last() * width - mouse.x;
        offer(edge, std::fabs(side) + (side > 0.0F ? 0.5F : 0.0F) + (isAtBottom && isLooped ? reach : 0.0F));
    }
    if (!isLooped) {
        return nearest;
    }
    const Place fade = PlaceOf(CrossFade, width, height);
    offer(CrossFade, std::hypot(mouse.x - fade.x, mouse.y - fade.y) - 1.0F);
    if (mouse.y > tabHeight) {
        offer(LoopStart,
              std::fabs(mouse.x - LoopFirst() * width) + (mouse.x < LoopFirst() * width ? 0.5F : 0.0F));
        offer(LoopStop,
              std::fabs(mouse.x - LoopLast() * width) + (mouse.x > LoopLast() * width ? 0.5F : 0.0F));
    }
    return nearest;
}

float SampleEdges::Moved(Edge edge, float place) const {
    switch (edge) {
    case TrimStart:
        return std::clamp(place, 0.0F, std::max(0.0F, Last() - leastLength));
    case TrimStop:
        return std::clamp(place, std::min(1.0F, First() + leastLength), 1.0F);
    case LoopStart:
        return std::clamp(place, First(), std::max(First(), LoopLast() - leastLength));
    case LoopStop:
        return std::clamp(place, std::min(Last(), std::max(First(), LoopFirst()) + leastLength), Last());
    default: {
        const float length = LoopLast() - LoopFirst();
        const float asked = isReversed ? place - LoopFirst() : LoopLast() - place;
        return length > 0.0F ? std::clamp(asked / length, 0.0F, 1.0F) : values[CrossFade];
    }
    }
}

} // namespace orphia::panel
