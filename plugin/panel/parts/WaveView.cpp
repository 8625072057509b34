// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/parts/WaveView.h"

#include "plugin/panel/model/ControlModel.h"

#include <algorithm>
#include <cmath>

namespace orphia::panel {

namespace {

constexpr float fineDrag = 0.1F;
constexpr float step = 0.01F;
constexpr float tabWidth = 9.0F;
constexpr float fadeRadius = 5.0F;
constexpr int headReach = 3;
/// Of the height that the loudest sound takes.
constexpr float fullHeight = 0.46F;

/// What screen readers get: the chosen handle, which up and down change.
class EdgeValue final : public juce::AccessibilityValueInterface {
public:
    explicit EdgeValue(WaveView& ofView) : view(ofView) {}

    bool isReadOnly() const override { return false; }
    double getCurrentValue() const override { return view.Value(); }
    juce::String getCurrentValueAsString() const override { return view.ValueText(); }
    void setValue(double value) override { view.SetValue(static_cast<float>(value)); }
    void setValueAsString(const juce::String& text) override { view.SetValue(text.getFloatValue()); }
    AccessibleValueRange getRange() const override { return {{0.0, 1.0}, step}; }

private:
    WaveView& view;
};

} // namespace

WaveView::WaveView(PanelModel& ofPanel, SampleSlots& ofSlots) : panel(ofPanel), slots(ofSlots) {
    setWantsKeyboardFocus(true);
    setTitle("Picture of the sample");
}

WaveView::~WaveView() { EndDrag(); }

void WaveView::Show(std::uint32_t next, std::shared_ptr<const SampleShelf::Sound> nextSound,
                    const juce::String& text) {
    if (next == sample && nextSound == sound && text == emptyText) {
        return;
    }
    if (next != sample) {
        EndDrag();
        touched.reset();
        told.clear();
    }
    sample = next;
    sound = std::move(nextSound);
    emptyText = text;
    edges = slots.EdgesOf(sample);
    repaint();
}

void WaveView::Tell(const juce::String& notice) {
    told = notice;
    repaint();
}

juce::Point<float> WaveView::HandleOf(Edge edge) const {
    const SampleEdges::Place place =
        edges.PlaceOf(edge, static_cast<float>(getWidth()), static_cast<float>(getHeight()));
    return {place.x, place.y};
}

std::optional<WaveView::Edge> WaveView::EdgeAt(juce::Point<float> place) const {
    return sound == nullptr ? std::nullopt
                            : edges.At({place.x, place.y}, static_cast<float>(getWidth()),
                                       static_cast<float>(getHeight()));
}

juce::String WaveView::ValueText() const {
    const std::string_view label = SampleEdges::labels.at(chosen);
    juce::String text = juce::String(label.data(), label.size()) + " " + juce::String(Value(), 3);
    if (sound != nullptr && sound->Seconds() > 0.0) {
        const auto whole = static_cast<float>(sound->Seconds());
        const float seconds =
            chosen == SampleEdges::CrossFade ? edges.FadeLength() * whole : edges.PlaceAlong(chosen) * whole;
        text += ", " + juce::String(seconds, 3) + " s";
    }
    return text;
}

juce::String WaveView::getTooltip() {
    return touched && !isDragged ? juce::String(Describe(SampleSlots::IdOf(sample, *touched)).tooltip)
                                 : juce::String();
}

void WaveView::RepaintHead(const std::optional<SampleSlots::Head>& at) {
    if (at && at->sample == sample) {
        repaint(juce::roundToInt(X(at->place)) - headReach, 0, 2 * headReach, getHeight());
    }
}

void WaveView::Refresh() {
    if (const SampleEdges now = slots.EdgesOf(sample); !(now == edges)) {
        edges = now;
        repaint();
    }
    if (const auto now = slots.Playhead(); now != head) {
        RepaintHead(head);
        head = now;
        RepaintHead(head);
    }
}

void WaveView::DrawWave(juce::Graphics& g) const {
    const Palette& colours = PanelLook::Of(*this);
    const float pixel = 1.0F / std::max(1.0F, g.getInternalContext().getPhysicalPixelScaleFactor());
    const juce::Rectangle<float> clip = g.getClipBounds().toFloat();
    const float centre = static_cast<float>(getHeight()) / 2.0F;
    const float scale = fullHeight * static_cast<float>(getHeight());
    const auto width = static_cast<double>(getWidth());
    juce::RectangleList<float> played;
    juce::RectangleList<float> unplayed;
    for (float x = std::floor(clip.getX() / pixel) * pixel; x < clip.getRight(); x += pixel) {
        const PeakTable::Range range = sound->peaks.Between(x / width, (x + pixel) / width);
        const float top = centre - scale * std::min(range.high, 1.05F);
        const float bottom = centre - scale * std::max(range.low, -1.05F);
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
    if (told.isNotEmpty()) {
        const float width = std::min(all.getWidth() - 40.0F,
                                     PanelLook::Font(Sizes::textFont).getStringWidthFloat(told) + 24.0F);
        const juce::Rectangle<float> box =
            all.withTrimmedBottom(24.0F).removeFromBottom(24.0F).withSizeKeepingCentre(width, 24.0F);
        FillBox(g, box, colours.section);
        DrawText(g, told, box.reduced(8.0F, 0.0F), Sizes::textFont, colours.text);
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

void WaveView::Choose(Edge edge) {
    chosen = edge;
    if (auto* const handler = getAccessibilityHandler()) {
        handler->notifyAccessibilityEvent(juce::AccessibilityEvent::valueChanged);
    }
    repaint();
}

void WaveView::Follow(std::optional<Edge> edge) {
    if (edge) {
        chosen = *edge;
    }
    if (edge || touched) {
        repaint();
    }
    touched = edge;
    setMouseCursor(edge ? juce::MouseCursor::LeftRightResizeCursor : juce::MouseCursor::NormalCursor);
}

void WaveView::mouseMove(const juce::MouseEvent& event) {
    mouse = event.position;
    Follow(EdgeAt(mouse));
}

void WaveView::mouseExit(const juce::MouseEvent& /*event*/) {
    if (!isDragged) {
        Follow(std::nullopt);
    }
}

void WaveView::mouseDown(const juce::MouseEvent& event) {
    mouse = event.position;
    Follow(EdgeAt(mouse));
    if (!touched || event.mods.isPopupMenu()) {
        return;
    }
    isDragged = true;
    dragPlace = edges.PlaceAlong(chosen);
    const std::string_view label = SampleEdges::labels.at(chosen);
    panel.history.Begin("Sample " + std::to_string(sample + 1) + ": " + std::string(label));
}

void WaveView::mouseDrag(const juce::MouseEvent& event) {
    const float way = (event.position.x - mouse.x) / static_cast<float>(getWidth());
    mouse = event.position;
    if (isDragged) {
        dragPlace += way * (event.mods.isShiftDown() ? fineDrag : 1.0F);
        MoveTo(dragPlace);
    }
}

void WaveView::EndDrag() {
    if (isDragged) {
        isDragged = false;
        panel.history.End();
    }
}

void WaveView::mouseUp(const juce::MouseEvent& event) {
    EndDrag();
    Follow(EdgeAt(event.position));
}

void WaveView::mouseDoubleClick(const juce::MouseEvent& event) {
    if (const auto edge = EdgeAt(event.position)) {
        slots.ResetEdge(sample, *edge);
        Refresh();
    }
}

/// The crossfade's is no place.
void WaveView::SetValue(float value) {
    if (chosen == SampleEdges::CrossFade) {
        panel.history.Set(SampleSlots::IdOf(sample, chosen), value);
        Refresh();
    } else {
        MoveTo(value);
    }
}

void WaveView::MoveTo(float place) {
    slots.Move(sample, chosen, place);
    Refresh();
    repaint();
}

bool WaveView::keyPressed(const juce::KeyPress& key) {
    const int code = key.getKeyCode();
    const bool isBack = code == juce::KeyPress::leftKey;
    if (sound == nullptr || key.getModifiers().isCommandDown() || key.getModifiers().isAltDown()) {
        return false;
    }
    if (isBack || code == juce::KeyPress::rightKey) {
        MoveTo(edges.PlaceAlong(chosen) +
               (isBack ? -step : step) * (key.getModifiers().isShiftDown() ? fineDrag : 1.0F));
        Choose(chosen);
    } else if (code == juce::KeyPress::upKey || code == juce::KeyPress::downKey) {
        const std::size_t count = edges.isLooped ? SampleEdges::Count : SampleEdges::LoopStart;
        const std::size_t next =
            std::min<std::size_t>(chosen, count - 1) + (code == juce::KeyPress::upKey ? count - 1 : 1);
        Choose(static_cast<Edge>(next % count));
    } else if (code == juce::KeyPress::deleteKey || code == juce::KeyPress::backspaceKey) {
        slots.ResetEdge(sample, chosen);
        Refresh();
        Choose(chosen);
    } else {
        return false;
    }
    return true;
}

void WaveView::focusGained(FocusChangeType /*cause*/) { repaint(); }
void WaveView::focusLost(FocusChangeType /*cause*/) { repaint(); }

std::unique_ptr<juce::AccessibilityHandler> WaveView::createAccessibilityHandler() {
    return std::make_unique<juce::AccessibilityHandler>(
        *this, juce::AccessibilityRole::slider, juce::AccessibilityActions(),
        juce::AccessibilityHandler::Interfaces{std::make_unique<EdgeValue>(*this)});
}

} // namespace orphia::panel
