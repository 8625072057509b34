// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/Sampler.h"

#include "rigs/StageRig.h"

#include <limits>

using namespace Velmora;
using namespace Velmora::dsp;
using namespace orphia::test;
using Velmora::Test::AnalogueFrequency;
using Velmora::Test::HighPass2;
using Velmora::Test::LowPass2;
using Key = SlotParameter;
using SamplePointer = std::shared_ptr<const SampleData>;

namespace {

constexpr float rate = 48000.0F;
constexpr u32 longestBlock = 512;
constexpr double middleC = 261.62558;

SamplePointer Mono(Signal left, float sampleRate = rate) {
    return std::make_shared<SampleData>(std::move(left), sampleRate, SampleData::Instrument{});
}

SamplePointer Stereo(Signal left, Signal right) {
    return std::make_shared<SampleData>(std::move(left), std::move(right), rate, SampleData::Instrument{});
}

Signal Sine(double hz, std::size_t frames, double sampleRate = rate) {
    return Velmora::Test::Tone(frames, hz, sampleRate, 0.5);
}

using Values = std::vector<std::pair<u32, float>>;

u32 First(Key key) { return Sampler::SlotId(key, 0); }

std::unique_ptr<Sampler> Make(const SamplePointer& sample, const Values& values = {}, float hostRate = rate) {
    auto sampler = std::make_unique<Sampler>();
    sampler->Initialize(hostRate, longestBlock);
    sampler->SeedRandomStart(1);
    sampler->SetSample(sample, 0);
    for (const auto& [id, value] : values) {
        sampler->SetParameterValue(id, value);
    }
    return sampler;
}

std::vector<Signal> Listen(Sampler& sampler, std::size_t frames,
                           const BlockSplit& split = BlockSplit::Of(64)) {
    const Signal clock(frames);
    return Render(sampler, {}, 2, split, {&clock});
}

/// Hz, from the first upward zero crossing behind `from` to the last before `to`.
double Pitch(const Signal& signal, std::size_t from, std::size_t to, double sampleRate) {
    double first = -1.0;
    double last = -1.0;
    int periods = -1;
    for (std::size_t n = from; n + 1 < to; ++n) {
        if (signal[n] < 0.0F && signal[n + 1] >= 0.0F) {
            last = static_cast<double>(n) + static_cast<double>(signal[n] / (signal[n] - signal[n + 1]));
            first = first < 0.0 ? last : first;
            ++periods;
        }
    }
    return periods * sampleRate / (last - first);
}

double Cents(double hz, double reference) { return 1200.0 * std::log2(hz / reference); }

} // namespace

TEST(SamplerTest, NamesAndIdsAgree) {
    Sampler sampler;
    EXPECT_EQ(NameOf(sampler, 0), "Sampler_Start");
    EXPECT_EQ(NameOf(sampler, Sampler::SlotId(Key::LoopOn, 11)), "Sampler_Slot12_LoopOn");
    EXPECT_EQ(NameOf(sampler, 219), "Sampler_Slot12_TimeStretchSync");
    EXPECT_EQ(NameOf(sampler, Sampler::parameterCount - 1), "Sampler_Filter");
}

TEST(SamplerTest, PitchFollowsTransposesNoteRootAndRates) {
    struct Case {
        const char* what;
        Values values;
        double semitones;
    };
    for (const auto& [fileRate, hostRate] : {std::pair{44100.0F, 48000.0F}, {96000.0F, 44100.0F}}) {
        const SamplePointer sample = Mono(Sine(440.0, 200000, static_cast<double>(fileRate)), fileRate);
        for (const Case& c :
             {Case{"as recorded", {}, 0.0},
              Case{"all transposes",
                   {{Sampler::Coarse, 7.0F},
                    {Sampler::Fine, -0.5F},
                    {First(Key::Transpose), -12.0F},
                    {First(Key::Fine), 0.25F}},
                   -5.25},
              Case{"no key tracking", {{Sampler::Freq, 440.0F}}, 0.0},
              Case{"root", {{First(Key::RootNote), 440.0F}}, -12.0 * std::log2(440.0 / middleC)},
              Case{"key and root",
                   {{Sampler::Freq, 300.0F}, {Sampler::KeyTrack, 1.0F}, {First(Key::RootNote), 200.0F}},
                   12.0 * std::log2(1.5)}}) {
            auto sampler = Make(sample, c.values, hostRate);
            const Signal out = Listen(*sampler, 48000)[1];
            const double hz = Pitch(out, 2000, 46000, static_cast<double>(hostRate));
            EXPECT_NEAR(Cents(hz, 440.0), 100.0 * c.semitones, 0.05) << c.what << " at " << hostRate;
        }
    }
}

