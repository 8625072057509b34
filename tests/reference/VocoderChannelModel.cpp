// SPDX-License-Identifier: GPL-3.0-or-later
#include "reference/VocoderModel.h"

namespace orphia_reference {

namespace {

constexpr double alwaysOpen = -15.0;
constexpr double fastGateAttackHz = 1591.5494;
constexpr double fastGateReleaseHz = 17.683884;
constexpr double lightThreshold = -1.7626;
const OnePoleCircuit dcBlockerCircuit{Shape::HighPass, 5.0265484};

std::vector<RectifierFollowerModel> MakeRectifiers(const ModelSetup& setup) {
    std::vector<RectifierFollowerModel> rectifiers;
    for (std::size_t band = 0; band < bandCount; ++band) {
        const RectifierCircuit circuit =
            band == 0 ? RectifierCircuit::LowestBand() : RectifierCircuit::OtherBands();
        rectifiers.emplace_back(circuit, setup.sampleRate, setup.math);
    }
    return rectifiers;
}

} // namespace

VocoderChannelModel::VocoderChannelModel(const ModelSetup& setup, const VocoderParameters& initial,
                                         std::uint32_t noiseSeed)
    : preamp(setup.sampleRate, static_cast<double>(setup.maxBlockSize), setup.math),
      preampAnalyzer(setup.sampleRate, setup.math), discriminator(setup.sampleRate, setup.math),
      hfChannel(initial.hf, setup.sampleRate, setup.math), noise{noiseSeed},
      noiseShaping(setup.sampleRate, setup.math), noiseGate(GateModel::ForBus(setup.sampleRate, setup.math)),
      carrierPreamp(setup.sampleRate, static_cast<double>(setup.maxBlockSize), setup.math),
      carrierGate(GateModel::ForBus(setup.sampleRate, setup.math)), balance(setup.sampleRate, setup.math),
      rectifiers(MakeRectifiers(setup)), patchBay(setup.maxBlockSize),
      synthesizerBank(initial.shift, initial.width, setup.sampleRate, static_cast<double>(setup.maxBlockSize),
                      setup.math),
      modelSetup(setup) {
    voiced.Set(1.0);
    analyzerBank.Design(AnalyzerPlan(), setup.sampleRate, setup.math);
    carrierGate.SetCorners(fastGateAttackHz, fastGateReleaseHz);
    dcBlocker.Design(dcBlockerCircuit, setup.sampleRate, setup.math);
}

void VocoderChannelModel::Process(const VocoderParameters& parameters, const Signal& carrier,
                                  const Signal& modulator) {
    BeginBlock(parameters);
    AnalyseProgram(modulator);
    MakeBuses(carrier);
    FollowBands();
    patchBay.Process(parameters.patch, modulator.size());
    Synthesize();
}

void VocoderChannelModel::BeginBlock(const VocoderParameters& p) {
    const bool fast = p.unvoicedMode == 0;
    noiseGate.SetCorners(fast ? fastGateAttackHz : p.gates.noiseAttack,
                         fast ? fastGateReleaseHz : p.gates.noiseRelease);
    hfChannel.BeginBlock(p.hf, fast ? fastGateAttackHz : p.gates.hfAttack,
                         fast ? fastGateReleaseHz : p.gates.hfRelease);
    voiced.Prepare(p.attackSeconds, p.releaseSeconds, modelSetup.sampleRate,
                   static_cast<double>(modelSetup.maxBlockSize));
    preamp.BeginBlock(p.programLevelDb);
    carrierPreamp.BeginBlock(p.carrierLevelDb);
    discriminator.BeginBlock(p.discriminator);
    balance.BeginBlock(p.balance, p.noiseMix);
    for (RectifierFollowerModel& rectifier : rectifiers) {
        rectifier.SetTimes(p.attackSeconds, p.releaseSeconds);
    }
    synthesizerBank.UpdateBlock(p.shift, p.width, p.bankModulated);
}

void VocoderChannelModel::AnalyseProgram(const Signal& modulator) {
    const std::size_t frames = modulator.size();
    for (Signal* s :
         {&signals.programPreamp, &signals.analyzedProgram, &signals.hissControl, &signals.hfSignal}) {
        s->resize(frames);
    }
    for (std::size_t n = 0; n < frames; ++n) {
        signals.programPreamp[n] = preamp.Step(modulator[n]);
        signals.analyzedProgram[n] = preampAnalyzer.Step(signals.programPreamp[n]);
        signals.hissControl[n] = discriminator.Step(signals.analyzedProgram[n]);
        signals.hfSignal[n] = hfChannel.Step(signals.analyzedProgram[n], signals.hissControl[n]);
    }
    preamp.overload.EndBlock(signals.programPreamp);
    if (frames > 0) {
        voiced.Step(-signals.hissControl[0] < lightThreshold ? 1.0 : 0.0);
    }
}

void VocoderChannelModel::MakeBuses(const Signal& carrier) {
    const std::size_t frames = carrier.size();
    for (Signal* s : {&signals.shapedNoise, &signals.gatedNoise, &signals.carrierPreamp,
                      &signals.gatedCarrier, &signals.carrierBus, &signals.noiseBus}) {
        s->resize(frames);
    }
    for (std::size_t n = 0; n < frames; ++n) {
        signals.shapedNoise[n] = noiseShaping.Step(noise.Next());
        signals.gatedNoise[n] = noiseGate.Step(signals.shapedNoise[n], signals.hissControl[n]);
        signals.carrierPreamp[n] = carrierPreamp.Step(carrier[n]);
        signals.gatedCarrier[n] = carrierGate.Step(signals.carrierPreamp[n], alwaysOpen);
        const BalanceModel::Buses buses = balance.Step(signals.gatedCarrier[n], signals.gatedNoise[n]);
        signals.carrierBus[n] = buses.carrier;
        signals.noiseBus[n] = buses.noise;
    }
    noiseGateLevel = frames > 0 ? noiseGate.gate : 0.0;
    carrierPreamp.overload.EndBlock(signals.carrierPreamp);
}

void VocoderChannelModel::FollowBands() {
    const std::size_t frames = signals.analyzedProgram.size();
    for (std::size_t band = 0; band < bandCount; ++band) {
        signals.analysisBand[band].resize(frames);
        for (std::size_t n = 0; n < frames; ++n) {
            const double x = analyzerBank.StepBand(band, signals.analyzedProgram[n]);
            const RectifierFollowerModel::Output out = rectifiers[band].Step(x);
            signals.analysisBand[band][n] = x;
            patchBay.Source(0, band)[n] = out.envelope;
            patchBay.Source(1, band)[n] = out.direct;
        }
        const auto end = static_cast<std::ptrdiff_t>(frames);
        signals.envelope[band].assign(patchBay.Source(0, band).begin(),
                                      patchBay.Source(0, band).begin() + end);
        signals.direct[band].assign(patchBay.Source(1, band).begin(), patchBay.Source(1, band).begin() + end);
        if (frames > 0) {
            bandMeters[band] = signals.envelope[band][0];
        }
    }
}

void VocoderChannelModel::Synthesize() {
    const std::size_t frames = signals.carrierBus.size();
    signals.filterSum.resize(frames);
    signals.output.resize(frames);
    for (Signal& s : signals.synthesisBand) {
        s.resize(frames);
    }
    for (std::size_t n = 0; n < frames; ++n) {
        BandValues bands{};
        for (std::size_t band = 0; band < bandCount; ++band) {
            const VcaModel vca{VcaModel::PolarityOfBand(static_cast<int>(band))};
            bands[band] = vca.Step(signals.carrierBus[n], signals.noiseBus[n], patchBay.Output(0, band)[n],
                                   patchBay.Output(1, band)[n]);
            signals.synthesisBand[band][n] = bands[band];
        }
        signals.filterSum[n] = synthesizerBank.Step(bands);
        signals.output[n] = dcBlocker.Step(-(signals.hfSignal[n] + signals.filterSum[n]));
    }
}

Complex VocoderChannelModel::DcBlockerResponse(double frequencyHz, double sampleRate) {
    return dcBlockerCircuit.Response(frequencyHz, sampleRate);
}

Complex VocoderChannelModel::FrozenResponse(const VocoderParameters& p, const BandValues& controls,
                                            double frequencyHz, double sampleRate) {
    const BankPlan plan = SynthesizerPlan(p.shift, p.width);
    Complex sum = 0.0;
    for (std::size_t band = 0; band < bandCount; ++band) {
        const VcaModel vca{VcaModel::PolarityOfBand(static_cast<int>(band))};
        sum += vca.SmallSignalGain() * controls[band] * plan[band].Response(frequencyHz, sampleRate);
    }
    return -sum * CarrierPreampModel::Response(p.carrierLevelDb, frequencyHz, sampleRate) *
           GateModel::BusOpenGain() * BalanceModel::Response(frequencyHz, sampleRate) *
           DcBlockerResponse(frequencyHz, sampleRate);
}

} // namespace orphia_reference
