// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"
#include "dsp/modulation/PolyModulations.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "vocoder/core/kernels/BandLanes.h"

#include <array>

namespace Velmora::Processor {

/// The patch panel between rectifiers and VCAs: scales each analysis band, freezes all control signals as
/// they are scaled then, and routes any analysis band to any synthesis band. There are 32 signals: 16 bands
/// of lane 0, the smoothed envelopes, then 16 bands of lane 1, the direct rectifier signals; both lanes take
/// the same routes.
///
/// There are no output channels. The rectifiers write into SourcePointers
/// before Process; OutputPointers is what the VCAs read after it. Routing swaps pointers: the bypass, band n
/// to band n, copies nothing.
class PatchBay final : public dsp::UnitModule {
public:
    static constexpr u32 bandCount = Processor::bandCount;
    static constexpr u32 laneCount = 2;
    static constexpr u32 signalCount = laneCount * bandCount;

    static constexpr u32 routeCount = bandCount * bandCount;
    /// Behind the routes.
    enum Parameter : u32 {
        FirstGainBand = routeCount,
        SampleHold = FirstGainBand + bandCount,
        Activated,
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;
    static_assert(parameterCount == 274);
    /// The route from an analysis band to a synthesis band, both counted from 1.
    static constexpr u32 RouteId(u32 analysis, u32 synthesis) {
        return bandCount * (synthesis - 1) + (analysis - 1);
    }
    enum Input : u32 { SampleHoldModulation, InputCount };

    PatchBay();

    /// A route's position is its amount, the middle being 0, and above the middle switches it on: a negative
    /// amount is kept but carries nothing. True for a route, and for "SampleHold" above 0.5; false means that
    /// nothing was routed, not that the write was refused.
    bool SetParameterNormalized(u32 id, float value) override;
    /// Routes likewise, by the position that the value has. Always true.
    bool SetParameterValue(u32 id, float value) override;

    void OnInitialize(float sampleRate, u32 maxBlockFrames) override;
    /// The held signals become zero; a hold in progress goes on.
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    /// True when the block has neither hold nor route, so that each band drives its own, scaled by Gains. An
    /// owner that has the bands in tiles then shows them to Pass, in order, in place of Process.
    bool IsStraight(const dsp::ProcessContext& context);
    void Pass(const LaneTile& envelopes, const LaneTile& controls, u32 offset, u32 frames);
    /// Comes before the sources are written again.
    void EndStraight();
    /// One of each band; up to date from UpdateParameters on.
    const float* Gains() const { return gains.data(); }

    /// 32 buffers of maxBlockSize samples, scaled in place by Process. Valid from OnInitialize on.
    float* const* SourcePointers() { return sourcePointers.data(); }
    /// 32 buffers of maxBlockSize samples. The table stays, its pointers change with every Process.
    const float* const* OutputPointers() const { return outputPointers.data(); }

private:
    using Matrix = dsp::PolyModulations<bandCount, bandCount, laneCount, 1, dsp::DefaultModulationPolicy>;

    bool Route(u32 id, float position);
    void Hold();
    void ScaleSources(u32 numFrames);
    void SelectOutputs();
    bool AnyDestinationRouted() const;

    Matrix matrix;
    std::array<float*, signalCount> sourcePointers{};
    std::array<const float*, signalCount> outputPointers{};
    std::array<float*, signalCount> holdPointers{};
    dsp::BlockPool holdBuffers;
    std::array<float, bandCount> gains{};
    /// The last sample of all signals, as the last full block in tiles had it.
    std::array<float, signalCount> lastPassed{};
    bool holdsPassed = false;
    /// The last block came in tiles.
    bool wasStraight = false;
    bool holding = false;
    /// The last run of the matrix had a route.
    bool routed = false;
    u32 maxBlockSize = 0;
};

} // namespace Velmora::Processor
