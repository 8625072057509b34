// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/options/PresetChoice.h"

#include "host/parameters/ParameterCatalog.h"
#include "host/presets/PresetLibrary.h"

namespace orphia::tools {

host::Preset OpenPreset(const std::string& pathOrName, std::vector<std::string>& warnings) {
    const host::ParameterCatalog& catalog = host::ParameterCatalog::OfInstrument();
    if (pathOrName == defaultPresetName) {
        return host::DefaultPreset(catalog);
    }
    return host::PresetLibrary().Open(pathOrName, catalog, warnings);
}

} // namespace orphia::tools
