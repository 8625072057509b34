// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/parts/SectionView.h"

#include <array>
#include <memory>

namespace orphia::panel {

/// The three slots at a glance: what is in them, how much of it is heard, and whether it is.
class EffectsView final : public SectionView {
public:
    explicit EffectsView(PanelModel& panel);

    void Refresh() override;
    void resized() override;

private:
    struct Slot {
        std::unique_ptr<ParameterControl> type;
        std::unique_ptr<ParameterControl> bypass;
        /// Of the type that is chosen.
        std::unique_ptr<ParameterControl> mix;
        unsigned shownType = 0;
    };

    void MakeMix(unsigned slot);

    PanelModel& panel;
    std::array<Slot, 3> slots;
};

} // namespace orphia::panel
