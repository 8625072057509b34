// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/BodeVocoder.h"

#include "dsp/math/DenormalGuard.h"
#include "reference/VocoderModel.h"
#include "rigs/ModuleRig.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <tuple>
#include <utility>

namespace {

using namespace orphia::test;
using orphia_reference::StereoVocoderModel;
using orphia_reference::Values;
using orphia_reference::VocoderSettings;
using Velmora::Processor::BodeVocoder;
using StereoPair = std::array<Signal, 2>;

/// Values of knobs and, as modulations, offsets to their positions. The names are without the core's own.
struct Setting {
    std::string name;
    std::map<std::string, float> knobs, offsets;
};

/// The second one plays, and is neutral: neither does it clip nor hide in the noise.
const std::vector<Setting>& Settings() {
    static const std::vector<Setting> settings = [] {
        std::vector<Setting> read;
        std::ifstream file(ORPHIA_CORE_SETTINGS);
        for (std::string word; file >> word;) {
            if (word == "setting") {
                std::getline(file, read.emplace_back().name);
            } else if (word[0] == '+') {
                file >> read.back().offsets[word.substr(1)];
            } else {
                file >> read.back().knobs[word];
            }
        }
        return read;
    }();
    return settings;
}

/// The knobs behind the inputs of modulations, from the first on.
constexpr const char* modulated[] = {"AnalyzerRectifiers_Attack",
                                     "AnalyzerRectifiers_Release",
                                     "Wet",
                                     "NoiseCarrierBalance_NoiseCarrierBalance",
                                     "SynthesizerFilterBank_Shift",
                                     "SynthesizerFilterBank_Width",
                                     "CarrierPreamp_CarrierLevel",
                                     "Preamp_ProgramLevel",
                                     "PatchBay_SampleHold"};

/// A stereo core that plays: its start values would leave it silent.
struct CoreRig {
    explicit CoreRig(float sampleRate = 44100.0F, u32 blockSize = 44, std::size_t setting = 1)
        : rate(sampleRate), maxBlock(blockSize) {
        SeedNoise();
        for (u32 id = 0; id < BodeVocoder::parameterCount; ++id) {
            const std::string name = NameOf(*core, id);
            ids[name.substr(name.rfind("BodeVocoder_") + 12)] = id;
        }
        Apply(Settings()[std::min<std::size_t>(setting, 1)]);
        Apply(Settings()[setting]);
        offsets.clear();
        core->Initialize(rate, maxBlock);
    }
    void SeedNoise() {
        core->SeedChannelNoise(0, 12345);
        core->SeedChannelNoise(1, 54321);
    }
    void Apply(const Setting& setting) {
        for (const auto& [name, value] : setting.knobs) {
            core->SetParameterValue(ids.at(name), value);
        }
        offsets = setting.offsets;
    }
    float Position(const std::string& name) { return core->GetParameterNormalized(ids.at(name)); }
    /// What the knobs and their modulations come to.
    VocoderSettings Effective() {
        Values values;
        for (const auto& [name, id] : ids) {
            values[name] = static_cast<double>(core->FindParameter(id)->PeekValue());
        }
        BodeVocoder moved;
        for (const auto& [name, offset] : offsets) {
            moved.SetParameterNormalized(ids.at(name), std::clamp(Position(name) + offset, 0.0F, 1.0F));
            values[name] = static_cast<double>(moved.FindParameter(ids.at(name))->PeekValue());
        }
        return {values, offsets.contains("SynthesizerFilterBank_Shift")};
    }
    /// Six outputs: mix, carrier preamps, program preamps.
    std::vector<Signal> Run(const StereoPair& carrier, const StereoPair& modulator, const BlockSplit& split) {
        const Velmora::dsp::DenormalGuard guard;
        std::vector<const Signal*> inputs = {carrier.data(), &carrier[1]};
        std::array<Signal, std::size(modulated)> modulations;
        for (std::size_t i = 0; i < std::size(modulated); ++i) {
            const bool isMoved = offsets.contains(modulated[i]);
            modulations[i].assign(carrier[0].size(), isMoved ? offsets[modulated[i]] : 0.0F);
            inputs.push_back(isMoved ? &modulations[i] : nullptr);
        }
        return Render(*core, inputs, BodeVocoder::OutputCount, split, {modulator.data(), &modulator[1]});
    }
    std::vector<Signal> Run(const StereoPair& carrier, const StereoPair& modulator) {
        return Run(carrier, modulator, BlockSplit::Of(maxBlock));
    }

