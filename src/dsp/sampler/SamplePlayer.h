// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/sampler/ChannelReader.h"
#include "dsp/sampler/PlayRange.h"
#include "dsp/sampler/Playhead.h"
#include "dsp/sampler/SampleStretcher.h"
#include "dsp/sampler/files/SampleData.h"
#include "support/platform/Types.h"

#include <array>
#include <atomic>
#include <mutex>

namespace Velmora::dsp {

/// Plays one sample at a given speed, without filter and gains. Each channel has its own position, which runs
/// ahead while it is stretched; the timeline tells what is heard.
class SamplePlayer {
public:
    struct Settings {
        PlayRange::Controls controls;
        bool isReversed = false;
        bool isLooped = false;
        /// The loop runs back and forth.
        bool turnsRound = false;
        bool repeatsOnce = false;
    };

    /// The rate in Hz. Makes the stretchers anew if there are any.
    void Initialize(float sampleRate);
    /// Not on the audio thread, which may run meanwhile: from now on samples can be stretched; until then
    /// they play as they are. Allocates when it is called first.
    void MakeStretchers();
    void Reset();
    /// From the next block on; start in 0..1 of the trimmed part. The sample must outlive its playing.
    void Start(const SampleData& newSample, const Settings& newSettings, float start);
    /// Goes on with another sample in place of the present one.
    void Replace(const SampleData& newSample);
    /// What a running pass does not read at once acts from the next wrap of the loop.
    void SetSettings(const Settings& newSettings) { settings = newSettings; }
    /// Enters the loop if its end still lies ahead. A forward loop is left at once, the other at its turn.
    void SwitchLoop(bool on);
    /// A factor of 2 plays in half the time. While a sample plays, the switch fades from one way of reading
    /// to the other; a further one waits for the end of that fade.
    void SetStretch(bool on, double factor);

    /// A mono sample goes to both sides. step: 1/256 to 256 frames of the sample per frame.
    void Render(float step, float* left, float* right, u32 frames);

    u32 ChannelCount() const { return channelCount; }
    bool IsFinished() const { return isFinished; }
    /// Of the timeline, in frames.
    double Position() const { return timeline.Position(); }

private:
    static constexpr u32 mostChannels = 2;

    void Make();
    void ResetStretchers();
    bool CanStretch() const { return hasStretchers.load(std::memory_order_acquire); }
    void SetRange(const SampleData& newSample);
    bool IsBeforeLoopEnd(double position) const;
    void EnterLoop();
    void MoveTimeline(double distance);
    void FollowStretch();
    void StartFade();
    void RenderChannel(u32 channel, float step, float* out, u32 frames);
    void Read(u32 channel, Playhead& head, bool stretched, float step, float* out, u32 frames);
    void AddFading(u32 channel, float step, float* out, u32 frames);
    void FollowWrap();
    double DistanceToEnd() const;
    void FadeEnd(double distance, double perFrame, float* left, float* right, u32 frames) const;

    float sampleRate = 1.0F;
    const SampleData* sample = nullptr;
    u32 channelCount = 0;
    Settings settings;
    PlayRange range;
    std::array<Playhead, mostChannels> heads;
    /// They cost more than all the rest of a player that never gets a sample.
    std::array<SampleStretcher, mostChannels> stretchers;
    std::atomic<bool> hasStretchers{false};
    /// Held while stretchers are made, and guards the rate from then on.
    std::mutex making;
    Playhead timeline;
    bool isLooping = false;
    bool isStopPending = false;
    bool isFinished = false;
    bool isStretched = false;
    double stretchFactor = 1.0;
    /// What was asked for; it waits while a fade runs.
    bool wantsStretch = false;
    double wantedFactor = 1.0;
    /// Nothing has sounded since the start.
    bool isFresh = true;
    /// The positions of the way of reading that fades out, and the frames that it has left.
    std::array<Playhead, mostChannels> fadingHeads;
    u32 fadeLeft = 0;
    u32 fadeLength = 1;
};

} // namespace Velmora::dsp
