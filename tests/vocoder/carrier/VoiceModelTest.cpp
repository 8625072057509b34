// SPDX-License-Identifier: GPL-3.0-or-later
// The engine's voice against the model, sample by sample.
#include "reference/VoiceModel.h"

#include "rigs/ModuleRig.h"
#include "vocoder/carrier/Oscillators.h"

#include <functional>

namespace orphia_reference {
namespace {

using Velmora::u32;
using Velmora::Processor::Oscillators;

constexpr std::size_t blockSize = 64;
constexpr double rates[] = {44100.0, 48000.0, 96000.0};
constexpr Waveform waveforms[] = {Waveform::Triangle, Waveform::Saw, Waveform::Square};

/// A part of the interval is a modulation.
void Apply(Oscillators& voice, const VoiceParameters& p) {
    const auto& [first, second] = p.oscillators;
    const std::pair<Oscillators::Additional, double> values[] = {
        {Oscillators::Frequency, p.frequency},
        {Oscillators::Osc1Waveform, static_cast<double>(first.waveform)},
        {Oscillators::Osc2Waveform, static_cast<double>(second.waveform)},
        {Oscillators::Osc1Coarse, 0.0},
        {Oscillators::Osc2Coarse, second.coarse},
        {Oscillators::Osc2Fine, p.fine},
        {Oscillators::Osc1Volume, first.volumeDb},
        {Oscillators::Osc2Volume, second.volumeDb},
        {Oscillators::Osc2KeyTrack, p.keyTrack ? 1.0 : 0.0},
        {Oscillators::Osc1Shape, first.shape},
        {Oscillators::Osc2Shape, second.shape},
        {Oscillators::Sync, p.sync ? 1.0 : 0.0},
        {Oscillators::FMAmount, p.fmAmount}};
    for (const auto& [index, value] : values) {
        voice.SetParameterValue(Oscillators::ParameterId(index), static_cast<float>(value));
    }
}

/// Changes the parameters at the start of a block, given the time as a part of the whole run.
using Play = std::function<void(VoiceParameters&, double)>;

/// The limit is of the level of the difference relative to the sound.
void ExpectAgreement(
    VoiceParameters p, double rate, double seconds, double limitDb,
    const Play& play = [](VoiceParameters&, double) {}) {
    Oscillators voice;
    // An attack without time: the envelope is 1 from the first frame on.
    voice.SetParameterValue(Velmora::dsp::ADSR::Attack, 0.0F);
    voice.Envelope().SetGate(true);
    play(p, 0.0);
    Apply(voice, p);
    voice.Initialize(static_cast<float>(rate), blockSize);
    VoiceModel model(rate);
    const auto blocks = static_cast<std::size_t>(seconds * rate) / blockSize;
    std::vector<float> sound;
    std::vector<double> expected;
    for (std::size_t block = 0; block < blocks; ++block) {
        play(p, static_cast<double>(block) / static_cast<double>(blocks));
        Apply(voice, p);
        const std::vector<float> coarse(blockSize, static_cast<float>(p.oscillators[0].coarse / 120.0));
        std::vector<const std::vector<float>*> inputs(Oscillators::InputCount, nullptr);
        inputs[Oscillators::Osc1CoarseMod] = &coarse;
        const auto outputs = orphia::test::Render(voice, inputs, 2, {{20, 44}});
        ASSERT_EQ(outputs[0], outputs[1]);
        sound.insert(sound.end(), outputs[0].begin(), outputs[0].end());
        const std::vector<double> wanted = model.Process(p, blockSize);
        expected.insert(expected.end(), wanted.begin(), wanted.end());
    }
    EXPECT_LT(DifferenceDb(sound, expected), limitDb)
        << "at " << rate << ", " << p.frequency << " Hz, waveforms "
        << static_cast<u32>(p.oscillators[0].waveform) << static_cast<u32>(p.oscillators[1].waveform)
        << ", coarse " << p.oscillators[0].coarse << ", FM " << p.fmAmount;
}

/// Oscillator 1 alone.
VoiceParameters Single(Waveform waveform, double hz, double shape, double coarse = 0.0) {
    VoiceParameters p;
    p.frequency = hz;
    p.oscillators[0] = {waveform, coarse, 0.0, shape};
    p.oscillators[1].volumeDb = -70.0;
    return p;
}

TEST(VoiceModel, WaveformsAreThoseOfTheModelBetweenTwentyHertzAndTwentyKilohertz) {
    for (const double rate : rates) {
        for (const Waveform waveform : waveforms) {
            for (const auto& [hz, shape] :
                 {std::pair(50.3, 0.6), {440.0, 0.25}, {3001.7, 0.0}, {17000.0, 0.6}}) {
                ExpectAgreement(Single(waveform, hz, shape), rate, 0.15, -96.0);
            }
        }
    }
    ExpectAgreement(Single(Waveform::Triangle, 30.0, 0.3, -60.0), 96000.0, 0.15, -96.0);
    ExpectAgreement(Single(Waveform::Triangle, 15000.0, 0.3, 60.0), 96000.0, 0.15, -96.0);
}

/// Each pair of waveforms once, each at one of the rates, over a second in which everything moves.
TEST(VoiceModel, MovingMixOfBothOscillatorsStaysInStep) {
    for (std::size_t i = 0; i < 9; ++i) {
        VoiceParameters p = Single(waveforms[i / 3], 131.7, 0.1, 120.0 * 13.0 / 128.0);
        p.oscillators[1] = {waveforms[(i + i / 3) % 3], -7.0, -4.0, 0.3};
        p.fine = 0.375;
        p.keyTrack = i % 2 == 0;
        ExpectAgreement(p, rates[i % 3], 1.0, -100.0, [](VoiceParameters& v, double time) {
            v.oscillators[0].volumeDb = time < 0.2 ? -9.0 : time < 0.4 ? -70.0 : -3.0;
            v.oscillators[1].shape = time < 0.7 ? 0.3 : 0.05;
        });
    }
}

/// FM sums up the modulator's rounding, whose mean is some 1e-8 of full level, to a drift of the phase that
/// grows with time and amount. So the runs are short, and the limits follow the amount.
TEST(VoiceModel, FMDeviatesByTheRoundingOfTheModulatorOnly) {
    for (std::size_t i = 0; i < 9; ++i) {
        for (const auto& [amount, limit] : {std::pair(1.0 / 64.0, -100.0), {0.25, -88.0}, {1.0, -80.0}}) {
            const double rate = rates[i % 3];
            VoiceParameters p = Single(waveforms[i / 3], rate * 35.0 / 4096.0, 0.1);
            p.oscillators[1] = {waveforms[(i + i / 3) % 3], -12.0, -70.0, 0.0};
            p.fmAmount = amount;
            ExpectAgreement(p, rate, 0.05, limit);
        }
    }
}

TEST(VoiceModel, SyncedSawsSoftenEachJumpOnce) {
    for (const double rate : rates) {
        for (const double hz : {55.0, 440.0, 2000.0}) {
            for (const double position : {-5.0, 8.0, 21.0, 40.0}) {
                VoiceParameters p = Single(Waveform::Saw, hz, 0.125, 120.0 * position / 128.0);
                p.sync = true;
                ExpectAgreement(p, rate, 0.1, -100.0);
            }
        }
    }
}

} // namespace
} // namespace orphia_reference
