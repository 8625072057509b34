// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/pages/Page.h"
#include "plugin/panel/pages/SectionView.h"

#include <memory>
#include <vector>

namespace orphia::panel {

/// All that a player needs, in the order of the signal.
class MainPage final : public Page {
public:
    explicit MainPage(PanelModel& panel);

private:
    std::vector<std::unique_ptr<SectionView>> sections;
};

} // namespace orphia::panel
