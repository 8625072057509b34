// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/pages/CircuitPage.h"
#include "plugin/panel/pages/EffectsPage.h"
#include "plugin/panel/pages/MainPage.h"
#include "plugin/panel/pages/ModulationPage.h"
#include "plugin/panel/pages/Page.h"
#include "plugin/panel/pages/PresetsPage.h"
#include "plugin/panel/pages/SamplesPage.h"

namespace orphia::panel {

namespace {

template <class P>
PageEntry Entry(const char* title) {
    return {title, [](PanelModel& panel) { return std::make_unique<P>(panel); }};
}

} // namespace

const std::vector<PageEntry>& PageList() {
    static const std::vector<PageEntry> pages = {
        Entry<MainPage>("Play"),       Entry<ModulationPage>("Modulation"), Entry<EffectsPage>("Effects"),
        Entry<SamplesPage>("Samples"), Entry<PresetsPage>("Presets"),       Entry<CircuitPage>("Circuit"),
    };
    return pages;
}

} // namespace orphia::panel
