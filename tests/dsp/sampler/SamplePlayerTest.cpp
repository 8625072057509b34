// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/SamplePlayer.h"

#include "rigs/ModuleRig.h"

#include <limits>

using namespace Velmora;
using namespace Velmora::dsp;
using orphia::test::Noise;
using orphia::test::Signal;

namespace {

constexpr float rate = 1000.0F;

SampleData Stereo(Signal left, Signal right, float sampleRate = rate) {
    return {std::move(left), std::move(right), sampleRate, SampleData::Instrument{}};
}

/// Each frame tells its place.
Signal Ramp(std::size_t frames) {
    Signal ramp(frames);
    std::generate(ramp.begin(), ramp.end(), [n = 0.0F]() mutable { return n++; });
    return ramp;
}

/// One channel as it is meant to be played, frame by frame with all decisions in each.
struct Model {
    const float* data;
    const PlayRange& range;
    double step;
    double position;
    bool reverse;
    bool repeats = false;
    bool down = false;
    bool ended = false;
    bool repeated = false;

    double Read(double at) const {
        const double whole = std::floor(at);
        const float* frame = data + static_cast<std::ptrdiff_t>(whole);
        return frame[0] + (at - whole) * (static_cast<double>(frame[1]) - frame[0]);
    }

    double Once() {
        if (ended) {
            return 0.0;
        }
        const double left = reverse ? position - range.trimStart : range.trimStop - position;
        const double fade = range.endFadeLength;
        const double value = Read(position) * (left >= 0.0 && left < fade ? left / fade : 1.0);
        position += reverse ? -step : step;
        ended = reverse ? position <= range.trimStart : position >= range.trimStop;
        if (ended && repeats && !repeated) {
            ended = false;
            repeated = true;
            reverse = reverse != range.turnsRound;
            position = reverse ? range.trimStop : range.trimStart;
        }
        return value;
    }

    double Loop() {
        const bool rises = reverse == down;
        const double left = rises ? range.loopStop - position : position - range.loopStart;
        const double fade = range.crossFadeLength;
        double value = Read(position);
        if (left > 0.0 && left < fade) {
            // A forward loop jumps to its other end; the other comes back from the one it moves to, a
            // reversed one a frame late at the upper end.
            const double upper = range.loopStop + left + (range.turnsRound && rises && reverse ? 1.0 : 0.0);
            const bool fromAbove = range.turnsRound ? rises : reverse;
            value = Curve(left / fade) * value +
                    Curve(1.0 - left / fade) * Read(fromAbove ? upper : range.loopStart - left);
        }
        position += rises ? step : -step;
        Wrap();
        return value;
    }

    void Wrap() {
        const double length = range.loopStop - range.loopStart;
        for (bool rises = reverse == down; rises ? position >= range.loopStop : position <= range.loopStart;
             rises = reverse == down) {
            if (range.turnsRound) {
                position = 2.0 * (rises ? range.loopStop : range.loopStart) - position;
                down = !down;
            } else {
                position += rises ? -length : length;
            }
        }
    }