TEST(SamplerTest, InputsReplaceTheirParameters) {
    const SamplePointer sample = Mono(Sine(440.0, 200000));
    const Signal up(48000, 0.5F);
    const Signal still(48000, 0.0F);
    auto sampler = Make(sample);
    const Signal out = Render(*sampler, {&up, &still, &still, &up, &still}, 2, BlockSplit::Of(64))[0];
    EXPECT_NEAR(Cents(Pitch(out, 2000, 46000, 48000.0), 440.0), 1200.0, 0.05);
    EXPECT_NEAR(Rms(out, 2000), 0.5 / std::sqrt(2.0) * std::pow(10.0, 12.0 / 20.0), 0.01);
    sampler->Reset(false);
    const Signal block(64, 0.5F);
    Render(*sampler, {nullptr, nullptr, &block}, 2, BlockSplit::Of(64));
    EXPECT_NEAR(sampler->PlayPosition(), 100000.0, 70.0) << "Start at the reset";
}

TEST(SamplerTest, GainPanVolumeAndTheStereoSwitch) {
    const SamplePointer stereo = Stereo(Sine(441.0, 100000), Sine(882.0, 100000));
    auto sampler =
        Make(stereo, {{First(Key::Gain), 6.0F}, {First(Key::Pan), 0.2F}, {Sampler::MainVolume, -3.0F}});
    const auto levels = [&] {
        sampler->Reset(false);
        const std::vector<Signal> out = Listen(*sampler, 24000);
        return std::pair{Rms(out[0], 12000), Rms(out[1], 12000)};
    };
    const auto isStereo = [&] { return sampler->GetParameterNormalized(Sampler::IsStereo) == 1.0F; };
    const double level = 0.5 / std::sqrt(2.0) * std::pow(10.0, 3.0 / 20.0);
    const auto [left, right] = levels();
    EXPECT_NEAR(left, level * 1.6, 0.01);
    EXPECT_NEAR(right, level * 0.4, 0.005);
    EXPECT_TRUE(isStereo());

    sampler->SetParameterValue(Sampler::Stereo, 0.0F);
    const auto [sum, untouched] = levels();
    EXPECT_NEAR(sum, level / std::sqrt(2.0), 0.01);
    EXPECT_EQ(untouched, 12345.0) << "the second output is left alone";
    EXPECT_FALSE(isStereo());
    sampler->SetParameterValue(Sampler::MainVolume, -12.0F);
    EXPECT_EQ(levels().first, 0.0) << "the lowest volume is silence";

    sampler = Make(Mono(Sine(441.0, 100000)));
    const auto [first, second] = levels();
    EXPECT_EQ(first, second);
    EXPECT_FALSE(isStereo());
    sampler->SetSample(stereo, 0);
    Listen(*sampler, 64);
    EXPECT_TRUE(isStereo());

    // Within 0.1 s at full block length, in an eighth of it here.
    sampler->SetParameterValue(First(Key::Pan), 0.0F);
    EXPECT_LT(Peak(Listen(*sampler, 800)[1], 640), 0.01F);
}

TEST(SamplerTest, FilterHasTheResponseOfAButterworthPair) {
    for (const float control : {-1.0F, -0.6F, -0.2F, 0.0F, 0.3F, 0.7F, 1.0F}) {
        auto sampler = Make(Mono(Impulse(48000)), {{Sampler::Filter, control}});
        const Signal out = Listen(*sampler, 40000)[0];
        const double lowpass = std::min(20000.0, 20000.0 * std::exp2(10.0 * static_cast<double>(control)));
        const double highpass = std::max(20.0, 20.0 * std::exp2(10.0 * static_cast<double>(control)));
        for (const double hz : {15.0, 40.0, 200.0, 1000.0, 5000.0, 15000.0, 22000.0}) {
            const double q = std::sqrt(0.5);
            const double expected = std::abs(LowPass2(AnalogueFrequency(hz, lowpass, rate), q) *
                                             HighPass2(AnalogueFrequency(hz, highpass, rate), q));
            EXPECT_NEAR(std::abs(Transform(out, hz, rate)), expected, 0.003 * expected + 1e-5)
                << control << " at " << hz << " Hz";
        }
    }
}