    std::unique_ptr<BodeVocoder> core = std::make_unique<BodeVocoder>();
    std::map<std::string, u32> ids;
    std::map<std::string, float> offsets;
    float rate;
    u32 maxBlock;
};

/// Something like speech: a buzz with a wandering spectrum, then hiss, then a pause, three times a second.
/// The right side is elsewhere in its cycle, so that the channels decide and saturate at different times.
StereoPair Speech(std::size_t frames, float rate) {
    StereoPair pair;
    for (const u32 side : {0U, 1U}) {
        const Signal white = Noise(frames + 1, 0.3F, side + 1);
        for (std::size_t n = 0; n < frames; ++n) {
            const float t = static_cast<float>(n) / rate + 0.11F * static_cast<float>(side);
            const float part = std::fmod(t * 3.0F, 1.0F);
            float sum = 0.0F;
            for (float k = 1.0F; k < 25.0F && part < 0.5F; ++k) {
                sum += 0.08F * std::sin(6.2831853F * 130.0F * k * t) /
                       (1.0F + 0.2F * std::abs(k - 6.0F - 4.0F * std::sin(5.0F * t)));
            }
            pair[side].push_back(part >= 0.5F && part < 0.8F ? white[n + 1] - white[n] : sum);
        }
    }
    return pair;
}

/// Detuned sawtooth voices.
StereoPair Chord(std::size_t frames, float rate) {
    StereoPair pair{Signal(frames), Signal(frames)};
    for (std::size_t n = 0; n < frames; ++n) {
        for (const float hz : {110.0F, 164.8F, 220.0F, 277.2F}) {
            const float turns = hz * static_cast<float>(n) / rate;
            pair[0][n] += 0.15F * (2.0F * std::fmod(turns, 1.0F) - 1.0F);
            pair[1][n] += 0.15F * (2.0F * std::fmod(1.003F * turns, 1.0F) - 1.0F);
        }
    }
    return pair;
}

template <class Sample = float>
std::array<std::vector<Sample>, 2> Part(const StereoPair& pair, std::size_t from, std::size_t to) {
    const auto cut = [&](const Signal& s) { return std::vector<Sample>(&s[from], s.data() + to); };
    return {cut(pair[0]), cut(pair[1])};
}

TEST(BodeVocoder, SoundsAndLightsAsTheCircuitModelAtEverySettingAndRate) {
    // The rounding of the single-precision filter banks sets the limit in dB; it grows with the rate.
    for (const auto& [rate, block, limit] :
         {std::tuple(44100.0F, 44U, -95.0), std::tuple(192000.0F, 192U, -85.0)}) {
        // The lights are read after these many blocks, in the voiced, the unvoiced and the silent part, and
        // around a change to the next setting.
        const std::size_t stops[] = {0, 1, 60, 170, 300, 510, 512, 600, 760, 1000};
        const StereoPair carrier = Chord(1000 * block, rate);
        const StereoPair modulator = Speech(1000 * block, rate);
        for (std::size_t i = 0; i + 1 < Settings().size(); ++i) {
            CoreRig rig(rate, block, i);
            StereoVocoderModel model(static_cast<double>(rate), block, 12345, 54321);
            for (std::size_t stop = 1; stop < std::size(stops); ++stop) {
                const std::size_t from = stops[stop - 1] * block;
                const std::size_t to = stops[stop] * block;
                if (stops[stop - 1] == 510) {
                    rig.Apply(Settings()[i + 1]);
                }
                SCOPED_TRACE(Settings()[i].name + ", block " + std::to_string(stops[stop - 1]));
                const auto split = BlockSplit::Random(block, rate < 1e5F ? 40 : 0, static_cast<u32>(stop));
                const auto expected = model.Render(rig.Effective(), Part<double>(carrier, from, to),
                                                   Part<double>(modulator, from, to), split.sizes);
                const auto outputs = rig.Run(Part(carrier, from, to), Part(modulator, from, to), split);
                for (const u32 side : {0U, 1U}) {
                    // Low and narrow bands round more.
                    EXPECT_LT(orphia_reference::DifferenceDb(outputs[side], expected[side]),
                              limit + (i == 0 ? 15.0 : 0.0));
                }
                for (const auto& [light, value] : model.Lights()) {
                    EXPECT_NEAR(rig.Position(light), value, 1e-3) << light;
                }
            }
        }
    }
}

TEST(BodeVocoder, NeitherBlockSplitsNorInstructionSetsNorAPastBeforeTheResetShow) {
    const StereoPair carrier = Chord(44100, 44100.0F);
    const StereoPair modulator = Speech(44100, 44100.0F);
    const std::vector<Signal> first = CoreRig().Run(carrier, modulator);
    for (const auto* kernels : Velmora::Processor::AvailableVocoderKernels()) {
        for (const BlockSplit& split : {BlockSplit::Of(4), BlockSplit::Random(44, 500, 21)}) {
            CoreRig rig;
            rig.core->UseKernels(*kernels);
            EXPECT_EQ(rig.Run(carrier, modulator, split), first)
                << kernels->name << ", blocks of " << split.sizes[0];
        }
    }
    CoreRig rig;
    StereoPair loud = Chord(4410, 44100.0F);
    for (Signal& side : loud) {
        std::transform(side.begin(), side.end(), side.begin(), [](float x) { return 30.0F * x; });
    }
    rig.Run(modulator, carrier);
    rig.Run(loud, loud);
    EXPECT_GT(rig.Position("PreampOverloadLED"), 0.0F);
    EXPECT_GT(rig.Position("CarrierPreampOverloadLED"), 0.0F);
    rig.core->Reset(true);
    rig.SeedNoise();
    const StereoPair silence = {Signal(44), Signal(44)};
    rig.Run(silence, silence);
    EXPECT_EQ(rig.Position("PreampOverloadLED") + rig.Position("CarrierPreampOverloadLED"), 0.0F);
    rig.core->Reset(true);
    rig.SeedNoise();
    EXPECT_EQ(rig.Run(carrier, modulator), first);
    CoreRig moved(96000.0F, 88);
    moved.Run(modulator, carrier);
    moved.maxBlock = 44;
    moved.core->Initialize(44100.0F, moved.maxBlock);
    moved.SeedNoise();
    EXPECT_EQ(moved.Run(carrier, modulator), first) << "another rate before";
}

TEST(BodeVocoder, APanelThatLeadsEachBandToItselfSoundsAsNone) {
    const StereoPair carrier = Chord(13200, 44100.0F);
    const StereoPair modulator = Speech(13200, 44100.0F);
    for (const BlockSplit& split : {BlockSplit::Of(44), BlockSplit::Random(44, 100, 7)}) {
        CoreRig plain;
        CoreRig patched;
        for (CoreRig* rig : {&plain, &patched}) {
            rig->Apply({{}, {{"PatchBay_GainBand3", 0.6F}, {"PatchBay_GainBand11", 0.3F}}, {}});
        }
        for (u32 band = 1; band <= 16; ++band) {
            const std::string name = std::to_string(band);
            patched.Apply({{}, {{"PatchBay_Analysis" + name + "_Synthesis" + name, 1.0F}}, {}});
        }
        for (const auto& [activated, hold] :
             {std::pair(0.0F, 0.0F), {1.0F, 0.0F}, {0.0F, 0.0F}, {0.0F, 1.0F}, {0.0F, 0.0F}, {0.0F, 1.0F}}) {
            for (CoreRig* rig : {&plain, &patched}) {
                rig->Apply({{}, {{"PatchBay_SampleHold", hold}}, {}});
            }
            patched.Apply({{}, {{"PatchBay_Activated", activated}}, {}});
            EXPECT_EQ(plain.Run(carrier, modulator, split), patched.Run(carrier, modulator, split))
                << activated << hold << ", blocks of " << split.sizes[0];
        }
    }
}

TEST(BodeVocoder, BandsThatRestInSilenceGoOnAsThoseThatRun) {
    // With a route there is no rest, which the test above shows to be no other sound.
    CoreRig resting;
    CoreRig running;
    running.Apply({{}, {{"PatchBay_Activated", 1.0F}}, {}});
    for (u32 band = 1; band <= 16; ++band) {
        const std::string name = std::to_string(band);
        running.Apply({{}, {{"PatchBay_Analysis" + name + "_Synthesis" + name, 1.0F}}, {}});
    }
    const StereoPair carrier = Chord(22000, 44100.0F);
    const StereoPair speech = Speech(22000, 44100.0F);
    const StereoPair silence = {Signal(22000), Signal(22000)};
    std::mt19937 random{5};
    for (u32 scene = 0; scene < 45; ++scene) {
        // Now and then long enough for everything to die away; then a sound, the second time by way of the
        // panel.
        const u32 halfSeconds = scene % 15 == 0 ? 30 : 1;
        const StereoPair& modulator = scene % 15 == 14 ? speech : silence;
        resting.Apply({{}, {{"PatchBay_Analysis3_Synthesis3", scene == 29 ? 1.0F : 0.0F}}, {}});
        const float knob = static_cast<float>(random() % 100) / 100.0F;
        for (CoreRig* rig : {&resting, &running}) {
            rig->Apply({{},
                        {{"PatchBay_GainBand3", knob},
                         {"SynthesizerFilterBank_Shift", -1.0F},
                         {"AnalyzerRectifiers_Release", 0.01F + 0.1F * knob}},
                        {}});
        }
        for (u32 part = 0; part < halfSeconds; ++part) {
            ASSERT_EQ(resting.Run(carrier, modulator), running.Run(carrier, modulator))
                << scene << ", " << part;
        }
        for (const char* light : {"CVFB1", "CVFB9", "BuzzLED"}) {
            ASSERT_EQ(resting.Position(light), running.Position(light)) << scene;
        }
    }
}

TEST(BodeVocoder, ACoreThatSleepsGoesOnAsOneThatIsAwake) {
    // What happens at the end of a silence: a knob is set, with "+" a modulation comes and goes, "" is a
    // reset. Then inputs sound, each side of carrier and program by a letter.
    struct Event {
        std::string knob;
        float value;
        std::string sounds;
    };
    const Event events[] = {{"Wet", 1.0F, "p"},
                            {"HissLED", 0.7F, "c"},
                            {"PatchBay_GainBand3", 0.6F, "pq"},
                            {"+Preamp_ProgramLevel", 0.2F, "q"},
                            {"+SynthesizerFilterBank_Shift", 0.3F, "cpdq"},
                            {"HFChannel_HFLevel", 1.0F, "d"},
                            {"", 1.0F, "cpdq"},
                            {"Wet", 0.3F, "cdpq"},
                            {"NoiseCarrierBalance_NoiseCarrierBalance", 1.0F, "cp"},
                            {"HissBuzzDiscriminator_HissBuzzTrimmer", 0.0F, "q"},
                            {"AnalyzerRectifiers_Attack", 1.0F, ""},
                            {"CarrierPreamp_CarrierLevel", 0.7F, "cd"}};
    // A modulation keeps a core awake, here one that is too low to hold the panel.
    constexpr float rate = 8000.0F;
    CoreRig sleeping(rate, 16);
    CoreRig awake(rate, 16);
    constexpr std::size_t frames = 4000;
    const StereoPair chord = Chord(frames, rate);
    const StereoPair speech = Speech(frames, rate);
    const auto run = [&](const std::string& sounds) {
        const auto choose = [&](char letter, const Signal& sound) {
            return sounds.find(letter) == sounds.npos ? Signal(frames) : sound;
        };
        const StereoPair carrier = {choose('c', chord[0]), choose('d', chord[1])};
        const StereoPair program = {choose('p', speech[0]), choose('q', speech[1])};
        awake.offsets.insert({"PatchBay_SampleHold", 0.01F});
        ASSERT_EQ(sleeping.Run(carrier, program), awake.Run(carrier, program));
        for (u32 id = 0; id < BodeVocoder::parameterCount; ++id) {
            ASSERT_EQ(sleeping.core->GetParameterNormalized(id), awake.core->GetParameterNormalized(id))
                << id;
        }
    };
    run("cpdq");
    for (const Event& event : events) {
        SCOPED_TRACE(event.knob + ", then " + event.sounds);
        for (u32 half = 0; half < 80 && !(half > 20 && sleeping.core->Sleeps()); ++half) {
            run("");
        }
        EXPECT_TRUE(sleeping.core->Sleeps());
        EXPECT_FALSE(awake.core->Sleeps());
        for (CoreRig* rig : {&sleeping, &awake}) {
            if (event.knob.empty()) {
                rig->core->Reset(true);
            } else if (event.knob[0] == '+') {
                rig->offsets[event.knob.substr(1)] = event.value;
            } else if (event.sounds.empty()) {
                rig->Apply({{}, {{event.knob, event.value}}, {}});
            } else {
                rig->core->SetParameterNormalized(rig->ids.at(event.knob), event.value);
            }
        }
        run("");
        sleeping.offsets.clear();
        awake.offsets.clear();
        run(event.sounds);
        ASSERT_FALSE(HasFatalFailure());
    }
}

TEST(BodeVocoder, WhatMovesIsReadAsItSounds) {
    const StereoPair silence = {Signal(44100), Signal(44100)};
    const std::string filter = "SynthesizerFilterBank_ParallelBiquadSIMD_Biquad_Channel7_Stage2_Fc";
    const std::string follower = "AnalyzerRectifiers_RectifierFollower4_Release";
    CoreRig rig;
    rig.Run(silence, silence);
    const float centre = rig.Position(filter);
    const float knob = rig.Position("AnalyzerRectifiers_Release");
    EXPECT_EQ(rig.Position(follower), knob);
    rig.offsets = {{"SynthesizerFilterBank_Shift", 0.25F}, {"AnalyzerRectifiers_Release", 0.1F}};
    rig.Run(silence, silence);
    // Half of the range up: the lower edge of band 2 goes from 159 to 193.5 Hz, and all others along.
    EXPECT_NEAR((rig.Position(filter) * 23999.0F + 1.0F) / (centre * 23999.0F + 1.0F), 193.5F / 159.0F,
                1e-4F);
    EXPECT_NEAR(rig.Position(follower), knob + 0.1F, 1e-5F);
}

/// Of whatever filters: the sixty-four stages of each bank, high and low pass, gates.
bool IsCorner(const std::string& name) {
    return name.ends_with("_Fc") || name.find("_FcHP") != name.npos || name.find("_FcLP") != name.npos ||
           name.ends_with("HFAttack") || name.ends_with("GateAttack");
}

TEST(BodeVocoder, AnyCornerAtItsTopIsBoundedAtAnyRateAndReturnsWithItsKnob) {
    for (const float rate : {8000.0F, 44100.0F, 46000.0F, 48000.0F, 96000.0F}) {
        const u32 block = 4 * static_cast<u32>(rate / 4000.0F); // a millisecond
        const StereoPair carrier = Chord(500 * block, rate);
        const StereoPair modulator = Speech(500 * block, rate);
        CoreRig plain(rate, block);
        CoreRig turned(rate, block);
        std::size_t at = 0;
        for (CoreRig* rig : {&plain, &turned}) {
            rig->Apply({{}, {{"AnalyzerRectifiers_Release", 0.01F}, {"UnvoicedMode", 1.0F}}, {}});
        }
        /// The left sides of the next milliseconds, cyclically.
        const auto run = [&](u32 milliseconds) {
            at = at + milliseconds * block <= carrier[0].size() ? at : 0;
            const std::size_t from = std::exchange(at, at + milliseconds * block);
            const auto cut = [&](const StereoPair& sound) { return Part(sound, from, at); };
            return std::pair(plain.Run(cut(carrier), cut(modulator))[0],
                             turned.Run(cut(carrier), cut(modulator))[0]);
        };
        const float loudest = Peak(run(400).first);
        for (const auto& [name, id] : turned.ids) {
            const bool isQuality = name.ends_with("_Q") && rate == 8000.0F;
            if (IsCorner(name) || isQuality) {
                // A quality of 0 is none, and changes nothing.
                const float before = isQuality ? 0.0F : turned.Position(name);
                turned.core->SetParameterNormalized(id, isQuality ? 0.0F : 1.0F);
                EXPECT_LT(Peak(run(20).second), 16.0F * loudest) << name << ", " << rate;
                turned.core->SetParameterNormalized(id, before);
                run(120); // the lowest band is slow
                auto [expected, got] = run(20);
                std::transform(got.begin(), got.end(), expected.begin(), got.begin(), std::minus<>());
                ASSERT_LT(Peak(got), 0.02F * loudest) << name << ", " << rate;
            }
        }
        for (const auto& [name, id] : turned.ids) {
            if (name.ends_with("_Fc")) {
                const float before = turned.Position(name);
                for (const float position : {1.0F, 0.0F, before}) {
                    turned.core->SetParameterNormalized(id, position);
                    EXPECT_LT(Peak(run(20).second), 16.0F * loudest) << name << " to " << position;
                }
            }
        }
    }
}

/// RMS of the mix once the core has had a second of normal sound.
double LevelAfterRecovery(CoreRig& rig) {
    const auto length = static_cast<std::size_t>(rig.rate) / 4 * 4;
    const auto outputs = rig.Run(Chord(length, rig.rate), Speech(length, rig.rate));
    EXPECT_TRUE(AllFinite(outputs[0]) && AllFinite(outputs[1]));
    return Rms(outputs[0], length / 2);
}

TEST(BodeVocoder, SoundComesBackAfterAnyInputWhichDoesNotReachTheOtherSide) {
    CoreRig reference;
    const double healthy = LevelAfterRecovery(reference);
    const StereoPair chord = Chord(22000, 44100.0F);
    const StereoPair speech = Speech(22000, 44100.0F);
    const Signal unharmed = CoreRig().Run(chord, speech)[1];
    for (const float level : {0.0F, 1.0F, 1e-41F, 3e38F, -std::numeric_limits<float>::infinity(),
                              std::numeric_limits<float>::quiet_NaN()}) {
        for (const std::size_t gap : {1U, 97U}) {
            CoreRig rig;
            for (u32 inputs = 1; inputs < 4; ++inputs) {
                StereoPair carrier = chord;
                StereoPair modulator = speech;
                for (std::size_t n = 0; n < chord[0].size(); n += gap) {
                    carrier[0][n] = (inputs & 1U) != 0 ? level : carrier[0][n];
                    modulator[0][n] = (inputs & 2U) != 0 ? level : modulator[0][n];
                }
                const auto outputs = rig.Run(carrier, modulator);
                EXPECT_TRUE(AllFinite(outputs[0])) << level;
                EXPECT_TRUE(inputs > 1 || outputs[1] == unharmed) << level;
                EXPECT_NEAR(LevelAfterRecovery(rig), healthy, 0.2 * healthy) << level;
            }
        }
    }
}

TEST(BodeVocoder, InputsAboveFortyDecibelsCountAsForty) {
    const StereoPair chord = Chord(8800, 44100.0F);
    const StereoPair quiet = Speech(8800, 44100.0F);
    const auto shocked = [&](float level) {
        StereoPair carrier = chord;
        StereoPair modulator = quiet;
        std::fill_n(&carrier[0][4400], 44, -level);
        std::fill_n(&modulator[0][4400], 44, level);
        return CoreRig().Run(carrier, modulator);
    };
    EXPECT_EQ(shocked(1e6F), shocked(100.0F));
    EXPECT_NE(shocked(100.0F), shocked(99.9F));
}

} // namespace