    /// The cubic through 0 and 1 that arrives level.
    static double Curve(double t) { return 1.5 * t - 0.5 * t * t * t; }
};

struct Play {
    bool turnsRound;
    bool isReversed;
    float crossFade;
    float step;
    float loopStop = 0.7F;
};

SamplePlayer::Settings Looped(const Play& play) {
    SamplePlayer::Settings settings;
    settings.controls = {0.1F, 0.95F, 0.35F, play.loopStop, play.crossFade};
    settings.isReversed = play.isReversed;
    settings.isLooped = true;
    settings.turnsRound = play.turnsRound;
    return settings;
}

struct Started : SamplePlayer {
    Started(const SampleData& played, const Settings& use, float at = 0.0F) {
        Initialize(rate);
        Start(played, use, at);
    }
};

PlayRange RangeOf(const SampleData& sample, const SamplePlayer::Settings& settings) {
    PlayRange range;
    range.turnsRound = settings.turnsRound;
    range.SetTrim(sample, settings.controls, rate);
    range.SetLoop(settings.controls, settings.isReversed);
    return range;
}

std::vector<Play> AllWays(std::initializer_list<float> crossFades, float step, float loopStop = 0.7F) {
    std::vector<Play> ways;
    for (const float crossFade : crossFades) {
        for (const u32 way : {0U, 1U, 2U, 3U}) {
            ways.push_back({way > 1, way % 2 != 0, crossFade, step, loopStop});
        }
    }
    return ways;
}

std::string Text(const Play& play) {
    return std::string(play.turnsRound ? "back and forth" : "forward") +
           (play.isReversed ? ", reversed" : "") + ", crossfade " + std::to_string(play.crossFade) +
           ", step " + std::to_string(play.step);
}

} // namespace

TEST(SamplePlayerTest, StaysInStepWithAModelForMinutes) {
    // Three minutes at 44100 Hz; noise shows the least difference in position.
    constexpr u32 blockSize = 44;
    const SampleData sample = Stereo(Noise(3001, 1.0F, 1), Noise(3001, 1.0F, 2));
    u32 blocks = 180'000;
    std::vector<Play> plays = AllWays({0.4F, 0.0F, 1.0F}, 1.3716243F);
    // Steps that are longer than the loop, there and back.
    const std::vector<Play> leaps = AllWays({0.0F}, 177.25F, 0.37F);
    plays.insert(plays.end(), leaps.begin(), leaps.end());
    for (const Play& play : plays) {
        Started player(sample, Looped(play), 0.1F);
        const PlayRange range = RangeOf(sample, Looped(play));
        const double start = range.StartPosition(0.1F, play.isReversed);
        Model models[] = {{sample.Channel(0), range, play.step, start, play.isReversed},
                          {sample.Channel(1), range, play.step, start, play.isReversed}};
        Signal out[] = {Signal(blockSize), Signal(blockSize)};
        double worst = 0.0;
        for (u32 block = 0; block < blocks; ++block) {
            player.Render(play.step, out[0].data(), out[1].data(), blockSize);
            for (u32 n = 0; n < 2 * blockSize; ++n) {
                const float x = out[n % 2][n / 2];
                worst = std::max(worst, std::abs(models[n % 2].Loop() - static_cast<double>(x)));
            }
        }
        EXPECT_LT(worst, 2e-6) << Text(play);
        EXPECT_NEAR(player.Position(), models[0].position, 1e-6) << Text(play);
        blocks = 4'000;
    }
}

TEST(SamplePlayerTest, PlaysOnceOrTwiceAndFadesOut) {
    const SampleData sample = Stereo(Noise(900, 1.0F, 2), Noise(900, 1.0F, 3));
    for (const Play& play : AllWays({0.0F}, 0.73F)) {
        for (const bool repeats : {false, true}) {
            SamplePlayer::Settings settings = Looped(play);
            settings.isLooped = false;
            settings.repeatsOnce = repeats;
            Started player(sample, settings);
            const PlayRange range = RangeOf(sample, settings);
            Model model{sample.Channel(1),
                        range,
                        static_cast<double>(play.step),
                        range.StartPosition(0.0F, play.isReversed),
                        play.isReversed,
                        repeats};
            const double length = (range.trimStop - range.trimStart) / static_cast<double>(play.step);
            u32 finishedAt = 0;
            float left[4];
            float right[4];
            for (u32 n = 0; n < 4000; n += 4) {
                player.Render(play.step, left, right, 4);
                for (const float x : right) {
                    ASSERT_NEAR(x, model.Once(), 1e-5) << Text(play) << ", frame " << n;
                }
                finishedAt = player.IsFinished() && finishedAt == 0 ? n : finishedAt;
            }
            EXPECT_NEAR(finishedAt, (repeats ? 2.0 : 1.0) * length, 8.0) << Text(play);
        }
    }
}

