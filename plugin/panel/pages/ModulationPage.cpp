// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/pages/ModulationPage.h"

#include "host/parameters/ModulationRoutes.h"
#include "plugin/panel/parts/RouteCell.h"

#include <cmath>
#include <initializer_list>
#include <numbers>

namespace orphia::panel {

namespace {

constexpr int headWidth = 132;
constexpr int namesHeight = 92;
constexpr int widestColumn = 64;

} // namespace

/// The name of a source, its switch, and what it gives at present.
class MatrixView::SourceHead final : public juce::Component, public Live {
public:
    SourceHead(PanelModel& ofPanel, unsigned ofSource) : panel(ofPanel), source(ofSource) {
        setName(std::string(Modulation::SourceLabel(source)));
        if (const auto gate = Modulation::SwitchOf(source)) {
            isOn = ParameterControl::Make(
                panel, Describe(*gate, Modulation::SourceLabel(source), ControlKind::Switch));
            addAndMakeVisible(*isOn);
        }
    }

    void Refresh() override {
        if (isOn != nullptr) {
            isOn->Refresh();
        }
        const float now = panel.modulation.SourceValue(source);
        if (std::fabs(now - value) > 0.01F) {
            value = now;
            repaint();
        }
    }

    void resized() override {
        if (isOn != nullptr) {
            isOn->setBounds(getLocalBounds().withTrimmedBottom(8));
        }
    }

