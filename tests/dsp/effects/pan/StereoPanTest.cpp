// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/effects/pan/StereoPan.h"

#include "rigs/EffectRig.h"

namespace {

using namespace orphia::test;
using Velmora::dsp::LFOSimple;
using Velmora::dsp::StereoPan;
using Velmora::dsp::StereoPanSettings;

constexpr u32 block = 44;

constexpr u32 Id(StereoPan::Additional index) { return StereoPan::ParameterId(index); }
constexpr u32 Lfo(StereoPan::ChildIndex lfo, LFOSimple::Parameter id) { return StereoPan::LFOId(lfo, id); }

/// Does not move.
const Settings still = {{Id(StereoPan::PanDepth), 0.0F}};

/// With nothing left to glide.
std::unique_ptr<StereoPan> Arrived(const Settings& first, const Settings& then = {}, float rate = 44100.0F) {
    auto module = Make<StereoPan>(first, then, rate);
    module->Reset(true);
    return module;
}

/// What steady inputs of (l, r) come to.
std::pair<double, double> Sides(StereoPan& module, float l, float r) {
    const auto out = Play(module, Signal(block, l), Signal(block, r));
    return {static_cast<double>(out[0].back()), static_cast<double>(out[1].back())};
}

} // namespace

TEST(StereoPanTest, InTheMiddleNothingChangesUnderAnyLaw) {
    const Signal left = Noise(2000, 1.0F, 1);
    const Signal right = Noise(2000, 1.0F, 2);
    for (u32 law = 0; law < StereoPanSettings::LawCount; ++law) {
        const auto out =
            Play(*Arrived(still, {{Id(StereoPan::PanLaw), static_cast<float>(law)}}), left, right);
        for (std::size_t n = 0; n < out[0].size(); ++n) {
            ASSERT_NEAR(out[0][n], left[n], 1e-6F) << "law " << law << ", frame " << n;
            ASSERT_NEAR(out[1][n], right[n], 1e-6F) << "law " << law << ", frame " << n;
        }
    }
}

TEST(StereoPanTest, EachLawKeepsWhatItSaysFromSideToSide) {
    for (float pan = -1.0F; pan <= 1.0F; pan += 0.125F) {
        const auto gains = [&](u32 law, float l, float r) {
            const auto module =
                Arrived(still, {{Id(StereoPan::PanLaw), static_cast<float>(law)}, {Id(StereoPan::Pan), pan}});
            return Sides(*module, l, r);
        };
        const auto power = gains(StereoPanSettings::EqualPower, 1.0F, 1.0F);
        EXPECT_NEAR(power.first * power.first + power.second * power.second, 2.0, 1e-5) << pan;
        const auto linear = gains(StereoPanSettings::Linear, 1.0F, 1.0F);
        EXPECT_NEAR(linear.first + linear.second, 2.0, 1e-5) << pan;
        const auto balance = gains(StereoPanSettings::Balance, 1.0F, 1.0F);
        EXPECT_NEAR(std::max(balance.first, balance.second), 1.0, 1e-6) << pan;
        const auto ofLeft = gains(StereoPanSettings::Fold, 1.0F, 0.0F);
        const auto ofRight = gains(StereoPanSettings::Fold, 0.0F, 1.0F);
        for (const auto& channel : {ofLeft, ofRight}) {
            EXPECT_NEAR(std::hypot(channel.first, channel.second), 1.0, 1e-5)
                << "each channel whole, " << pan;
        }
        for (const auto& sides : {power, linear, balance}) {
            EXPECT_EQ(sides.second > sides.first, pan > 0.0F) << pan;
        }
        if (pan == 1.0F) {
            for (const auto& sides : {power, linear, balance, ofLeft, ofRight}) {
                EXPECT_NEAR(sides.first, 0.0, 1e-6) << "hard right";
            }
        }
    }
}

TEST(StereoPanTest, SwingsFromSideToSideAtItsRateAsSoonAsItIsChosen) {
    const auto module = Arrived({});
    const Signal steady(44000 * 10, 0.5F);
    const auto out = Play(*module, steady, steady);
    int crossings = 0;
    for (std::size_t n = 1; n < out[0].size(); ++n) {
        crossings += out[0][n - 1] <= out[1][n - 1] && out[0][n] > out[1][n] ? 1 : 0;
    }
    EXPECT_EQ(crossings, 7) << "0.7 Hz for ten seconds";
    EXPECT_GT(Peak(out[0]), 1.3F * 0.5F);
    EXPECT_LT(*std::min_element(out[1].begin(), out[1].end()), 0.35F * 0.5F);
    EXPECT_NEAR(std::hypot(Rms(out[0]), Rms(out[1])), std::hypot(0.5, 0.5), 0.001);
}

