// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "tools/options/RenderOptions.h"
#include "tools/terminal/Command.h"

#include <filesystem>

namespace orphia::tools {

/// orphia vocode: lets the sound of one file speak with the voice of another.
class VocodeCommand final : public Command {
public:
    explicit VocodeCommand(CLI::App& app);

    const host::ParameterCatalog& Parameters() const override { return options.Catalog(); }
    void Run() override;

private:
    void Check();
    void Render() const;

    std::filesystem::path modulatorPath;
    std::filesystem::path carrierPath;
    double tailSeconds = 0.0;
    bool loopsCarrier = false;
    bool showsMeters = false;
    RenderOptions options;
};

} // namespace orphia::tools
