// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/sampler/SamplePlayer.h"

#include <algorithm>

namespace Velmora::dsp {

void SamplePlayer::Initialize(float rate) {
    sampleRate = rate;
    for (SampleStretcher& stretcher : stretchers) {
        stretcher.Make(rate);
    }
}

void SamplePlayer::Reset() {
    for (Playhead& head : heads) {
        head.Reset();
    }
    timeline.Reset();
    for (SampleStretcher& stretcher : stretchers) {
        stretcher.Reset();
    }
    isStopPending = false;
    isFinished = false;
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
}

void SamplePlayer::Replace(const SampleData& newSample) {
    if (channelCount == 1) {
        heads[1] = heads[0];
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
    for (Playhead& head : heads) {
        head.EnterLoop(range);
    }
    timeline.EnterLoop(range);
}

void SamplePlayer::SetStretch(bool on, double factor) {
    isStretched = on;
    stretchFactor = factor;
    for (SampleStretcher& stretcher : stretchers) {
        stretcher.SetTimeRatio(1.0 / factor);
    }
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
    if (isLooping) {
        FollowWrap();
    } else if (isStretched && !(settings.repeatsOnce && !timeline.HasRepeated())) {
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
    const ChannelReader reader(sample->Channel(channel), range, step);
    Playhead& head = heads[channel];
    const auto read = [&](float* to, u32 count) {
        if (isLooping) {
            reader.ReadLoop(head, to, count);
        } else {
            reader.ReadOnce(head, settings.repeatsOnce, to, count);
        }
    };
    if (isStretched && stretchers[channel].IsMade()) {
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
