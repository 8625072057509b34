// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/PatchBayModel.h"
#include "reference/UnvoicedModels.h"

namespace orphia_reference {

using Signal = std::vector<double>;

/// A preamp's level, which glides, and its overload light: the block's peak above the threshold, through a
/// smoother stepped per block.
struct PreampModel {
    SmootherModel level, overload;
    double peak = 0.0;

    PreampModel(double rate, double maxBlock) : level(0.1, rate), overload(1.0 / 141.0, rate / maxBlock) {}
    void BeginBlock(double levelDb) {
        level.Approach(std::pow(10.0, levelDb * 0.05));
        peak = 0.0;
    }
    double Watched(double y) {
        peak = std::max(peak, std::abs(y));
        return y;
    }
    double EndBlock() {
        overload.target = std::max(peak - 9.3125, 0.0);
        return std::clamp(overload.Next(), 0.0, 1.0);
    }
};

/// One high-pass with the level on its feed-forward sum, never clipped.
struct ProgramPreampModel : PreampModel {
    Biquad highPass;

    ProgramPreampModel(double rate, double maxBlock)
        : PreampModel(rate, maxBlock), highPass(Biquad::OfQ(Shape::HighPass, 4.8, 0.32, rate)) {}
    double Step(double x) { return Watched(highPass.Step(x * 2.8, level.Next() * 17.529)); }
};

/// Two first-order high-passes, the second clipped inside its recursion.
struct CarrierPreampModel : PreampModel {
    OnePole stage1, stage2;

    CarrierPreampModel(double rate, double maxBlock)
        : PreampModel(rate, maxBlock), stage1(Shape::HighPass, 49.998447 / rate),
          stage2(Shape::HighPass, 54.946457 / rate) {}
    double Step(double x) {
        stage2.y[0] = std::clamp(stage2.Step(stage1.Step(x * 2.8, level.Next()), -10.0), -13.5, 13.5);
        return Watched(stage2.y[0]);
    }
};

/// The high-pass in front of the analysis side.
inline Biquad PreampAnalyzerModel(double sampleRate) {
    constexpr double c = 2.2e-08, r1 = 20000.0, r2 = 39000.0;
    return {Shape::HighPass, 0.5 / (std::sqrt(r1 * r2) * c * sampleRate), 1.0 / std::sqrt(r2 / r1)};
}

/// One complete vocoder channel.
struct VocoderChannelModel {
    VocoderChannelModel(double rate, std::size_t maxBlock, std::uint32_t noiseSeed)
        : stepRate(rate / static_cast<double>(maxBlock)), preamp(rate, rate / stepRate),
          carrierPreamp(rate, rate / stepRate), noiseGate(GateModel::ForBus(rate)),
          preampAnalyzer(PreampAnalyzerModel(rate)), discriminator(rate), hfChannel(rate), noise{noiseSeed},
          noiseShaping(rate), carrierGate(noiseGate), balance(rate),
          rectifiers(bandCount, RectifierFollowerModel(false, rate)), patchBay(maxBlock),
          synthesizerBank(rate, rate / stepRate), dcBlocker(Shape::HighPass, 5.0265484 / rate),
          sampleRate(rate) {
        rectifiers[0] = RectifierFollowerModel(true, rate);
        voiced.level = 1.0;
        analyzerBank.Design(0.0, 0.0, rate);
        carrierGate.SetCorners(fastAttackHz, fastReleaseHz);
    }

    /// Renders one block of at most `maxBlock` samples, a multiple of 4.
    void Process(const VocoderSettings& settings, const double* carrier, const double* modulator,
                 std::size_t frames) {
        BeginBlock(settings);
        for (std::size_t n = 0; n < frames; ++n) {
            programPreamp[n] = preamp.Step(modulator[n]);
            const double analyzed = preampAnalyzer.Step(programPreamp[n]);
            const double hiss = discriminator.Step(analyzed);
            const double gatedNoise = noiseGate.Step(noiseShaping.Step(noise.Next()), hiss);
            buses[n] = balance.Step(carrierGate.Step(carrierPreamp.Step(carrier[n]), -15.0), gatedNoise);
            highFrequencies[n] = hfChannel.Step(analyzed, hiss);
            FollowBands(n, analyzed);
            if (n == 0) {
                voiced.Step(hiss > 1.7626 ? 1.0 : 0.0);
            }
        }
        overload = preamp.EndBlock();
        carrierOverload = carrierPreamp.EndBlock();
        patchBay.Process(settings, frames);
        for (std::size_t n = 0; n < frames; ++n) {
            BandValues bands{};
            for (std::size_t band = 0; band < bandCount; ++band) {
                bands[band] = VcaModel(band, buses[n].carrier, buses[n].noise, patchBay.outputs[band][n],
                                       patchBay.outputs[bandCount + band][n]);
            }
            output[n] = dcBlocker.Step(-(highFrequencies[n] + synthesizerBank.Step(bands)));
        }
        SetLightTimes(settings.values);
    }

    double stepRate;
    std::array<double, 512> programPreamp{}, output{}; ///< of the last block
    BandValues bandMeters{};
    AttackReleaseModel voiced; ///< `voiced.level` is the voiced light
    double overload = 0.0, carrierOverload = 0.0;
    ProgramPreampModel preamp;
    CarrierPreampModel carrierPreamp;
    GateModel noiseGate;

private:
    static constexpr double fastAttackHz = 1591.5494, fastReleaseHz = 17.683884;

