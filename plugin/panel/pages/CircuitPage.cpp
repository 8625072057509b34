// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/pages/CircuitPage.h"

#include "plugin/panel/model/Search.h"

#include <memory>

namespace orphia::panel {

namespace {

constexpr int rowOfThree = 30;
constexpr int rightOfValues = 18;

} // namespace

/// Some controls side by side.
class CircuitPage::Line final : public juce::Component, public Live {
public:
    explicit Line(PanelModel& ofPanel) : panel(ofPanel) {}

    void Show(std::vector<std::uint32_t> next) {
        if (next == ids) {
            return;
        }
        ids = std::move(next);
        controls.clear();
        for (const std::uint32_t id : ids) {
            ControlModel model = Describe(id);
            const bool isKnob = model.kind == ControlKind::Knob || model.kind == ControlKind::Stepper;
            model.kind = isKnob ? ControlKind::Slider : model.kind;
            model.label = PathLabelOf(id);
            controls.push_back(ParameterControl::Make(panel, std::move(model)));
            addAndMakeVisible(*controls.back());
        }
        resized();
    }

    void Refresh() override {
        for (const auto& control : controls) {
            control->Refresh();
        }
    }

    void resized() override {
        const int width = getWidth() / columns;
        for (int n = 0; n < static_cast<int>(controls.size()); ++n) {
            controls[static_cast<std::size_t>(n)]->setBounds(n * width + 4, 1, width - 16, getHeight() - 2);
        }
    }

private:
    PanelModel& panel;
    std::vector<std::uint32_t> ids;
    std::vector<std::unique_ptr<ParameterControl>> controls;
};

CircuitPage::CircuitPage(PanelModel& ofPanel)
    : panel(ofPanel), frame("All controls"), trims(
                                                 "Trims",
                                                 [this] {
                                                     withTrims = !withTrims;
                                                     trims.SetChosen(withTrims);
                                                     Search(search.getText());
                                                 },
                                                 "Lists the constants of the modelled circuit too") {
    addAndMakeVisible(frame);
    addAndMakeVisible(search);
    addAndMakeVisible(trims);
    addAndMakeVisible(count);
    addAndMakeVisible(list);
    search.onTextChange = [this] { Search(search.getText()); };
    list.setModel(this);
    list.setRowHeight(rowOfThree);
    list.setTitle("Controls");
    list.setWantsKeyboardFocus(false);
    count.setJustificationType(juce::Justification::centredRight);
    count.setFont(PanelLook::Font(Sizes::labelFont));
    Search({});
}

CircuitPage::~CircuitPage() { list.setModel(nullptr); }

void CircuitPage::Search(const juce::String& text) {
    found = FindParameters(text.toStdString(), withTrims);
    count.setText(juce::String(found.size()) + " controls", juce::dontSendNotification);
    list.updateContent();
    list.repaint();
}

void CircuitPage::Refresh() {
    for (int row = 0; row < getNumRows(); ++row) {
        if (auto* const line = dynamic_cast<Line*>(list.getComponentForRowNumber(row))) {
            line->Refresh();
        }
    }
}

int CircuitPage::getNumRows() { return (static_cast<int>(found.size()) + columns - 1) / columns; }

void CircuitPage::paintListBoxItem(int, juce::Graphics&, int, int, bool) {}

juce::Component* CircuitPage::refreshComponentForRow(int row, bool /*isSelected*/,
                                                     juce::Component* existing) {
    std::unique_ptr<juce::Component> old(existing);
    if (row >= getNumRows()) {
        return nullptr;
    }
    auto* line = dynamic_cast<Line*>(existing);
    std::unique_ptr<Line> made;
    if (line == nullptr) {
        made = std::make_unique<Line>(panel);
        line = made.get();
    }
    const auto first = static_cast<std::size_t>(row) * columns;
    const std::size_t last = std::min(found.size(), first + columns);
    line->Show({found.begin() + static_cast<std::ptrdiff_t>(first),
                found.begin() + static_cast<std::ptrdiff_t>(last)});
    if (made != nullptr) {
        return made.release();
    }
    return old.release();
}

void CircuitPage::resized() {
    frame.setBounds(getLocalBounds());
    juce::Rectangle<int> area = getLocalBounds().reduced(Grid::padding, 0);
    juce::Rectangle<int> top = area.removeFromTop(Grid::titleHeight + 8);
    top.removeFromLeft(130);
    search.setBounds(top.removeFromLeft(320).withTrimmedTop(1).withHeight(Grid::buttonHeight));
    top.removeFromLeft(12);
    trims.setBounds(top.removeFromLeft(60).withTrimmedTop(1).withHeight(Grid::buttonHeight));
    top.removeFromRight(rightOfValues);
    count.setBounds(top.removeFromRight(110).withTrimmedTop(1).withHeight(Grid::buttonHeight));
    area.removeFromBottom(Grid::padding);
    list.setBounds(area);
}

} // namespace orphia::panel
