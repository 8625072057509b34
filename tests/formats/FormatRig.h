// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/PluginRig.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

/// Bundles as hosts load them, in what all formats have in common.
namespace orphia::test {

class HostedPlugin {
public:
    static constexpr std::size_t longest = 512;

    virtual ~HostedPlugin() = default;
    virtual void Activate(double rate) = 0;
    /// In place.
    virtual void Process(float* const* sound, std::uint32_t frames,
                         const std::vector<host::TimedEvent>& messages) = 0;
    /// In the next block, from a frame on where the format has such.
    virtual void SetValue(const std::string& name, double value, std::uint32_t frame) = 0;
    virtual std::uint32_t Latency() = 0;
    /// What the host keeps in its project.
    virtual std::string Save() = 0;
    virtual void Load(const std::string& state) = 0;
    virtual std::size_t ParameterCount() = 0;
};

using MakePlugin = std::unique_ptr<HostedPlugin> (*)(bool isEffect);
std::unique_ptr<HostedPlugin> OpenClap(bool isEffect);
std::unique_ptr<HostedPlugin> OpenLv2(bool isEffect);

} // namespace orphia::test
