// SPDX-License-Identifier: GPL-3.0-or-later
// The engine's voice against the model, sample by sample.
#include "reference/VoiceModel.h"

#include "rigs/ModuleRig.h"
#include "vocoder/carrier/Oscillators.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>

namespace orphia_reference {
namespace {

using orphia::test::BlockSplit;
using orphia::test::Signal;
using Velmora::u32;
using Velmora::dsp::ADSR;
using Velmora::Processor::Oscillators;

constexpr std::size_t blockSize = 64;
constexpr double rates[] = {44100.0, 48000.0, 96000.0};
constexpr Waveform waveforms[] = {Waveform::Triangle, Waveform::Saw, Waveform::Square};

/// Level of the difference relative to the signal, in dB.
struct Deviation {
    double rms;
    double peak;
};

/// The engine's voice, set to the model's parameters.
struct EngineVoice {
    std::unique_ptr<Oscillators> voice = std::make_unique<Oscillators>();
    float coarseOffset = 0.0F;

    void Set(u32 id, double value) {
        if (voice->FindParameter(id)->PeekValue() != static_cast<float>(value)) {
            voice->SetParameterValue(id, static_cast<float>(value));
        }
    }
    void Set(Oscillators::Additional index, double value) { Set(Oscillators::ParameterId(index), value); }

    void Apply(const VoiceParameters& p) {
        const auto& [first, second] = p.oscillators;
        Set(Oscillators::Frequency, p.frequency);
        Set(Oscillators::Osc1Waveform, static_cast<double>(first.waveform));
        Set(Oscillators::Osc2Waveform, static_cast<double>(second.waveform));
        Set(Oscillators::Osc1Coarse, 0.0);
        coarseOffset = static_cast<float>(first.coarse / 120.0);
        Set(Oscillators::Osc2Coarse, second.coarse);
        Set(Oscillators::Osc2Fine, p.fine);
        Set(Oscillators::Osc1Volume, first.volumeDb);
        Set(Oscillators::Osc2Volume, second.volumeDb);
        Set(Oscillators::Osc2KeyTrack, p.keyTrack ? 1.0 : 0.0);
        Set(Oscillators::Osc1Shape, first.shape);
        Set(Oscillators::Osc2Shape, second.shape);
        Set(Oscillators::Sync, p.sync ? 1.0 : 0.0);
        Set(Oscillators::FMAmount, p.fmAmount);
    }

