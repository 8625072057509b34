// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/Live.h"
#include "plugin/panel/look/PanelLook.h"
#include "plugin/panel/model/PanelModel.h"
#include "plugin/panel/model/samples/SampleShelf.h"
#include "plugin/panel/model/samples/SampleSlots.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>
#include <optional>

namespace orphia::panel {

/// The picture of a sample, with where it begins and ends, its loop and crossfade, and where it plays. Their
/// handles are dragged, with shift finely; a double click sets one back. By keys: up and down choose a
/// handle, left and right move it, with shift finely, delete sets it back.
class WaveView final : public juce::Component, public juce::TooltipClient, public Live {
public:
    using Edge = SampleEdges::Edge;

    WaveView(PanelModel& panel, SampleSlots& slots);
    ~WaveView() override;

    /// A sample, from 0, and its sound; null for none, of which a text tells.
    void Show(std::uint32_t sample, std::shared_ptr<const SampleShelf::Sound> sound,
              const juce::String& text);

    std::uint32_t Sample() const { return sample; }
    /// Where a handle is, for whoever works it.
    juce::Point<float> HandleOf(Edge edge) const;
    Edge Chosen() const { return chosen; }
    float Value() const { return edges.values.at(chosen); }
    /// Of the chosen handle: "Loop from 0.25, 1.2 s".
    juce::String ValueText() const;
    void SetValue(float value);
    /// The chosen handle, to a place of the sample.
    void MoveTo(float place);

    juce::String getTooltip() override;
    void Refresh() override;
    void paint(juce::Graphics& g) override;
    void mouseMove(const juce::MouseEvent& event) override;
    void mouseExit(const juce::MouseEvent& event) override;
    void mouseDown(const juce::MouseEvent& event) override;
    void mouseDrag(const juce::MouseEvent& event) override;
    void mouseUp(const juce::MouseEvent& event) override;
    void mouseDoubleClick(const juce::MouseEvent& event) override;
    bool keyPressed(const juce::KeyPress& key) override;
    void focusGained(FocusChangeType cause) override;
    void focusLost(FocusChangeType cause) override;
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

private:
    std::optional<Edge> EdgeAt(juce::Point<float> place) const;
    float X(float place) const { return place * static_cast<float>(getWidth()); }
    void Choose(Edge edge);
    void Follow(std::optional<Edge> edge);
    void EndDrag();
    void RepaintHead(const std::optional<SampleSlots::Head>& at);
    void DrawWave(juce::Graphics& g) const;
    void DrawLoop(juce::Graphics& g) const;
    void DrawFade(juce::Graphics& g) const;
    void DrawHandle(juce::Graphics& g, Edge edge) const;
    void DrawTexts(juce::Graphics& g) const;

    PanelModel& panel;
    SampleSlots& slots;
    std::uint32_t sample = 0;
    std::shared_ptr<const SampleShelf::Sound> sound;
    juce::String emptyText;
    SampleEdges edges;
    std::optional<SampleSlots::Head> head;
    Edge chosen = SampleEdges::TrimStart;
    std::optional<Edge> touched;
    bool isDragged = false;
    juce::Point<float> mouse;
    /// Where the dragged handle would be without ends.
    float dragPlace = 0.0F;
};

} // namespace orphia::panel
