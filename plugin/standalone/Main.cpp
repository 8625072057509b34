// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/core/PluginInstrument.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <cstdio>

int main() {
    const juce::ScopedJuceInitialiser_GUI juce;
    const orphia::plugin::PluginInstrument instrument;
    std::printf("%s, %s\n", juce::SystemStats::getJUCEVersion().toRawUTF8(),
                instrument.IsUsable() ? "with an engine" : "without an engine");
}
