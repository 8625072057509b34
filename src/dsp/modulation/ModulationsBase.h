// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/Module.h"
#include "dsp/framework/ModuleParam.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Velmora::dsp {

/// What a modulation matrix leaves to its use: the curve and range of an amount, and the words that its
/// parameter names are made of.
struct DefaultModulationPolicy {
    static constexpr std::string_view sourceWord = "Src";
    static constexpr std::string_view destinationWord = "Dst";
    static constexpr std::string_view amountWord = "Amount";
    static constexpr std::string_view activatedWord = "Activated";

    /// Linear from full inversion to full strength; the knob's middle is no modulation.
    static ModuleParam MakeAmount() { return ModuleParam::Mapped({}, Curve::Linear, -1.0F, 1.0F, 0.0F); }
};

/// Hears when a cell of a modulation matrix begins or ceases to carry signal. Called by the setters of the
/// matrix, on the audio thread: an implementation neither allocates nor blocks. It must live as long as the
/// matrix is used.
class IRoutingObserver {
public:
    IRoutingObserver() = default;
    IRoutingObserver(const IRoutingObserver&) = delete;
    IRoutingObserver& operator=(const IRoutingObserver&) = delete;
    virtual ~IRoutingObserver() = default;

    /// nonZero tells whether the effective amount of the cell is now different from 0. Source and
    /// destination count from 0.
    virtual void OnRoutingChanged(u32 source, u32 destination, bool nonZero) = 0;
};

/// What the owner of a matrix fixes at construction; bit n stands for source or destination n.
struct ModulationMasks {
    /// Sources and destinations with one value for all voices.
    u32 globalSources = 0;
    u32 globalDestinations = 0;
    /// Sources that count as changed in every block, without MarkSourceChanged.
    u32 alwaysChanged = 0;
};

/// The amounts, switches and parameters of a modulation matrix of S sources and D destinations. A cell is one
/// pair (destination d, source s) with the index d * S + s. Parameter ids 0 .. S*D - 1 are the amounts by
/// cell index, -1 to 1, start 0; the next S*D ids are the switches by cell index, start on. A cell carries
/// signal when it is switched on and its amount is not 0. Audio thread only, between blocks.
template <u32 S, u32 D, class Policy>
class ModulationsBase : public Module {
public:
    static_assert(S <= 32 && D <= 32, "a set of sources or destinations is one word");

    static constexpr u32 sourceCount = S;
    static constexpr u32 destinationCount = D;
    static constexpr u32 cellCount = S * D;
    static constexpr u32 parameterCount = 2 * cellCount;
    static constexpr u32 allSources = static_cast<u32>((u64{1} << S) - 1);
    static constexpr u32 allDestinations = static_cast<u32>((u64{1} << D) - 1);

    static constexpr u32 Cell(u32 destination, u32 source) { return destination * S + source; }

    /// Ids beyond the last are ignored, and so is an amount that is not a number. Always true.
    bool SetParameterNormalized(u32 id, float value) override;
    /// The same in real units: an amount, bounded to -1..1, or a switch, on above 0.5.
    bool SetParameterValue(u32 id, float value);
    /// 0 for ids beyond the last.
    float GetParameterNormalized(u32 id) override;
    /// Prefix, destination and source counted from 1, and what it is: "Dst3_Src2_Amount".
    void GetParameterName(u32 id, ParameterNameWriter& writer) override;
    /// Range, curve and present value of an id, null beyond the last. A copy for readers: writing to it does
    /// not reach the matrix.
    ModuleParam* FindParameter(u32 id) { return id < parameterCount ? &records[id] : nullptr; }

    void OnReset(bool /*hard*/) override {}
    bool UpdateParameters(ProcessContext& /*context*/) override { return true; }

    /// A hook: called once per block with the sources that changed in it.
    virtual void OnSourcesChanged(u32 /*mask*/) {}
    virtual void AppendSourceName(u32 source, ParameterNameWriter& writer);
    virtual void AppendDestinationName(u32 destination, ParameterNameWriter& writer);

    /// To be called by whoever writes a new value into a source that is not in alwaysChanged.
    void MarkSourceChanged(u32 source) { changedSources |= 1U << source; }

    /// The sum of the effective amounts that feed a destination.
    float RowSum(u32 destination) const;

    /// The source reaches some destination.
    bool IsSourceRouted(u32 source) const { return nonZero[source] != 0; }
    /// Bit d is set when at least one source reaches destination d.
    u32 RoutedDestinations() const;

    /// Set-up only: it may allocate.
    void AddRoutingObserver(IRoutingObserver& observer) { observers.push_back(&observer); }

protected:
    ModulationsBase(std::string moduleName, u32 alwaysChangedSources);

    /// Calls f with the index of each set bit, ascending.
    template <class F>
    static void ForEachBit(u64 mask, F&& f) {
        for (; mask != 0; mask &= mask - 1) {
            f(static_cast<u32>(std::countr_zero(mask)));
        }
    }

    /// As the user set it; survives switching the cell off.
    alignas(64) std::array<float, cellCount> rawAmount{};
    /// rawAmount of a cell that is on, else 0: what all arithmetic uses.
    alignas(64) std::array<float, cellCount> effectiveAmount{};
    /// Per source, bit d: the cell is on.
    std::array<u32, S> activated;
    /// Per source, bit d: effectiveAmount is not 0. The two always agree.
    std::array<u32, S> nonZero{};
    u32 alwaysChanged;
    u32 changedSources;
    /// Destinations of which a cell changed: to be computed anew.
    u32 changedDestinations = 0;
    /// The frame count of the last block.
    u32 lastFrames = 0;

private:
    bool IsActivated(u32 cell) const { return (activated[cell % S] >> (cell / S) & 1U) != 0; }
    void SetAmount(u32 cell, float amount);
    void SetActivated(u32 cell, bool on);
    void UpdateCell(u32 cell, float effective);

