// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/parts/SlotsView.h"

#include "plugin/panel/controls/DroppedFiles.h"
#include "plugin/panel/model/ControlModel.h"
#include "plugin/panel/model/samples/SampleDrop.h"
#include "plugin/panel/model/samples/SampleSlots.h"

#include <cmath>

namespace orphia::panel {

namespace {

constexpr float octaveSteps = 8.0F;
constexpr float slotSteps = 11.0F;

} // namespace

SlotsView::SlotsView(PanelModel& ofPanel)
    : panel(ofPanel), firstLoaded(EngineId("Modulator_Sample1_Loaded")),
      octave(EngineId("Modulator_KeyboardSampleOctave")), isPlaying(EngineId("Modulator_IsPlayingSample")),
      current(EngineId("Modulator_CurrentSlot")) {
    setTitle("Samples");
    setTooltip("The twelve samples: bright ones are loaded. A click plays one.");
}

SlotsView::~SlotsView() { Release(); }

juce::Rectangle<int> SlotsView::CellOf(int slot) const {
    const int rows = count / columns;
    const int column = slot % columns;
    const int row = slot / columns;
    return juce::Rectangle<int>(getWidth() * column / columns, getHeight() * row / rows, getWidth() / columns,
                                getHeight() / rows)
        .reduced(1);
}

void SlotsView::Refresh() {
    std::array<bool, count> now{};
    for (unsigned n = 0; n < count; ++n) {
        now[n] = panel.instrument.Position(firstLoaded + n) >= 0.5F;
    }
    std::array<bool, count> next{};
    for (const auto& [sample, path] : panel.instrument.OrderedSamples()) {
        next.at(sample) = !path.empty();
    }
    const bool sounds = panel.instrument.Position(isPlaying) >= 0.5F;
    const int plays = sounds ? juce::roundToInt(slotSteps * panel.instrument.Position(current)) : -1;
    if (now != loaded || next != loading || plays != playing) {
        loaded = now;
        loading = next;
        playing = plays;
        repaint();
    }
}

void SlotsView::paint(juce::Graphics& g) {
    const Palette& colours = PanelLook::Of(*this);
    for (int slot = 0; slot < count; ++slot) {
        const bool isLoaded = loaded[static_cast<std::size_t>(slot)];
        const juce::Rectangle<float> cell = CellOf(slot).toFloat();
        FillBox(g, cell, slot == playing ? colours.accent : colours.field, 3.0F);
        const Palette::Colour text = slot == playing ? colours.onAccent
                                     : isLoaded      ? colours.text
                                                     : colours.dimText;
        DrawText(g, juce::String(slot + 1), cell, Sizes::labelFont, text, juce::Justification::centred,
                 isLoaded);
        if (target == static_cast<std::uint32_t>(slot)) {
            g.setColour(ToJuce(colours.accent));
            g.drawRoundedRectangle(cell.reduced(0.75F), 3.0F, 1.5F);
        }
        const bool isLoading = loading[static_cast<std::size_t>(slot)];
        if ((isLoaded || isLoading) && slot != playing) {
            FillBox(g, cell.withTop(cell.getBottom() - 2.0F), isLoading ? colours.dimText : colours.accent,
                    1.0F);
        }
    }
}

std::optional<std::uint32_t> SlotsView::SlotAt(juce::Point<int> place) const {
    for (int slot = 0; slot < count; ++slot) {
        if (CellOf(slot).contains(place)) {
            return static_cast<std::uint32_t>(slot);
        }
    }
    return std::nullopt;
}

void SlotsView::mouseDown(const juce::MouseEvent& event) {
    if (const auto slot = SlotAt(event.getPosition())) {
        const int first = 12 * juce::roundToInt(octaveSteps * panel.instrument.Position(octave));
        pressedKey = first + static_cast<int>(*slot);
        panel.instrument.Play({0x90, static_cast<std::uint8_t>(pressedKey), SampleSlots::velocity});
    }
}

void SlotsView::mouseUp(const juce::MouseEvent& /*event*/) { Release(); }

void SlotsView::SetTarget(std::optional<std::uint32_t> slot) {
    if (slot != target) {
        target = slot;
        repaint();
    }
}

void SlotsView::fileDragMove(const juce::StringArray& files, int x, int y) {
    SetTarget(SlotAt({x, y}));
    TellOfDrop(panel, PathsOf(files), target);
}

void SlotsView::fileDragExit(const juce::StringArray& /*files*/) {
    SetTarget(std::nullopt);
    panel.Tell({});
}

void SlotsView::filesDropped(const juce::StringArray& files, int x, int y) {
    SetTarget(std::nullopt);
    DropSamples(panel, PathsOf(files), SlotAt({x, y}));
}

void SlotsView::Release() {
    if (pressedKey >= 0) {
        panel.instrument.Play({0x80, static_cast<std::uint8_t>(pressedKey), 0});
        pressedKey = -1;
    }
}

} // namespace orphia::panel
