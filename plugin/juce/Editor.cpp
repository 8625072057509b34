// SPDX-License-Identifier: GPL-3.0-or-later
// The panel in a window of a host.
#include "plugin/juce/Processor.h"
#include "plugin/panel/Panel.h"

namespace orphia::plugin {

namespace {

class Editor final : public juce::AudioProcessorEditor {
public:
    Editor(juce::AudioProcessor& ofProcessor, PluginInstrument& instrument)
        : AudioProcessorEditor(ofProcessor), panel(instrument) {
        addAndMakeVisible(panel);
        setResizable(true, true);
        getConstrainer()->setFixedAspectRatio(static_cast<double>(panel::Panel::width) /
                                              panel::Panel::height);
        setResizeLimits(panel::Panel::width / 2, panel::Panel::height / 2, 2 * panel::Panel::width,
                        2 * panel::Panel::height);
        setSize(panel.getWidth(), panel.getHeight());
        panel.onScale = [this] { setSize(panel.getWidth(), panel.getHeight()); };
    }

    void resized() override { panel.setBounds(getLocalBounds()); }

private:
    panel::Panel panel;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR(Editor)
};

} // namespace

juce::AudioProcessorEditor* MakeEditor(juce::AudioProcessor& processor, PluginInstrument& instrument) {
    return new Editor(processor, instrument);
}

} // namespace orphia::plugin
