// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/standalone/Window.h"

#include "plugin/panel/Panel.h"
#include "plugin/standalone/Player.h"

#include <juce_audio_utils/juce_audio_utils.h>

#include <map>

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
        if (!player.learn.IsWaiting()) {
            waitedFor.clear();
        }
        hint.setText(waitedFor.isEmpty() ? player.Status() : "Move a controller for " + waitedFor,
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
            groups[parameter.group].addItem(Utf8(parameter.name), [this, &parameter] { WaitFor(parameter); });
        }
        std::string_view last;
        for (const plugin::PluginParameter& parameter : all) {
            if (parameter.group != last) {
                last = parameter.group;
                menu.addSubMenu(Utf8(last), groups[last]);
            }
        }
        for (std::uint32_t controller = 0; controller < MidiLearn::controllerCount; ++controller) {
            if (const auto id = player.learn.ParameterOf(controller)) {
                const auto* const parameter = plugin::PluginParameters::Get().Find(*id);
                forget.addItem("Controller " + juce::String(controller) + ": " + Utf8(parameter->name),
                               [this, controller] { player.learn.Clear(controller); });
            }
        }
        menu.addSeparator();
        menu.addSubMenu("Forget", forget, forget.getNumItems() > 0);
        menu.addItem("Stop waiting", player.learn.IsWaiting(), false, [this] { player.learn.StopWaiting(); });
        menu.showMenuAsync(juce::PopupMenu::Options().withTargetComponent(learn));
    }

    void WaitFor(const plugin::PluginParameter& parameter) {
        player.learn.Wait(parameter.id);
        waitedFor = Utf8(parameter.name);
    }

    Player player;
    panel::Panel panel;
    juce::Label hint;
    juce::TextButton sound{"Sound..."};
    juce::TextButton learn{"MIDI learn..."};
    juce::String waitedFor;
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
