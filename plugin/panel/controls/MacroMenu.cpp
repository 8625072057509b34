// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/controls/MacroMenu.h"

#include "plugin/panel/look/PanelLook.h"
#include "plugin/panel/model/ControlModel.h"

#include <functional>
#include <memory>

namespace orphia::panel {

namespace {

/// A field in a box of its own; return takes what is in it.
class NameBox final : public juce::Component {
public:
    NameBox(const juce::String& name, std::function<void(const juce::String&)> take) {
        setSize(180, 40);
        field.setTitle("Name of the macro");
        field.setFont(PanelLook::Font(Sizes::textFont));
        field.setText(name, false);
        field.onReturnKey = [this, take = std::move(take)] {
            take(field.getText());
            if (auto* const box = findParentComponentOfClass<juce::CallOutBox>()) {
                box->dismiss();
            }
        };
        addAndMakeVisible(field);
    }

    void resized() override { field.setBounds(getLocalBounds().reduced(6, 8)); }
    void parentHierarchyChanged() override {
        if (isShowing()) {
            field.grabKeyboardFocus();
            field.selectAll();
        }
    }

private:
    juce::TextEditor field;
};

void Rename(PanelModel& panel, unsigned number, juce::Component& beside) {
    juce::Component* const top = beside.getTopLevelComponent();
    const auto take = [&panel, number](const juce::String& name) {
        plugin::Macro macro = panel.instrument.MacroOf(number);
        macro.name = name.trim().toStdString();
        panel.history.SetMacro(number, macro);
    };
    juce::CallOutBox::launchAsynchronously(
        std::make_unique<NameBox>(juce::String(panel.instrument.MacroOf(number).name), take),
        top->getLocalArea(&beside, beside.getLocalBounds()), top);
}

enum class Change { Start, End, Removal };

void ChangeTarget(PanelModel& panel, unsigned number, std::uint32_t id, Change change) {
    plugin::Macro macro = panel.instrument.MacroOf(number);
    for (plugin::MacroTarget& target : macro.targets) {
        if (target.id == id && change != Change::Removal) {
            (change == Change::Start ? target.from : target.to) = panel.instrument.Position(id);
        }
    }
    if (change == Change::Removal) {
        std::erase_if(macro.targets, [id](const plugin::MacroTarget& target) { return target.id == id; });
    }
    panel.history.SetMacro(number, macro);
}

} // namespace

void AddMacroItems(juce::PopupMenu& menu, PanelModel& panel, unsigned number, juce::Component& beside) {
    const juce::Component::SafePointer<juce::Component> near(&beside);
    menu.addItem("Name...", [&panel, number, near] { Rename(panel, number, *near); });
    for (const plugin::MacroTarget& target : panel.instrument.MacroOf(number).targets) {
        const auto item = [&](Change change) {
            return [&panel, number, change, id = target.id] { ChangeTarget(panel, number, id, change); };
        };
        const juce::String now(ValueText(target.id, panel.instrument.Position(target.id)));
        juce::PopupMenu sub;
        sub.addItem("Begins at " + now, item(Change::Start));
        sub.addItem("Ends at " + now, item(Change::End));
        sub.addItem("Does not move it", item(Change::Removal));
        menu.addSubMenu(juce::String(LabelOf(target.id)) + ": " + ValueText(target.id, target.from) + " to " +
                            ValueText(target.id, target.to),
                        sub);
    }
}

} // namespace orphia::panel
