// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/controls/ModulationBox.h"

#include "host/parameters/ModulationRoutes.h"

#include <cmath>

namespace orphia::panel {

namespace {

constexpr int amountHeight = 26;
constexpr int titleHeight = 26;
constexpr int boxWidth = 250;
constexpr float firstAmount = 0.25F;

} // namespace

ModulationBox::ModulationBox(PanelModel& panel, unsigned destination)
    : title("What moves " + panel.modulation.DestinationLabel(destination)) {
    for (unsigned source = 0; source < Modulation::sourceCount; ++source) {
        ControlModel model = Describe(host::ModulationRoutes::AmountId(source, destination),
                                      Modulation::SourceLabel(source), ControlKind::Slider);
        model.isBipolar = true;
        amounts.push_back(ParameterControl::Make(panel, std::move(model)));
        addAndMakeVisible(*amounts.back());
    }
    setSize(boxWidth, titleHeight + amountHeight * static_cast<int>(amounts.size()) + 8);
    startTimerHz(10);
}

void ModulationBox::Connect(PanelModel& panel, unsigned source, unsigned destination) {
    const Gesture gesture(panel.history, "Modulate " + panel.modulation.DestinationLabel(destination));
    if (std::fabs(panel.modulation.Amount(source, destination)) < 1e-4F) {
        panel.history.Set(host::ModulationRoutes::AmountId(source, destination), 0.5F + 0.5F * firstAmount);
    }
    if (const auto gate = Modulation::SwitchOf(source)) {
        panel.history.Set(*gate, 1.0F);
    }
}

void ModulationBox::Show(PanelModel& panel, juce::Component& beside, unsigned destination) {
    juce::Component* const top = beside.getTopLevelComponent();
    auto& box =
        juce::CallOutBox::launchAsynchronously(std::make_unique<ModulationBox>(panel, destination),
                                               top->getLocalArea(&beside, beside.getLocalBounds()), top);
    box.setDismissalMouseClicksAreAlwaysConsumed(true);
}

void ModulationBox::timerCallback() {
    for (const auto& amount : amounts) {
        amount->Refresh();
    }
}

void ModulationBox::paint(juce::Graphics& g) {
    const Palette& colours = PanelLook::Of(*this);
    DrawText(g, title, getLocalBounds().removeFromTop(titleHeight).reduced(6, 0).toFloat(), Sizes::textFont,
             colours.text, juce::Justification::centredLeft, true);
}

void ModulationBox::resized() {
    juce::Rectangle<int> area = getLocalBounds().withTrimmedTop(titleHeight);
    for (const auto& amount : amounts) {
        amount->setBounds(area.removeFromTop(amountHeight).reduced(4, 0));
    }
}

} // namespace orphia::panel
