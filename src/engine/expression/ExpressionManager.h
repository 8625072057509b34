// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/smoothing/SmootherSRL.h"
#include "engine/voices/VoiceInfo.h"
#include "support/platform/Types.h"

#include <array>
#include <span>

namespace Velmora::engine {

/// Keeps what players do to sounding notes: bend, pressure and brightness, globally, per channel and per
/// voice, each smoothed once per block, and hands the results to the modulation sources through its hooks.
///
/// A voice follows the channel that it was started on. After its release it still follows until another note
/// takes the channel; then it keeps its last values. A new note starts at its channel's values at once: if no
/// held voice shares the channel, the channel jumps to where it is heading.
///
/// Setters may be called at any time, with MPE on or off; the channels' values act only while it is on.
/// Values that are not finite count as 0. Channels are taken modulo 16, voices at or above voiceCount are
/// ignored. Audio thread only, no operation allocates.
class ExpressionManager {
public:
    static_assert(voiceCount <= 32, "the voices are one word");

    static constexpr u32 channelCount = 16;
    static constexpr i32 noVoice = -1;

    virtual ~ExpressionManager() = default;

    /// Rate in Hz; one UpdateExpression per `maxBlockSize` frames.
    void PrepareExpression(float sampleRate, u32 maxBlockSize);
    /// Forgets the voices, ends all slides, and drops global aftertouch and brightness to 0. The modes stay.
    void ResetExpression();

    /// Gives a voice the present state, through the hooks at once. A restart of a voice is a start.
    void StartVoiceExpression(u32 voice, u8 channel);
    /// The voice's key was let go; the voice sounds on.
    void ReleaseVoiceExpression(u32 voice);
    /// The voice is silent.
    void EndVoiceExpression(u32 voice);

    /// In semitones, for all voices.
    void SetGlobalBend(float semitones);
    /// 0 to 1. With MPE off it also selects global aftertouch; with MPE on it adds to the channels' pressure.
    void SetGlobalAftertouch(float amount);
    /// An offset to the channels' brightness. Not smoothed.
    void SetGlobalBrightness(float amount);
    /// Switching it on selects per-voice aftertouch and applies the channels' values to the sounding voices.
    void SetMpeEnabled(bool enabled);

    /// In semitones.
    void SetChannelBend(u8 channel, float semitones);
    /// 0 to 1.
    void SetChannelPressure(u8 channel, float amount);
    /// 0 to 1.
    void SetChannelBrightness(u8 channel, float amount);

    /// Pressure of one key, 0 to 1: selects per-voice aftertouch. Ignored while MPE is on.
    void SetVoicePressure(u32 voice, float amount);
    /// The same for all voices that play the note on the channel.
    void SetNotePressure(u8 note, u8 channel, float amount);

    /// One block: advances what moves and calls the hooks for what changed, those per voice for active voices
    /// only. Next to nothing while all is settled.
    void UpdateExpression(std::span<const u32> activeVoices) {
        if (IsMoving()) {
            Advance(activeVoices);
        }
    }

    /// Semitones: the global bend, and with MPE that of the voice. A voice out of range has the global one.
    float PitchOffset(u32 voice) const {
        return isMpe && voice < voiceCount ? bend.current + voices[voice].bend : bend.current;
    }
    /// 0 to 1, what source 5 of the voice gets while aftertouch is per voice.
    float VoiceAftertouch(u32 voice) const;
    /// 0 to 1, what source 7 of the voice gets; 0 with MPE off.
    float VoiceBrightness(u32 voice) const;

protected:
    /// Binds source 5 of the voices to buffers of their own (true) or to the global one (false).
    virtual void OnPerVoiceAftertouch(bool perVoice) = 0;
    /// Source 5 of one voice; called only while it has a buffer of its own.
    virtual void WriteVoiceAftertouch(u32 voice, float value) = 0;
    /// Source 5 of all voices.
    virtual void WriteGlobalAftertouch(float value) = 0;
    /// Source 7 of one voice.
    virtual void WriteVoiceBrightness(u32 voice, float value) = 0;
    /// The first voice at or above `from` that plays the note on the channel, or noVoice.
    virtual i32 FindExpressionVoice(u8 note, u8 channel, u32 from) const = 0;

private:
    /// One controller that every channel has, with the channels whose slide is not over.
    struct ChannelControl {
        std::array<dsp::SmootherSRL, channelCount> smoothers;
        u32 moving = 0;
    };
    /// What a voice heard last of its channel.
    struct VoiceState {
        float bend = 0.0F;
        float pressure = 0.0F;
        float brightness = 0.0F;
    };
    using VoiceField = float VoiceState::*;

    bool IsMoving() const {
        return (bends.moving | pressures.moving | brightnesses.moving | keysMoving | aftertouchToWrite |
                brightnessToWrite) != 0 ||
               globalToWrite || !bend.IsAtTarget() || !aftertouch.IsAtTarget();
    }
    void Advance(std::span<const u32> activeVoices);
    void AdvanceGlobals();
    void AdvanceKeys();
    /// Returns the voices whose value changed.
    u32 AdvanceChannels(ChannelControl& control, VoiceField field);
    void SetChannel(ChannelControl& control, u8 channel, float value);
    void JumpChannel(u32 channel);
    void FollowChannel(u32 voice, u32 channel);
    void JumpGlobals();
    void LeaveChannel(u32 voice);
    void SelectPerVoice(bool perVoice);

    template <class Operation>
    void ForEachSmoother(Operation operation);

    dsp::SmootherSRL bend;
    dsp::SmootherSRL aftertouch;
    float globalBrightness = 0.0F;
    ChannelControl bends;
    ChannelControl pressures;
    ChannelControl brightnesses;

    std::array<VoiceState, voiceCount> voices{};
    /// Pressure of the voices' own keys.
    std::array<dsp::SmootherSRL, voiceCount> keys;
    u32 keysMoving = 0;

    /// Sets of voices, one bit each. Those that follow a channel, by channel:
    std::array<u32, channelCount> followers{};
    std::array<u8, voiceCount> channelOf{};
    u32 sounding = 0;
    u32 released = 0;
    u32 aftertouchToWrite = 0;
    u32 brightnessToWrite = 0;

    bool globalToWrite = false;
    bool isMpe = false;
    bool isPerVoice = false;
};

} // namespace Velmora::engine