    void paint(juce::Graphics& g) override {
        const Palette& colours = PanelLook::Of(*this);
        juce::Rectangle<float> area = getLocalBounds().toFloat();
        const juce::Rectangle<float> track =
            area.removeFromBottom(8.0F).reduced(4.0F, 2.5F).withTrimmedRight(8.0F);
        if (isOn == nullptr) {
            DrawText(g, getName(), area.withTrimmedLeft(35.0F), Sizes::labelFont, colours.text,
                     juce::Justification::centredLeft);
        }
        FillBox(g, track, colours.line, 1.5F);
        const float reach = (Modulation::IsTwoSided(source) ? 0.5F : 1.0F) * track.getWidth();
        const float middle = track.getRight() - reach;
        const float end = middle + reach * value;
        FillBox(g, track.withX(std::min(middle, end)).withWidth(std::fabs(end - middle)), colours.dimText,
                1.5F);
    }

private:
    PanelModel& panel;
    unsigned source;
    std::unique_ptr<ParameterControl> isOn;
    float value = 0.0F;
};

MatrixView::MatrixView(PanelModel& ofPanel)
    : SectionView("Modulation"), panel(ofPanel),
      add(
          "Add...", [this] { ShowMenu(); }, "Shows one more destination"),
      all(
          "All",
          [this] {
              showsAll = !showsAll;
              all.SetChosen(showsAll);
              Refresh();
          },
          "Shows all destinations, or only those that are moved") {
    addAndMakeVisible(add);
    addAndMakeVisible(all);
    for (unsigned source = 0; source < Modulation::sourceCount; ++source) {
        heads.push_back(std::make_unique<SourceHead>(panel, source));
        addAndMakeVisible(*heads.back());
    }
    Refresh();
}

MatrixView::~MatrixView() = default;

void MatrixView::ShowDestination(unsigned destination) {
    added.insert(destination);
    Refresh();
}

void MatrixView::Refresh() {
    SectionView::Refresh();
    // A column stays while one of its cells is in hand.
    const bool isInHand = hasKeyboardFocus(true) || isMouseButtonDown(true);
    if (Seen now{panel.modulation.Generation(), showsAll, added.size(), isInHand}; now != seen) {
        seen = now;
        ChooseColumns(isInHand);
    }
}

void MatrixView::ChooseColumns(bool keepsAll) {
    std::vector<bool> isUsed(Modulation::destinationCount, showsAll);
    for (const Modulation::Route& route : panel.modulation.UsedRoutes()) {
        isUsed[route.destination] = true;
    }
    for (const unsigned destination : added) {
        isUsed[destination] = true;
    }
    for (const unsigned destination : shown) {
        isUsed[destination] = isUsed[destination] || keepsAll;
    }
    std::vector<unsigned> next;
    std::vector<std::string> nextLabels;
    for (unsigned destination = 0; destination < isUsed.size(); ++destination) {
        if (isUsed[destination]) {
            next.push_back(destination);
            nextLabels.push_back(panel.modulation.DestinationLabel(destination));
        }
    }
    if (next != shown || nextLabels != labels) {
        shown = std::move(next);
        labels = std::move(nextLabels);
        MakeCells();
    }
}

void MatrixView::MakeCells() {
    cells.clear();
    for (const unsigned destination : shown) {
        for (unsigned source = 0; source < Modulation::sourceCount; ++source) {
            cells.push_back(MakeRouteCell(panel, source, destination));
            addAndMakeVisible(*cells.back());
        }
    }
    resized();
    repaint();
}

juce::Rectangle<int> MatrixView::Cells() const {
    return getLocalBounds()
        .withTrimmedTop(Grid::titleHeight + namesHeight)
        .withTrimmedLeft(headWidth)
        .withTrimmedRight(Grid::padding)
        .withTrimmedBottom(Grid::padding);
}

void MatrixView::resized() {
    juce::Rectangle<int> title = getLocalBounds().removeFromTop(Grid::titleHeight).reduced(Grid::padding, 2);
    all.setBounds(title.removeFromRight(44));
    title.removeFromRight(Grid::gap / 2);
    add.setBounds(title.removeFromRight(60));
    const juce::Rectangle<int> area = Cells();
    const int rowHeight = area.getHeight() / static_cast<int>(Modulation::sourceCount);
    for (int source = 0; source < static_cast<int>(heads.size()); ++source) {
        heads[static_cast<std::size_t>(source)]->setBounds(Grid::padding, area.getY() + source * rowHeight,
                                                           headWidth - Grid::padding, rowHeight - 4);
    }
    if (shown.empty()) {
        return;
    }
    const int columnWidth = std::min(widestColumn, area.getWidth() / static_cast<int>(shown.size()));
    for (std::size_t n = 0; n < cells.size(); ++n) {
        const auto column = static_cast<int>(n / Modulation::sourceCount);
        const auto row = static_cast<int>(n % Modulation::sourceCount);
        cells[n]->setBounds(area.getX() + column * columnWidth, area.getY() + row * rowHeight,
                            columnWidth - 2, rowHeight - 2);
    }
}

void MatrixView::paint(juce::Graphics& g) {
    SectionView::paint(g);
    const Palette& colours = PanelLook::Of(*this);
    const juce::Rectangle<int> area = Cells();
    if (shown.empty()) {
        DrawText(
            g, "Nothing is modulated. Add a destination, or choose \"Modulate by\" in the menu of a control.",
            area.toFloat(), Sizes::textFont, colours.dimText);
        return;
    }
    for (std::size_t n = 0; n < shown.size(); ++n) {
        const juce::Rectangle<int> cell = cells[n * Modulation::sourceCount]->getBounds();
        const juce::Graphics::ScopedSaveState saved(g);
        const auto x = static_cast<float>(cell.getCentreX());
        const auto y = static_cast<float>(area.getY() - 6);
        g.addTransform(juce::AffineTransform::rotation(-std::numbers::pi_v<float> / 2.0F).translated(x, y));
        DrawText(g, labels[n], {0.0F, -8.0F, static_cast<float>(namesHeight), 16.0F}, Sizes::labelFont,
                 colours.text, juce::Justification::centredLeft);
    }
}

void MatrixView::ShowMenu() {
    juce::PopupMenu menu;
    menu.setLookAndFeel(&getLookAndFeel());
    const juce::Component::SafePointer<MatrixView> self(this);
    for (unsigned destination = 0; destination < Modulation::destinationCount; ++destination) {
        const bool isShown = std::find(shown.begin(), shown.end(), destination) != shown.end();
        menu.addItem(panel.modulation.DestinationLabel(destination), !isShown, isShown,
                     [self, destination] { self->ShowDestination(destination); });
    }
    menu.showMenuAsync(juce::PopupMenu::Options()
                           .withTargetComponent(add)
                           .withDeletionCheck(*this)
                           .withMinimumNumColumns(2)
                           .withParentComponent(getTopLevelComponent()));
}

ModulationPage::ModulationPage(PanelModel& panel)
    : matrix(panel), lfo(panel, ModulationLayout::Lfo()), follower(panel, ModulationLayout::Follower()),
      controllers(panel, ModulationLayout::Controllers()) {
    for (juce::Component* const part :
         std::initializer_list<juce::Component*>{&matrix, &lfo, &follower, &controllers}) {
        addAndMakeVisible(part);
    }
    matrix.setBounds(ToJuce(ModulationLayout::matrix));
}

} // namespace orphia::panel
