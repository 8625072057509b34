// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/DiscriminatorModel.h"
#include "reference/FilterBankModel.h"
#include "reference/HfChannelModel.h"
#include "reference/NoiseModel.h"
#include "reference/PatchBayModel.h"
#include "reference/PreampModel.h"
#include "reference/RectifierModel.h"
#include "reference/SmootherModel.h"
#include "reference/VcaModel.h"
#include "reference/VocoderParameters.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace orphia_reference {

using Signal = std::vector<double>;

/// Rate and largest block.
struct ModelSetup {
    double sampleRate = 48000.0;
    std::size_t maxBlockSize = 64;
};

/// One complete vocoder channel.
struct VocoderChannelModel {
    VocoderChannelModel(const ModelSetup& setup, const VocoderParameters& initial, std::uint32_t noiseSeed);

    /// Renders one block of at most `maxBlockSize` samples, a multiple of 4.
    void Process(const VocoderParameters& parameters, const Signal& carrier, const Signal& modulator);

    Signal programPreamp, output; ///< of the last block
    std::array<double, bandCount> bandMeters{};
    double noiseGateLevel = 0.0;
    AttackReleaseModel voiced; ///< `voiced.level` is the voiced light
    PreampModel preamp;
    CarrierPreampModel carrierPreamp;

private:
    void BeginBlock(const VocoderParameters& parameters);
    void AnalyseProgram(const Signal& modulator);
    void MakeBuses(const Signal& carrier);
    void FollowBands();
    void Synthesize();
    void PrepareLight(const VocoderParameters& parameters);

    PreampAnalyzerModel preampAnalyzer;
    DiscriminatorModel discriminator;
    HfChannelModel hfChannel;
    WhiteNoiseModel noise;
    NoiseShapingModel noiseShaping;
    GateModel noiseGate;
    GateModel carrierGate;
    BalanceModel balance;
    FilterBankModel analyzerBank;
    std::vector<RectifierFollowerModel> rectifiers;
    PatchBayModel patchBay;
    SynthesizerBankModel synthesizerBank;
    OnePole dcBlocker;
    Signal analyzedProgram, hissControl, hfSignal, amplifiedCarrier;
    std::vector<BalanceModel::Buses> buses;
    ModelSetup modelSetup;
};

/// Front-panel lights and band meters, each 0 to 1.
struct PanelLights {
    double carrierOverload = 0.0;
    double programOverload = 0.0;
    double hiss = 0.0;
    double buzz = 0.0;
    std::array<double, bandCount> bandMeters{};
};

struct StereoSignal {
    Signal left;
    Signal right;
};

/// Two channels, the dry/wet mix and the lights.
struct StereoVocoderModel {
    StereoVocoderModel(const ModelSetup& setup, const VocoderParameters& initial, std::uint32_t seedLeft,
                       std::uint32_t seedRight);

    /// One block. `parameters` may be changed between blocks.
    StereoSignal Process(const StereoSignal& carrier, const StereoSignal& modulator);

    /// A whole signal in blocks of `maxBlockSize`; its length must be a multiple of 4.
    StereoSignal Render(const StereoSignal& carrier, const StereoSignal& modulator);

    VocoderParameters parameters;
    PanelLights lights;

private:
    void UpdateLights();

    std::array<VocoderChannelModel, 2> channels;
    std::size_t blockSize;
    SmootherModel dry;
    SmootherModel wet;
    bool first = true;
};

} // namespace orphia_reference
