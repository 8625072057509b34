// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/controls/Button.h"
#include "plugin/panel/pages/Page.h"
#include "plugin/panel/parts/SectionView.h"

#include <array>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace orphia::panel {

/// The matrix: sources as rows, destinations as columns. Only destinations that are moved are shown, and
/// those that were added, or all of them. Each cell is a control of how far.
class MatrixView final : public SectionView {
public:
    explicit MatrixView(PanelModel& panel);
    ~MatrixView() override;

    void Refresh() override;
    void paint(juce::Graphics& g) override;
    void resized() override;

    void ShowDestination(unsigned destination);

private:
    class SourceHead;

    /// What decides which columns there are.
    struct Seen {
        unsigned generation = 0;
        bool showsAll = false;
        std::size_t added = 0;
        bool isInHand = false;

        bool operator==(const Seen&) const = default;
    };

    void ChooseColumns(bool keepsAll);
    void MakeCells();
    void ShowMenu();
    juce::Rectangle<int> Cells() const;

    PanelModel& panel;
    Button add;
    Button all;
    bool showsAll = false;
    /// Shown though nothing moves them.
    std::set<unsigned> added;
    std::optional<Seen> seen;
    std::vector<unsigned> shown;
    std::vector<std::string> labels;
    std::vector<std::unique_ptr<SourceHead>> heads;
    /// Column after column.
    std::vector<std::unique_ptr<ParameterControl>> cells;
};

/// The matrix, and beside it the sources that have controls.
class ModulationPage final : public Page {
public:
    explicit ModulationPage(PanelModel& panel);

private:
    MatrixView matrix;
    SectionView lfo;
    SectionView follower;
    SectionView controllers;
};

} // namespace orphia::panel
