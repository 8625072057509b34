// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/core/PluginInstrument.h"
#include "plugin/panel/Panel.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace orphia::test {

/// An instrument that plays, and a panel of it.
class PanelRig {
public:
    explicit PanelRig(const std::filesystem::path& presets = {});

    /// Speech and what keys were pressed, so long, with pictures in between.
    void Play(double seconds);
    /// Without the pictures, on any thread.
    void PlaySound(double seconds);
    /// A picture of all of it as a file; scale 1 is 100 %.
    bool WritePicture(const std::filesystem::path& file, float scale);
    /// The control of a parameter on the shown page, by the engine's name; null when there is none.
    juce::Component* ControlOf(const std::string& engineName);
    float Position(const std::string& engineName) const;

    plugin::PluginInstrument instrument;
    panel::Panel panel;

private:
    void PlayBlock();

    std::size_t voiceFrame = 0;
};

} // namespace orphia::test
