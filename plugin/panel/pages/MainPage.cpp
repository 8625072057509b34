// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/pages/MainPage.h"

#include <initializer_list>

namespace orphia::panel {

namespace {

constexpr int meterWidth = 10;

} // namespace

MainPage::MainPage(PanelModel& panel)
    : voiceIn(panel, MainLayout::VoiceIn()), voiceLevel(panel.voice, "Level of the voice"),
      sampler(panel, MainLayout::Sampler()), slots(panel), bands(panel),
      vocoder(panel, MainLayout::Vocoder()), carrier(panel, MainLayout::Carrier()), effects(panel),
      master(panel, MainLayout::Master()), left(panel.left, "Level of the left side"),
      right(panel.right, "Level of the right side") {
    for (juce::Component* const part : std::initializer_list<juce::Component*>{
             &voiceIn, &sampler, &bands, &vocoder, &carrier, &effects, &master}) {
        addAndMakeVisible(part);
    }
    bands.setBounds(ToJuce(MainLayout::bands));
    voiceIn.addAndMakeVisible(voiceLevel);
    voiceLevel.setBounds(voiceIn.Rest().withTrimmedTop(16).removeFromTop(meterWidth));
    sampler.addAndMakeVisible(slots);
    slots.setBounds(sampler.Rest().withTrimmedTop(4));
    master.addAndMakeVisible(left);
    master.addAndMakeVisible(right);
    juce::Rectangle<int> levels =
        master.Rest().withTop(Grid::titleHeight).removeFromRight(2 * meterWidth + 6);
    right.setBounds(levels.removeFromRight(meterWidth));
    left.setBounds(levels.removeFromLeft(meterWidth));
}

} // namespace orphia::panel
