// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/UnitModule.h"
#include "dsp/sampler/SimplerFilter.h"
#include "dsp/sampler/SimplerMixer.h"
#include "dsp/sampler/SimplerParameters.h"
#include "dsp/sampler/SimplerPlayer.h"
#include "dsp/sampler/files/SampleData.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "support/platform/Types.h"

#include <array>
#include <memory>
#include <string>

namespace Velmora::dsp {

/// A sampler: plays one of its loaded samples, trimmed, looped with crossfade, reversed, repeated or
/// stretched in time, through a tone control, gain, pan and volume.
///
/// Inputs, each an optional modulation: 0 "Coarse", 1 "Fine", 2 "Start", 3 "MainVolume", 4 "Filter"; the
/// first sample of a block counts. Outputs: 0 left, 1 right; without "Stereo" all of it in 0, and 1 is left
/// alone. Without a sample both are left alone.
///
/// A reset starts the sample of "SelectedSlot" with the next block; a slot without sample plays nothing.
template <u32 slotCount, u32 voiceCount>
class Simpler final : public UnitModule {
    static_assert(voiceCount == 1, "all channels of a sample share one playing voice");
    static constexpr u32 firstSlotId = 4;
    static constexpr u32 firstCommonId = firstSlotId + slotParameterCount * slotCount;

public:
    static constexpr u32 parameterCount = firstCommonId + 8;

    /// Start position in the trimmed part, 0 to 1.
    static constexpr u32 start = 0;
    /// Hz of the note, in force with "KeyTrack".
    static constexpr u32 freq = 1;
    /// Semitones, -12 to 12.
    static constexpr u32 coarse = 2;
    /// Semitones, -1 to 1.
    static constexpr u32 fine = 3;
    static constexpr u32 selectedSlot = firstCommonId;
    static constexpr u32 stereo = firstCommonId + 1;
    /// Written by the module: 1 when left and right may differ.
    static constexpr u32 isStereo = firstCommonId + 2;
    /// Decibels; the lower end of the range is silence.
    static constexpr u32 mainVolume = firstCommonId + 3;
    static constexpr u32 keyTrack = firstCommonId + 4;
    /// 1 adds a random offset to the start position.
    static constexpr u32 phaseRetrigMode = firstCommonId + 5;
    /// 1 resets the module when the sample that plays is replaced.
    static constexpr u32 resetOnReplace = firstCommonId + 6;
    /// -1 to 1, see SimplerFilter.
    static constexpr u32 filter = firstCommonId + 7;

    /// The id of a slot's own parameter; slot counts from 0.
    static constexpr u32 SlotId(SlotParameter key, u32 slot) {
        return firstSlotId + static_cast<u32>(key) * slotCount + slot;
    }

    explicit Simpler(std::string moduleName = "Sampler");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    /// Hard or not: sound and flags are cleared, the samples stay.
    void OnReset(bool hard) override;
    bool UpdateParameters(ProcessContext& context) override;
    bool Process(ProcessContext& context) override;

    /// Publishes a sample in a slot, on the thread that runs the blocks. Taking away the sample that plays by
    /// a null stops playback. The one that it replaces must be held elsewhere, or it is freed here.
    virtual void SetSample(std::shared_ptr<const SampleData> sample, u32 index);
    /// The value of one channel between two frames; 0 for a channel that the sample does not have.
    virtual float ReadSample(const float* channelData, double position);

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
    SimplerPlayer::Settings ReadSettings();
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
    SimplerPlayer player;
    SimplerFilter toneControl;
    SmootherLPF tone{0.004};
    SimplerMixer mixer;
    BlockPool buffers;
};

} // namespace Velmora::dsp
