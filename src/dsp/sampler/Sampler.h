// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"
#include "dsp/sampler/GainAndPan.h"
#include "dsp/sampler/SamplePlayer.h"
#include "dsp/sampler/ToneControl.h"
#include "dsp/sampler/files/SampleData.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "support/platform/Types.h"

#include <array>
#include <memory>
#include <string>

namespace Velmora::dsp {

/// What each slot of a sampler has of its own, in the order of the parameter ids.
enum class SlotParameter : u32 {
    /// Semitones, -36 to 36.
    Transpose,
    /// Semitones, -1 to 1.
    Fine,
    /// Hz at which the sample was recorded, 0.01 to 20000.
    RootNote,
    /// Positions in the sample, 0 to 1.
    TrimStart,
    TrimStop,
    LoopStart,
    LoopStop,
    /// Switches are on above 0.5.
    LoopOn,
    /// 0 forward, 1 back and forth.
    LoopType,
    Reverse,
    RepeatOnce,
    /// Decibels, -20 to 20.
    Gain,
    /// 0 left to 1 right.
    Pan,
    /// Share of the loop's length, 0 to 1.
    CrossFade,
    TimeStretchOn,
    /// Speed, 0.125 to 8; 2 plays in half the time.
    TimeStretchFactor,
    /// Index of a length in bars: 0 is 1/32, each further one twice as long, 8 is 8 bars.
    TimeStretchBars,
    /// The length in bars at the host's tempo replaces the factor.
    TimeStretchSync,
    Count
};

/// A sampler: plays one of its loaded samples, trimmed, looped with crossfade, reversed, repeated or
/// stretched in time, through a tone control, gain, pan and volume.
///
/// Inputs, each an optional modulation: 0 "Coarse", 1 "Fine", 2 "Start", 3 "MainVolume", 4 "Filter"; the
/// first sample of a block counts. Outputs: 0 left, 1 right; without "Stereo" all of it in 0, and 1 is left
/// alone. Without a sample both are left alone.
///
/// A reset starts the sample of "SelectedSlot" with the next block; a slot without sample plays nothing.
class Sampler final : public UnitModule {
    static constexpr u32 firstOfSlots = 4;

public:
    static constexpr u32 slotCount = 12;

    enum Parameter : u32 {
        /// Position in the trimmed part, 0 to 1.
        Start,
        /// Hz of the note, in force with "KeyTrack".
        Freq,
        /// Semitones, -12 to 12.
        Coarse,
        /// Semitones, -1 to 1.
        Fine,
        /// Behind each slot parameter for all slots.
        SelectedSlot = firstOfSlots + static_cast<u32>(SlotParameter::Count) * slotCount,
        Stereo,
        /// Written by the module: 1 when left and right may differ.
        IsStereo,
        /// Decibels; the lower end of the range is silence.
        MainVolume,
        KeyTrack,
        /// 1 adds a random offset to the start position.
        PhaseRetrigMode,
        /// 1 resets the module when the sample that plays is replaced.
        ResetOnReplace,
        /// -1 to 1, see ToneControl.
        Filter,
        ParameterCount
    };
    static constexpr u32 parameterCount = ParameterCount;

    /// The id of a slot's own parameter; slot counts from 0.
    static constexpr u32 SlotId(SlotParameter key, u32 slot) {
        return firstOfSlots + static_cast<u32>(key) * slotCount + slot;
    }

    explicit Sampler(std::string moduleName = "Sampler");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    /// Hard or not: sound and flags are cleared, the samples stay.
    void OnReset(bool hard) override;
    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;

    /// Publishes a sample in a slot, on the thread that runs the blocks. Taking away the sample that plays by
    /// a null stops playback. The one that it replaces must be held elsewhere, or it is freed here.
    void SetSample(std::shared_ptr<const SampleData> sample, u32 index);
    /// SamplePlayer::MakeStretchers; to be called before the first sample.
    void MakeStretchers() { player.MakeStretchers(); }

    bool HasSample(u32 index) const { return index < slotCount && samples[index] != nullptr; }
    /// The slot that plays, -1 for none.
    i32 CurrentSample() const { return current; }
    /// True from the end of the trimmed part, or of its repetition, to the next reset.
    bool IsFinished() const { return player.IsFinished(); }
    /// Frames into the sample.
    double PlayPosition() const { return player.Position(); }
    /// Length of the sample that plays, 0 without.
    u32 CurrentFrames() const { return current >= 0 ? samples[CurrentIndex()]->Frames() : 0; }
    /// Makes random starts repeatable; they are seeded from the clock.
    void SeedRandomStart(u32 seed);

private:
    static constexpr u32 inputCount = 5;
    enum Buffer : u32 { LeftBuffer, RightBuffer, BufferCount };

    u32 CurrentIndex() const { return static_cast<u32>(current); }
    float SlotValue(SlotParameter key) { return Value(SlotId(key, CurrentIndex())); }
    bool SlotChanged(SlotParameter key) const { return Changed(SlotId(key, CurrentIndex())); }
    bool SlotSwitch(SlotParameter key) { return SlotValue(key) > 0.5F; }

    void Prepare(const ProcessContext& context);
    SamplePlayer::Settings ReadSettings();
    void FollowChanges();
    void UpdateStretch();
    double SyncedFactor();
    float StartControl(const ProcessContext& context);
    float VolumeTarget(const ProcessContext& context);
    float ToneTarget(const ProcessContext& context);
    float Increment(const ProcessContext& context);

    void RunToneControl(const ProcessContext& context);
    void WriteOutputs(const ProcessContext& context, bool asStereo);

    float sampleRate = 1.0F;
    float tempo = 120.0F;
    u32 randomState;
    i32 current = -1;
    std::array<std::shared_ptr<const SampleData>, slotCount> samples;
    SamplePlayer player;
    ToneControl toneControl;
    SmootherLPF tone{0.004};
    GainAndPan levels;
    BlockPool buffers;
};

} // namespace Velmora::dsp
