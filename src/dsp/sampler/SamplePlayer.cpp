// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/SamplePlayer.h"

#include <algorithm>

namespace Velmora::dsp {

namespace {

/// From stretched to plain reading and back.
constexpr float fadeSeconds = 0.02F;

/// From 0 to 1, level at both ends, so that nothing is heard of them.
float Soft(float t) { return t * t * (3.0F - 2.0F * t); }

} // namespace

void SamplePlayer::Initialize(float rate) {
    const std::lock_guard lock(making);
    sampleRate = rate;
    fadeLength = std::max(1U, static_cast<u32>(fadeSeconds * rate));
    if (CanStretch()) {
        Make();
    }
}

void SamplePlayer::MakeStretchers() {
    const std::lock_guard lock(making);
    if (!CanStretch()) {
        Make();
        hasStretchers.store(true, std::memory_order_release);
    }
}

void SamplePlayer::Make() {
    for (SampleStretcher& stretcher : stretchers) {
        stretcher.Make(sampleRate);
    }
}

void SamplePlayer::ResetStretchers() {
    if (CanStretch()) {
        for (SampleStretcher& stretcher : stretchers) {
            stretcher.Reset();
        }
    }
}

void SamplePlayer::Reset() {
    for (Playhead& head : heads) {
        head.Reset();
    }
    timeline.Reset();
    ResetStretchers();
    isStopPending = false;
    isFinished = false;
    fadeLeft = 0;
}

void SamplePlayer::Start(const SampleData& newSample, const Settings& newSettings, float start) {
    settings = newSettings;
    range.turnsRound = settings.turnsRound;
    for (Playhead& head : heads) {
        head.Start(0.0, settings.isReversed);
    }
    SetRange(newSample);
    const double position = range.StartPosition(start, settings.isReversed);
    for (Playhead& head : heads) {
        head.Start(position, settings.isReversed);
    }
    timeline.Start(position, settings.isReversed);
    isLooping = settings.isLooped && IsBeforeLoopEnd(position);
    isFresh = true;
    fadeLeft = 0;
}

void SamplePlayer::Replace(const SampleData& newSample) {
    if (channelCount == 1) {
        heads[1] = heads[0];
        fadingHeads[1] = fadingHeads[0];
    }
    SetRange(newSample);
}

void SamplePlayer::SetRange(const SampleData& newSample) {
    sample = &newSample;
    channelCount = static_cast<u32>(newSample.ChannelCount());
    range.SetTrim(newSample, settings.controls, sampleRate);
    range.SetLoop(settings.controls, heads[0].IsReversed());
}

bool SamplePlayer::IsBeforeLoopEnd(double position) const {
    return heads[0].IsReversed() ? position >= range.loopStart : position <= range.loopStop;
}

void SamplePlayer::SwitchLoop(bool on) {
    if (!isLooping) {
        isLooping = on && IsBeforeLoopEnd(heads[0].Position());
        if (isLooping) {
            EnterLoop();
        }
    } else if (range.turnsRound) {
        isStopPending = !on;
    } else {
        isLooping = on;
    }
}

/// A loop that was left on its way back has kept its direction.
void SamplePlayer::EnterLoop() {
    for (u32 channel = 0; channel < mostChannels; ++channel) {
        heads[channel].EnterLoop(range);
        fadingHeads[channel].EnterLoop(range);
    }
    timeline.EnterLoop(range);
}

void SamplePlayer::SetStretch(bool on, double factor) {
    const bool isPossible = SampleStretcher::IsPossible();
    wantsStretch = on && isPossible;
    wantedFactor = isPossible ? factor : 1.0;
    FollowStretch();
}

void SamplePlayer::FollowStretch() {
    const bool switches = wantsStretch != isStretched;
    if (switches && fadeLeft > 0) {
        return;
    }
    isStretched = wantsStretch;
    stretchFactor = wantedFactor;
    const bool fades = switches && !isFresh;
    // A stretcher that fades out keeps its ratio.
    if (CanStretch() && (isStretched || !(fades || fadeLeft > 0))) {
        for (SampleStretcher& stretcher : stretchers) {
            stretcher.SetTimeRatio(1.0 / stretchFactor);
        }
    }
    if (fades) {
        StartFade();
    }
}

/// The plain reading goes on until the stretcher is full. The other way round it begins at what is heard,
/// since the stretcher has read further than that.
void SamplePlayer::StartFade() {
    fadingHeads = heads;
    fadeLeft = fadeLength;
    if (!isStretched) {
        heads.fill(timeline);
        std::for_each(heads.begin(), heads.end(), [](Playhead& head) { head.ClearWrapped(); });
        return;
    }
    ResetStretchers();
    fadeLeft += CanStretch() ? stretchers[0].Delay() : 0;
}

void SamplePlayer::Render(float step, float* left, float* right, u32 frames) {
    const double perFrame = static_cast<double>(step) * stretchFactor;
    const double ahead = DistanceToEnd();
    MoveTimeline(perFrame * frames);
    RenderChannel(0, step, left, frames);
    if (channelCount > 1) {
        RenderChannel(1, step, right, frames);
    } else {
        std::copy_n(left, frames, right);
    }
    const bool lags = isStretched || fadeLeft > 0;
    fadeLeft -= std::min(fadeLeft, frames);
    isFresh = false;
    FollowStretch();
    if (isLooping) {
        FollowWrap();
    } else if (lags && !(settings.repeatsOnce && !timeline.HasRepeated())) {
        FadeEnd(ahead, perFrame, left, right, frames);
    }
}

double SamplePlayer::DistanceToEnd() const {
    return timeline.IsReversed() ? timeline.Position() - range.trimStart
                                 : range.trimStop - timeline.Position();
}

/// The stretcher lags: the fade before the sample's end is still in it when playing ends.
void SamplePlayer::FadeEnd(double distance, double perFrame, float* left, float* right, u32 frames) const {
    const double length = static_cast<double>(range.endFadeLength);
    if (distance - perFrame * frames >= length) {
        return;
    }
    for (u32 n = 0; n < frames; ++n) {
        const double gain = std::clamp((distance - perFrame * n) / length, 0.0, 1.0);
        left[n] *= static_cast<float>(gain);
        right[n] *= static_cast<float>(gain);
    }
}

void SamplePlayer::MoveTimeline(double distance) {
    if (isLooping) {
        timeline.MoveInLoop(distance, range);
        return;
    }
    timeline.MoveOnce(distance, range, settings.repeatsOnce);
    isFinished = isFinished || timeline.HasEnded();
}

void SamplePlayer::RenderChannel(u32 channel, float step, float* out, u32 frames) {
    Read(channel, heads[channel], isStretched, step, out, frames);
    if (fadeLeft > 0) {
        AddFading(channel, step, out, std::min(frames, fadeLeft));
    }
}

void SamplePlayer::AddFading(u32 channel, float step, float* out, u32 frames) {
    constexpr u32 portionSize = 64;
    std::array<float, portionSize> portion;
    for (u32 done = 0; done < frames; done += portionSize) {
        const u32 count = std::min(portionSize, frames - done);
        Read(channel, fadingHeads[channel], !isStretched, step, portion.data(), count);
        for (u32 n = 0; n < count; ++n) {
            const u32 left = std::min(fadeLeft - done - n, fadeLength);
            const float share = Soft(static_cast<float>(left) / static_cast<float>(fadeLength));
            out[done + n] += share * (portion[n] - out[done + n]);
        }
    }
}

void SamplePlayer::Read(u32 channel, Playhead& head, bool stretched, float step, float* out, u32 frames) {
    const ChannelReader reader(sample->Channel(channel), range, step);
    const auto read = [&](float* to, u32 count) {
        if (isLooping) {
            reader.ReadLoop(head, to, count);
        } else {
            reader.ReadOnce(head, settings.repeatsOnce, to, count);
        }
    };
    if (stretched && CanStretch()) {
        stretchers[channel].Render(read, out, frames);
    } else {
        read(out, frames);
    }
}

/// New loop points act once all channels have left the old ones behind.
void SamplePlayer::FollowWrap() {
    const auto playing = heads.begin() + channelCount;
    if (!std::all_of(heads.begin(), playing, [](const Playhead& head) { return head.HasWrapped(); })) {
        return;
    }
    range.SetLoop(settings.controls, heads[0].IsReversed());
    std::for_each(heads.begin(), playing, [](Playhead& head) { head.ClearWrapped(); });
    if (range.turnsRound && isStopPending) {
        isLooping = false;
        isStopPending = false;
    }
}

} // namespace Velmora::dsp
