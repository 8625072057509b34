// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/parameters/ModulationRoutes.h"

#include "host/parameters/ParameterCatalog.h"
#include "vocoder/wiring/Wiring.h"

#include <array>

namespace orphia::host {

std::span<const std::string_view> ModulationRoutes::Sources() { return Velmora::Processor::sourceTexts; }

std::span<const std::string_view> ModulationRoutes::Destinations() {
    static const auto texts = [] {
        std::array<std::string_view, Velmora::Processor::wiring.size()> names;
        for (std::size_t n = 0; n < names.size(); ++n) {
            names[n] = Velmora::Processor::wiring[n].text;
        }
        return names;
    }();
    return texts;
}

std::uint32_t ModulationRoutes::AmountId(unsigned source, unsigned destination) {
    static const std::uint32_t first =
        ParameterCatalog::OfInstrument().Find("Modulations_Dst1_Src1_Amount").id;
    return first + destination * static_cast<std::uint32_t>(Sources().size()) + source;
}

} // namespace orphia::host
