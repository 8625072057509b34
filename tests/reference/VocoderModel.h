// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/BandModels.h"
#include "reference/InputModels.h"
#include "reference/PatchBayModel.h"
#include "reference/UnvoicedModels.h"

#include <map>
#include <string>

namespace orphia_reference {

using Signal = std::vector<double>;

/// Rate and largest block.
struct ModelSetup {
    double sampleRate = 48000.0;
    std::size_t maxBlockSize = 64;
    double StepLength() const { return static_cast<double>(maxBlockSize); }
};

inline constexpr double fastGateAttackHz = 1591.5494;
inline constexpr double fastGateReleaseHz = 17.683884;

inline Signal Slice(const Signal& signal, std::size_t start, std::size_t count) {
    const auto first = signal.begin() + static_cast<std::ptrdiff_t>(start);
    return {first, first + static_cast<std::ptrdiff_t>(count)};
}

/// One complete vocoder channel.
struct VocoderChannelModel {
    VocoderChannelModel(const ModelSetup& modelSetup, const VocoderParameters& initial,
                        std::uint32_t noiseSeed)
        : preamp(modelSetup.sampleRate, modelSetup.StepLength()),
          carrierPreamp(modelSetup.sampleRate, modelSetup.StepLength()),
          noiseGate(GateModel::ForBus(modelSetup.sampleRate)), setup(modelSetup),
          preampAnalyzer(PreampAnalyzerModel(setup.sampleRate)), discriminator(setup.sampleRate),
          hfChannel(initial.hf, setup.sampleRate), noise{noiseSeed}, noiseShaping(setup.sampleRate),
          carrierGate(noiseGate), balance(setup.sampleRate),
          rectifiers(bandCount, RectifierFollowerModel(false, setup.sampleRate)),
          patchBay(setup.maxBlockSize),
          synthesizerBank(initial.shift, initial.width, setup.sampleRate, setup.StepLength()),
          dcBlocker(Shape::HighPass, 5.0265484, setup.sampleRate) {
        rectifiers[0] = RectifierFollowerModel(true, setup.sampleRate);
        voiced.Set(1.0);
        voiced.Prepare(initial.attackSeconds, initial.releaseSeconds, setup.sampleRate, setup.StepLength());
        analyzerBank.Design(0.0, 0.0, setup.sampleRate);
        carrierGate.SetCorners(fastGateAttackHz, fastGateReleaseHz);
    }

    /// Renders one block of at most `maxBlockSize` samples, a multiple of 4.
    void Process(const VocoderParameters& p, const Signal& carrier, const Signal& modulator) {
        for (Signal* signal :
             {&programPreamp, &analyzedProgram, &hissControl, &hfSignal, &amplifiedCarrier, &output}) {
            signal->resize(modulator.size());
        }
        buses.resize(modulator.size());
        BeginBlock(p);
        AnalyseProgram(modulator);
        MakeBuses(carrier);
        FollowBands();
        patchBay.Process(p.patch, modulator.size());
        Synthesize();
        // The times of the light are those that the followers used in the block before.
        voiced.Prepare(p.attackSeconds, p.releaseSeconds, setup.sampleRate, setup.StepLength());
    }

    Signal programPreamp, output; ///< of the last block
    BandValues bandMeters{};
    AttackReleaseModel voiced; ///< `voiced.level` is the voiced light
    PreampModel preamp;
    CarrierPreampModel carrierPreamp;
    GateModel noiseGate;

private:
    void BeginBlock(const VocoderParameters& p) {
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
        synthesizerBank.BeginBlock(p.shift, p.width, p.bankModulated);
    }

    void AnalyseProgram(const Signal& modulator) {
        for (std::size_t n = 0; n < modulator.size(); ++n) {
            programPreamp[n] = preamp.Step(modulator[n]);
            analyzedProgram[n] = preampAnalyzer.Step(programPreamp[n]);
            hissControl[n] = discriminator.Step(analyzedProgram[n]);
            hfSignal[n] = hfChannel.Step(analyzedProgram[n], hissControl[n]);
        }
        preamp.overload.EndBlock(programPreamp);
        voiced.Step(hissControl[0] > 1.7626 ? 1.0 : 0.0);
    }

    void MakeBuses(const Signal& carrier) {
        for (std::size_t n = 0; n < carrier.size(); ++n) {
            const double gatedNoise = noiseGate.Step(noiseShaping.Step(noise.Next()), hissControl[n]);
            amplifiedCarrier[n] = carrierPreamp.Step(carrier[n]);
            buses[n] = balance.Step(carrierGate.Step(amplifiedCarrier[n], -15.0), gatedNoise);
        }
        carrierPreamp.overload.EndBlock(amplifiedCarrier);
    }

