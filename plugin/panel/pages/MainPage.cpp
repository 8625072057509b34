// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/pages/MainPage.h"

#include <initializer_list>

namespace orphia::panel {

namespace {

constexpr int meterWidth = 10;

} // namespace

MainPage::MainPage(PanelModel& panel)
    : voiceIn(panel, MainLayout::VoiceIn()), voiceLevel(panel.voice, "Level of the voice"),
      gate("Gate of the voice", true,
           [&panel, id = EngineId("Modulator_VoiceInputGate_Output")] {
               const bool isOpen = panel.instrument.Position(id) >= 0.5F;
               return Readout::Reading{isOpen ? "gate open" : "gate closed", isOpen};
           }),
      pitch("Pitch of the voice", false,
            [&panel, id = EngineId("Modulator_PitchTracker_DetectedPitch")] {
                return Readout::Reading{ValueText(id, panel.instrument.Position(id)), false};
            }),
      sampler(panel, MainLayout::Sampler()), slots(panel), bands(panel),
      vocoder(panel, MainLayout::Vocoder()), carrier(panel, MainLayout::Carrier()), effects(panel),
      master(panel, MainLayout::Master()), left(panel.left, "Level of the left side"),
      right(panel.right, "Level of the right side"),
      limiter("Safety limiter", true,
              [&panel] {
                  const int taken = juce::roundToInt(panel.lights.limiterReduction);
                  return Readout::Reading{
                      taken > 0 ? "limiter -" + juce::String(taken) : juce::String("limiter"), taken > 0};
              }),
      silence(
          "Notes off", [&panel] { panel.instrument.AllNotesOff(); }, "Releases all notes") {
    for (juce::Component* const part : std::initializer_list<juce::Component*>{
             &voiceIn, &sampler, &bands, &vocoder, &carrier, &effects, &master}) {
        addAndMakeVisible(part);
    }
    bands.setBounds(ToJuce(MainLayout::bands));
    voiceIn.addAndMakeVisible(voiceLevel);
    voiceIn.addAndMakeVisible(gate);
    voiceIn.addAndMakeVisible(pitch);
    juce::Rectangle<int> level = voiceIn.Rest();
    voiceLevel.setBounds(level.removeFromTop(meterWidth));
    gate.setBounds(level.removeFromLeft(90));
    pitch.setBounds(level.withTrimmedLeft(14));
    sampler.addAndMakeVisible(slots);
    slots.setBounds(sampler.Rest().withTrimmedTop(4));
    master.addAndMakeVisible(left);
    master.addAndMakeVisible(right);
    juce::Rectangle<int> levels =
        master.Rest().withTop(Grid::titleHeight).removeFromRight(2 * meterWidth + 6);
    right.setBounds(levels.removeFromRight(meterWidth));
    left.setBounds(levels.removeFromLeft(meterWidth));
    master.addAndMakeVisible(limiter);
    master.addAndMakeVisible(silence);
    juce::Rectangle<int> rest = master.Rest().withTrimmedRight(2 * meterWidth + 12);
    limiter.setBounds(rest.removeFromTop(24));
    silence.setBounds(rest.removeFromBottom(24));
}

} // namespace orphia::panel
