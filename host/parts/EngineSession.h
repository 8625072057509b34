// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/parameters/ParameterInfo.h"
#include "host/presets/Preset.h"

#include <cstdint>
#include <map>
#include <vector>

namespace Velmora::dsp {
class ModuleContainerBase;
}

namespace orphia::host {

/// One instance of an engine with its settings. For one thread at a time.
class EngineSession {
public:
    static constexpr std::uint32_t minimumSampleRate = 8000;
    static constexpr std::uint32_t maximumSampleRate = 384000;
    static constexpr std::uint32_t defaultSeed = 1;

    /// Frames that the engine computes at once: 44 at 44100 Hz, about a millisecond at every rate.
    static std::uint32_t BlockSize(float sampleRate);

    virtual ~EngineSession() = default;
    EngineSession(const EngineSession&) = delete;
    EngineSession& operator=(const EngineSession&) = delete;

    std::uint32_t SampleRate() const { return sampleRate; }

    /// Before the first block a setting is there at once; later the engine moves to it in its own time. An
    /// id beyond the last parameter is ignored.
    void Set(const ParameterSetting& setting);
    void Apply(const Preset& preset);
    /// What was set, the last of each parameter, in order of id.
    std::vector<ParameterSetting> Settings() const;
    /// The present real value.
    virtual float Value(std::uint32_t id) const = 0;

protected:
    /// Throws UsageError for a rate out of range.
    explicit EngineSession(std::uint32_t sampleRate);

    /// Hands a setting to the engine; false when it has no such parameter.
    virtual bool Write(const ParameterSetting& setting) = 0;
    static void WriteTo(Velmora::dsp::ModuleContainerBase& core, const ParameterSetting& setting);

private:
    std::uint32_t sampleRate;
    std::map<std::uint32_t, ParameterSetting> settings;
};

} // namespace orphia::host
