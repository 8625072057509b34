// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/Sampler.h"

#include "rigs/MeasurePitch.h"
#include "rigs/StageRig.h"

#include <limits>

using namespace Velmora;
using namespace Velmora::dsp;
using namespace orphia::test;
using Key = SlotParameter;

namespace {

constexpr float rate = 48000.0F;
constexpr u32 longestBlock = 512;
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

using SamplePointer = std::shared_ptr<const SampleData>;
using Values = std::vector<std::pair<u32, float>>;

SamplePointer Mono(Signal signal, float sampleRate = rate) {
    return std::make_shared<const SampleData>(std::move(signal), sampleRate, SampleData::Instrument{});
}
SamplePointer Stereo(Signal left, Signal right) {
    return std::make_shared<const SampleData>(std::move(left), std::move(right), rate,
                                              SampleData::Instrument{});
}
Signal Sine(double hz, std::size_t frames, double sampleRate = rate) {
    return Test::Tone(frames, hz, sampleRate, 0.5);
}

constexpr u32 First(Key key) { return Sampler::SlotId(key, 0); }

std::unique_ptr<Sampler> Make(const SamplePointer& sample, const Values& values = {}, float hostRate = rate) {
    auto sampler = std::make_unique<Sampler>();
    sampler->MakeStretchers();
    sampler->Initialize(hostRate, longestBlock);
    sampler->SeedRandomStart(1);
    sampler->SetSample(sample, 0);
    for (const auto& [id, value] : values) {
        sampler->SetParameterValue(id, value);
    }
    return sampler;
}

std::vector<Signal> Listen(Sampler& sampler, std::size_t frames,
                           const BlockSplit& split = BlockSplit::Of(longestBlock)) {
    const Signal clock(frames);
    return Render(sampler, {}, 2, split, {&clock});
}

/// Cents above a reference, between two frames.
double CentsOf(const Signal& signal, std::size_t from, std::size_t to, double reference,
               float sampleRate = rate) {
    const auto at = [&signal](std::size_t n) { return signal.begin() + static_cast<std::ptrdiff_t>(n); };
    return Cents(MeasurePitch({at(from), at(to)}, reference, static_cast<double>(sampleRate)), reference);
}

/// Frames of the sample per frame, in a block at this tempo.
double Speed(Sampler& sampler, float tempo = 120.0F) {
    Signal out(64);
    float* outputs[] = {out.data(), out.data()};
    ProcessContext context;
    context.outputs = outputs;
    context.numFrames = 64;
    context.tempo = tempo;
    RunChild(sampler, context);
    const double before = sampler.PlayPosition();
    RunChild(sampler, context);
    return (sampler.PlayPosition() - before) / 64.0;
}

} // namespace

TEST(SamplerTest, PitchFollowsTransposesNoteRootRatesAndInputs) {
    const double octaveOfRoot = 12.0 * std::log2(440.0 / 261.62558);
    const std::pair<Values, double> cases[] = {
        {{{Sampler::Coarse, 7},
          {Sampler::Fine, -0.5F},
          {First(Key::Transpose), -12},
          {First(Key::Fine), 0.25F}},
         -5.25},
        {{{Sampler::Freq, 440}}, 0.0},
        {{{First(Key::RootNote), 440}}, -octaveOfRoot},
        {{{Sampler::Freq, 300}, {Sampler::KeyTrack, 1}, {First(Key::RootNote), 200}}, 12.0 * std::log2(1.5)}};
    const SamplePointer sample = Mono(Sine(440.0, 200000, 96000.0), 96000.0F);
    for (const auto& [values, semitones] : cases) {
        const Signal out = Listen(*Make(sample, values, 44100.0F), 44000)[1];
        const double expected = 440.0 * std::exp2(semitones / 12.0);
        EXPECT_NEAR(CentsOf(out, 2000, 43000, expected, 44100.0F), 0.0, 0.05) << semitones;
    }
    EXPECT_NEAR(Rms(Listen(*Make(sample, {}, 32000.0F), 9216)[0], 2000), std::sqrt(0.125), 2e-3)
        << "corner above half the rate";
    auto sampler = Make(Mono(Sine(440.0, 200000)));
    const Signal up(48000, 0.5F);
    const Signal still(48000, 0.0F);
    // The third is the start, at a reset.
    const Signal out = Render(*sampler, {&up, &still, &up, &up, &still}, 2, BlockSplit::Of(64))[0];
    EXPECT_NEAR(CentsOf(out, 2000, 46000, 880.0), 0.0, 0.05);
    EXPECT_NEAR(Rms(out, 2000), std::sqrt(0.125) * std::pow(10.0, 12.0 / 20.0), 0.01);
    EXPECT_NEAR(sampler->PlayPosition(), 100000.0 + 96000.0, 70.0);
    for (const auto& [root, speed] : {std::pair(0.01F, 256.0), {notANumber, 1.0 / 256.0}}) {
        sampler->SetParameterValue(First(Key::RootNote), root);
        sampler->Reset(true);
        EXPECT_EQ(Speed(*sampler), speed);
    }
}

