// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/SamplePlayer.h"

#include "rigs/ModuleRig.h"

#include <limits>

using namespace Velmora;
using namespace Velmora::dsp;
using orphia::test::Noise;

namespace {

constexpr float hostRate = 1300.0F;

/// One channel as it is meant to be played: frame by frame, in double precision, with every decision in each.
struct Reference {
    const SampleData* sample;
    u32 channel;
    SamplePlayer::Settings use;
    double step;
    double at = 0.0, endFade = 0.0, crossFade = 0.0;
    bool turnsRound = use.turnsRound, reverse = use.isReversed, down = false, looping = false, stops = false;
    bool wrapped = false, ended = false, repeated = false;
    u32 least = 0, trimStart = 0, trimStop = 0, loopStart = 0, loopStop = 0;

    static double Unit(float control) { return control > 0.0F ? std::min(control, 1.0F) : 0.0F; }
    static u32 Share(float control, u32 whole) {
        return static_cast<u32>(static_cast<float>(whole) * static_cast<float>(Unit(control)));
    }
    void Start(float start) {
        SetTrim();
        const double begin = reverse ? trimStop : trimStart;
        at = begin + Unit(start) * ((reverse ? trimStart : trimStop) - begin);
        looping = use.isLooped && IsBeforeLoopEnd();
    }
    void SetTrim() {
        const u32 frames = sample->Frames();
        least = std::min(static_cast<u32>(sample->SampleRate() / 1000.0F), frames);
        trimStart = Share(use.controls.trimStart, std::max(frames, 2U) - 2);
        trimStop = Share(use.controls.trimStop, std::max(frames, 2U) - 2);
        if (trimStop < trimStart + least) {
            trimStart = std::min(trimStart, frames - least);
            trimStop = trimStart + least;
        }
        endFade = std::min(static_cast<double>(hostRate) / 100.0, frames - 1.0);
        SetLoop();
    }
    void SetLoop() {
        const u32 last = sample->Frames() - 1;
        loopStart = std::max(Share(use.controls.loopStart, last), trimStart);
        loopStop = std::max(std::min(Share(use.controls.loopStop, last), trimStop), least);
        loopStart = loopStop < loopStart + least ? loopStop - least : loopStart;
        const double before = std::max(0.0, 1.0 * loopStart - trimStart);
        const double behind = std::max(0.0, 1.0 * trimStop - loopStop);
        const double length = 1.0 * loopStop - loopStart;
        crossFade = std::min({length * Unit(use.controls.crossFade), length,
                              turnsRound ? std::min(before, behind)
                              : reverse  ? behind
                                         : before});
    }
    bool IsBeforeLoopEnd() const { return reverse ? at >= loopStart : at <= loopStop; }
    double Read(double position) const {
        const double whole = std::floor(position);
        const float* frame = sample->Channel(channel) + static_cast<std::ptrdiff_t>(whole);
        return frame[0] + (position - whole) * (static_cast<double>(frame[1]) - frame[0]);
    }
    double Next() { return looping ? Loop() : Once(); }
    double Once() {
        RepeatAtEnd();
        if (ended) {
            return 0.0;
        }
        at = std::clamp(at, 0.0, 1.0 * sample->Frames());
        const double left = reverse ? at - trimStart : trimStop - at;
        const double value = Read(at) * (left >= 0.0 && left < endFade ? left / endFade : 1.0);
        at += reverse ? -step : step;
        ended = reverse ? at <= trimStart : at >= trimStop;
        RepeatAtEnd();
        return value;
    }
    void RepeatAtEnd() {
        if (ended && use.repeatsOnce && !repeated) {
            ended = false;
            repeated = true;
            reverse = reverse != turnsRound;
            at = reverse ? trimStop : trimStart;
        }
    }
    double Loop() {
        at = std::clamp(at, 0.0, 1.0 * sample->Frames());
        const bool rises = reverse == down;
        const double left = rises ? loopStop - at : at - loopStart;
        double value = Read(at);
        if (left > 0.0 && left < crossFade) {
            // A forward loop jumps to its other end; the other comes back from the one it moves to, a
            // reversed one a frame late at the upper end.
            const double upper = loopStop + left + (turnsRound && rises && reverse ? 1.0 : 0.0);
            const double other = Read((turnsRound ? rises : reverse) ? upper : loopStart - left);
            value = Fade(left / crossFade) * value + Fade(1.0 - left / crossFade) * other;
        }
        at += rises ? step : -step;
        const double length = 1.0 * loopStop - loopStart;
        for (bool up = rises; up ? at >= loopStop : at <= loopStart; up = reverse == down) {
            wrapped = true;
            down = turnsRound && !down;
            at = turnsRound ? 2.0 * (up ? loopStop : loopStart) - at : at + (up ? -length : length);
            if (length == 0.0) {
                at = loopStart;
                break;
            }
        }
        return value;
    }
    /// The cubic through 0 and 1 that arrives level.
    static double Fade(double t) { return 1.5 * t - 0.5 * t * t * t; }
    void EndBlock() {
        if (looping && std::exchange(wrapped, false)) {
            SetLoop();
            looping = !(turnsRound && std::exchange(stops, false));
        }
    }
    void SwitchLoop(bool on) {
        if (looping) {
            stops = turnsRound ? !on : stops;
            looping = turnsRound || on;
        } else if (on && IsBeforeLoopEnd()) {
            looping = true;
            // The loop is entered, not left behind.
            down = down && !(reverse == down ? at > loopStop : at < loopStart);
        }
    }
};

} // namespace

