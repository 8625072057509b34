// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/presets/NeutralStart.h"

#include "host/parameters/ParameterText.h"
#include "host/presets/Preset.h"

namespace orphia::host {

const NeutralStart& NeutralStart::Get() {
    static const NeutralStart start(ParameterCatalog::OfInstrument());
    return start;
}

NeutralStart::NeutralStart(const ParameterCatalog& catalog) {
    for (const ParameterInfo& info : catalog.Parameters()) {
        const bool isController = info.role == ParameterRole::Controller;
        positions.push_back(isController ? catalog.ToPosition(info.id, 0.0F)
                                         : catalog.StartPosition(info.id));
        isPart.push_back(isController || info.role == ParameterRole::Control ||
                         info.role == ParameterRole::Route);
    }
    for (const ParameterSetting& setting : DefaultPreset(catalog).settings) {
        positions[setting.id] = PositionOf(catalog, setting);
        isPart[setting.id] = true;
    }
}

} // namespace orphia::host
