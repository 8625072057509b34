// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/parts/CablesView.h"

#include "plugin/panel/parts/BandBars.h"

#include <algorithm>
#include <cmath>

namespace orphia::panel {

namespace {

constexpr float socketRadius = 5.0F;
constexpr float socketMargin = 9.0F;
constexpr float touchDistance = 6.0F;
constexpr float dragLength = 90.0F;
constexpr int brightnessSteps = 16;
constexpr float hintWidth = 520.0F;
constexpr float hintHeight = 26.0F;
constexpr float keyStep = 0.1F;
constexpr float leastAmount = 0.01F;

juce::Path PathOf(juce::Point<float> from, juce::Point<float> to) {
    const float bend = 0.45F * (to.y - from.y);
    juce::Path path;
    path.startNewSubPath(from);
    path.cubicTo(from.translated(0.0F, bend), to.translated(0.0F, -bend), to);
    return path;
}

juce::String TextOf(const PatchBay::Cable& cable) {
    return juce::String(cable.analysis + 1) + " to " + juce::String(cable.synthesis + 1) + ": " +
           juce::String(juce::roundToInt(cable.amount * 100.0F)) + " %";
}

} // namespace

CablesView::CablesView(PanelModel& ofPanel) : panel(ofPanel) {
    setWantsKeyboardFocus(true);
    setTitle("Patch bay");
    setTooltip(
        "Draw a cable from an analysis band above to a synthesis band below. Drag a cable up or down for its "
        "amount, double click to take it out.");
}

juce::Point<float> CablesView::Socket(bool isSynthesis, unsigned band) const {
    const juce::Rectangle<float> column = ColumnOf(getLocalBounds().toFloat(), band);
    return {column.getCentreX(),
            isSynthesis ? column.getBottom() - socketMargin : column.getY() + socketMargin};
}

std::optional<CablesView::End> CablesView::EndAt(juce::Point<float> place) const {
    for (const bool isSynthesis : {false, true}) {
        for (unsigned band = 0; band < PatchBay::bandCount; ++band) {
            if (Socket(isSynthesis, band).getDistanceFrom(place) < 2.2F * socketRadius) {
                return End{isSynthesis, band};
            }
        }
    }
    return std::nullopt;
}

std::optional<CablesView::Cable> CablesView::CableAt(juce::Point<float> place) const {
    std::optional<Cable> nearest;
    float best = touchDistance;
    for (const Cable& cable : cables) {
        juce::Point<float> on;
        PathOf(Socket(false, cable.analysis), Socket(true, cable.synthesis)).getNearestPoint(place, on);
        if (on.getDistanceFrom(place) < best) {
            best = on.getDistanceFrom(place);
            nearest = cable;
        }
    }
    return nearest;
}

void CablesView::Refresh() {
    const bool nowActive = panel.instrument.Position(PatchBay::ActiveId()) > 0.5F;
    std::vector<Cable> now = panel.patchBay.Cables();
    std::array<int, PatchBay::bandCount> bright{};
    for (unsigned band = 0; band < PatchBay::bandCount; ++band) {
        bright[band] = juce::roundToInt(BandPicture::Height(panel.bands.Analysis()[band]) * brightnessSteps);
    }
    const bool nowQuiet =
        std::ranges::all_of(bright, [](int step) { return step == 0; }) && panel.keys.held.none();
    const bool isSame =
        nowActive == isActive && nowQuiet == isQuiet && now == cables && (bright == brightness || !nowActive);
    if (!isSame) {
        isActive = nowActive;
        isQuiet = nowQuiet;
        cables = std::move(now);
        brightness = bright;
        repaint();
    }
}

void CablesView::DrawCable(juce::Graphics& g, const Cable& cable, bool isInForce) const {
    const Palette& colours = PanelLook::Of(*this);
    const bool isTouched =
        touched && touched->analysis == cable.analysis && touched->synthesis == cable.synthesis;
    const float glow = static_cast<float>(brightness[cable.analysis]) / brightnessSteps;
    const juce::Colour quiet = ToJuce(colours.line);
    const juce::Colour colour = isTouched ? ToJuce(colours.text)
                                : isInForce
                                    ? quiet.interpolatedWith(ToJuce(colours.accent), 0.35F + 0.65F * glow)
                                    : quiet;
    g.setColour(colour);
    const juce::PathStrokeType line(1.2F + 2.8F * cable.amount, juce::PathStrokeType::curved,
                                    juce::PathStrokeType::rounded);
    g.strokePath(PathOf(Socket(false, cable.analysis), Socket(true, cable.synthesis)), line);
}

void CablesView::DrawSockets(juce::Graphics& g) const {
    const Palette& colours = PanelLook::Of(*this);
    for (const bool isSynthesis : {false, true}) {
        for (unsigned band = 0; band < PatchBay::bandCount; ++band) {
            const juce::Point<float> centre = Socket(isSynthesis, band);
            const juce::Rectangle<float> ring =
                juce::Rectangle<float>(2.0F * socketRadius, 2.0F * socketRadius).withCentre(centre);
            g.setColour(ToJuce(colours.field));
            g.fillEllipse(ring);
            const bool isCursor = hasKeyboardFocus(false) && band == (isSynthesis ? cursorTo : cursorFrom);
            g.setColour(ToJuce(isCursor ? colours.accent : colours.dimText));
            g.drawEllipse(ring, isCursor ? 2.5F : 1.2F);
        }
    }
}

void CablesView::paint(juce::Graphics& g) {
    const Palette& colours = PanelLook::Of(*this);
    const bool isPatched = isActive && !cables.empty();
    if (!isPatched) {
        // What the circuit does without cables.
        for (unsigned band = 0; band < PatchBay::bandCount; ++band) {
            g.setColour(ToJuce(colours.line));
            const juce::Line<float> line(Socket(false, band), Socket(true, band));
            g.drawDashedLine(line, std::array<float, 2>{3.0F, 4.0F}.data(), 2, 1.0F);
        }
    }
    for (const Cable& cable : cables) {
        DrawCable(g, cable, isPatched);
    }
    if (drawnFrom) {
        const juce::Point<float> from = Socket(drawnFrom->isSynthesis, drawnFrom->band);
        g.setColour(ToJuce(colours.accent));
        g.strokePath(PathOf(from, mouse), juce::PathStrokeType(2.5F));
    }
    DrawSockets(g);
    if (isQuiet && !isPatched) {
        const juce::Rectangle<float> box =
            getLocalBounds().toFloat().withSizeKeepingCentre(hintWidth, hintHeight);
        FillBox(g, box, colours.section, 0.0F);
        DrawText(g, "Speak, and play the keys below: with the mouse, by MIDI, or A to P of your computer.",
                 box, Sizes::textFont, colours.dimText);
    }
    if (touched) {
        const juce::Rectangle<float> box = juce::Rectangle<float>(96.0F, 18.0F)
                                               .withCentre({mouse.x, mouse.y - 18.0F})
                                               .constrainedWithin(getLocalBounds().toFloat());
        FillBox(g, box, colours.field);
        DrawText(g, TextOf(*touched), box, Sizes::labelFont, colours.text);
    }
}

void CablesView::mouseMove(const juce::MouseEvent& event) {
    mouse = event.position;
    const auto next = EndAt(mouse) ? std::nullopt : CableAt(mouse);
    if (next || touched) {
        touched = next;
        repaint();
    }
}

void CablesView::mouseExit(const juce::MouseEvent& /*event*/) {
    if (!held) {
        touched.reset();
        repaint();
    }
}

void CablesView::mouseDown(const juce::MouseEvent& event) {
    mouse = event.position;
    drawnFrom = EndAt(mouse);
    held = drawnFrom ? std::nullopt : CableAt(mouse);
    touched = held;
    if (held && event.mods.isPopupMenu()) {
        ShowMenu(*held);
        held.reset();
    }
    if (held) {
        panel.history.Begin("Amount of a cable");
    }
}

void CablesView::SetAmount(const Cable& cable, float amount) {
    panel.patchBay.Connect(cable.analysis, cable.synthesis, std::clamp(amount, 0.0F, 1.0F));
    Refresh();
}

void CablesView::mouseDrag(const juce::MouseEvent& event) {
    if (held) {
        const float way =
            (mouse.y - event.position.y) / dragLength * (event.mods.isShiftDown() ? 0.1F : 1.0F);
        held->amount = std::clamp(held->amount + way, leastAmount, 1.0F);
        SetAmount(*held, held->amount);
        touched = held;
    }
    mouse = event.position;
    repaint();
}

void CablesView::mouseUp(const juce::MouseEvent& event) {
    if (held) {
        panel.history.End();
        held.reset();
    }
    if (drawnFrom) {
        const auto end = EndAt(event.position);
        if (end && end->isSynthesis != drawnFrom->isSynthesis) {
            const unsigned from = drawnFrom->isSynthesis ? end->band : drawnFrom->band;
            const unsigned to = drawnFrom->isSynthesis ? drawnFrom->band : end->band;
            panel.patchBay.Connect(from, to, 1.0F);
        }
        drawnFrom.reset();
    }
    touched.reset();
    Refresh();
    repaint();
}

void CablesView::mouseDoubleClick(const juce::MouseEvent& event) {
    if (const auto cable = CableAt(event.position)) {
        SetAmount(*cable, 0.0F);
        touched.reset();
        repaint();
    }
}

void CablesView::mouseWheelMove(const juce::MouseEvent& event, const juce::MouseWheelDetails& wheel) {
    if (const auto cable = CableAt(event.position)) {
        SetAmount(*cable, std::max(leastAmount, cable->amount + 0.4F * wheel.deltaY));
        touched = CableAt(event.position);
        repaint();
    }
}

bool CablesView::keyPressed(const juce::KeyPress& key) {
    const int code = key.getKeyCode();
    const bool isLeft = code == juce::KeyPress::leftKey;
    const Cable cable = CableAtCursor();
    if (isLeft || code == juce::KeyPress::rightKey) {
        unsigned& band = key.getModifiers().isShiftDown() ? cursorTo : cursorFrom;
        band = (band + (isLeft ? PatchBay::bandCount - 1 : 1)) % PatchBay::bandCount;
    } else if (code == juce::KeyPress::upKey || code == juce::KeyPress::downKey) {
        SetAmount(cable, cable.amount + (code == juce::KeyPress::upKey ? keyStep : -keyStep));
    } else if (code == juce::KeyPress::returnKey) {
        SetAmount(cable, 1.0F);
    } else if (code == juce::KeyPress::deleteKey || code == juce::KeyPress::backspaceKey) {
        SetAmount(cable, 0.0F);
    } else {
        return false;
    }
    TellCursor();
    return true;
}

CablesView::Cable CablesView::CableAtCursor() const {
    return {cursorFrom, cursorTo, panel.patchBay.Amount(cursorFrom, cursorTo)};
}

/// Its amount, to see and to hear.
void CablesView::TellCursor() {
    touched = CableAtCursor();
    mouse = 0.5F * (Socket(false, cursorFrom) + Socket(true, cursorTo));
    setDescription(TextOf(*touched));
    juce::AccessibilityHandler::postAnnouncement(TextOf(*touched),
                                                 juce::AccessibilityHandler::AnnouncementPriority::medium);
    repaint();
}

void CablesView::focusGained(FocusChangeType /*cause*/) { repaint(); }
void CablesView::focusLost(FocusChangeType /*cause*/) {
    touched.reset();
    repaint();
}

void CablesView::ShowMenu(const Cable& cable) {
    juce::PopupMenu menu;
    menu.setLookAndFeel(&getLookAndFeel());
    const juce::Component::SafePointer<CablesView> self(this);
    for (const int percent : {100, 75, 50, 25, 10}) {
        menu.addItem(
            juce::String(percent) + " %", true, juce::roundToInt(cable.amount * 100.0F) == percent,
            [self, cable, percent] { self->SetAmount(cable, static_cast<float>(percent) / 100.0F); });
    }
    menu.addSeparator();
    menu.addItem("Take out", [self, cable] { self->SetAmount(cable, 0.0F); });
    menu.showMenuAsync(
        juce::PopupMenu::Options().withDeletionCheck(*this).withParentComponent(getTopLevelComponent()));
}

} // namespace orphia::panel