TEST(SamplePlayerTest, PlaysLikeAPlayerThatDecidesFrameByFrame) {
    constexpr u32 longest = 128;
    std::mt19937 random(4);
    const auto below = [&random](u32 count) { return static_cast<u32>(random() % count); };
    const auto any = [&] {
        constexpr float odd[] = {
            0.0F, 1.0F, 0.5F, 1e-7F, -3.0F, 1e30F, std::numeric_limits<float>::quiet_NaN()};
        return below(3) == 0 ? odd[below(7)] : static_cast<float>(random()) * 0x1p-32F;
    };
    SamplePlayer player;
    player.MakeStretchers();
    player.Initialize(hostRate);
    for (u32 round = 0; round < 1500; ++round) {
        // Now and then for long, or of a few frames, or with steps beyond the loop's length.
        const u32 frames = below(5) == 0 ? 1 + below(5) : 60 + below(3000);
        const float rate = below(8) == 0 ? 1.0F : 5200.0F;
        const auto make = [&](u32 length) {
            return SampleData(Noise(length, 1.0F, round), Noise(length, 1.0F, round + 1), rate, {});
        };
        const SampleData samples[] = {make(frames), make(1 + frames / 3)};
        const float start = below(2) == 0 ? 0.0F : any();
        const u32 range = below(20);
        const float step =
            std::exp2(static_cast<float>(below(4000)) / 1000.0F - 2.0F) * (range < 2    ? 40.0F
                                                                           : range == 2 ? 1.0F / 64.0F
                                                                                        : 1.0F);
        SamplePlayer::Settings use{
            {any(), any(), any(), any(), any()}, below(2) == 0, below(3) != 0, below(2) == 0, below(2) == 0};
        player.Reset();
        player.Start(samples[0], use, start);
        Reference references[] = {{&samples[0], 0, use, step}, {&samples[0], 1, use, step}};
        references[0].Start(start);
        references[1].Start(start);
        bool isUndisturbed = true;
        float out[2][longest];
        const u32 blocks = round < 4 ? 30000 : 40;
        for (u32 block = 0; block < blocks; ++block) {
            const u32 count = 4 * (1 + below(longest / 4));
            player.Render(step, out[0], out[1], count);
            const bool moves = block + 30 >= blocks && below(6) == 0;
            isUndisturbed = isUndisturbed && !moves;
            for (u32 side = 0; side < 2; ++side) {
                Reference& reference = references[side];
                for (u32 n = 0; n < count; ++n) {
                    ASSERT_NEAR(reference.Next(), out[side][n], 2e-5 * (1.0 + reference.step))
                        << "round " << round << ", block " << block << ", frame " << n;
                }
                reference.EndBlock();
            }
            if (isUndisturbed && !references[0].repeated) {
                ASSERT_NEAR(player.Position(), references[0].at, references[0].ended ? step * longest : 1e-5)
                    << round << ", " << block;
                ASSERT_EQ(player.IsFinished(), references[0].ended) << round << ", " << block;
            }
            if (moves) {
                use.controls = {0.0F, 1.0F, any(), any(), any()};
                use.repeatsOnce = below(2) == 0;
                const bool on = below(2) == 0;
                const bool replaces = below(8) == 0;
                player.SetSettings(use);
                player.SwitchLoop(on);
                for (Reference& reference : references) {
                    reference.use = use;
                    reference.SwitchLoop(on);
                }
                if (replaces) {
                    player.Replace(samples[1]);
                    for (Reference& reference : references) {
                        reference.sample = &samples[1];
                        reference.SetTrim();
                    }
                }
            }
        }
    }
}
