// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/standalone/Window.h"

#include "host/parameters/ParameterCatalog.h"
#include "plugin/panel/Panel.h"
#include "plugin/standalone/Player.h"

#include <juce_audio_utils/juce_audio_utils.h>

#include <map>
#include <string_view>

namespace orphia::standalone {

namespace {

constexpr int barHeight = 26;
constexpr int buttonWidth = 96;

juce::String Utf8(std::string_view text) {
    return juce::String::fromUTF8(text.data(), static_cast<int>(text.size()));
}

/// The panel, and above it a line that says what to do, with what only a program of its own has.
class Content final : public juce::Component, private juce::Timer {
public:
    explicit Content(const std::string& firstState) : player(firstState), panel(player.instrument) {
        addAndMakeVisible(panel);
        addAndMakeVisible(hint);
        addAndMakeVisible(sound);
        addAndMakeVisible(learn);
        sound.onClick = [this] { ShowDevices(); };
        learn.onClick = [this] { ShowLearn(); };
        panel.onScale = [this] { FitPanel(); };
        FitPanel();
        timerCallback();
        startTimer(250);
    }

    void resized() override {
        juce::Rectangle<int> all = getLocalBounds();
        juce::Rectangle<int> bar = all.removeFromTop(barHeight);
        learn.setBounds(bar.removeFromRight(buttonWidth).reduced(2));
        sound.setBounds(bar.removeFromRight(buttonWidth).reduced(2));
        hint.setBounds(bar);
        panel.setBounds(all);
    }

private:
    void FitPanel() { setSize(panel.getWidth(), panel.getHeight() + barHeight); }

    void timerCallback() override {
        const auto waitsFor = Controllers().WaitsFor();
        hint.setText(waitsFor ? "Move a controller for " + NameOf(*waitsFor) : player.Status(),
                     juce::dontSendNotification);
    }

    void ShowDevices() {
        auto selector = std::make_unique<juce::AudioDeviceSelectorComponent>(player.manager, 0, 2, 1, 2, true,
                                                                             false, true, false);
        selector->setSize(480, 420);
        juce::DialogWindow::LaunchOptions options;
        options.content.setOwned(selector.release());
        options.dialogTitle = "Sound and MIDI devices";
        options.componentToCentreAround = this;
        options.dialogBackgroundColour =
            getLookAndFeel().findColour(juce::ResizableWindow::backgroundColourId);
        options.resizable = false;
        options.launchAsync();
    }

    void ShowLearn() {
        std::map<std::string_view, juce::PopupMenu> groups;
        juce::PopupMenu menu;
        juce::PopupMenu forget;
        const auto& all = plugin::PluginParameters::Get().All();
        for (const plugin::PluginParameter& parameter : all) {
            groups[parameter.group].addItem(Utf8(parameter.name),
                                            parameter.id != plugin::PluginParameters::bypass, false,
                                            [this, &parameter] { Controllers().Wait(parameter.id); });
        }
        std::string_view last;
        for (const plugin::PluginParameter& parameter : all) {
            if (parameter.group != last) {
                last = parameter.group;
                menu.addSubMenu(Utf8(last), groups[last]);
            }
        }
        for (const auto& [controller, id] : Controllers().All()) {
            forget.addItem("Controller " + juce::String(controller) + ": " + NameOf(id),
                           [this, moved = controller] { Controllers().Forget(moved); });
        }
        menu.addSeparator();
        menu.addSubMenu("Forget", forget, forget.getNumItems() > 0);
        menu.addItem("Stop waiting", Controllers().WaitsFor().has_value(), false,
                     [this] { Controllers().StopWaiting(); });
        menu.showMenuAsync(juce::PopupMenu::Options().withTargetComponent(learn));
    }

    plugin::MidiLearn& Controllers() { return player.instrument.Controllers(); }

    /// As hosts list it, or in full.
    static juce::String NameOf(std::uint32_t id) {
        const auto* const listed = plugin::PluginParameters::Get().Find(id);
        return listed != nullptr ? Utf8(listed->name)
                                 : Utf8(host::ParameterCatalog::OfInstrument().Parameters().at(id).name);
    }

    Player player;
    panel::Panel panel;
    juce::Label hint;
    juce::TextButton sound{"Sound..."};
    juce::TextButton learn{"MIDI learn..."};
};

} // namespace

Window::Window(const std::string& firstState)
    : DocumentWindow("Orphia VX", juce::Colours::black, DocumentWindow::allButtons) {
    setUsingNativeTitleBar(true);
    setContentOwned(new Content(firstState), true);
    setResizable(true, false);
    centreWithSize(getWidth(), getHeight());
    setVisible(true);
}

Window::~Window() = default;

void Window::closeButtonPressed() { juce::JUCEApplication::getInstance()->systemRequestedQuit(); }

} // namespace orphia::standalone
