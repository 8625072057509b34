// SPDX-License-Identifier: GPL-3.0-or-later
// The menu of a control.
#include "host/parameters/ModulationRoutes.h"
#include "plugin/panel/controls/MacroMenu.h"
#include "plugin/panel/controls/ModulationBox.h"
#include "plugin/panel/controls/ParameterControl.h"

#include <algorithm>

namespace orphia::panel {

using plugin::Macro;
using plugin::PluginParameters;

void ParameterControl::ShowMenu() {
    juce::PopupMenu menu;
    FillMenu(menu);
    menu.showMenuAsync(
        juce::PopupMenu::Options().withTargetComponent(this).withDeletionCheck(*this).withParentComponent(
            getTopLevelComponent()));
}

void ParameterControl::FillMenu(juce::PopupMenu& menu) {
    const juce::Component::SafePointer<ParameterControl> self(this);
    menu.setLookAndFeel(&getLookAndFeel());
    menu.addSectionHeader(juce::String(model.label) + ": " + Value());
    menu.addItem("Type a value", [self] { self->StartTyping(); });
    menu.addItem("Set to " + juce::String(ValueText(model.id, model.start)),
                 [self] { self->ResetToStart(); });
    menu.addSeparator();
    const std::uint32_t macro = model.id - PluginParameters::firstMacro;
    if (macro < PluginParameters::macroCount) {
        AddMacroItems(menu, panel, macro, *this);
    }
    if (model.id < PluginParameters::Get().EngineCount()) {
        menu.addSubMenu("Assign to macro", MacroMenu());
    }
    if (const auto destination = panel.modulation.DestinationOf(model.id)) {
        menu.addSubMenu("Modulate by", ModulationMenu(*destination));
        menu.addItem("What modulates it...",
                     [self, destination] { ModulationBox::Show(self->panel, *self, *destination); });
    }
    menu.addSeparator();
    AddLearnItems(menu);
}

void ParameterControl::AddLearnItems(juce::PopupMenu& menu) {
    const juce::Component::SafePointer<ParameterControl> self(this);
    const plugin::MidiLearn& controllers = panel.instrument.Controllers();
    if (controllers.WaitsFor() == model.id) {
        menu.addItem("Wait for no controller",
                     [self] { self->panel.instrument.Controllers().StopWaiting(); });
    } else {
        menu.addItem("MIDI learn: move a controller",
                     [self] { self->panel.instrument.Controllers().Wait(self->model.id); });
    }
    if (const auto controller = controllers.ControllerOf(model.id)) {
        menu.addItem("Forget controller " + juce::String(*controller),
                     [self, controller] { self->panel.instrument.Controllers().Forget(*controller); });
    }
}

juce::PopupMenu ParameterControl::MacroMenu() {
    const juce::Component::SafePointer<ParameterControl> self(this);
    juce::PopupMenu menu;
    for (unsigned n = 0; n < PluginParameters::macroCount; ++n) {
        const Macro macro = panel.instrument.MacroOf(n);
        const bool isAssigned = std::ranges::any_of(
            macro.targets, [this](const plugin::MacroTarget& target) { return target.id == model.id; });
        const juce::String name =
            macro.name.empty() ? "Macro " + juce::String(n + 1) : juce::String(macro.name);
        menu.addItem(name, isAssigned || macro.targets.size() < Macro::mostTargets, isAssigned,
                     [self, n, isAssigned] { self->AssignMacro(n, !isAssigned); });
    }
    return menu;
}

/// From where the control is to its end: what was heard before the macro is turned stays.
void ParameterControl::AssignMacro(unsigned number, bool isAssigned) {
    Macro macro = panel.instrument.MacroOf(number);
    if (isAssigned) {
        if (macro.targets.empty() && macro.name.empty()) {
            macro.name = model.label;
        }
        const Gesture gesture(panel.history, "Assign macro");
        if (macro.targets.empty()) {
            panel.history.Set(PluginParameters::firstMacro + number, 0.0F);
        }
        macro.targets.push_back({model.id, position, 1.0F});
        panel.history.SetMacro(number, macro);
        return;
    }
    std::erase_if(macro.targets, [this](const plugin::MacroTarget& target) { return target.id == model.id; });
    panel.history.SetMacro(number, macro);
}

juce::PopupMenu ParameterControl::ModulationMenu(unsigned destination) {
    const juce::Component::SafePointer<ParameterControl> self(this);
    juce::PopupMenu menu;
    for (unsigned source = 0; source < Modulation::sourceCount; ++source) {
        const bool isUsed = panel.modulation.Amount(source, destination) != 0.0F;
        menu.addItem(std::string(Modulation::SourceLabel(source)), true, isUsed, [self, source, destination] {
            ModulationBox::Connect(self->panel, source, destination);
            ModulationBox::Show(self->panel, *self, destination);
        });
    }
    return menu;
}

} // namespace orphia::panel