TEST(StereoPanTest, TheLevelSwingsTogetherOrFromSideToSide) {
    const Settings tremolo = {{Id(StereoPan::LevelDepth), 0.8F}};
    const Signal steady(44000, 1.0F);
    const auto together = Play(*Arrived(still, tremolo), steady, steady);
    EXPECT_EQ(together[0], together[1]);
    EXPECT_NEAR(Peak(together[0], 22000), 1.0F, 0.01F);
    EXPECT_NEAR(*std::min_element(together[0].begin(), together[0].end()), 0.2F, 0.01F);
    auto apart = Arrived(still, tremolo);
    apart->SetParameterValue(Id(StereoPan::StereoPhase), 180.0F);
    const auto out = Play(*apart, steady, steady);
    for (std::size_t n = 0; n < steady.size(); ++n) {
        ASSERT_NEAR(out[0][n] + out[1][n], 1.2F, 0.01F) << n;
    }
}

TEST(StereoPanTest, ThePatternDrivesPositionAndLevel) {
    const Signal steady(44000, 1.0F);
    const auto play = [&](StereoPan::ChildIndex lfo) {
        const auto module =
            Arrived(still, {{Lfo(lfo, LFOSimple::Shape), LFOSimple::Steps},
                            {Lfo(lfo, LFOSimple::Rate), 1.0F},
                            {Id(StereoPan::PanLaw), StereoPanSettings::Linear},
                            {Id(StereoPan::PanDepth), lfo == StereoPan::PanLFO ? 1.0F : 0.0F},
                            {Id(StereoPan::LevelDepth), lfo == StereoPan::PanLFO ? 0.0F : 1.0F}});
        for (u32 step = 0; step < LFOSimple::stepCount; ++step) {
            module->SetParameterValue(Id(StereoPan::FirstStep) + step, step == 5 ? 0.5F : -1.0F);
        }
        return Play(*module, steady, steady)[1];
    };
    const Signal position = play(StereoPan::PanLFO);
    const Signal level = play(StereoPan::LevelLFO);
    for (u32 step = 0; step < 15; ++step) {
        const std::size_t end = 44100 * (step + 1) / 16 - 20;
        EXPECT_NEAR(position[end], step == 5 ? 1.5F : 0.0F, 0.001F) << "step " << step;
        EXPECT_NEAR(level[end], step == 5 ? 0.75F : 0.0F, 0.001F) << "step " << step;
    }
}

TEST(StereoPanTest, SidesComeFromTheChannelsAskedForWithTheirWidth) {
    struct Case {
        Settings settings;
        std::pair<double, double> expected;
    };
    const auto set = [](StereoPan::Additional id, float value) { return Settings{{Id(id), value}}; };
    // Mid 0.4, side 0.2.
    for (const Case& c :
         {Case{set(StereoPan::Source, StereoPanSettings::Swapped), {0.2, 0.6}},
          Case{set(StereoPan::Source, StereoPanSettings::LeftOnly), {0.6, 0.6}},
          Case{set(StereoPan::Source, StereoPanSettings::RightOnly), {0.2, 0.2}},
          Case{set(StereoPan::Source, StereoPanSettings::Mono), {0.4, 0.4}},
          Case{set(StereoPan::Polarity, StereoPanSettings::InvertedLeft), {-0.6, 0.2}},
          Case{set(StereoPan::Polarity, StereoPanSettings::InvertedRight), {0.6, -0.2}},
          Case{set(StereoPan::Polarity, StereoPanSettings::InvertedBoth), {-0.6, -0.2}},
          Case{set(StereoPan::Width, 0.0F), {0.4, 0.4}}, Case{set(StereoPan::Width, 2.0F), {0.8, 0.0}},
          Case{set(StereoPan::MidSide, -1.0F), {0.4, 0.4}}, Case{set(StereoPan::MidSide, 1.0F), {0.2, -0.2}},
          Case{set(StereoPan::MidSide, -0.5F), {0.5, 0.3}}}) {
        const auto module = Arrived(still, c.settings);
        const auto got = Sides(*module, 0.6F, 0.2F);
        EXPECT_NEAR(got.first, c.expected.first, 1e-5) << c.settings[0].first << "=" << c.settings[0].second;
        EXPECT_NEAR(got.second, c.expected.second, 1e-5)
            << c.settings[0].first << "=" << c.settings[0].second;
    }
}

