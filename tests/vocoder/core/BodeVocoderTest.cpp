// SPDX-License-Identifier: GPL-3.0-or-later
#include "CoreRig.h"
#include "reference/MappingModel.h"
#include "reference/VocoderModel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>

namespace {

using namespace orphia::test;
using orphia_reference::StereoVocoderModel;
using Velmora::Processor::BodeVocoderMono;

constexpr std::size_t second = 44100;

std::vector<double> Widened(const Signal& signal) { return {signal.begin(), signal.end()}; }

/// A change of settings on the way of a comparison. Modulations are known to the core by their pins, and to
/// the model by what they make of its parameters.
struct Setting {
    std::string name;
    std::function<void(VocoderParameters&)> change;
    std::map<u32, float> offsets = {};
    std::function<void(VocoderParameters&)> modulate = [](VocoderParameters&) {};
    /// Low and narrow bands round more.
    double roundingDb = 0.0;
};

std::vector<Setting> Settings() {
    const auto modulate = [](VocoderParameters& p) {
        using namespace orphia_reference;
        p.attackSeconds = attackLaw.Offset(p.attackSeconds, 0.2F);
        p.releaseSeconds = releaseLaw.Offset(p.releaseSeconds, -0.1F);
        p.wet += static_cast<double>(-0.3F);
        p.balance += static_cast<double>(0.3F);
        p.shift = bipolarLaw.Offset(p.shift, 0.25F);
        p.width = bipolarLaw.Offset(p.width, -0.2F);
        p.bankModulated = true;
        p.carrierLevelDb = levelLaw.Offset(p.carrierLevelDb, -0.15F);
        p.programLevelDb = levelLaw.Offset(p.programLevelDb, -0.25F);
    };
    return {{"as it starts, with the levels up",
             [](VocoderParameters& p) {
                 p = VocoderParameters();
                 p.programLevelDb = p.carrierLevelDb = -10.0;
                 p.hf.level = 0.5;
                 p.wet = 0.8;
                 p.balance = 0.4;
                 p.unvoicedMode = 1;
                 p.patch.gainBand.fill(0.9);
             },
             {},
             [](VocoderParameters&) {},
             15.0},
            {"neutral", [](VocoderParameters& p) { p = PlayingParameters(); }},
            {"moved and widened bank, half dry, slow followers",
             [](VocoderParameters& p) {
                 p.shift = 0.6;
                 p.width = -0.4;
                 p.wet = 0.5;
                 // The carrier's overload light flickers between its ends.
                 p.carrierLevelDb = -4.5;
                 p.attackSeconds = 0.05;
                 p.releaseSeconds = 5.0;
             }},
            {"slow unvoiced gates, noise on the carrier bus, hot levels, inverted high frequencies",
             [](VocoderParameters& p) {
                 p.unvoicedMode = 1;
                 p.gates = {60.0, 3.0, 30.0, 5.0};
                 p.noiseMix = true;
                 p.balance = 0.3;
                 p.programLevelDb = 0.0;
                 p.carrierLevelDb = 0.0;
                 p.hf.level = 0.2;
                 p.hf.highPassGain = -3.0;
             }},
            {"patched panel, trimmed discriminator, uneven bands, open high frequencies",
             [](VocoderParameters& p) {
                 p.patch.activated = true;
                 p.patch.amount[9][2] = 0.8;
                 p.patch.amount[4][11] = 0.6;
                 p.patch.amount[4][1] = -0.5;
                 p.patch.gainBand[2] = 0.25;
                 p.discriminatorTrimmer = 0.35;
                 p.hf.mode = 1;
             }},
            {"every modulation",
             [](VocoderParameters&) {},
             {{BodeVocoder::AttackModulation, 0.2F},
              {BodeVocoder::ReleaseModulation, -0.1F},
              {BodeVocoder::WetModulation, -0.3F},
              {BodeVocoder::BalanceModulation, 0.3F},
              {BodeVocoder::ShiftModulation, 0.25F},
              {BodeVocoder::WidthModulation, -0.2F},
              {BodeVocoder::CarrierLevelModulation, -0.15F},
              {BodeVocoder::ProgramLevelModulation, -0.25F},
              {BodeVocoder::SampleHoldModulation, 0.4F}},
             modulate},
            {"a held sound",
             [](VocoderParameters& p) { p = PlayingParameters(); },
             {{BodeVocoder::SampleHoldModulation, 0.6F}},
             [](VocoderParameters& p) { p.patch.sampleHold = true; }}};
}

/// The core and the model side by side.
struct Comparison {
    Comparison(float sampleRate, u32 blockSize, const Setting& initial) : parameters(PlayingParameters()) {
        initial.change(parameters);
        rig = std::make_unique<CoreRig>(sampleRate, blockSize, parameters);
        // Neither reaches the sound.
        rig->Set("BodeVocoder_NoiseLevel", 20.0F);
        rig->Set("BodeVocoder_BuzzSwitched", 1.0F);
        model = std::make_unique<StereoVocoderModel>(orphia_reference::ModelSetup{sampleRate, blockSize},
                                                     parameters, 12345, 54321);
    }

