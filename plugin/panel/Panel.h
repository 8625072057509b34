// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/core/PluginInstrument.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <filesystem>
#include <functional>
#include <memory>

namespace orphia::panel {

/// The editor of the instrument. It needs nothing but that, so any window can hold it. It has the shape of
/// 1180 by 760 points: whoever gives it another size scales all of it. Everything is for the message thread;
/// the instrument must outlive it.
class Panel final : public juce::Component, public juce::FileDragAndDropTarget, private juce::Timer {
public:
    static constexpr int width = 1180;
    static constexpr int height = 760;

    explicit Panel(plugin::PluginInstrument& instrument);
    /// With a settings file of its own; an empty one keeps no settings.
    Panel(plugin::PluginInstrument& instrument, const std::filesystem::path& settingsFile);
    ~Panel() override;

    /// 0.75 to 2: takes that size itself, and tells by onScale, as a window must follow.
    void SetScale(float scale);
    float Scale() const;
    std::function<void()> onScale;

    void SetBright(bool isBright);
    /// Of the tabs, from 0.
    void ShowPage(std::size_t page);
    std::size_t PageCount() const;
    juce::String PageTitle(std::size_t page) const;

    /// One picture, so many seconds after the last; a timer does it while the panel is shown.
    void Tick(double seconds);

    void paint(juce::Graphics& g) override;
    void resized() override;
    bool keyPressed(const juce::KeyPress& key) override;
    bool keyStateChanged(bool isDown) override;
    void visibilityChanged() override;
    void parentHierarchyChanged() override;

    /// Wherever no part takes them itself.
    bool isInterestedInFileDrag(const juce::StringArray& files) override { return !files.isEmpty(); }
    void fileDragEnter(const juce::StringArray& files, int x, int y) override;
    void fileDragExit(const juce::StringArray& files) override;
    void filesDropped(const juce::StringArray& files, int x, int y) override;

private:
    struct Inside;

    void timerCallback() override;
    void StartOrStop();

    std::unique_ptr<Inside> inside;
};

} // namespace orphia::panel