TEST(SamplerTest, StretchesInTimeAndKeepsThePitch) {
    for (const float factor : {0.25F, 0.8F, 1.0F, 3.0F}) {
        // Two swellings, 3 s apart before the stretch.
        const double seconds = 4.0;
        Signal signal = Sine(441.0, static_cast<std::size_t>(seconds * rate));
        for (std::size_t n = 0; n < signal.size(); ++n) {
            const double t = static_cast<double>(n) / static_cast<double>(rate);
            signal[n] *= static_cast<float>(std::exp(-200.0 * (t - 0.5) * (t - 0.5)) +
                                            std::exp(-200.0 * (t - 3.5) * (t - 3.5)) + 0.001);
        }
        auto sampler =
            Make(Mono(signal), {{First(Key::TimeStretchOn), 1.0F}, {First(Key::TimeStretchFactor), factor}});
        const auto frames = static_cast<std::size_t>(seconds * rate / static_cast<double>(factor));
        const Signal out = Listen(*sampler, frames - 128)[0];
        const auto centre = [&](std::size_t from, std::size_t to) {
            double weight = 0.0;
            double moment = 0.0;
            for (std::size_t n = from; n < to; ++n) {
                const double power = std::pow(static_cast<double>(out[n]), 4.0);
                weight += power;
                moment += power * static_cast<double>(n);
            }
            return moment / weight;
        };
        const double distance = centre(frames / 2, out.size()) - centre(0, frames / 2);
        EXPECT_NEAR(distance / static_cast<double>(frames), 0.75, 0.00075) << "factor " << factor;
        EXPECT_NEAR(Cents(Pitch(out, frames / 16, frames * 3 / 16, rate), 441.0), 0.0, 2.0)
            << "factor " << factor;
        EXPECT_FALSE(sampler->IsFinished());
        Listen(*sampler, 256);
        EXPECT_TRUE(sampler->IsFinished()) << "the timeline tells the stretched end, factor " << factor;
    }
}

TEST(SamplerTest, SyncedStretchFillsTheBars) {
    // Two seconds between the trims; a bar at 120 beats per minute lasts as long.
    auto sampler = Make(Mono(Signal(200000, 0.1F)), {{First(Key::TrimStart), 0.1F},
                                                     {First(Key::TrimStop), 0.58F},
                                                     {First(Key::TimeStretchOn), 1.0F},
                                                     {First(Key::TimeStretchSync), 1.0F},
                                                     {First(Key::TimeStretchBars), 5.0F}});
    const auto speed = [&](float tempo) {
        Signal out(64);
        float* outputs[] = {out.data(), out.data()};
        ProcessContext context;
        context.outputs = outputs;
        context.numFrames = 64;
        context.tempo = tempo;
        RunChild(*sampler, context);
        const double before = sampler->PlayPosition();
        RunChild(*sampler, context);
        return (sampler->PlayPosition() - before) / 64.0;
    };
    EXPECT_NEAR(speed(120.0F), 1.0, 1e-5);
    sampler->SetParameterValue(First(Key::TimeStretchBars), 3.0F);
    EXPECT_NEAR(speed(60.0F), 2.0, 1e-5);
    EXPECT_NEAR(speed(1e9F), 8.0, 1e-5);
    EXPECT_NEAR(speed(0.0F), 0.1, 1e-5);
    EXPECT_NEAR(speed(std::numeric_limits<float>::quiet_NaN()), 0.1, 1e-5)
        << "an unknown tempo changes nothing";
    sampler->SetParameterValue(First(Key::TimeStretchOn), 0.0F);
    EXPECT_NEAR(speed(60.0F), 1.0, 1e-5);
}

TEST(SamplerTest, RandomStartsReachAllOfTheSample) {
    auto sampler = Make(Mono(Signal(100000, 0.1F)), {{Sampler::PhaseRetrigMode, 1.0F}});
    std::vector<double> starts;
    for (int n = 0; n < 200; ++n) {
        sampler->Reset(false);
        Listen(*sampler, 4);
        starts.push_back(sampler->PlayPosition());
    }
    std::sort(starts.begin(), starts.end());
    EXPECT_LT(starts.front(), 5000.0);
    EXPECT_GT(starts.back(), 95000.0);
    EXPECT_EQ(std::adjacent_find(starts.begin(), starts.end()), starts.end());
}

