// SPDX-License-Identifier: GPL-3.0-or-later
// What JUCE's wrappers make; compiled for each of the two plug-ins.
#include "plugin/juce/Processor.h"

juce::AudioProcessor* JUCE_CALLTYPE createPluginFilter();

juce::AudioProcessor* JUCE_CALLTYPE createPluginFilter() {
    using Kind = orphia::plugin::PluginInstrument::Kind;
    return new orphia::plugin::Processor(ORPHIA_IS_EFFECT ? Kind::Effect : Kind::Instrument);
}
