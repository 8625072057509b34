// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/core/PluginInstrument.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <atomic>

namespace orphia::plugin {

/// One parameter as JUCE's wrappers know it: they ask for its position, and set it from any thread.
class HostParameter final : public juce::AudioProcessorParameterWithID {
public:
    /// JUCE mends names of an LV2 that begin with a digit, so that two could become alike.
    HostParameter(PluginInstrument& ofInstrument, const PluginParameter& ofParameter)
        : AudioProcessorParameterWithID(juce::ParameterID("p" + juce::String(ofParameter.id), 1),
                                        ofParameter.name),
          instrument(ofInstrument), parameter(ofParameter), known(ofParameter.start) {}

    float getValue() const override { return instrument.Position(parameter.id); }
    /// Some wrappers repeat what is set already, block after block.
    void setValue(float position) override {
        known.store(position, std::memory_order_relaxed);
        if (position != getValue()) {
            instrument.SetPosition(parameter.id, position);
        }
    }
    float getDefaultValue() const override { return parameter.start; }

    int getNumSteps() const override {
        return parameter.stepCount > 0 ? static_cast<int>(parameter.stepCount)
                                       : juce::AudioProcessor::getDefaultNumParameterSteps();
    }
    bool isDiscrete() const override { return parameter.stepCount > 0; }
    bool isBoolean() const override { return parameter.isSwitch; }

    juce::String getText(float position, int mostCharacters) const override {
        const std::string text = PluginParameters::Get().Text(parameter.id, position);
        return juce::String(juce::CharPointer_UTF8(text.c_str())).substring(0, mostCharacters);
    }
    float getValueForText(const juce::String& text) const override {
        return PluginParameters::Get().PositionOf(parameter.id, text.toStdString()).value_or(getValue());
    }

    /// Tells the host when something else has moved it. Touched: by a hand, which automation is recorded of.
    void TellHost(bool isTouched) {
        const float position = getValue();
        if (known.exchange(position, std::memory_order_relaxed) == position) {
            return;
        }
        if (isTouched) {
            beginChangeGesture();
        }
        sendValueChangedMessageToListeners(position);
        if (isTouched) {
            endChangeGesture();
        }
    }

private:
    PluginInstrument& instrument;
    const PluginParameter& parameter;
    /// What the host has set or was told last.
    std::atomic<float> known;
};

} // namespace orphia::plugin