    /// The curve and range of every amount.
    ModuleParam amountParameter = Policy::MakeAmount();
    std::vector<ModuleParam> records;
    std::vector<IRoutingObserver*> observers;
};

template <u32 S, u32 D, class Policy>
ModulationsBase<S, D, Policy>::ModulationsBase(std::string moduleName, u32 alwaysChangedSources)
    : Module(std::move(moduleName), 0, 0), alwaysChanged(alwaysChangedSources & allSources),
      changedSources(alwaysChanged) {
    activated.fill(allDestinations);
    amountParameter.SetValue(0.0F);
    records.assign(cellCount, amountParameter);
    ModuleParam onSwitch = ModuleParam::Stepped({}, 2, 0.0F, 1.0F);
    onSwitch.SetValue(1.0F);
    records.resize(parameterCount, onSwitch);
}

template <u32 S, u32 D, class Policy>
bool ModulationsBase<S, D, Policy>::SetParameterNormalized(u32 id, float value) {
    if (id < cellCount) {
        SetParameterValue(id, amountParameter.ToValue(value));
    } else if (id < parameterCount) {
        SetActivated(id - cellCount, value > 0.5F);
    }
    return true;
}

template <u32 S, u32 D, class Policy>
bool ModulationsBase<S, D, Policy>::SetParameterValue(u32 id, float value) {
    if (id < cellCount) {
        SetAmount(id, std::clamp(value, amountParameter.minValue, amountParameter.maxValue));
    } else if (id < parameterCount) {
        SetActivated(id - cellCount, value > 0.5F);
    }
    return true;
}

template <u32 S, u32 D, class Policy>
float ModulationsBase<S, D, Policy>::GetParameterNormalized(u32 id) {
    if (id < cellCount) {
        return amountParameter.ToNormalized(rawAmount[id]);
    }
    if (id < parameterCount) {
        return IsActivated(id - cellCount) ? 1.0F : 0.0F;
    }
    return 0.0F;
}

template <u32 S, u32 D, class Policy>
void ModulationsBase<S, D, Policy>::GetParameterName(u32 id, ParameterNameWriter& writer) {
    if (id >= parameterCount) {
        return;
    }
    const u32 cell = id % cellCount;
    WritePrefix(writer);
    AppendDestinationName(cell / S, writer);
    writer.Append("_");
    AppendSourceName(cell % S, writer);
    writer.Append("_");
    writer.Append(id < cellCount ? Policy::amountWord : Policy::activatedWord);
}

template <u32 S, u32 D, class Policy>
void ModulationsBase<S, D, Policy>::AppendSourceName(u32 source, ParameterNameWriter& writer) {
    writer.Append(Policy::sourceWord);
    writer.Append(source + 1);
}

template <u32 S, u32 D, class Policy>
void ModulationsBase<S, D, Policy>::AppendDestinationName(u32 destination, ParameterNameWriter& writer) {
    writer.Append(Policy::destinationWord);
    writer.Append(destination + 1);
}

template <u32 S, u32 D, class Policy>
float ModulationsBase<S, D, Policy>::RowSum(u32 destination) const {
    float sum = 0.0F;
    for (u32 s = 0; s < S; ++s) {
        sum += effectiveAmount[Cell(destination, s)];
    }
    return sum;
}

template <u32 S, u32 D, class Policy>
u32 ModulationsBase<S, D, Policy>::RoutedDestinations() const {
    u32 routed = 0;
    for (const u32 destinations : nonZero) {
        routed |= destinations;
    }
    return routed;
}

template <u32 S, u32 D, class Policy>
void ModulationsBase<S, D, Policy>::SetAmount(u32 cell, float amount) {
    // A broken write must not reach the sums: it would stay there until the next one.
    if (amount == rawAmount[cell] || !std::isfinite(amount)) {
        return;
    }
    rawAmount[cell] = amount;
    records[cell].SetValue(amount);
    UpdateCell(cell, IsActivated(cell) ? amount : 0.0F);
}

template <u32 S, u32 D, class Policy>
void ModulationsBase<S, D, Policy>::SetActivated(u32 cell, bool on) {
    const u32 bit = 1U << (cell / S);
    u32& word = activated[cell % S];
    if (((word & bit) != 0) == on) {
        return;
    }
    word ^= bit;
    records[cellCount + cell].SetValue(on ? 1.0F : 0.0F);
    UpdateCell(cell, on ? rawAmount[cell] : 0.0F);
}

template <u32 S, u32 D, class Policy>
void ModulationsBase<S, D, Policy>::UpdateCell(u32 cell, float effective) {
    const u32 source = cell % S;
    const u32 destination = cell / S;
    const u32 bit = 1U << destination;
    effectiveAmount[cell] = effective;
    changedDestinations |= bit;
    const bool carries = effective != 0.0F;
    if (((nonZero[source] & bit) != 0) == carries) {
        return;
    }
    nonZero[source] ^= bit;
    for (IRoutingObserver* observer : observers) {
        observer->OnRoutingChanged(source, destination, carries);
    }
}

} // namespace Velmora::dsp
