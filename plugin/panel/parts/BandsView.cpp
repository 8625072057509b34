// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/parts/BandsView.h"

#include "plugin/panel/model/layout/Layout.h"
#include "plugin/panel/parts/BandBars.h"

#include <array>
#include <cmath>

namespace orphia::panel {

namespace {

constexpr int barsHeight = 104;
constexpr int lightsWidth = 300;
constexpr float lightTolerance = 0.02F;

} // namespace

/// Names with a lamp that is as bright as the reading.
class BandsView::Lights final : public juce::Component, public Live, public juce::SettableTooltipClient {
public:
    explicit Lights(PanelModel& ofPanel) : panel(ofPanel) {
        setTitle("Voiced and unvoiced");
        setTooltip(
            "What the circuit decides: voiced sounds take the carrier, unvoiced ones noise. The other two "
            "light when a preamplifier is overloaded.");
    }

    void Refresh() override {
        const host::MeterReading& now = panel.lights;
        const std::array<float, count> next = {now.buzz, now.hiss, now.programOverload, now.carrierOverload};
        for (std::size_t n = 0; n < count; ++n) {
            // A lamp goes out slowly, so that the eye catches short ones.
            const float level = std::max(next[n], levels[n] * 0.8F);
            if (std::fabs(level - levels[n]) > lightTolerance ||
                (level < lightTolerance) != (levels[n] < lightTolerance)) {
                repaint();
            }
            levels[n] = level;
        }
    }

    void paint(juce::Graphics& g) override {
        const Palette& colours = PanelLook::Of(*this);
        juce::Rectangle<float> area = getLocalBounds().toFloat();
        const float width = area.getWidth() / count;
        for (std::size_t n = 0; n < count; ++n) {
            juce::Rectangle<float> cell = area.removeFromLeft(width);
            const juce::Rectangle<float> lamp = cell.removeFromLeft(12.0F).withSizeKeepingCentre(9.0F, 9.0F);
            g.setColour(ToJuce(colours.line));
            g.fillEllipse(lamp);
            g.setColour(
                ToJuce(n < 2 ? colours.accent : colours.warning).withAlpha(std::min(1.0F, levels[n])));
            g.fillEllipse(lamp);
            DrawText(g, names[n], cell.withTrimmedLeft(4.0F), Sizes::labelFont, colours.dimText,
                     juce::Justification::centredLeft);
        }
    }

private:
    static constexpr std::size_t count = 4;
    static constexpr std::array<const char*, count> names = {"voiced", "unvoiced", "voice over",
                                                             "carrier over"};

    PanelModel& panel;
    std::array<float, count> levels{};
};

class BandsView::Synthesis final : public juce::Component, public Live {
public:
    explicit Synthesis(PanelModel& ofPanel) : panel(ofPanel) {
        setTitle("Synthesis bands");
        setInterceptsMouseClicks(false, false);
    }

    void Refresh() override {
        for (unsigned band = 0; band < BandPicture::bandCount; ++band) {
            const juce::Rectangle<float> bar = Bar(band);
            const float before = heights[band];
            heights[band] = std::round(BandPicture::Height(panel.bands.Synthesis()[band]) * bar.getHeight());
            if (heights[band] != before) {
                repaint(bar.withTop(bar.getBottom() - std::max(before, heights[band]))
                            .withBottom(bar.getBottom() - std::min(before, heights[band]))
                            .expanded(0.0F, 4.0F)
                            .getSmallestIntegerContainer());
            }
        }
        if (wasHeld != panel.bands.IsHeld()) {
            wasHeld = panel.bands.IsHeld();
            repaint();
        }
    }

    void paint(juce::Graphics& g) override {
        const Palette& colours = PanelLook::Of(*this);
        for (unsigned band = 0; band < BandPicture::bandCount; ++band) {
            const juce::Rectangle<float> column = ColumnOf(getLocalBounds().toFloat(), band);
            const juce::Rectangle<float> bar = Bar(band);
            FillBox(g, bar, colours.field, 3.0F);
            FillBox(g, bar.withTop(bar.getBottom() - heights[band]), wasHeld ? colours.text : colours.accent,
                    3.0F);
            DrawText(g, juce::String(band + 1), column.withTop(column.getBottom() - 15.0F), Sizes::labelFont,
                     colours.dimText);
        }
    }

private:
    juce::Rectangle<float> Bar(unsigned band) const {
        return ColumnOf(getLocalBounds().toFloat(), band).withTrimmedBottom(16.0F).reduced(6.0F, 0.0F);
    }

    PanelModel& panel;
    std::array<float, BandPicture::bandCount> heights{};
    bool wasHeld = false;
};

BandsView::BandsView(PanelModel& panel)
    : cables(panel), synthesis(std::make_unique<Synthesis>(panel)), lights(std::make_unique<Lights>(panel)),
      straight(
          "Straight", [&panel] { panel.patchBay.Straighten(); },
          "A cable from each band to the one of its number"),
      clear(
          "Clear", [&panel] { panel.patchBay.Clear(); }, "Takes all cables out") {
    setTitle("Bands");
    setFocusContainerType(FocusContainerType::focusContainer);
    for (unsigned band = 0; band < BandPicture::bandCount; ++band) {
        columns.push_back(MakeBandColumn(panel, band));
        addAndMakeVisible(*columns.back());
    }
    addAndMakeVisible(cables);
    addAndMakeVisible(*synthesis);
    addAndMakeVisible(*lights);
    addAndMakeVisible(straight);
    addAndMakeVisible(clear);
}

BandsView::~BandsView() = default;

void BandsView::Refresh() {
    for (const auto& column : columns) {
        column->Refresh();
    }
    cables.Refresh();
    synthesis->Refresh();
    lights->Refresh();
}

void BandsView::paint(juce::Graphics& g) {
    const Palette& colours = PanelLook::Of(*this);
    FillBox(g, getLocalBounds().toFloat(), colours.section, Sizes::corner);
    DrawText(g, "BANDS",
             getLocalBounds().removeFromTop(Grid::titleHeight).reduced(Grid::padding + 2, 0).toFloat(),
             Sizes::titleFont, colours.dimText, juce::Justification::centredLeft, true);
}

void BandsView::resized() {
    juce::Rectangle<int> area = getLocalBounds();
    juce::Rectangle<int> title = area.removeFromTop(Grid::titleHeight).reduced(Grid::padding, 2);
    clear.setBounds(title.removeFromRight(56));
    title.removeFromRight(Grid::gap / 2);
    straight.setBounds(title.removeFromRight(68));
    title.removeFromLeft(84);
    lights->setBounds(title.removeFromLeft(lightsWidth));
    area.reduce(Grid::padding, 0);
    area.removeFromBottom(Grid::padding);
    const juce::Rectangle<int> top = area.removeFromTop(barsHeight + 16);
    for (unsigned band = 0; band < columns.size(); ++band) {
        columns[band]->setBounds(ColumnOf(top.toFloat(), band).toNearestInt());
    }
    synthesis->setBounds(area.removeFromBottom(barsHeight + 16));
    cables.setBounds(area);
}

} // namespace orphia::panel
