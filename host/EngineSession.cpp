// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/EngineSession.h"

#include "dsp/ModuleContainerBase.h"
#include "host/Errors.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace orphia::host {

std::uint32_t EngineSession::BlockSize(float rate) {
    constexpr float defaultRate = 44100.0F;
    constexpr float highestRate = 384000.0F;
    // Quarters of a block per hertz: blocks are about 1 ms and whole groups of four frames.
    constexpr float groupsPerHertz = 0.0002494331F;
    const float clamped = rate > 0.0F ? std::min(rate, highestRate) : defaultRate;
    const auto groups = static_cast<std::uint32_t>(std::lround(clamped * groupsPerHertz));
    return std::max(groups * 4U, 4U);
}

EngineSession::EngineSession(std::uint32_t rate) : sampleRate(rate) {
    if (rate < minimumSampleRate || rate > maximumSampleRate) {
        throw UsageError(fmt::format("sample rate {} Hz is outside {} Hz .. {} Hz", rate, minimumSampleRate,
                                     maximumSampleRate));
    }
}

void EngineSession::Set(const ParameterSetting& setting) {
    if (Write(setting)) {
        settings[setting.id] = setting;
    }
}

void EngineSession::Apply(const Preset& preset) {
    for (const ParameterSetting& setting : preset.settings) {
        Set(setting);
    }
}

std::vector<ParameterSetting> EngineSession::Settings() const {
    std::vector<ParameterSetting> list;
    for (const auto& [id, setting] : settings) {
        list.push_back(setting);
    }
    return list;
}

void EngineSession::WriteTo(Velmora::dsp::ModuleContainerBase& core, const ParameterSetting& setting) {
    if (setting.scale == ParameterSetting::Scale::Position) {
        core.SetParameterNormalized(setting.id, setting.number);
    } else {
        core.SetParameterValue(setting.id, setting.number);
    }
}

} // namespace orphia::host