    void BeginBlock(const VocoderSettings& settings) {
        const auto value = [&](const char* name) { return settings.values.at(name); };
        const bool isFast = value("UnvoicedMode") == 0.0;
        noiseGate.SetCorners(isFast ? fastAttackHz : value("NoiseGateAttack"),
                             isFast ? fastReleaseHz : value("NoiseGateRelease"));
        hfChannel.highPassGain = value("HFChannel_H0HP");
        hfChannel.isOpen = value("HFChannel_HFMode") > 0.5;
        hfChannel.level.Approach(value("HFChannel_HFLevel"));
        hfChannel.gate.SetCorners(isFast ? fastAttackHz : value("HFAttack"),
                                  isFast ? fastReleaseHz : value("HFRelease"));
        preamp.BeginBlock(value("Preamp_ProgramLevel"));
        carrierPreamp.BeginBlock(value("CarrierPreamp_CarrierLevel"));
        discriminator.BeginBlock(value("HissBuzzDiscriminator_HissBuzzTrimmer"));
        balance.glide.Approach(value("NoiseCarrierBalance_NoiseCarrierBalance"));
        balance.mixed = value("NoiseCarrierBalance_NoiseMix") > 0.5;
        for (RectifierFollowerModel& rectifier : rectifiers) {
            rectifier.follower.SetTimes(value("AnalyzerRectifiers_Attack"),
                                        value("AnalyzerRectifiers_Release"), sampleRate);
        }
        if (voiced.attack == 0.0) {
            SetLightTimes(settings.values);
        }
        synthesizerBank.BeginBlock(value("SynthesizerFilterBank_Shift"), value("SynthesizerFilterBank_Width"),
                                   settings.bankIsModulated);
    }

    /// Once a block is over: the light uses the times of the block before.
    void SetLightTimes(const Values& values) {
        voiced.SetTimes(values.at("AnalyzerRectifiers_Attack"), values.at("AnalyzerRectifiers_Release"),
                        stepRate);
    }

    void FollowBands(std::size_t n, double analyzed) {
        for (std::size_t band = 0; band < bandCount; ++band) {
            const auto [envelope, direct] = rectifiers[band].Step(analyzerBank.StepBand(band, analyzed));
            patchBay.sources[band][n] = envelope;
            patchBay.sources[bandCount + band][n] = direct;
            bandMeters[band] = n == 0 ? envelope : bandMeters[band];
        }
    }

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
    double sampleRate;
    std::array<double, 512> highFrequencies{};
    std::array<BalanceModel::Buses, 512> buses{};
};

/// Two channels, the dry/wet mix and the lights.
struct StereoVocoderModel {
    StereoVocoderModel(double rate, std::size_t maxBlock, std::uint32_t seedLeft, std::uint32_t seedRight)
        : channels{VocoderChannelModel(rate, maxBlock, seedLeft),
                   VocoderChannelModel(rate, maxBlock, seedRight)},
          dry(0.002, rate), wet(0.002, rate) {}

    /// A whole signal, left and right, in blocks of these sizes, of which the last one repeats.
    std::array<Signal, 2> Render(const VocoderSettings& settings, const std::array<Signal, 2>& carrier,
                                 const std::array<Signal, 2>& modulator,
                                 const std::vector<std::uint32_t>& sizes) {
        std::array<Signal, 2> out;
        const double wetAngle = 0.25 * twoPi * settings.values.at("Wet");
        std::size_t count = 0;
        std::size_t block = 0;
        for (std::size_t start = 0; start < carrier[0].size(); start += count, ++block) {
            const std::size_t size = sizes[std::min(block, sizes.size() - 1)];
            count = std::min(size, carrier[0].size() - start);
            dry.Approach(std::cos(wetAngle));
            wet.Approach(std::sin(wetAngle));
            for (const std::size_t side : {0U, 1U}) {
                channels[side].Process(settings, &carrier[side][start], &modulator[side][start], count);
            }
            for (std::size_t n = 0; n < count; ++n) {
                const double d = dry.Next() * 0.057048 * 0.3162;
                const double w = wet.Next() * 0.35714 * 0.3162;
                for (const std::size_t side : {0U, 1U}) {
                    out[side].push_back(channels[side].programPreamp[n] * d + channels[side].output[n] * w);
                }
            }
        }
        return out;
    }

    /// Front-panel lights and band meters, each 0 to 1.
    Values Lights() const {
        const auto& [left, right] = channels;
        Values lights{{"CarrierPreampOverloadLED", 0.5 * (left.carrierOverload + right.carrierOverload)},
                      {"PreampOverloadLED", 0.5 * (left.overload + right.overload)},
                      {"HissLED", std::min((left.noiseGate.gate + right.noiseGate.gate) * 1561.6704, 1.0)},
                      {"BuzzLED", 0.5 * (left.voiced.level + right.voiced.level)}};
        for (std::size_t band = 0; band < bandCount; ++band) {
            lights["CVFB" + std::to_string(band + 1)] =
                std::min((left.bandMeters[band] + right.bandMeters[band]) * 753.57947, 1.0);
        }
        return lights;
    }

private:
    std::array<VocoderChannelModel, 2> channels;
    SmootherModel dry, wet;
};

} // namespace orphia_reference