TEST(StereoPanTest, BassStaysInTheMiddleAndAMonoSoundWhole) {
    for (const float rate : {8000.0F, 44100.0F, 192000.0F}) {
        const auto frames = static_cast<std::size_t>(rate) / 4 * 4;
        const Settings bass = {{Id(StereoPan::BassMono), 200.0F}};
        const Signal noise = Noise(frames, 1.0F, 3);
        const auto whole = Play(*Arrived(still, bass, rate), noise, noise);
        for (std::size_t n = 0; n < frames; ++n) {
            ASSERT_NEAR(whole[0][n], noise[n], 2e-4F) << n << " at " << rate;
        }
        // Side alone, by frequency: 12 dB per octave, -3 dB at the corner.
        for (const auto& [hz, gain] : {std::pair(50.0, 0.0624), {200.0, 0.7071}, {1000.0, 0.9992}}) {
            const Signal tone = Tone(frames, hz, static_cast<double>(rate), 1.0);
            Signal turned = tone;
            std::transform(tone.begin(), tone.end(), turned.begin(), [](float x) { return -x; });
            const auto out = Play(*Arrived(still, bass, rate), tone, turned);
            EXPECT_NEAR(Rms(out[0], frames / 2) * std::sqrt(2.0), gain, 0.03 * gain + 0.003)
                << hz << " Hz at " << rate;
        }
        auto right = Arrived(still, bass, rate);
        right->SetParameterValue(Id(StereoPan::Pan), 1.0F);
        const Signal low = Tone(frames, 30.0, static_cast<double>(rate), 1.0);
        EXPECT_GT(Rms(Play(*right, low, low)[0], frames / 2), 0.6) << "the low tone is not panned away";
    }
}

TEST(StereoPanTest, OneSideIsLateByMilliseconds) {
    for (const float rate : {8000.0F, 44100.0F, 192000.0F}) {
        for (const float ms : {-30.0F, -0.5F, 12.0F, 30.0F}) {
            const Signal impulse = Impulse(static_cast<std::size_t>(rate * 0.04F) / 4 * 4);
            const auto out = Play(*Arrived(still, {{Id(StereoPan::HaasDelay), ms}}, rate), impulse, impulse);
            const auto at = [&](const Signal& s) {
                return static_cast<double>(std::max_element(s.begin(), s.end()) - s.begin()) * 1000.0 /
                       static_cast<double>(rate);
            };
            EXPECT_NEAR(at(out[1]) - at(out[0]), static_cast<double>(ms),
                        500.0 / static_cast<double>(rate) + 1e-6);
            EXPECT_NEAR(std::min(at(out[0]), at(out[1])), 0.0, 1e-9);
        }
    }
}

TEST(StereoPanTest, SmoothingSetsTheTimeOfAnEdge) {
    double last = 0.0;
    for (const float ms : {1.0F, 10.0F, 100.0F}) {
        const auto module = Arrived({{Lfo(StereoPan::PanLFO, LFOSimple::Shape), LFOSimple::Square},
                                     {Lfo(StereoPan::PanLFO, LFOSimple::Rate), 1.0F},
                                     {Id(StereoPan::PanLaw), StereoPanSettings::Linear},
                                     {Id(StereoPan::PanDepth), 1.0F},
                                     {Id(StereoPan::Smoothing), ms}});
        const Signal steady(44000, 1.0F);
        const Signal left = Play(*module, steady, steady)[0];
        // From 0 on the left, after half a second, towards 2.
        const auto edge = std::find_if(left.begin() + 22050, left.end(),
                                       [](float x) { return x > 2.0F * (1.0F - std::exp(-1.0F)); });
        const double seconds = static_cast<double>(edge - left.begin() - 22050) / 44100.0;
        EXPECT_NEAR(seconds, static_cast<double>(ms) * 0.001, 0.0002 + 0.05 * seconds);
        EXPECT_GT(seconds, last);
        last = seconds;
    }
}

TEST(StereoPanTest, ControlsAreSmoothAndNoneIsIdle) {
    std::vector<Settings> where(StereoPan::parameterCount, {{Id(StereoPan::LevelDepth), 0.8F},
                                                            {Lfo(StereoPan::PanLFO, LFOSimple::Rate), 5.0F},
                                                            {Lfo(StereoPan::LevelLFO, LFOSimple::Rate), 3.0F},
                                                            {Id(StereoPan::BassMono), 100.0F}});
    for (u32 id = Id(StereoPan::FirstStep); id < StereoPan::parameterCount; ++id) {
        where[id].emplace_back(Lfo(StereoPan::PanLFO, LFOSimple::Shape), LFOSimple::Steps);
    }
    ExpectEveryParameterToAct<StereoPan>(where);
    ExpectModulationToMove<StereoPan>({Id(StereoPan::PanDepth), Id(StereoPan::Pan), Id(StereoPan::Width)},
                                      {});
    ExpectNoSteps<StereoPan>({{Id(StereoPan::LevelDepth), 0.5F}}, 0.005F);
}

TEST(StereoPanTest, BlocksResetsAndFaultsLeaveNoTrace) {
    ExpectNoTraceOfBlocksResetsAndFaults<StereoPan>({{Id(StereoPan::LevelDepth), 0.5F},
                                                     {Id(StereoPan::HaasDelay), 7.0F},
                                                     {Id(StereoPan::BassMono), 150.0F},
                                                     {Lfo(StereoPan::PanLFO, LFOSimple::Rate), 5.0F}},
                                                    {{Id(StereoPan::Pan), -0.7F},
                                                     {Id(StereoPan::PanLaw), StereoPanSettings::Fold},
                                                     {Id(StereoPan::Width), 1.7F},
                                                     {Id(StereoPan::MidSide), 0.4F}},
                                                    30.0F);
}
