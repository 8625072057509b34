// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ModuleRig.h"
#include "dsp/DenormalGuard.h"
#include "vocoder/BodeVocoder.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace orphia::test {

using Velmora::Processor::BodeVocoder;

struct StereoPair {
    Signal left;
    Signal right;
};

/// A stereo core that plays: raw start values would leave it silent. Parameters are named from the end of
/// their path.
class CoreRig {
public:
    explicit CoreRig(float sampleRate = 44100.0F, u32 blockSize = 44)
        : core(std::make_unique<BodeVocoder>()), rate(sampleRate), maxBlock(blockSize) {
        core->SeedChannelNoise(0, 12345);
        core->SeedChannelNoise(1, 54321);
        Set("Preamp_ProgramLevel", -10.0F);
        Set("CarrierPreamp_CarrierLevel", -10.0F);
        Set("AnalyzerRectifiers_Attack", 0.005F);
        Set("AnalyzerRectifiers_Release", 0.05F);
        Set("SynthesizerFilterBank_Shift", 0.0F);
        Set("SynthesizerFilterBank_Width", 0.0F);
        Set("HissBuzzDiscriminator_HissBuzzTrimmer", 0.5F);
        Set("NoiseCarrierBalance_NoiseCarrierBalance", 0.5F);
        Set("HFChannel_HFLevel", 0.5F);
        Set("BodeVocoder_Wet", 1.0F);
        for (u32 band = 1; band <= 16; ++band) {
            Set("PatchBay_GainBand" + std::to_string(band), 1.0F);
        }
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
    void SetNormalized(const std::string& ending, float value) {
        core->SetParameterNormalized(Find(ending), value);
    }
    float Get(const std::string& ending) { return core->GetParameterNormalized(Find(ending)); }

    void Initialize() { core->Initialize(rate, maxBlock); }

    /// Six outputs: mix, carrier preamps, program preamps.
    std::vector<Signal> Run(const StereoPair& carrier, const StereoPair& modulator, const BlockSplit& split) {
        const Velmora::dsp::DenormalGuard guard;
        std::vector<const Signal*> inputs = {&carrier.left, &carrier.right};
        inputs.resize(11, nullptr);
        return Render(*core, inputs, 6, split, {&modulator.left, &modulator.right});
    }
    std::vector<Signal> Run(const StereoPair& carrier, const StereoPair& modulator) {
        return Run(carrier, modulator, BlockSplit::Of(maxBlock));
    }

    std::unique_ptr<BodeVocoder> core;
    float rate;
    u32 maxBlock;
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

inline StereoPair SpeechPair(std::size_t frames, float rate) {
    return {SpeechLike(frames, rate, 1), SpeechLike(frames, rate, 2)};
}

inline StereoPair ChordPair(std::size_t frames, float rate) {
    return {SawChord(frames, rate, 1.0F), SawChord(frames, rate, 1.003F)};
}

} // namespace orphia::test
