// SPDX-License-Identifier: GPL-3.0-or-later
// How the picture of a sample is drawn.
#include "plugin/panel/parts/WaveView.h"

#include <algorithm>
#include <cmath>

namespace orphia::panel {

namespace {

constexpr float tabWidth = 9.0F;
constexpr float fadeRadius = 5.0F;
/// Of the height, to either side, that full scale takes; what is above it is cut a little higher.
constexpr float fullHeight = 0.46F;
constexpr float mostShown = 1.05F;

} // namespace

void WaveView::DrawWave(juce::Graphics& g) const {
    const Palette& colours = PanelLook::Of(*this);
    const float pixel = 1.0F / std::max(1.0F, g.getInternalContext().getPhysicalPixelScaleFactor());
    const juce::Rectangle<float> clip = g.getClipBounds().toFloat();
    const float centre = static_cast<float>(getHeight()) / 2.0F;
    const float scale = fullHeight * static_cast<float>(getHeight());
    const auto width = static_cast<double>(getWidth());
    juce::RectangleList<float> played;
    juce::RectangleList<float> unplayed;
    const int first = static_cast<int>(std::floor(clip.getX() / pixel));
    const int last = static_cast<int>(std::ceil(clip.getRight() / pixel));
    for (int n = first; n < last; ++n) {
        const float x = static_cast<float>(n) * pixel;
        const PeakTable::Range range = sound->peaks.Between(x / width, (x + pixel) / width);
        const float top = centre - scale * std::min(range.high, mostShown);
        const float bottom = centre - scale * std::max(range.low, -mostShown);
        const bool isPlayed = x >= X(edges.First()) && x < X(edges.Last());
        (isPlayed ? played : unplayed)
            .addWithoutMerging({x, top - 0.5F * pixel, pixel, std::max(bottom - top, 0.0F) + pixel});
    }
    g.setColour(ToJuce(colours.line));
    g.fillRectList(unplayed);
    g.setColour(ToJuce(colours.dimText));
    g.fillRectList(played);
}

void WaveView::DrawLoop(juce::Graphics& g) const {
    const Palette& colours = PanelLook::Of(*this);
    g.setColour(ToJuce(colours.accent).withAlpha(0.10F));
    g.fillRect(juce::Rectangle<float>(X(edges.LoopFirst()), 0.0F, X(edges.LoopLast() - edges.LoopFirst()),
                                      static_cast<float>(getHeight())));
}

/// What fades out before the loop's end, and what fades in before its beginning; the other way round when it
/// is played from the end, and on each side of both when it turns round.
void WaveView::DrawFade(juce::Graphics& g) const {
    const float length = X(edges.FadeLength());
    if (length < 0.5F) {
        return;
    }
    const auto height = static_cast<float>(getHeight());
    const float first = X(edges.LoopFirst());
    const float last = X(edges.LoopLast());
    juce::Path slopes;
    const auto add = [&](float from, float to) {
        slopes.startNewSubPath(from, height);
        slopes.lineTo(to, 0.0F);
    };
    if (edges.turnsRound) {
        add(last, last - length);
        add(last + length, last);
        add(first, first + length);
        add(first - length, first);
    } else if (edges.isReversed) {
        add(first, first + length);
        add(last + length, last);
    } else {
        add(last, last - length);
        add(first - length, first);
    }
    g.setColour(ToJuce(PanelLook::Of(*this).accent));
    g.strokePath(slopes, juce::PathStrokeType(1.2F));
}

void WaveView::DrawHandle(juce::Graphics& g, Edge edge) const {
    const Palette& colours = PanelLook::Of(*this);
    const juce::Point<float> place = HandleOf(edge);
    const bool isTrim = edge == SampleEdges::TrimStart || edge == SampleEdges::TrimStop;
    const bool isLeft = edge == SampleEdges::TrimStart || edge == SampleEdges::LoopStart;
    const bool isActive = touched == edge || (hasKeyboardFocus(false) && chosen == edge);
    g.setColour(ToJuce(isTrim ? colours.text : colours.accent));
    if (edge == SampleEdges::CrossFade) {
        const juce::Rectangle<float> knob = juce::Rectangle<float>(2.0F * fadeRadius, 2.0F * fadeRadius)
                                                .withCentre(place)
                                                .constrainedWithin(getLocalBounds().toFloat());
        g.setColour(ToJuce(colours.field));
        g.fillEllipse(knob);
        g.setColour(ToJuce(colours.accent));
        isActive ? g.fillEllipse(knob) : g.drawEllipse(knob.reduced(0.8F), 1.6F);
        return;
    }
    const auto height = static_cast<float>(getHeight());
    const float line = isActive ? 2.0F : 1.2F;
    const float x = isLeft ? place.x : place.x - line;
    g.fillRect(juce::Rectangle<float>(x, isTrim ? 0.0F : SampleEdges::tabHeight, line,
                                      isTrim ? height : height - SampleEdges::tabHeight));
    const float tabX = isLeft ? place.x : place.x - tabWidth;
    juce::Path tab;
    const float tip = isLeft ? tabX + tabWidth : tabX;
    const float back = isLeft ? tabX : tabX + tabWidth;
    const float top = place.y - SampleEdges::tabHeight / 2.0F;
    const float bottom = place.y + SampleEdges::tabHeight / 2.0F;
    const float edgeY = isTrim ? top : bottom;
    const float otherY = isTrim ? bottom : top;
    tab.startNewSubPath(back, edgeY);
    tab.lineTo(tip, edgeY);
    tab.lineTo(tip, (edgeY + otherY) / 2.0F);
    tab.lineTo(back, otherY);
    tab.closeSubPath();
    g.fillPath(tab);
}

void WaveView::DrawTexts(juce::Graphics& g) const {
    const Palette& colours = PanelLook::Of(*this);
    const juce::Rectangle<float> all = getLocalBounds().toFloat();
    if (sound == nullptr) {
        DrawText(g, emptyText, all.reduced(20.0F, 0.0F), Sizes::textFont, colours.dimText);
    }
    if (touched && sound != nullptr) {
        const juce::Rectangle<float> box = juce::Rectangle<float>(150.0F, 18.0F)
                                               .withCentre({mouse.x, mouse.y - 18.0F})
                                               .constrainedWithin(all);
        FillBox(g, box, colours.section);
        DrawText(g, ValueText(), box, Sizes::labelFont, colours.text);
    }
}

void WaveView::paint(juce::Graphics& g) {
    const Palette& colours = PanelLook::Of(*this);
    const juce::Rectangle<float> all = getLocalBounds().toFloat();
    FillBox(g, all, colours.field);
    if (sound != nullptr) {
        if (edges.isLooped) {
            DrawLoop(g);
        }
        DrawWave(g);
        if (edges.isLooped) {
            DrawFade(g);
            for (const Edge edge : {SampleEdges::LoopStart, SampleEdges::LoopStop, SampleEdges::CrossFade}) {
                DrawHandle(g, edge);
            }
        }
        DrawHandle(g, SampleEdges::TrimStart);
        DrawHandle(g, SampleEdges::TrimStop);
        if (head && head->sample == sample) {
            g.setColour(ToJuce(colours.text));
            g.fillRect(juce::Rectangle<float>(X(head->place) - 0.75F, 0.0F, 1.5F, all.getHeight()));
        }
    }
    DrawTexts(g);
    DrawFocus(g, *this, all);
}

} // namespace orphia::panel
