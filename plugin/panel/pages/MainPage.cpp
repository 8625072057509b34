// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/pages/MainPage.h"

namespace orphia::panel {

MainPage::MainPage(PanelModel& panel) {
    for (const Section* const section : MainLayout::Sections()) {
        sections.push_back(std::make_unique<SectionView>(panel, *section));
        addAndMakeVisible(*sections.back());
    }
}

} // namespace orphia::panel
