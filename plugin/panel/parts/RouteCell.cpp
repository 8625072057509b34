// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/parts/RouteCell.h"

#include "host/parameters/ModulationRoutes.h"

#include <cmath>

namespace orphia::panel {

namespace {

ControlModel ModelOf(const Modulation& modulation, unsigned source, unsigned destination) {
    ControlModel model = Describe(host::ModulationRoutes::AmountId(source, destination),
                                  std::string(Modulation::SourceLabel(source)) + " to " +
                                      modulation.DestinationLabel(destination));
    model.isBipolar = true;
    return model;
}

class RouteCell final : public ParameterControl {
public:
    RouteCell(PanelModel& ofPanel, unsigned source, unsigned destination)
        : ParameterControl(ofPanel, ModelOf(ofPanel.modulation, source, destination)) {}

    void paint(juce::Graphics& g) override {
        const Palette& colours = Colours();
        const juce::Rectangle<float> box = Bounds().reduced(1.0F);
        FillBox(g, box, colours.field, 3.0F);
        const float amount = 2.0F * Position() - 1.0F;
        const float y = box.getCentreY();
        const float end = y - amount * (box.getHeight() / 2.0F - 2.0F);
        if (std::fabs(amount) > 1e-3F) {
            FillBox(g, box.withTop(std::min(y, end)).withBottom(std::max(y, end)).reduced(2.0F, 0.0F),
                    colours.accent, 2.0F);
        }
        g.setColour(ToJuce(colours.line));
        g.fillRect(box.withTop(y - 0.5F).withHeight(1.0F));
        DrawFocus(g, *this, Bounds());
        if (std::fabs(amount) > 1e-3F) {
            const float at = amount > 0.0F ? box.getBottom() - 15.0F : box.getY() + 1.0F;
            DrawText(g, juce::String(100.0F * amount, std::fabs(amount) < 0.0995F ? 1 : 0),
                     box.withY(at).withHeight(14.0F), Sizes::labelFont, colours.text);
        }
    }

protected:
    void Clicked(const juce::MouseEvent& /*event*/) override {}
    float DragLength() const override { return 120.0F; }
};

} // namespace

std::unique_ptr<ParameterControl> MakeRouteCell(PanelModel& panel, unsigned source, unsigned destination) {
    return std::make_unique<RouteCell>(panel, source, destination);
}

} // namespace orphia::panel
