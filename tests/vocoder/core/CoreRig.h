// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/math/DenormalGuard.h"
#include "reference/VocoderParameters.h"
#include "rigs/ModuleRig.h"
#include "vocoder/core/BodeVocoder.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

namespace orphia::test {

using Velmora::Processor::BodeVocoder;

struct StereoPair {
    Signal left;
    Signal right;
};

using orphia_reference::VocoderParameters;

/// Levels at which the core neither clips nor hides in its noise, and neutral settings.
inline VocoderParameters PlayingParameters() {
    VocoderParameters parameters;
    parameters.programLevelDb = parameters.carrierLevelDb = -10.0;
    parameters.attackSeconds = 0.005;
    parameters.releaseSeconds = 0.05;
    parameters.shift = parameters.width = 0.0;
    parameters.balance = parameters.discriminatorTrimmer = parameters.hf.level = 0.5;
    parameters.wet = 1.0;
    parameters.patch.gainBand.fill(1.0);
    return parameters;
}

/// What the core is set by, named from the end of its path.
inline std::map<std::string, double> ValuesOf(const VocoderParameters& p) {
    std::map<std::string, double> values = {{"Preamp_ProgramLevel", p.programLevelDb},
                                            {"CarrierPreamp_CarrierLevel", p.carrierLevelDb},
                                            {"AnalyzerRectifiers_Attack", p.attackSeconds},
                                            {"AnalyzerRectifiers_Release", p.releaseSeconds},
                                            {"SynthesizerFilterBank_Shift", p.shift},
                                            {"SynthesizerFilterBank_Width", p.width},
                                            {"HissBuzzDiscriminator_HissBuzzTrimmer", p.discriminatorTrimmer},
                                            {"NoiseCarrierBalance_NoiseCarrierBalance", p.balance},
                                            {"NoiseCarrierBalance_NoiseMix", p.noiseMix ? 1.0 : 0.0},
                                            {"BodeVocoder_UnvoicedMode", p.unvoicedMode},
                                            {"BodeVocoder_NoiseGateAttack", p.gates.noiseAttack},
                                            {"BodeVocoder_NoiseGateRelease", p.gates.noiseRelease},
                                            {"BodeVocoder_HFAttack", p.gates.hfAttack},
                                            {"BodeVocoder_HFRelease", p.gates.hfRelease},
                                            {"HFChannel_HFLevel", p.hf.level},
                                            {"HFChannel_HFMode", p.hf.mode},
                                            {"HFChannel_H0HP", p.hf.highPassGain},
                                            {"PatchBay_Activated", p.patch.activated ? 1.0 : 0.0},
                                            {"BodeVocoder_Wet", p.wet}};
    for (std::size_t band = 0; band < 16; ++band) {
        values["PatchBay_GainBand" + std::to_string(band + 1)] = p.patch.gainBand[band];
        for (std::size_t source = 0; source < 16; ++source) {
            values["PatchBay_Analysis" + std::to_string(source + 1) + "_Synthesis" +
                   std::to_string(band + 1)] = p.patch.amount[band][source];
        }
    }
    return values;
}

/// A stereo core that plays: its start values would leave it silent.
class CoreRig {
public:
    explicit CoreRig(float sampleRate = 44100.0F, u32 blockSize = 44,
                     const VocoderParameters& parameters = PlayingParameters())
        : core(std::make_unique<BodeVocoder>()), rate(sampleRate), maxBlock(blockSize) {
        SeedNoise();
        Apply(parameters);
        core->Initialize(rate, maxBlock);
    }

    void SeedNoise() {
        core->SeedChannelNoise(0, 12345);
        core->SeedChannelNoise(1, 54321);
    }

    /// Sets what is not yet as in the model, which starts as the core does.
    void Apply(const VocoderParameters& p) {
        for (const auto& [name, value] : ValuesOf(p)) {
            if (value != applied[name]) {
                Set(name, static_cast<float>(value));
            }
        }
        applied = ValuesOf(p);
    }