TEST(SamplerTest, GainPanAndVolumeMoveInTheirTimesAndStereoIsTold) {
    struct Case {
        u32 id;
        float value, seconds, left, right; // factors
    };
    const float up = std::pow(10.0F, 0.3F);
    const SamplePointer tones = Stereo(Sine(441.0, 200000), Sine(882.0, 200000));
    const std::vector<Signal> before = Listen(*Make(tones), 4096 + 9600);
    for (const Case& c : {Case{First(Key::Gain), 6.0F, 0.1F, up, up},
                          {First(Key::Pan), 0.2F, 0.1F, 1.6F, 0.4F},
                          {Sampler::MainVolume, 6.0F, 0.01F, up, up}}) {
        auto moved = Make(tones);
        Listen(*moved, 4096);
        moved->SetParameterValue(c.id, c.value);
        const std::vector<Signal> after = Listen(*moved, 9600);
        for (std::size_t n = 0; n < after[0].size(); n += 16) {
            const float part = 1.0F - std::exp(-5.0F * static_cast<float>(n + 1) / (c.seconds * rate));
            EXPECT_NEAR(after[0][n], before[0][n + 4096] * (1.0F + part * (c.left - 1.0F)), 5e-4F) << c.id;
            EXPECT_NEAR(after[1][n], before[1][n + 4096] * (1.0F + part * (c.right - 1.0F)), 5e-4F) << c.id;
        }
    }
    auto sampler = Make(tones);
    Listen(*sampler, 64);
    EXPECT_EQ(sampler->GetParameterNormalized(Sampler::IsStereo), 1.0F);
    sampler->SetParameterValue(Sampler::Stereo, 0.0F);
    const std::vector<Signal> sum = Listen(*sampler, 24064);
    EXPECT_NEAR(Rms(sum[0], 64), 0.25, 0.01);
    EXPECT_EQ(Rms(sum[1]), 12345.0) << "the second output is left alone";
    EXPECT_EQ(sampler->GetParameterNormalized(Sampler::IsStereo), 0.0F);
    sampler->SetParameterValue(Sampler::MainVolume, -12.0F);
    Listen(*sampler, 20480);
    EXPECT_EQ(Peak(Listen(*sampler, 64)[0]), 0.0F) << "the lowest volume is silence";
}

TEST(SamplerTest, StretchesInTimeKeepsThePitchAndFadesOut) {
    if (!dsp::SampleStretcher::IsPossible()) {
        GTEST_SKIP() << "built without a stretcher";
    }
    for (const float factor : {0.25F, 0.8F, 1.0F, 3.0F}) {
        auto sampler = Make(Mono(Sine(441.0, 48000)),
                            {{First(Key::TimeStretchOn), 1.0F}, {First(Key::TimeStretchFactor), factor}});
        const auto frames = static_cast<std::size_t>(rate / factor);
        const Signal out = Listen(*sampler, frames - 128, BlockSplit::Of(64))[0];
        EXPECT_NEAR(Rms(Signal(out.begin() + 4800, out.begin() + 14400)), std::sqrt(0.125), 0.02) << factor;
        EXPECT_NEAR(CentsOf(out, 4800, 14400, 441.0), 0.0, 2.0) << factor;
        for (std::size_t n = frames / 20 * 19; n < out.size(); ++n) {
            const double left = static_cast<double>(frames - n) * static_cast<double>(factor) / 480.0;
            EXPECT_LE(std::abs(out[n]), 0.56 * std::min(1.0, left) + 0.01) << "the last 10 ms fade: " << n;
        }
        EXPECT_FALSE(sampler->IsFinished());
        EXPECT_LT(Peak(Listen(*sampler, 256, BlockSplit::Of(64))[0], 192), 0.02F) << "the stretcher's rest";
        EXPECT_TRUE(sampler->IsFinished()) << "the timeline tells the stretched end";
    }
}

