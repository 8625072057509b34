// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/panel/pages/Page.h"
#include "plugin/panel/parts/BandsView.h"
#include "plugin/panel/parts/EffectsView.h"
#include "plugin/panel/parts/LevelMeter.h"
#include "plugin/panel/parts/Readout.h"
#include "plugin/panel/parts/SlotsView.h"

namespace orphia::panel {

/// All that a player needs, in the order of the signal.
class MainPage final : public Page {
public:
    explicit MainPage(PanelModel& panel);

private:
    SectionView voiceIn;
    LevelMeter voiceLevel;
    Readout gate;
    Readout pitch;
    SectionView sampler;
    SlotsView slots;
    BandsView bands;
    SectionView vocoder;
    SectionView carrier;
    EffectsView effects;
    SectionView master;
    LevelMeter left;
    LevelMeter right;
    Readout limiter;
    Button silence;
};

} // namespace orphia::panel
