// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleContainer.h"
#include "engine/tuning/MtsClient.h"
#include "processor/synth/ReservedParameters.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::Processor::details {

/// What an instrument is built from: its sections, the reserved parameters followed by its own, and the
/// tuning client. The root of the tree: no prefix, no inputs, stereo out.
template <class... Children>
class ConstructionHelper : public dsp::ModuleContainer<Children...> {
public:
    static constexpr u32 outputCount = 2;

protected:
    /// `tuningLibrary` is where the tuning library lies, null for its usual place; then one tuple of
    /// constructor arguments per section.
    template <class... Arguments>
    ConstructionHelper(std::vector<dsp::ModuleParam>&& instrumentParameters, const std::string* tuningLibrary,
                       Arguments&&... arguments)
        : dsp::ModuleContainer<Children...>(std::string(), 0, outputCount,
                                            AfterReservedParameters(std::move(instrumentParameters)),
                                            std::forward<Arguments>(arguments)...),
          mtsClient(tuningLibrary != nullptr ? std::make_unique<engine::MtsClient>(*tuningLibrary)
                                             : std::make_unique<engine::MtsClient>()) {
        this->linkedIds.resize(linkableCount);
    }

    std::unique_ptr<engine::MtsClient> mtsClient;
};

} // namespace Velmora::Processor::details
