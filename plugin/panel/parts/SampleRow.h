// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/look/PanelLook.h"
#include "plugin/panel/model/samples/SampleShelf.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>
#include <memory>

namespace orphia::panel {

/// One of the twelve samples in their list: a number, the file's name and a small picture. A click chooses
/// it, delete empties it, up and down go to the next one.
class SampleRow final : public juce::Button {
public:
    struct Shown {
        juce::String name;
        std::shared_ptr<const SampleShelf::Sound> sound;
        bool isMissing = false;
        bool isLoading = false;
        bool isChosen = false;
        bool isPlaying = false;
        /// Something is about to be dropped on it.
        bool isTarget = false;

        bool operator==(const Shown&) const = default;
    };

    SampleRow(std::uint32_t sample, std::function<void()> choose);

    std::function<void(int)> onStep;
    std::function<void()> onClear;

    void Show(Shown next);

    void paintButton(juce::Graphics& g, bool isOver, bool isDown) override;
    bool keyPressed(const juce::KeyPress& key) override;

private:
    void DrawPicture(juce::Graphics& g, juce::Rectangle<float> box) const;

    juce::String number;
    Shown shown;
};

} // namespace orphia::panel
