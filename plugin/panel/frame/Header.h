// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/Button.h"
#include "plugin/panel/controls/Live.h"
#include "plugin/panel/model/PanelModel.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace orphia::panel {

/// The line at the top: which preset plays and whether it was changed, undo, the tabs of the pages, scale and
/// brightness.
class Header final : public juce::Component, public Live {
public:
    /// What the header asks of the panel.
    struct Actions {
        std::function<void(std::size_t page)> showPage;
        std::function<void(float scale)> setScale;
        std::function<void(bool isBright)> setBright;
    };

    Header(PanelModel& panel, Actions actions);

    void ShowChosen(std::size_t page);
    void Refresh() override;
    void paint(juce::Graphics& g) override;
    void resized() override;

private:
    void StepProgram(int step);
    void ShowPrograms();
    void ShowLookMenu();

    PanelModel& panel;
    Actions actions;
    Button previous;
    Button program;
    Button next;
    Button undo;
    Button redo;
    Button look;
    std::vector<std::unique_ptr<Button>> tabs;
    struct Shown {
        plugin::PluginInstrument::SharedProgramList programs;
        std::optional<std::uint32_t> program;
        std::uint64_t changes = 0;
        bool isModified = false;
        bool isReading = false;

        bool operator==(const Shown&) const = default;
    };
    Shown shown;
};

} // namespace orphia::panel
