// SPDX-License-Identifier: GPL-3.0-or-later
#include "processor/effects/FXVariant.h"

#include "dsp/framework/ParameterDeclaration.h"

#include <tuple>
#include <utility>
#include <vector>

namespace Velmora::Processor {

namespace {

using dsp::Chorus;
using dsp::Compressor;
using dsp::Curve;
using dsp::ModuleParam;
using Equaliser = dsp::ParamEq<5>;

constexpr u32 delayMode = FXVariant::IdOf(FXVariant::DelayType, dsp::Delay::DryWetMode);
constexpr u32 flangerMode = FXVariant::IdOf(FXVariant::FlangerType, dsp::Flanger::DryWetMode);
constexpr u32 panRateType = FXVariant::IdOf(
    FXVariant::StereoPanType, dsp::StereoPan::LFOId(dsp::StereoPan::PanLFO, dsp::LFOSimple::RateType));
constexpr u32 levelRateType = FXVariant::IdOf(
    FXVariant::StereoPanType, dsp::StereoPan::LFOId(dsp::StereoPan::LevelLFO, dsp::LFOSimple::RateType));

constexpr std::array<u32, FXVariant::typeCount + 1> firstIdsOfSlot = {0,   1,   19,  32,  48,  66, 98,
                                                                      105, 128, 144, 160, 188, 225};
static_assert(FXVariant::firstIds == firstIdsOfSlot, "presets and hosts know the parameters by their ids");
static_assert(FXVariant::ParameterId(FXVariant::ModuleType) == 225);
static_assert(FXVariant::ParameterId(FXVariant::DryWet) == 230);
static_assert(FXVariant::ParameterId(FXVariant::PanRateType) == 231);
static_assert(FXVariant::parameterCount == 232);
static_assert(FXVariant::typeCount == 12 && FXVariant::inputCount == 60);
static_assert(delayMode == 21 && flangerMode == 48 && panRateType == 189 && levelRateType == 193);

std::vector<ModuleParam> FurtherRecords() {
    return dsp::RecordsOf(
        {dsp::Declare::Switch("Dry_Wet"), dsp::Declare::Choice("StereoPan_LFOSimple_RateType", 4)});
}

} // namespace

FXVariant::FXVariant(std::string moduleName)
    : FXVariant(std::move(moduleName), std::make_index_sequence<typeCount>()) {}

template <std::size_t... types>
FXVariant::FXVariant(std::string moduleName, std::index_sequence<types...> /*all*/)
    : ModuleVariant(std::move(moduleName), FurtherRecords(), std::make_tuple(typeNames[types])...) {
    SetAdditionalValue(CopyOnBypass, 1.0F);
    LinkParameters();
    DeclareCompressor();
    DeclareChorus();
    DeclareEqualiser();
}

void FXVariant::LinkParameters() {
    linkedIds.resize(FurtherEnd);
    linkedIds[DryWet] = {delayMode, flangerMode};
    linkedIds[PanRateType] = {panRateType, levelRateType};
}

/// Both channels at one gain, in ranges that suit a mix; the start values level speech without pumping.
void FXVariant::DeclareCompressor() {
    const auto declare = [this](u32 id, Curve curve, float low, float high, float shape, float start) {
        Record(CompressorType, id).Redeclare(curve, low, high, shape);
        Start(CompressorType, id, start);
    };
    declare(Compressor::OutputGain, Curve::Linear, -24.0F, 24.0F, 0.0F, 4.0F);
    declare(Compressor::Attack, Curve::Exponential, 0.1F, 200.0F, 7.6F, 8.0F);
    declare(Compressor::Release, Curve::Exponential, 10.0F, 2000.0F, 5.3F, 120.0F);
    declare(Compressor::Threshold, Curve::Linear, -60.0F, 0.0F, 0.0F, -20.0F);
    declare(Compressor::Ratio, Curve::Exponential, 1.0F, 20.0F, 3.0F, 3.0F);
    declare(Compressor::LevelMeasureAtMs, Curve::Exponential, 0.01F, 100.0F, 9.2F, 0.1F);
    declare(Compressor::LevelMeasureReMs, Curve::Exponential, 0.01F, 1000.0F, 11.5F, 30.0F);
    declare(Compressor::GRLimit, Curve::Linear, -60.0F, 0.0F, 0.0F, -24.0F);
    Start(CompressorType, Compressor::Wet, 1.0F);
    Start(CompressorType, Compressor::KneeWidth, 6.0F);
    Start(CompressorType, Compressor::LookaheadTimeMs, 2.0F);
    Start(CompressorType, Compressor::ConfStereo, 1.0F);
    Start(CompressorType, Compressor::StereoMode, 1.0F);
}

/// A wide ensemble that leaves the bass alone.
void FXVariant::DeclareChorus() {
    Start(ChorusType, Chorus::Spread, 0.35F);
    Start(ChorusType, Chorus::Drift, 0.15F);
    Start(ChorusType, Chorus::LowCut, 100.0F);
    Start(ChorusType, Chorus::HighCut, 12000.0F);
}

/// Flat, with five bands spread over the spectrum, all ready to be turned up; knobs feel logarithmic.
void FXVariant::DeclareEqualiser() {
    struct Band {
        float mode;
        float hz;
    };
    constexpr std::array<Band, 5> bands = {
        {{3.0F, 100.0F}, {4.0F, 300.0F}, {4.0F, 1000.0F}, {4.0F, 3000.0F}, {5.0F, 8000.0F}}};
    const auto declare = [this](u32 id, Curve curve, float low, float high, float shape, float start) {
        Record(ParamEqType, id).Redeclare(curve, low, high, shape);
        Start(ParamEqType, id, start);
    };
    for (u32 band = 0; band < bands.size(); ++band) {
        Start(ParamEqType, Equaliser::OnId(band), 1.0F);
        Start(ParamEqType, Equaliser::ModeId(band), bands[band].mode);
        declare(Equaliser::GainId(band), Curve::Linear, -18.0F, 18.0F, 0.0F, 0.0F);
        declare(Equaliser::CutoffId(band), Curve::Exponential, 20.0F, 20000.0F, 6.9077554F, bands[band].hz);
        declare(Equaliser::QId(band), Curve::Exponential, 0.2F, 20.0F, 4.6051702F, 0.70710678F);
    }
    Start(ParamEqType, Equaliser::SmoothOn, 1.0F);
}

} // namespace Velmora::Processor
