// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/frame/Header.h"

#include "plugin/panel/pages/Page.h"

#include <array>

namespace orphia::panel {

namespace {

constexpr std::array<float, 6> scales = {0.75F, 1.0F, 1.25F, 1.5F, 1.75F, 2.0F};
constexpr int nameWidth = 116;

} // namespace

Header::Header(PanelModel& ofPanel, Actions wanted)
    : panel(ofPanel), actions(std::move(wanted)), previous(
                                                      "<", [this] { StepProgram(-1); }, "Previous preset"),
      program(
          "", [this] { ShowPrograms(); }, "Choose a preset"),
      next(
          ">", [this] { StepProgram(1); }, "Next preset"),
      undo(
          "Undo", [this] { panel.Undo(); }, "Undo"),
      redo(
          "Redo", [this] { panel.history.Redo(); }, "Redo"),
      look(
          "View", [this] { ShowLookMenu(); }, "Scale and brightness") {
    for (Button* const button : {&previous, &program, &next, &undo, &redo, &look}) {
        button->SetFlat();
        addAndMakeVisible(button);
    }
    for (std::size_t n = 0; n < PageList().size(); ++n) {
        tabs.push_back(std::make_unique<Button>(PageList()[n].title, [this, n] { actions.showPage(n); }));
        tabs.back()->SetFlat();
        addAndMakeVisible(*tabs.back());
    }
    Refresh();
}

void Header::ShowChosen(std::size_t page) {
    for (std::size_t n = 0; n < tabs.size(); ++n) {
        tabs[n]->SetChosen(n == page);
    }
}

void Header::Refresh() {
    const Shown now{panel.programs, panel.program, panel.history.Changes(), panel.history.IsModified(),
                    !panel.instrument.OrderedSamples().empty()};
    if (now == shown) {
        return;
    }
    shown = now;
    const juce::String name = now.program ? juce::String((*now.programs)[*now.program].name) : "Own sound";
    program.setButtonText(name + (now.isModified ? " *" : ""));
    undo.setEnabled(panel.history.CanUndo() || now.isReading);
    redo.setEnabled(panel.history.CanRedo());
    undo.setTooltip("Undo " + juce::String(panel.history.UndoName()));
    redo.setTooltip("Redo " + juce::String(panel.history.RedoName()));
}

void Header::StepProgram(int step) {
    panel.LookAtPrograms();
    const auto count = static_cast<int>(panel.programs->size());
    const int current = static_cast<int>(panel.program.value_or(0));
    panel.LoadProgram(static_cast<std::uint32_t>((current + step + count) % count));
    Refresh();
}

void Header::ShowPrograms() {
    juce::PopupMenu menu;
    menu.setLookAndFeel(&getLookAndFeel());
    const auto& programs = *panel.programs;
    const juce::Component::SafePointer<Header> self(this);
    for (std::uint32_t n = 0; n < programs.size(); ++n) {
        if (n > 0 && !programs[n].isFactory && programs[n - 1].isFactory) {
            menu.addSeparator();
        }
        menu.addItem(programs[n].name, true, panel.program == n, [self, n] { self->panel.LoadProgram(n); });
    }
    menu.showMenuAsync(juce::PopupMenu::Options()
                           .withTargetComponent(program)
                           .withDeletionCheck(*this)
                           .withMinimumNumColumns(2)
                           .withParentComponent(getTopLevelComponent()));
}

void Header::ShowLookMenu() {
    juce::PopupMenu menu;
    menu.setLookAndFeel(&getLookAndFeel());
    const juce::Component::SafePointer<Header> self(this);
    for (const float scale : scales) {
        menu.addItem(juce::String(juce::roundToInt(scale * 100.0F)) + " %", true,
                     scale == panel.settings.scale, [self, scale] { self->actions.setScale(scale); });
    }
    menu.addSeparator();
    menu.addItem("Bright", true, panel.settings.isBright,
                 [self] { self->actions.setBright(!self->panel.settings.isBright); });
    menu.showMenuAsync(
        juce::PopupMenu::Options().withTargetComponent(look).withDeletionCheck(*this).withParentComponent(
            getTopLevelComponent()));
}

void Header::paint(juce::Graphics& g) {
    const Palette& colours = PanelLook::Of(*this);
    g.fillAll(ToJuce(colours.section));
    DrawText(g, "ORPHIA VX", getLocalBounds().removeFromLeft(nameWidth).withTrimmedLeft(14).toFloat(),
             Sizes::headerFont, colours.accent, juce::Justification::centredLeft, true);
    FillBox(g, program.getBounds().toFloat(), colours.field);
}

void Header::resized() {
    juce::Rectangle<int> area = getLocalBounds().reduced(12, 8);
    area.removeFromLeft(nameWidth - 8);
    previous.setBounds(area.removeFromLeft(26));
    program.setBounds(area.removeFromLeft(220));
    next.setBounds(area.removeFromLeft(26));
    area.removeFromLeft(12);
    undo.setBounds(area.removeFromLeft(48));
    redo.setBounds(area.removeFromLeft(48));
    look.setBounds(area.removeFromRight(48));
    area.removeFromRight(12);
    const int width = std::min(96, area.getWidth() / std::max(1, static_cast<int>(tabs.size())));
    area = area.removeFromRight(width * static_cast<int>(tabs.size()));
    for (const auto& tab : tabs) {
        tab->setBounds(area.removeFromLeft(width));
    }
}

} // namespace orphia::panel
