// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/Button.h"
#include "plugin/panel/controls/TextField.h"
#include "plugin/panel/pages/Page.h"
#include "plugin/panel/parts/SectionView.h"

#include <memory>
#include <vector>

namespace orphia::panel {

/// The browser of presets: search, tags, favourites, description; save, compare, import and export.
class PresetsPage final : public Page, private juce::ListBoxModel {
public:
    explicit PresetsPage(PanelModel& panel);
    ~PresetsPage() override;

    void Search(const juce::String& text);
    void Refresh() override;
    void resized() override;
    void paintOverChildren(juce::Graphics& g) override;

private:
    int getNumRows() override { return static_cast<int>(found.size()); }
    void paintListBoxItem(int row, juce::Graphics& g, int width, int height, bool isSelected) override;
    void listBoxItemClicked(int row, const juce::MouseEvent& event) override;
    void returnKeyPressed(int row) override { Load(row); }
    juce::String getNameForRow(int row) override;

    void Update();
    void Load(int row);
    void Choose(Presets::Show next);
    void ShowTags();
    void ToggleFavourite(std::uint32_t program);
    void SaveAs();
    void ChooseFile(bool isImport);
    /// What a line tells under the fields, as why nothing was saved.

    PanelModel& panel;
    SectionView browser;
    SectionView details;
    TextField search{"Search", "Search by name, description or tag"};
    Button all;
    Button favourites;
    Button own;
    Button byTag;
    juce::ListBox list;
    TextField name{"Name of the preset", "Name"};
    Button save;
    Button compare;
    Button import;
    Button exporting;
    Button favourite;
    std::unique_ptr<juce::FileChooser> chooser;
    Presets::Show show = Presets::Show::All;
    /// What the list shows now.
    plugin::PluginInstrument::SharedProgramList programs;
    std::vector<std::uint32_t> found;
    std::optional<std::uint32_t> current;
};

} // namespace orphia::panel