TEST(SamplePlayerTest, LoopsWithoutAClick) {
    constexpr double radians = 0.05;
    Signal sine(5000);
    for (std::size_t n = 0; n < sine.size(); ++n) {
        sine[n] = static_cast<float>(std::sin(radians * static_cast<double>(n)));
    }
    const SampleData sample = Stereo(sine, sine);
    for (const Play& play : AllWays({0.0F, 0.5F}, 1.1F)) {
        SamplePlayer player;
        player.Initialize(rate);
        player.Start(sample, Looped(play), 0.0F);
        Signal out(40000);
        Signal other(out.size());
        player.Render(play.step, out.data(), other.data(), 40000);
        float largest = 0.0F;
        for (std::size_t n = 1; n < out.size(); ++n) {
            largest = std::max(largest, std::abs(out[n] - out[n - 1]));
        }
        // Both signals together may be the root of 2 as steep.
        const bool fades = play.crossFade > 0.0F || play.turnsRound;
        EXPECT_EQ(largest < 1.45 * radians * 1.1, fades) << Text(play) << ": step " << largest;
    }
}

TEST(SamplePlayerTest, NewLoopPointsActAtTheWrapAndTheLoopIsLeftInItsOwnWay) {
    const SampleData sample = Stereo(Ramp(1001), Ramp(1001));
    for (const bool turnsRound : {false, true}) {
        SamplePlayer::Settings settings = Looped({turnsRound, false, 0.0F, 1.0F});
        Started player(sample, settings);
        const auto highestIn = [&player](u32 frames) {
            Signal out(frames);
            float other[4];
            for (u32 n = 0; n < frames; n += 4) {
                player.Render(1.0F, &out[n], other, 4);
            }
            return *std::max_element(out.begin(), out.end());
        };
        highestIn(500);
        settings.controls.loopStop = 0.5F;
        settings.controls.loopStart = 0.4F;
        player.SetSettings(settings);
        EXPECT_GT(highestIn(104), 695.0F) << "the pass still ends at the old point";
        highestIn(400);
        EXPECT_LE(highestIn(400), 500.0F) << "the next one at the new";
        player.SwitchLoop(false);
        EXPECT_GT(highestIn(300), 500.0F) << "the loop is left, " << turnsRound;
        player.SwitchLoop(true);
        highestIn(500);
        EXPECT_TRUE(player.IsFinished()) << "and not entered again behind its end, " << turnsRound;
    }
    // Left on its way back, moved ahead, and switched on again before the playhead is there.
    for (const bool isReversed : {false, true}) {
        SamplePlayer::Settings settings = Looped({true, isReversed, 0.0F, 1.0F});
        Started player(sample, settings);
        Signal out(760);
        Signal other(out.size());
        player.Render(1.0F, out.data(), other.data(), 592);
        settings.controls.loopStart = isReversed ? 0.2F : 0.8F;
        settings.controls.loopStop = isReversed ? 0.25F : 0.85F;
        player.SetSettings(settings);
        player.SwitchLoop(false);
        player.Render(1.0F, out.data() + 592, other.data(), 20);
        player.SwitchLoop(true);
        player.Render(1.0F, out.data() + 612, other.data(), 148);
        for (std::size_t n = 1; n < out.size(); ++n) {
            ASSERT_LE(std::abs(out[n] - out[n - 1]), 1.0F) << n << ", " << isReversed;
        }
    }
    Started player(sample, Looped({false, false, 0.0F, 1.0F}), 0.9F);
    player.Render(1.0F, Signal(400).data(), Signal(400).data(), 400);
    EXPECT_TRUE(player.IsFinished()) << "a start behind the loop plays once";
}