    void FollowBands() {
        for (std::size_t band = 0; band < bandCount; ++band) {
            for (std::size_t n = 0; n < analyzedProgram.size(); ++n) {
                const auto [envelope, direct] =
                    rectifiers[band].Step(analyzerBank.StepBand(band, analyzedProgram[n]));
                patchBay.Source(0, band)[n] = envelope;
                patchBay.Source(1, band)[n] = direct;
                bandMeters[band] = n == 0 ? envelope : bandMeters[band];
            }
        }
    }

    void Synthesize() {
        for (std::size_t n = 0; n < output.size(); ++n) {
            BandValues bands{};
            for (std::size_t band = 0; band < bandCount; ++band) {
                bands[band] = VcaModel(band, buses[n].carrier, buses[n].noise, patchBay.Output(0, band)[n],
                                       patchBay.Output(1, band)[n]);
            }
            output[n] = dcBlocker.Step(-(hfSignal[n] + synthesizerBank.Step(bands)));
        }
    }

    ModelSetup setup;
    Biquad preampAnalyzer;
    DiscriminatorModel discriminator;
    HfChannelModel hfChannel;
    WhiteNoiseModel noise;
    NoiseShapingModel noiseShaping;
    GateModel carrierGate;
    BalanceModel balance;
    FilterBankModel analyzerBank;
    std::vector<RectifierFollowerModel> rectifiers;
    PatchBayModel patchBay;
    SynthesizerBankModel synthesizerBank;
    OnePole dcBlocker;
    Signal analyzedProgram, hissControl, hfSignal, amplifiedCarrier;
    std::vector<BalanceModel::Buses> buses;
};

struct StereoSignal {
    Signal left;
    Signal right;
};

/// Two channels, the dry/wet mix and the lights.
struct StereoVocoderModel {
    StereoVocoderModel(const ModelSetup& setup, const VocoderParameters& initial, std::uint32_t seedLeft,
                       std::uint32_t seedRight)
        : parameters(initial), channels{VocoderChannelModel(setup, initial, seedLeft),
                                        VocoderChannelModel(setup, initial, seedRight)},
          blockSize(setup.maxBlockSize), dry(0.002, setup.sampleRate), wet(0.002, setup.sampleRate) {}

    /// A whole signal in blocks of `maxBlockSize`; its length must be a multiple of 4.
    StereoSignal Render(const StereoSignal& carrier, const StereoSignal& modulator) {
        StereoSignal out;
        for (std::size_t start = 0; start < carrier.left.size(); start += blockSize) {
            const std::size_t count = std::min(blockSize, carrier.left.size() - start);
            auto& [left, right] = channels;
            dry.BeginBlock(std::cos(0.25 * twoPi * parameters.wet));
            wet.BeginBlock(std::sin(0.25 * twoPi * parameters.wet));
            left.Process(parameters, Slice(carrier.left, start, count), Slice(modulator.left, start, count));
            right.Process(parameters, Slice(carrier.right, start, count),
                          Slice(modulator.right, start, count));
            for (std::size_t n = 0; n < count; ++n) {
                const double d = dry.Next() * 0.057048 * 0.3162;
                const double w = wet.Next() * 0.35714 * 0.3162;
                out.left.push_back(left.programPreamp[n] * d + left.output[n] * w);
                out.right.push_back(right.programPreamp[n] * d + right.output[n] * w);
            }
            UpdateLights();
        }
        return out;
    }

    /// May be changed between calls.
    VocoderParameters parameters;
    /// Front-panel lights and band meters, each 0 to 1.
    std::map<std::string, double> lights;

private:
    void UpdateLights() {
        const auto& [left, right] = channels;
        lights["_CarrierPreampOverloadLED"] =
            0.5 * (left.carrierPreamp.overload.value + right.carrierPreamp.overload.value);
        lights["_PreampOverloadLED"] = 0.5 * (left.preamp.overload.value + right.preamp.overload.value);
        lights["_HissLED"] = std::min((left.noiseGate.gate + right.noiseGate.gate) * 1561.6704, 1.0);
        lights["_BuzzLED"] = 0.5 * (left.voiced.level + right.voiced.level);
        for (std::size_t band = 0; band < bandCount; ++band) {
            lights["_CVFB" + std::to_string(band + 1)] =
                std::min((left.bandMeters[band] + right.bandMeters[band]) * 753.57947, 1.0);
        }
    }

    std::array<VocoderChannelModel, 2> channels;
    std::size_t blockSize;
    GlideModel dry, wet;
};

} // namespace orphia_reference