    u32 Find(const std::string& ending) {
        for (u32 id = 0; id < BodeVocoder::parameterCount; ++id) {
            if (NameOf(*core, id).ends_with(ending)) {
                return id;
            }
        }
        ADD_FAILURE() << "no parameter ends with " << ending;
        return 0;
    }
    void Set(const std::string& ending, float value) { core->SetParameterValue(Find(ending), value); }
    float Get(const std::string& ending) { return core->GetParameterNormalized(Find(ending)); }

    /// Six outputs: mix, carrier preamps, program preamps.
    std::vector<Signal> Run(const StereoPair& carrier, const StereoPair& modulator, const BlockSplit& split) {
        const Velmora::dsp::DenormalGuard guard;
        std::vector<const Signal*> inputs = {&carrier.left, &carrier.right};
        inputs.resize(BodeVocoder::InputCount, nullptr);
        std::map<u32, Signal> modulations;
        for (const auto& [input, offset] : offsets) {
            inputs[input] = &(modulations[input] = Signal(carrier.left.size(), offset));
        }
        return Render(*core, inputs, BodeVocoder::OutputCount, split, {&modulator.left, &modulator.right});
    }
    std::vector<Signal> Run(const StereoPair& carrier, const StereoPair& modulator) {
        return Run(carrier, modulator, BlockSplit::Of(maxBlock));
    }

    std::unique_ptr<BodeVocoder> core;
    float rate;
    u32 maxBlock;
    /// Constant modulations, by their inputs.
    std::map<u32, float> offsets;

private:
    std::map<std::string, double> applied = ValuesOf(VocoderParameters());
};

/// Something like speech: a buzz with a wandering spectrum, then hiss, then a pause, three times a second.
inline Signal SpeechLike(std::size_t frames, float rate, u32 seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> white(-1.0F, 1.0F);
    Signal signal(frames);
    float previous = 0.0F;
    for (std::size_t n = 0; n < frames; ++n) {
        const float t = static_cast<float>(n) / rate;
        const float part = std::fmod(t * 3.0F, 1.0F);
        const float x = white(random);
        if (part < 0.5F) {
            float sum = 0.0F;
            for (int h = 1; h <= 24; ++h) {
                const auto k = static_cast<float>(h);
                sum += std::sin(6.2831853F * 130.0F * k * t) /
                       (1.0F + 0.2F * std::abs(k - 6.0F - 4.0F * std::sin(5.0F * t)));
            }
            signal[n] = 0.08F * sum;
        } else if (part < 0.8F) {
            signal[n] = 0.3F * (x - previous);
        }
        previous = x;
    }
    return signal;
}

/// Detuned sawtooth voices.
inline Signal SawChord(std::size_t frames, float rate, float detune) {
    Signal signal(frames);
    for (std::size_t n = 0; n < frames; ++n) {
        const float t = static_cast<float>(n) / rate;
        for (const float hz : {110.0F, 164.8F, 220.0F, 277.2F}) {
            signal[n] += 0.15F * (2.0F * std::fmod(hz * detune * t, 1.0F) - 1.0F);
        }
    }
    return signal;
}

/// The right side is elsewhere in its cycle, so that the two channels decide and saturate at different times.
inline StereoPair SpeechPair(std::size_t frames, float rate) {
    const auto delay = static_cast<std::ptrdiff_t>(0.11F * rate);
    const Signal right = SpeechLike(frames + static_cast<std::size_t>(delay), rate, 2);
    return {SpeechLike(frames, rate, 1), Signal(right.begin() + delay, right.end())};
}

inline StereoPair ChordPair(std::size_t frames, float rate) {
    return {SawChord(frames, rate, 1.0F), SawChord(frames, rate, 1.003F)};
}

/// RMS of the difference over RMS of the reference, in dB.
inline double DifferenceDb(const Signal& got, const std::vector<double>& expected) {
    double difference = 0.0;
    double power = 0.0;
    for (std::size_t n = 0; n < got.size(); ++n) {
        difference += std::pow(got[n] - expected[n], 2.0);
        power += expected[n] * expected[n];
    }
    return 10.0 * std::log10((difference + 1e-30) / (power + 1e-30));
}

} // namespace orphia::test