TEST(SamplePlayerTest, PointsKeepTheirOrderAndDistance) {
    const SampleData sample = Stereo(Signal(10002), Signal(10002), 44100.0F);
    struct Case {
        PlayRange::Controls controls;
        bool turnsRound, isReversed;
        u32 trimStart, trimStop, loopStart, loopStop;
        float crossFade;
    };
    for (const Case& c : {Case{{0.1F, 0.9F, 0.2F, 0.8F, 0.1F}, false, false, 1000, 9000, 2000, 8000, 600.0F},
                          Case{{0.1F, 0.9F, 0.0F, 1.0F, 0.5F}, false, false, 1000, 9000, 1000, 9000, 0.0F},
                          Case{{0.1F, 0.9F, 0.2F, 0.7F, 0.5F}, false, false, 1000, 9000, 2000, 7000, 1000.0F},
                          Case{{0.1F, 0.9F, 0.2F, 0.7F, 0.5F}, false, true, 1000, 9000, 2000, 7000, 2000.0F},
                          Case{{0.1F, 0.9F, 0.2F, 0.7F, 0.5F}, true, true, 1000, 9000, 2000, 7000, 1000.0F},
                          Case{{0.5F, 0.4F, 0.6F, 0.3F, 1.0F}, false, false, 5000, 5044, 2956, 3000, 0.0F},
                          Case{{1.0F, 0.0F, 0.0F, 0.0F, 0.0F}, false, false, 9958, 10002, 0, 44, 0.0F}}) {
        SamplePlayer::Settings settings = Looped({c.turnsRound, c.isReversed, 0.0F, 1.0F});
        settings.controls = c.controls;
        const PlayRange range = RangeOf(sample, settings);
        EXPECT_NEAR(range.trimStart, c.trimStart, 1);
        EXPECT_NEAR(range.trimStop, c.trimStop, 1);
        EXPECT_NEAR(range.loopStart, c.loopStart, 1);
        EXPECT_NEAR(range.loopStop, c.loopStop, 1);
        EXPECT_NEAR(range.crossFadeLength, c.crossFade, 1.5F);
    }
}

TEST(SamplePlayerTest, NeverLeavesTheSampleWhateverTheControls) {
    std::mt19937 random(4);
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    const float odd[] = {0.0F, 1.0F, 0.5F, 1e-7F, 0.9999F, -3.0F, 1e30F, nan};
    const auto any = [&] {
        return random() % 2 == 0 ? odd[random() % 8] : static_cast<float>(random()) * 0x1p-32F;
    };
    const auto toss = [&] { return random() % 2 == 0; };
    Signal left(512);
    Signal right(512);
    SamplePlayer player;
    player.Initialize(44100.0F);
    for (int round = 0; round < 3000; ++round) {
        // Memory checkers see a step beside the data; the ones tell the rest.
        const std::size_t frames = 1 + random() % (toss() ? 4 : 3000);
        const SampleData sample =
            Stereo(Signal(frames, 1.0F), Signal(frames, 1.0F), toss() ? 1.0F : 44100.0F);
        const SampleData other = Stereo(Signal(1 + frames / 3, 1.0F), Signal(1 + frames / 3, 1.0F));
        player.Reset();
        const auto settings = [&] {
            return SamplePlayer::Settings{
                {any(), any(), any(), any(), any()}, toss(), toss(), toss(), toss()};
        };
        player.Start(sample, settings(), any());
        for (int block = 0; block < 6; ++block) {
            const float step =
                std::clamp(std::exp2(static_cast<float>(random() % 17) - 8.0F) * 1.1F, 1.0F / 256.0F, 256.0F);
            player.SetStretch(random() % 8 == 0, 1.0);
            player.Render(step, left.data(), right.data(), 4 * static_cast<u32>(random() % 129));
            EXPECT_LE(std::max(orphia::test::Peak(left), orphia::test::Peak(right)), 2.0F);
            player.SetSettings(settings());
            player.SwitchLoop(toss());
            if (random() % 6 == 0) {
                player.Replace(other);
            }
        }
    }
}