/// A tone has no second difference beyond its own: what is left is clicks and grit.
TEST(SamplerTest, SwitchingTheStretchWhileATonePlaysDoesNotClick) {
    if (!dsp::SampleStretcher::IsPossible()) {
        GTEST_SKIP() << "built without a stretcher";
    }
    constexpr double hz = 210.0;
    const double turn = 2.0 * std::cos(2.0 * std::numbers::pi * hz / static_cast<double>(rate));
    for (const float factor : {0.3F, 0.9F, 2.0F}) {
        for (const bool loops : {false, true}) {
            auto sampler = Make(Mono(Sine(hz, 480000)), {{First(Key::TimeStretchFactor), factor},
                                                         {First(Key::LoopOn), loops ? 1.0F : 0.0F}});
            Signal out;
            double position = 0.0;
            for (int part = 0; part < 12; ++part) {
                const bool on = part % 4 == 1 || part == 7; // at last one that takes the other back at once
                sampler->SetParameterValue(First(Key::TimeStretchOn), on ? 1.0F : 0.0F);
                const Signal more = Listen(*sampler, part == 7 ? 64 : 9600, BlockSplit::Of(64))[0];
                out.insert(out.end(), more.begin(), more.end());
                const double moved =
                    sampler->PlayPosition() - std::exchange(position, sampler->PlayPosition());
                if (part != 7 && part != 8) {
                    EXPECT_NEAR(moved, 9600.0 * (on ? static_cast<double>(factor) : 1.0), 1.0) << part;
                }
            }
            double grit = 0.0;
            for (std::size_t n = 1000; n < out.size(); ++n) {
                grit = std::max(grit, std::abs(static_cast<double>(out[n] + out[n - 2]) -
                                               turn * static_cast<double>(out[n - 1])));
            }
            EXPECT_LT(grit, 3e-4) << factor << loops;
            EXPECT_NEAR(Rms(out, out.size() - 4800), 0.5 / std::sqrt(2.0), 0.01);
        }
    }
}

TEST(SamplerTest, SyncedStretchFillsTheBars) {
    if (!dsp::SampleStretcher::IsPossible()) {
        GTEST_SKIP() << "built without a stretcher";
    }
    // Two seconds between the trims; a bar at 120 beats per minute lasts as long.
    auto sampler = Make(Mono(Signal(200000, 0.1F)), {{First(Key::TrimStart), 0.1F},
                                                     {First(Key::TrimStop), 0.58F},
                                                     {First(Key::TimeStretchOn), 1.0F},
                                                     {First(Key::TimeStretchSync), 1.0F}});
    for (int index = 0; index < 9; ++index) {
        sampler->SetParameterValue(First(Key::TimeStretchBars), static_cast<float>(index));
        EXPECT_NEAR(Speed(*sampler, 120.0F * std::exp2(static_cast<float>(index - 5))), 1.0, 1e-5) << index;
    }
    EXPECT_NEAR(Speed(*sampler, 1e9F), 8.0, 1e-5);
    EXPECT_NEAR(Speed(*sampler, 0.0F), 0.1, 1e-5);
    EXPECT_NEAR(Speed(*sampler, notANumber), 0.1, 1e-5) << "an unknown tempo changes nothing";
    sampler->SetParameterValue(First(Key::TimeStretchSync), 0.0F);
    sampler->SetParameterNormalized(First(Key::TimeStretchFactor), -1.0F);
    EXPECT_NEAR(Speed(*sampler), 0.125, 1e-5) << "the least that there is";
}

TEST(SamplerTest, ResetsAndSamplesDecideWhatPlays) {
    auto sampler = Make(Mono(Sine(441.0, 4800)), {{Sampler::ResetOnReplace, 1.0F}});
    const std::vector<Signal> first = Listen(*sampler, 4864);
    EXPECT_TRUE(sampler->IsFinished());
    sampler->SetSample(Mono(Sine(200.0, 100000)), 3);
    sampler->SetParameterValue(Sampler::SelectedSlot, 3.0F);
    Listen(*sampler, 64);
    EXPECT_EQ(sampler->CurrentFrames(), 4800U) << "a selection waits for the reset";
    sampler->SetParameterValue(Sampler::PhaseRetrigMode, 1.0F);
    std::vector<double> starts;
    for (int n = 0; n < 200; ++n) {
        sampler->Reset(false);
        Listen(*sampler, 4);
        starts.push_back(sampler->PlayPosition());
    }
    EXPECT_LT(*std::min_element(starts.begin(), starts.end()), 5000.0);
    EXPECT_GT(*std::max_element(starts.begin(), starts.end()), 95000.0);
    sampler->SetParameterValue(Sampler::PhaseRetrigMode, 0.0F);
    sampler->SetSample(Mono(Sine(441.0, 4800)), 3);
    EXPECT_EQ(Listen(*sampler, 4864), first) << "the replacement starts anew";
    sampler->SetSample(nullptr, 3);
    EXPECT_EQ(Listen(*sampler, 64)[0][0], 12345.0F) << "without a sample the outputs are left alone";
}
