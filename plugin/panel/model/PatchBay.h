// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "plugin/core/PluginInstrument.h"
#include "plugin/panel/model/History.h"

#include <array>
#include <cstdint>
#include <vector>

namespace orphia::panel {

/// The cables between the sixteen analysis bands and the sixteen synthesis bands. Bands are counted from 0.
class PatchBay {
public:
    static constexpr unsigned bandCount = 16;

    struct Cable {
        unsigned analysis = 0;
        unsigned synthesis = 0;
        /// Above 0 to 1.
        float amount = 0.0F;

        bool operator==(const Cable&) const = default;
    };

    PatchBay(plugin::PluginInstrument& instrument, History& history);

    /// Of a route; what is below 0 carries nothing and counts as no cable.
    float Amount(unsigned analysis, unsigned synthesis) const;
    std::vector<Cable> Cables() const;
    /// 0 takes the cable out. The first cable switches the patch bay on, as without that it would not be
    /// heard.
    void Connect(unsigned analysis, unsigned synthesis, float amount);
    /// Every band to the one of its number; and none at all.
    void Straighten();
    void Clear();

    static std::uint32_t RouteId(unsigned analysis, unsigned synthesis);
    static std::uint32_t GainId(unsigned band);
    static std::uint32_t ActiveId();
    static std::uint32_t HoldId();

private:
    plugin::PluginInstrument& instrument;
    History& history;
};

/// What the picture of the bands shows: what the analysis hears, as the engine tells it, and what of it comes
/// to the synthesis behind gains, cables and hold.
class BandPicture {
public:
    static constexpr unsigned bandCount = PatchBay::bandCount;
    using Levels = std::array<float, bandCount>;

    /// 0 to 1, as the lights of the bands; once for each picture, so many seconds after the last one.
    void Update(const plugin::PluginInstrument& instrument, const Levels& analysis, double seconds);

    const Levels& Analysis() const { return analysis; }
    const Levels& Synthesis() const { return synthesis; }
    /// The highest of the last moments, falling slowly.
    const Levels& Peaks() const { return peaks; }
    bool IsHeld() const { return isHeld; }

    /// Where on a scale of -60 to 0 dB a level is, 0 to 1.
    static float Height(float level);

private:
    static Levels Routed(const plugin::PluginInstrument& instrument, const Levels& analysis);

    Levels analysis{};
    Levels synthesis{};
    Levels peaks{};
    bool isHeld = false;
};

} // namespace orphia::panel