    Signal Run() {
        const Signal coarse(blockSize, coarseOffset);
        std::vector<const Signal*> inputs(Oscillators::InputCount, nullptr);
        inputs[Oscillators::Osc1CoarseMod] = &coarse;
        const auto outputs = orphia::test::Render(*voice, inputs, 2, BlockSplit{{20, 44}});
        EXPECT_EQ(outputs[0], outputs[1]);
        return outputs[0];
    }
};

/// Changes the parameters at the start of a block, given the time as a part of the whole run.
using Play = std::function<void(VoiceParameters&, double)>;

void Hold(VoiceParameters& /*p*/, double /*time*/) {}

Deviation Compare(VoiceParameters p, double rate, double seconds, const Play& play = Hold) {
    play(p, 0.0);
    EngineVoice engine;
    engine.Apply(p);
    // An attack without time: the envelope is 1 from the first frame on.
    engine.Set(ADSR::Attack, 0.0);
    engine.voice->Envelope().SetGate(true);
    engine.voice->Initialize(static_cast<float>(rate), blockSize);
    VoiceModel model(rate);
    const auto blocks = static_cast<std::size_t>(seconds * rate) / blockSize;
    double signal = 0.0;
    double error = 0.0;
    double signalPeak = 0.0;
    double errorPeak = 0.0;
    for (std::size_t block = 0; block < blocks; ++block) {
        play(p, static_cast<double>(block) / static_cast<double>(blocks));
        engine.Apply(p);
        const auto got = engine.Run();
        const std::vector<double> expected = model.Process(p, blockSize);
        for (std::size_t n = 0; n < blockSize; ++n) {
            const double difference = static_cast<double>(got[n]) - expected[n];
            signal += expected[n] * expected[n];
            error += difference * difference;
            signalPeak = std::max(signalPeak, std::abs(expected[n]));
            errorPeak = std::max(errorPeak, std::abs(difference));
        }
    }
    return {10.0 * std::log10(error / signal), 20.0 * std::log10(errorPeak / signalPeak)};
}

/// Oscillator 1 alone.
VoiceParameters Single(Waveform waveform, double hz, double shape) {
    VoiceParameters p;
    p.frequency = hz;
    p.oscillators[0] = {waveform, 0.0, 0.0, shape};
    p.oscillators[1].volumeDb = -70.0;
    return p;
}

std::string Name(double rate, std::initializer_list<double> values) {
    std::string name = "at " + std::to_string(rate);
    for (const double value : values) {
        name += ", " + std::to_string(value);
    }
    return name;
}

void ExpectBelow(const Deviation& d, double rmsLimit, double peakLimit, const std::string& name) {
    EXPECT_LT(d.rms, rmsLimit) << "rms in dB " << name;
    EXPECT_LT(d.peak, peakLimit) << "peak in dB " << name;
}

double Index(Waveform waveform) { return static_cast<double>(waveform); }

/// The peaks are single samples on the edges of low notes: the distance of a frame from an edge is a
/// difference of phases in single precision, divided by a small increment.
TEST(VoiceModel, WaveformsOfTheEngineAreThoseOfTheModel) {
    struct Tone {
        double hz;
        double shape;
    };
    for (const double rate : rates) {
        for (const Waveform waveform : waveforms) {
            for (const Tone& tone :
                 {Tone{50.3, 0.6}, Tone{440.0, 0.25}, Tone{3001.7, 0.0}, Tone{17000.0, 0.6}}) {
                const Deviation d = Compare(Single(waveform, tone.hz, tone.shape), rate, 0.15);
                ExpectBelow(d, -96.0, -66.0, Name(rate, {Index(waveform), tone.hz, tone.shape}));
            }
        }
    }
}

TEST(VoiceModel, PitchesStayBetweenTwentyHertzAndTwentyKilohertz) {
    for (const double shift : {-60.0, 60.0}) {
        VoiceParameters p = Single(Waveform::Triangle, shift < 0.0 ? 30.0 : 15000.0, 0.3);
        p.oscillators[0].coarse = shift;
        ExpectBelow(Compare(p, 96000.0, 0.15), -96.0, -66.0, Name(96000.0, {shift}));
    }
}

/// Each pair of waveforms once, each at one of the rates, over a second in which everything moves.
TEST(VoiceModel, MovingMixOfBothOscillatorsStaysInStep) {
    for (std::size_t i = 0; i < 9; ++i) {
        const double rate = rates[i % 3];
        VoiceParameters p = Single(waveforms[i / 3], 131.7, 0.1);
        p.oscillators[0].coarse = 120.0 * 13.0 / 128.0;
        p.oscillators[1] = {waveforms[(i + i / 3) % 3], -7.0, -4.0, 0.3};
        p.fine = 0.375;
        p.keyTrack = i % 2 == 0;
        const auto play = [](VoiceParameters& v, double time) {
            v.oscillators[0].volumeDb = time < 0.2 ? -9.0 : time < 0.4 ? -70.0 : -3.0;
            v.oscillators[1].shape = time < 0.7 ? 0.3 : 0.05;
        };
        const Deviation d = Compare(p, rate, 1.0, play);
        ExpectBelow(d, -100.0, -72.0,
                    Name(rate, {Index(p.oscillators[0].waveform), Index(p.oscillators[1].waveform)}));
    }
}

/// FM sums up the modulator's rounding, whose mean is some 1e-8 of full level, to a drift of the phase that
/// grows with time and amount. So the runs are short, and the limits follow the amount.
TEST(VoiceModel, FMDeviatesByTheRoundingOfTheModulatorOnly) {
    struct Amount {
        double amount;
        double limit;
    };
    for (const double rate : rates) {
        for (const Waveform carrier : waveforms) {
            for (const Waveform modulator : waveforms) {
                for (const Amount& fm :
                     {Amount{1.0 / 64.0, -100.0}, Amount{0.25, -88.0}, Amount{1.0, -80.0}}) {
                    VoiceParameters p = Single(carrier, rate * 35.0 / 4096.0, 0.1);
                    p.oscillators[1] = {modulator, -12.0, -70.0, 0.0};
                    p.fmAmount = fm.amount;
                    const Deviation d = Compare(p, rate, 0.05);
                    ExpectBelow(d, fm.limit, fm.limit + 30.0,
                                Name(rate, {Index(carrier), Index(modulator), fm.amount}));
                }
            }
        }
    }
}

TEST(VoiceModel, SyncedSawsSoftenEachJumpOnce) {
    for (const double rate : rates) {
        for (const double hz : {55.0, 440.0, 2000.0}) {
            for (const double position : {-5.0, 8.0, 21.0, 40.0}) {
                VoiceParameters p = Single(Waveform::Saw, hz, 0.125);
                p.sync = true;
                p.oscillators[0].coarse = 120.0 * position / 128.0;
                ExpectBelow(Compare(p, rate, 0.1), -100.0, -78.0, Name(rate, {hz, p.oscillators[0].coarse}));
            }
        }
    }
}

} // namespace
} // namespace orphia_reference
