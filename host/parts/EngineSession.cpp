// SPDX-License-Identifier: GPL-3.0-or-later
#include "host/parts/EngineSession.h"

#include "dsp/framework/ModuleContainerBase.h"
#include "host/common/Errors.h"
#include "processor/adapter/BlockSize.h"

#include <fmt/format.h>

namespace orphia::host {

std::uint32_t EngineSession::BlockSize(float rate) { return Velmora::Processor::BlockSizeAt(rate); }

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
