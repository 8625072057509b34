// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/LateParameters.h"
#include "dsp/framework/ModuleContainer.h"
#include "dsp/framework/UnitModule.h"
#include "vocoder/core/kernels/VocoderKernels.h"

#include <array>
#include <string>
#include <utility>
#include <vector>

namespace Velmora::Processor {

/// One band's way from sound to control signal at one rate: full-wave rectifier, one-pole and biquad
/// low-pass, clip at 0. As everything before the clip is linear, one factor in front stands for all of them.
struct RectifierCircuit {
    enum Type { LowestBand, OtherBand };

    RectifierCircuit(Type type, double sampleRate);
    /// Puts the circuit into a lane.
    void WriteTo(RectifierLanes& lanes, u32 band) const;

private:
    float gainPositive;
    float gainNegative;
    float bias;
    double poleCarry;
    double pull;
    double carry;
};

/// The times of one band's follower: the parameters that hosts see per band. They follow those of
/// AnalyzerRectifiers, which runs the sixteen bands in lanes; this module has no block of its own.
class RectifierFollower final : public dsp::UnitModule {
public:
    enum Parameter : u32 { Attack, Release, ParameterCount };
    static constexpr u32 parameterCount = ParameterCount;

    explicit RectifierFollower(std::string moduleName);

    /// "Attack" and "Release", in seconds; the 1/e times of the envelope.
    static std::vector<dsp::ModuleParam> DeclareTimes();
    /// Time of a smoother for a parameter in seconds.
    static double SmootherTime(float seconds);

    /// SetParameterValue of both times; costs two comparisons while they are what they were.
    void SetTimes(float attackSeconds, float releaseSeconds);

    void OnInitialize(float /*sampleRate*/, u32 /*maxBlockSize*/) override {}
    void OnReset(bool /*hard*/) override {}
    bool UpdateParameters(dsp::ProcessContext& /*context*/) override { return true; }
    bool Process(dsp::ProcessContext& /*context*/) override { return false; }
};

namespace details {

template <class Indices>
struct SixteenFollowers;

template <std::size_t... Indices>
struct SixteenFollowers<std::index_sequence<Indices...>> {
    template <std::size_t>
    using Follower = RectifierFollower;
    using Container = dsp::ModuleContainer<Follower<Indices>...>;
};

} // namespace details

/// The sixteen rectifier followers of the analyser with one "Attack" and one "Release" in seconds for all.
/// They run in lanes, several bands per vector operation.
///
/// Inputs 0 to 15 the bands, then the modulations. Outputs 0 to 15 the smoothed envelopes, 16 to 31 the
/// direct rectifier signals, before attack and release.
class AnalyzerRectifiers final
    : public dsp::LateParameters<details::SixteenFollowers<std::make_index_sequence<bandCount>>::Container> {
public:
    /// Behind those of the followers.
    enum Parameter : u32 { Attack, Release, ParameterCount };
    static constexpr u32 parameterCount = childParameterCount + ParameterCount;
    enum Input : u32 { AttackModulation = bandCount, ReleaseModulation, InputCount };

    explicit AnalyzerRectifiers(std::string moduleName = "AnalyzerRectifiers");

    void OnInitialize(float newSampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    /// Parts of a run for an owner that has the bands in tiles; UpdateParameters comes before, FinishBlock
    /// ends the block. FollowTile turns the bands into the direct signals, WriteTile writes both to buffers.
    void FollowTile(LaneTile& bands, u32 frames, LaneTile& envelopes) {
        kernels->runRectifiers(lanes, bands.Data(), envelopes.Data(), frames);
    }
    void WriteTile(const LaneTile& envelopes, const LaneTile& direct, u32 frames, float* const* outputs,
                   u32 offset) const;
    /// Of the first tile of a block.
    void SetMeters(const LaneTile& envelopes);
    /// Whether silence, however long, leaves all states as they are, with both signals at 0.
    bool RestsInSilence() const;
    void FinishBlock();

    void UseKernels(const VocoderKernels& set) { kernels = &set; }

    /// The values in seconds that the followers run with, modulation included.
    float attack = 0.0F;
    float release = 0.0F;
    /// First smoothed sample of the last block, per band.
    std::array<float, bandCount> meterValues{};

private:
    template <std::size_t... Indices>
    explicit AnalyzerRectifiers(std::string moduleName, std::index_sequence<Indices...> indices);

    double SmootherCoefficient(float seconds) const;
    void CatchUp() override;
    void HealLanes();
    void ClearLane(u32 band);

    const VocoderKernels* kernels = &SelectVocoderKernels();
    double sampleRate = 44100.0;
    /// A block has run since the followers got the times.
    bool followersBehind = false;
    /// The times behind the present coefficients.
    float preparedAttack = 0.0F;
    float preparedRelease = 0.0F;
    RectifierLanes lanes;
};

} // namespace Velmora::Processor
