// SPDX-License-Identifier: GPL-3.0-or-later
#include "reference/VocoderModel.h"

namespace orphia_reference {

namespace {

constexpr double alwaysOpen = -15.0;
constexpr double fastGateAttackHz = 1591.5494;
constexpr double fastGateReleaseHz = 17.683884;
constexpr double lightThreshold = -1.7626;
const OnePoleCircuit dcBlockerCircuit{Shape::HighPass, 5.0265484};

std::vector<RectifierFollowerModel> MakeRectifiers(double sampleRate) {
    std::vector<RectifierFollowerModel> rectifiers(
        bandCount, RectifierFollowerModel(RectifierCircuit::OtherBands(), sampleRate));
    rectifiers[0] = RectifierFollowerModel(RectifierCircuit::LowestBand(), sampleRate);
    return rectifiers;
}

} // namespace

VocoderChannelModel::VocoderChannelModel(const ModelSetup& setup, const VocoderParameters& initial,
                                         std::uint32_t noiseSeed)
    : preamp(setup.sampleRate, static_cast<double>(setup.maxBlockSize)),
      carrierPreamp(setup.sampleRate, static_cast<double>(setup.maxBlockSize)),
      preampAnalyzer(setup.sampleRate), discriminator(setup.sampleRate),
      hfChannel(initial.hf, setup.sampleRate), noise{noiseSeed}, noiseShaping(setup.sampleRate),
      noiseGate(GateModel::ForBus(setup.sampleRate)), carrierGate(GateModel::ForBus(setup.sampleRate)),
      balance(setup.sampleRate), rectifiers(MakeRectifiers(setup.sampleRate)), patchBay(setup.maxBlockSize),
      synthesizerBank(initial.shift, initial.width, setup.sampleRate,
                      static_cast<double>(setup.maxBlockSize)),
      modelSetup(setup) {
    voiced.Set(1.0);
    PrepareLight(initial);
    analyzerBank.Design(AnalyzerPlan(), setup.sampleRate);
    carrierGate.SetCorners(fastGateAttackHz, fastGateReleaseHz);
    dcBlocker.Design(dcBlockerCircuit, setup.sampleRate);
}

void VocoderChannelModel::Process(const VocoderParameters& parameters, const Signal& carrier,
                                  const Signal& modulator) {
    for (Signal* signal :
         {&programPreamp, &analyzedProgram, &hissControl, &hfSignal, &amplifiedCarrier, &output}) {
        signal->resize(modulator.size());
    }
    buses.resize(modulator.size());
    BeginBlock(parameters);
    AnalyseProgram(modulator);
    MakeBuses(carrier);
    FollowBands();
    patchBay.Process(parameters.patch, modulator.size());
    Synthesize();
    PrepareLight(parameters);
}

/// The times of the light are those that the followers used in the block before.
void VocoderChannelModel::PrepareLight(const VocoderParameters& p) {
    voiced.Prepare(p.attackSeconds, p.releaseSeconds, modelSetup.sampleRate,
                   static_cast<double>(modelSetup.maxBlockSize));
}

void VocoderChannelModel::BeginBlock(const VocoderParameters& p) {
    const bool fast = p.unvoicedMode == 0;
    noiseGate.SetCorners(fast ? fastGateAttackHz : p.gates.noiseAttack,
                         fast ? fastGateReleaseHz : p.gates.noiseRelease);
    hfChannel.BeginBlock(p.hf, fast ? fastGateAttackHz : p.gates.hfAttack,
                         fast ? fastGateReleaseHz : p.gates.hfRelease);
    preamp.BeginBlock(p.programLevelDb);
    carrierPreamp.BeginBlock(p.carrierLevelDb);
    discriminator.BeginBlock(p.discriminatorTrimmer);
    balance.BeginBlock(p.balance, p.noiseMix);
    for (RectifierFollowerModel& rectifier : rectifiers) {
        rectifier.SetTimes(p.attackSeconds, p.releaseSeconds);
    }
    synthesizerBank.UpdateBlock(p.shift, p.width, p.bankModulated);
}

void VocoderChannelModel::AnalyseProgram(const Signal& modulator) {
    for (std::size_t n = 0; n < modulator.size(); ++n) {
        programPreamp[n] = preamp.Step(modulator[n]);
        analyzedProgram[n] = preampAnalyzer.Step(programPreamp[n]);
        hissControl[n] = discriminator.Step(analyzedProgram[n]);
        hfSignal[n] = hfChannel.Step(analyzedProgram[n], hissControl[n]);
    }
    preamp.overload.EndBlock(programPreamp);
    if (!modulator.empty()) {
        voiced.Step(-hissControl[0] < lightThreshold ? 1.0 : 0.0);
    }
}

void VocoderChannelModel::MakeBuses(const Signal& carrier) {
    for (std::size_t n = 0; n < carrier.size(); ++n) {
        const double gatedNoise = noiseGate.Step(noiseShaping.Step(noise.Next()), hissControl[n]);
        amplifiedCarrier[n] = carrierPreamp.Step(carrier[n]);
        buses[n] = balance.Step(carrierGate.Step(amplifiedCarrier[n], alwaysOpen), gatedNoise);
    }
    noiseGateLevel = carrier.empty() ? 0.0 : noiseGate.gate;
    carrierPreamp.overload.EndBlock(amplifiedCarrier);
}

void VocoderChannelModel::FollowBands() {
    for (std::size_t band = 0; band < bandCount; ++band) {
        for (std::size_t n = 0; n < analyzedProgram.size(); ++n) {
            const RectifierFollowerModel::Output out =
                rectifiers[band].Step(analyzerBank.StepBand(band, analyzedProgram[n]));
            patchBay.Source(0, band)[n] = out.envelope;
            patchBay.Source(1, band)[n] = out.direct;
            bandMeters[band] = n == 0 ? out.envelope : bandMeters[band];
        }
    }
}

void VocoderChannelModel::Synthesize() {
    for (std::size_t n = 0; n < output.size(); ++n) {
        BandValues bands{};
        for (std::size_t band = 0; band < bandCount; ++band) {
            const VcaModel vca{VcaModel::PolarityOfBand(static_cast<int>(band))};
            bands[band] = vca.Step(buses[n].carrier, buses[n].noise, patchBay.Output(0, band)[n],
                                   patchBay.Output(1, band)[n]);
        }
        output[n] = dcBlocker.Step(-(hfSignal[n] + synthesizerBank.Step(bands)));
    }
}

} // namespace orphia_reference