    void Change(const Setting& setting) {
        setting.change(parameters);
        rig->Apply(parameters);
        rig->offsets = setting.offsets;
        model->parameters = parameters;
        setting.modulate(model->parameters);
    }

    void Run(const StereoPair& carrier, const StereoPair& modulator, double limitDb,
             const std::string& what) {
        const auto outputs = rig->Run(carrier, modulator);
        const auto expected = model->Render({Widened(carrier.left), Widened(carrier.right)},
                                            {Widened(modulator.left), Widened(modulator.right)});
        EXPECT_LT(DifferenceDb(outputs[0], expected.left), limitDb) << what;
        EXPECT_LT(DifferenceDb(outputs[1], expected.right), limitDb) << what;
        for (const auto& [light, value] : model->lights) {
            EXPECT_NEAR(rig->Get(light), value, 1e-3) << what << ", " << light;
        }
    }

    VocoderParameters parameters;
    std::unique_ptr<CoreRig> rig;
    std::unique_ptr<StereoVocoderModel> model;
};

StereoPair Part(const StereoPair& pair, std::size_t from, std::size_t to) {
    const auto cut = [&](const Signal& s) {
        return Signal(s.begin() + static_cast<std::ptrdiff_t>(from),
                      s.begin() + static_cast<std::ptrdiff_t>(to));
    };
    return {cut(pair.left), cut(pair.right)};
}

TEST(BodeVocoder, SoundsAndLightsAsTheCircuitModelAtEverySettingAndRate) {
    struct Rate {
        float hz;
        u32 block;
        /// The rounding of the single-precision filter banks sets the limit; it grows with the rate.
        double differenceDb;
    };
    const std::vector<Setting> settings = Settings();
    for (const auto& [rate, block, limit] : {Rate{44100.0F, 44, -95.0}, Rate{192000.0F, 192, -85.0}}) {
        // The lights are read after these many blocks, in the voiced, the unvoiced and the silent part, and
        // around a change to the next setting.
        const std::size_t stops[] = {0, 1, 60, 170, 300, 510, 512, 600, 760, 1000};
        const StereoPair carrier = ChordPair(1000 * block, rate);
        const StereoPair modulator = SpeechPair(1000 * block, rate);
        for (std::size_t i = 0; i + 1 < settings.size(); ++i) {
            Comparison comparison(rate, block, settings[i]);
            for (std::size_t stop = 1; stop < std::size(stops); ++stop) {
                if (stops[stop - 1] == 510) {
                    comparison.Change(settings[i + 1]);
                }
                const std::size_t from = stops[stop - 1] * block;
                const std::size_t to = stops[stop] * block;
                comparison.Run(Part(carrier, from, to), Part(modulator, from, to),
                               limit + settings[i].roundingDb,
                               settings[i].name + ", rate " + std::to_string(rate) + ", from block " +
                                   std::to_string(stops[stop - 1]));
            }
        }
    }
}

TEST(BodeVocoder, NeitherBlockSplitsNorInstructionSetsNorAPastBeforeTheResetShow) {
    const StereoPair carrier = ChordPair(second / 4 * 4, 44100.0F);
    const StereoPair modulator = SpeechPair(second / 4 * 4, 44100.0F);
    const std::vector<Signal> first = CoreRig().Run(carrier, modulator);
    for (const auto* kernels : Velmora::Processor::AvailableVocoderKernels()) {
        for (const BlockSplit& split :
             {BlockSplit::Of(44), BlockSplit::Of(4), BlockSplit::Random(44, 500, 21)}) {
            CoreRig rig;
            rig.core->UseKernels(*kernels);
            EXPECT_EQ(rig.Run(carrier, modulator, split), first)
                << kernels->name << ", blocks of " << split.sizes[0];
        }
    }
    CoreRig rig;
    rig.Run(modulator, carrier);
    rig.core->Reset(true);
    rig.SeedNoise();
    EXPECT_EQ(rig.Get("_PreampOverloadLED") + rig.Get("_CarrierPreampOverloadLED"), 0.0F);
    EXPECT_EQ(rig.Run(carrier, modulator), first);
}

TEST(BodeVocoderMono, AloneIsWhatItIsBesideTheOtherChannel) {
    const StereoPair carrier = ChordPair(second / 4 * 4, 44100.0F);
    const StereoPair modulator = SpeechPair(second / 4 * 4, 44100.0F);
    CoreRig rig;
    const std::vector<Signal> both = rig.Run(carrier, modulator);
    for (u32 side = 0; side < 2; ++side) {
        BodeVocoderMono mono;
        for (u32 id = 0; id < BodeVocoderMono::parameterCount; ++id) {
            mono.SetParameterValue(id, rig.core->FindParameter(id)->PeekValue());
        }
        mono.SeedNoise(side == 0 ? 12345 : 54321);
        mono.Initialize(rig.rate, rig.maxBlock);
        std::vector<const Signal*> inputs = {side == 0 ? &carrier.left : &carrier.right,
                                             side == 0 ? &modulator.left : &modulator.right};
        inputs.resize(BodeVocoderMono::InputCount, nullptr);
        const auto alone = Render(mono, inputs, BodeVocoderMono::OutputCount, BlockSplit::Of(rig.maxBlock));
        EXPECT_EQ(alone[BodeVocoderMono::CarrierPreampOut], both[BodeVocoder::CarrierPreampLeft + side]);
        EXPECT_EQ(alone[BodeVocoderMono::ProgramPreampOut], both[BodeVocoder::ProgramPreampLeft + side]);
        for (std::size_t n = 0; n < alone[0].size(); ++n) {
            // What "Wet" at its end makes of the vocoded channel.
            ASSERT_NEAR(alone[BodeVocoderMono::Vocoded][n] * 0.35714F * 0.3162F,
                        both[BodeVocoder::MixLeft + side][n], 1e-6F)
                << "side " << side << ", frame " << n;
        }
    }
}

constexpr std::size_t frames = 22000;

StereoPair Both(const Signal& signal) { return {signal, signal}; }

/// The loudest sample of the mix once the core has had a second of normal sound.
float PeakAfterRecovery(CoreRig& rig) {
    const auto length = static_cast<std::size_t>(rig.rate) / 4 * 4;
    const auto outputs = rig.Run(ChordPair(length, rig.rate), SpeechPair(length, rig.rate));
    EXPECT_TRUE(AllFinite(outputs[0]) && AllFinite(outputs[1]));
    return Peak(outputs[0], length / 2);
}

TEST(BodeVocoder, SoundComesBackAfterAnyInput) {
    CoreRig reference;
    const float healthy = PeakAfterRecovery(reference);
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    Signal square(frames);
    Signal holes = SpeechLike(frames, 44100.0F, 3);
    for (std::size_t n = 0; n < frames; ++n) {
        square[n] = n / 50 % 2 == 0 ? 1.0F : -1.0F;
        if (n % 97 == 0) {
            holes[n] = n % 2 == 0 ? nan : infinity;
        }
    }
    const std::pair<const char*, Signal> inputs[] = {
        {"silence", Signal(frames, 0.0F)},        {"full-scale square", square},
        {"direct current", Signal(frames, 1.0F)}, {"denormals", Signal(frames, 1e-41F)},
        {"not a number", Signal(frames, nan)},    {"infinity", Signal(frames, -infinity)},
        {"enormous", Signal(frames, 3e38F)},      {"speech with holes", holes}};
    for (const auto& [name, signal] : inputs) {
        CoreRig rig;
        for (const auto& [carrier, modulator] :
             {std::pair{Both(signal), SpeechPair(frames, 44100.0F)},
              std::pair{ChordPair(frames, 44100.0F), Both(signal)}, std::pair{Both(signal), Both(signal)}}) {
            const auto outputs = rig.Run(carrier, modulator);
            EXPECT_TRUE(AllFinite(outputs[0]) && AllFinite(outputs[1])) << name;
            EXPECT_NEAR(PeakAfterRecovery(rig), healthy, 0.2F * healthy) << name;
        }
        const StereoPair chord = ChordPair(frames, 44100.0F);
        const StereoPair speech = SpeechPair(frames, 44100.0F);
        CoreRig oneSided;
        CoreRig unharmed;
        EXPECT_EQ(oneSided.Run({signal, chord.right}, {signal, speech.right})[1],
                  unharmed.Run(chord, speech)[1])
            << name << " on the left must not reach the right";
    }
}

/// Sets each parameter in turn to each of the positions, and back.
void VisitEveryParameter(CoreRig& rig, std::initializer_list<float> positions) {
    const StereoPair carrier = ChordPair(rig.maxBlock * 6, rig.rate);
    const StereoPair modulator = SpeechPair(rig.maxBlock * 6, rig.rate);
    for (u32 id = 0; id < BodeVocoder::parameterCount; ++id) {
        const float before = rig.core->GetParameterNormalized(id);
        for (const float position : positions) {
            rig.core->SetParameterNormalized(id, position);
            const auto outputs = rig.Run(carrier, modulator);
            ASSERT_TRUE(AllFinite(outputs[0]) && AllFinite(outputs[1]))
                << NameOf(*rig.core, id) << " at " << position << ", rate " << rig.rate;
        }
        rig.core->SetParameterNormalized(id, before);
    }
}

TEST(BodeVocoder, AnyValueOfEveryParameterAtEveryRateLeavesTheCoreAlive) {
    for (const float rate : {8000.0F, 22050.0F, 44100.0F, 384000.0F}) {
        CoreRig rig(rate, std::max(4U, static_cast<u32>(rate * 0.0002494331F + 0.5F) * 4U));
        const float healthy = PeakAfterRecovery(rig);
        EXPECT_GT(healthy, 1e-3F) << "rate " << rate;
        VisitEveryParameter(rig, {0.0F, 1.0F});
        EXPECT_NEAR(PeakAfterRecovery(rig), healthy, 0.2F * healthy) << "rate " << rate;
        if (rate == 44100.0F) {
            VisitEveryParameter(rig, {std::numeric_limits<float>::quiet_NaN(), 1e30F, -1e30F});
            // The bank's shift has nowhere to come back from by itself: it moves on changes alone.
            rig.core->Reset(true);
            EXPECT_NEAR(PeakAfterRecovery(rig), healthy, 0.2F * healthy);
        }
    }
}

} // namespace
