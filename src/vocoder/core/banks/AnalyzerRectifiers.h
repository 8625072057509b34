// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleContainer.h"
#include "vocoder/core/banks/RectifierFollower.h"
#include "vocoder/core/kernels/RectifierLanes.h"
#include "vocoder/core/kernels/VocoderKernels.h"

#include <array>

namespace Velmora::Processor {

struct LaneTile;

namespace details {

template <class Module, class Indices>
struct Sixteen;

template <class Module, std::size_t... Indices>
struct Sixteen<Module, std::index_sequence<Indices...>> {
    template <std::size_t>
    using Repeat = Module;
    using Container = dsp::ModuleContainer<Repeat<Indices>...>;
};

} // namespace details

/// A container of one module per band.
template <class Module>
using BandContainer = typename details::Sixteen<Module, std::make_index_sequence<bandCount>>::Container;

/// The sixteen rectifier followers of the analyser with one "Attack" and one "Release" in seconds for all.
/// They run in lanes, several bands per vector operation; each child keeps its parameters and its meter.
///
/// Inputs 0 to 15 the bands, 16 the modulation of "Attack", 17 that of "Release". Outputs 0 to 15 the
/// smoothed envelopes, 16 to 31 the direct rectifier signals.
class AnalyzerRectifiers final : public BandContainer<RectifierFollower> {
public:
    static constexpr u32 parameterCount = childParameterCount + 2;
    static constexpr u32 attackId = childParameterCount;
    static constexpr u32 releaseId = childParameterCount + 1;
    static constexpr u32 attackInput = bandCount;
    static constexpr u32 releaseInput = bandCount + 1;

    explicit AnalyzerRectifiers(std::string moduleName = "AnalyzerRectifiers");

    void OnInitialize(float newSampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    /// Parts of Process for an owner that gives the bands in tiles; UpdateParameters comes before,
    /// FinishBlock ends the block. The tile is used up.
    void FollowTile(LaneTile& bands, u32 frames, float* const* outputs, u32 offset);
    void FinishBlock(const float* const* outputs, u32 numFrames);

    void UseKernels(const VocoderKernels& set) { kernels = &set; }

    /// The values in seconds that the followers run with, modulation included.
    float attack = 0.0F;
    float release = 0.0F;
    /// First smoothed sample of the last block, per band.
    std::array<float, bandCount> meterValues{};

private:
    template <std::size_t... Indices>
    explicit AnalyzerRectifiers(std::string moduleName, std::index_sequence<Indices...> indices);

    void SetLane(u32 band, const RectifierFollower::Circuit& circuit);
    double SmootherCoefficient(float seconds) const;
    void HealLanes();
    void ClearLane(u32 band);

    enum Additional : u32 { Attack = 0, Release = 1 };

    const VocoderKernels* kernels = &SelectVocoderKernels();
    double sampleRate = 44100.0;
    /// The times behind the present coefficients.
    float preparedAttack = 0.0F;
    float preparedRelease = 0.0F;
    RectifierLanes lanes;
};

} // namespace Velmora::Processor
