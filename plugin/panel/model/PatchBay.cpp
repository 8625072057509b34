// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/panel/model/PatchBay.h"

#include "plugin/panel/model/ControlModel.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace orphia::panel {

namespace {

constexpr float floorDecibels = -60.0F;
constexpr float peakFallPerSecond = 0.35F;
/// What the engine itself tells moves in steps of its blocks; falling is drawn out a little for the eye.
constexpr float fallPerSecond = 12.0F;

/// A route at the middle of its position carries nothing.
float AmountAt(float position) { return std::max(0.0F, 2.0F * position - 1.0F); }

} // namespace

PatchBay::PatchBay(plugin::PluginInstrument& ofInstrument, History& ofHistory)
    : instrument(ofInstrument), history(ofHistory) {}

std::uint32_t PatchBay::RouteId(unsigned analysis, unsigned synthesis) {
    static const std::uint32_t first = EngineId("BodeVocoder_PatchBay_Analysis1_Synthesis1");
    return first + bandCount * synthesis + analysis;
}

std::uint32_t PatchBay::GainId(unsigned band) {
    static const std::uint32_t first = EngineId("BodeVocoder_PatchBay_GainBand1");
    return first + band;
}

std::uint32_t PatchBay::ActiveId() {
    static const std::uint32_t id = EngineId("BodeVocoder_PatchBay_Activated");
    return id;
}

std::uint32_t PatchBay::HoldId() {
    static const std::uint32_t id = EngineId("BodeVocoder_PatchBay_SampleHold");
    return id;
}

float PatchBay::Amount(unsigned analysis, unsigned synthesis) const {
    return AmountAt(instrument.Position(RouteId(analysis, synthesis)));
}

std::vector<PatchBay::Cable> PatchBay::Cables() const {
    std::vector<Cable> cables;
    for (unsigned synthesis = 0; synthesis < bandCount; ++synthesis) {
        for (unsigned analysis = 0; analysis < bandCount; ++analysis) {
            if (const float amount = Amount(analysis, synthesis); amount > 0.0F) {
                cables.push_back({analysis, synthesis, amount});
            }
        }
    }
    return cables;
}

void PatchBay::Connect(unsigned analysis, unsigned synthesis, float amount) {
    if (analysis >= bandCount || synthesis >= bandCount) {
        return;
    }
    const std::string name = "Cable " + std::to_string(analysis + 1) + " to " + std::to_string(synthesis + 1);
    const float position = 0.5F + 0.5F * std::clamp(amount, 0.0F, 1.0F);
    if (amount <= 0.0F || instrument.Position(ActiveId()) > 0.5F) {
        // No gesture: a wheel that is turned is one step.
        history.Set(RouteId(analysis, synthesis), position, name);
        return;
    }
    const Gesture gesture(history, name);
    history.Set(RouteId(analysis, synthesis), position);
    history.Set(ActiveId(), 1.0F);
}

void PatchBay::Straighten() {
    const Gesture gesture(history, "Cables straight");
    Clear();
    for (unsigned band = 0; band < bandCount; ++band) {
        history.Set(RouteId(band, band), 1.0F);
    }
}

void PatchBay::Clear() {
    const Gesture gesture(history, "Cables out");
    for (const Cable& cable : Cables()) {
        history.Set(RouteId(cable.analysis, cable.synthesis), 0.5F);
    }
}

float BandPicture::Height(float level) {
    if (!(level > 0.0F)) {
        return 0.0F;
    }
    return std::clamp(1.0F - 20.0F * std::log10(level) / floorDecibels, 0.0F, 1.0F);
}

BandPicture::Levels BandPicture::Routed(const plugin::PluginInstrument& instrument, const Levels& heard) {
    Levels scaled = heard;
    for (unsigned band = 0; band < bandCount; ++band) {
        const std::uint32_t id = PatchBay::GainId(band);
        scaled[band] *= plugin::PluginParameters::Get().ToValue(id, instrument.Position(id));
    }
    if (instrument.Position(PatchBay::ActiveId()) <= 0.5F) {
        return scaled;
    }
    Levels routed{};
    bool isPatched = false;
    for (unsigned to = 0; to < bandCount; ++to) {
        for (unsigned from = 0; from < bandCount; ++from) {
            const float amount = AmountAt(instrument.Position(PatchBay::RouteId(from, to)));
            isPatched = isPatched || amount > 0.0F;
            routed[to] += amount * scaled[from];
        }
        routed[to] = std::min(routed[to], 1.0F);
    }
    return isPatched ? routed : scaled;
}

void BandPicture::Update(const plugin::PluginInstrument& instrument, const Levels& heard, double seconds) {
    const auto time = static_cast<float>(seconds);
    isHeld = instrument.Position(PatchBay::HoldId()) > 0.5F;
    const Levels routed = isHeld ? synthesis : Routed(instrument, heard);
    const float fall = std::exp(-fallPerSecond * time);
    for (unsigned band = 0; band < bandCount; ++band) {
        analysis[band] = std::max(heard[band], analysis[band] * fall);
        synthesis[band] = isHeld ? synthesis[band] : std::max(routed[band], synthesis[band] * fall);
        peaks[band] = std::max(Height(analysis[band]), peaks[band] - peakFallPerSecond * time);
    }
}

} // namespace orphia::panel
