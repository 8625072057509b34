// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/parts/WaveView.h"

#include "plugin/panel/controls/ParameterControl.h"
#include "plugin/panel/model/ControlModel.h"

#include <algorithm>
#include <cmath>

namespace orphia::panel {

namespace {

constexpr float step = 0.01F;
constexpr int headReach = 3;

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
    }
    sample = next;
    sound = std::move(nextSound);
    emptyText = text;
    edges = slots.EdgesOf(sample);
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