TEST(SamplerTest, BlockLengthDoesNotMatter) {
    // Gain and pan, whose ramps go by the longest block, are at rest.
    const SamplePointer sample = Stereo(Noise(30000, 0.5F, 1), Noise(30000, 0.5F, 2));
    for (const float stretch : {0.0F, 1.0F}) {
        const auto render = [&](const BlockSplit& split) {
            auto sampler = Make(sample, {{First(Key::LoopOn), 1.0F},
                                         {First(Key::LoopStart), 0.2F},
                                         {First(Key::LoopStop), 0.5F},
                                         {First(Key::CrossFade), 0.3F},
                                         {First(Key::TimeStretchOn), stretch},
                                         {First(Key::TimeStretchFactor), 1.7F},
                                         {Sampler::Coarse, 5.0F}});
            Listen(*sampler, 512);
            sampler->SetParameterValue(Sampler::Filter, 0.4F);
            sampler->SetParameterValue(Sampler::MainVolume, -6.0F);
            return Listen(*sampler, 60000, split)[0];
        };
        const Signal expected = render(BlockSplit::Of(longestBlock));
        const Signal got = render(BlockSplit::Random(longestBlock, 500, 3));
        for (std::size_t n = 0; n < expected.size(); ++n) {
            ASSERT_NEAR(got[n], expected[n], 1e-6) << "frame " << n << ", stretch " << stretch;
        }
    }
}

TEST(SamplerTest, ResetsAndSamplesDecideWhatPlays) {
    auto sampler = Make(Mono(Sine(441.0, 4800)));
    EXPECT_EQ(sampler->CurrentSample(), -1) << "before the first block";
    const std::vector<Signal> first = Listen(*sampler, 4864);
    EXPECT_EQ(sampler->CurrentSample(), 0);
    EXPECT_EQ(sampler->CurrentFrames(), 4800U);
    EXPECT_TRUE(sampler->IsFinished());
    for (const bool hard : {false, true}) {
        sampler->Reset(hard);
        EXPECT_FALSE(sampler->IsFinished());
        EXPECT_EQ(Listen(*sampler, 4864), first) << "a reset starts anew, hard " << hard;
    }
    const SamplePointer second = Stereo(Sine(200.0, 999), Sine(200.0, 999));
    sampler->SetSample(second, 3);
    sampler->SetParameterValue(Sampler::SelectedSlot, 3.0F);
    Listen(*sampler, 64);
    EXPECT_EQ(sampler->CurrentSample(), 0) << "a selection waits for the reset";
    sampler->Reset(false);
    Listen(*sampler, 64);
    EXPECT_EQ(sampler->CurrentFrames(), 999U);

    sampler->SetParameterValue(Sampler::ResetOnReplace, 1.0F);
    sampler->SetSample(Mono(Sine(441.0, 4800)), 3);
    EXPECT_EQ(Listen(*sampler, 4864), first) << "the replacement starts anew";
    sampler->SetSample(nullptr, 3);
    EXPECT_FALSE(sampler->HasSample(3));
    EXPECT_EQ(sampler->CurrentSample(), -1);
    EXPECT_EQ(Listen(*sampler, 64)[0][0], 12345.0F) << "without a sample the outputs are left alone";
}

TEST(SamplerTest, SurvivesImpossibleSettingsAndSamples) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const float odd[] = {0.0F, 1.0F, -1.0F, 0.5F, 1e-30F, 1e30F, -1e30F, infinity, nan};
    std::mt19937 random(5);
    Signal poison = Noise(2000, 1.0F, 1);
    poison[700] = nan;
    poison[800] = infinity;
    const SamplePointer sound = Stereo(Noise(6000, 0.5F, 2), Noise(6000, 0.5F, 3));
    const SamplePointer samples[] = {Mono(poison), Mono({1.0F}, 1.0F), Mono({1.0F, -1.0F}), sound};
    auto sampler = Make(sound);
    const Signal expected = Listen(*sampler, 4096)[0];
    for (int round = 0; round < 400; ++round) {
        for (u32 id = 0; id < Sampler::parameterCount; ++id) {
            // Only the first slot plays.
            const bool own = id < 4 || id >= 220 || (id - 4) % 12 == 0;
            if (own && random() % 3 == 0) {
                sampler->SetParameterValue(id, odd[random() % 9]);
            }
        }
        sampler->SetParameterValue(Sampler::SelectedSlot, 0.0F);
        sampler->SetSample(samples[random() % 4], 0);
        if (random() % 2 == 0) {
            sampler->Reset(false);
        }
        for (const Signal& out :
             Listen(*sampler, 700, BlockSplit::Of(4 * (1 + static_cast<u32>(random() % 100))))) {
            ASSERT_TRUE(AllFinite(out)) << "round " << round;
        }
    }
    Sampler fresh;
    for (u32 id = 0; id < Sampler::parameterCount; ++id) {
        sampler->SetParameterValue(id, fresh.FindParameter(id)->GetValue());
    }
    sampler->SetSample(sound, 0);
    sampler->Reset(false);
    EXPECT_EQ(Listen(*sampler, 4096)[0], expected) << "and is sound again";
}
