// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/parts/BandBars.h"

#include <algorithm>
#include <cmath>

namespace orphia::panel {

namespace {

class BandColumn final : public ParameterControl {
public:
    BandColumn(PanelModel& ofPanel, unsigned ofBand)
        : ParameterControl(ofPanel, Describe(PatchBay::GainId(ofBand), "Band " + std::to_string(ofBand + 1))),
          band(ofBand) {}

    void Refresh() override {
        ParameterControl::Refresh();
        const float nextLevel =
            std::round(BandPicture::Height(panel.bands.Analysis()[band]) * Bar().getHeight());
        const float nextPeak = std::round(panel.bands.Peaks()[band] * Bar().getHeight());
        if (nextLevel != level || nextPeak != peak) {
            const juce::Rectangle<float> bar = Bar();
            const float highest = std::max({level, peak, nextLevel, nextPeak});
            const float lowest = std::min({level, peak, nextLevel, nextPeak});
            level = nextLevel;
            peak = nextPeak;
            repaint(bar.withTop(bar.getBottom() - highest)
                        .withBottom(bar.getBottom() - lowest)
                        .expanded(0.0F, 4.0F)
                        .getSmallestIntegerContainer());
        }
    }

    void paint(juce::Graphics& g) override {
        const Palette& colours = Colours();
        const juce::Rectangle<float> bar = Bar();
        DrawFocus(g, *this, Bounds());
        FillBox(g, bar, colours.field, 3.0F);
        FillBox(g, bar.withTop(bar.getBottom() - level), colours.dimText, 3.0F);
        if (peak > 1.0F) {
            g.setColour(ToJuce(colours.text));
            g.fillRect(bar.withTop(bar.getBottom() - peak).withHeight(1.5F));
        }
        const float y = bar.getBottom() - Position() * bar.getHeight();
        FillBox(g, juce::Rectangle<float>(bar.getX() - 4.0F, y - 1.5F, bar.getWidth() + 8.0F, 3.0F),
                colours.accent, 1.5F);
        const bool isWatched = isMouseOverOrDragging() || hasKeyboardFocus(true);
        DrawText(g, isWatched ? Value() : juce::String(band + 1), Bounds().removeFromTop(15.0F),
                 Sizes::labelFont, isWatched ? colours.text : colours.dimText);
    }

    void mouseEnter(const juce::MouseEvent& /*event*/) override { repaint(); }
    void mouseExit(const juce::MouseEvent& /*event*/) override { repaint(); }

protected:
    juce::Rectangle<int> ValueArea() const override { return getLocalBounds().removeFromTop(16); }
    juce::Rectangle<int> LabelArea() const override { return {}; }
    float DragLength() const override { return Bar().getHeight(); }

private:
    juce::Rectangle<float> Bar() const { return Bounds().withTrimmedTop(16.0F).reduced(6.0F, 0.0F); }

    unsigned band;
    float level = 0.0F;
    float peak = 0.0F;
};

} // namespace

std::unique_ptr<ParameterControl> MakeBandColumn(PanelModel& panel, unsigned band) {
    return std::make_unique<BandColumn>(panel, band);
}

} // namespace orphia::panel
