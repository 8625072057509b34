// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/expression/ExpressionManager.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace Velmora::engine {

namespace {

constexpr u32 channelMask = 15;

constexpr u32 Bit(u32 index) { return 1U << index; }

/// Calls `operation` for each member of a set, in ascending order.
template <class Operation>
void ForEachBit(u32 set, Operation operation) {
    for (; set != 0; set &= set - 1) {
        operation(static_cast<u32>(std::countr_zero(set)));
    }
}

/// Advances one smoother of a set and takes it out of the set when it has arrived, or was made to jump.
float Step(dsp::SmootherSRL& smoother, u32 index, u32& moving) {
    const float value = smoother.Next();
    if (smoother.IsAtTarget()) {
        moving &= ~Bit(index);
    }
    return value;
}

/// A target that is sent again must not stretch the slide towards it.
bool RetargetIfNew(dsp::SmootherSRL& smoother, float value) {
    if (smoother.target == value) {
        return false;
    }
    smoother.Retarget(value);
    return true;
}

/// Semitones; beyond the whole range of notes, so that nothing audible is cut and sums stay finite.
constexpr float widestBend = 256.0F;

float Limit(float value, float lowest, float highest) {
    return std::isfinite(value) ? std::clamp(value, lowest, highest) : 0.0F;
}

} // namespace

// What players do.

void ExpressionManager::SetGlobalBend(float semitones) {
    RetargetIfNew(bend, Limit(semitones, -widestBend, widestBend));
}

void ExpressionManager::SetGlobalAftertouch(float amount) {
    RetargetIfNew(aftertouch, Limit(amount, 0.0F, 1.0F));
    if (!isMpe) {
        SelectPerVoice(false);
    }
}

void ExpressionManager::SetGlobalBrightness(float amount) {
    const float value = Limit(amount, -1.0F, 1.0F);
    if (value != globalBrightness) {
        globalBrightness = value;
        brightnessToWrite |= isMpe ? sounding : 0;
    }
}

void ExpressionManager::SetMpeEnabled(bool enabled) {
    if (enabled != isMpe) {
        isMpe = enabled;
        ForEachBit(sounding, [this](u32 voice) { FollowChannel(voice, channelOf[voice]); });
        aftertouchToWrite = brightnessToWrite = sounding;
    }
    if (enabled) {
        SelectPerVoice(true);
    }
}

void ExpressionManager::SetChannelBend(u8 channel, float semitones) {
    SetChannel(bends, channel, Limit(semitones, -widestBend, widestBend));
}

void ExpressionManager::SetChannelPressure(u8 channel, float amount) {
    SetChannel(pressures, channel, Limit(amount, 0.0F, 1.0F));
}

void ExpressionManager::SetChannelBrightness(u8 channel, float amount) {
    SetChannel(brightnesses, channel, Limit(amount, 0.0F, 1.0F));
}

void ExpressionManager::SetChannel(ChannelControl& control, u8 channel, float value) {
    const u32 index = channel & channelMask;
    if (!isMpe) {
        control.smoothers[index].Set(value); // nobody hears it
    } else if (RetargetIfNew(control.smoothers[index], value)) {
        control.moving |= Bit(index);
    }
}

void ExpressionManager::SetVoicePressure(u32 voice, float amount) {
    if (isMpe || voice >= voiceCount) {
        return;
    }
    SelectPerVoice(true);
    if (RetargetIfNew(keys[voice], Limit(amount, 0.0F, 1.0F))) {
        keysMoving |= Bit(voice);
    }
}

void ExpressionManager::SetNotePressure(u8 note, u8 channel, float amount) {
    if (!isMpe) {
        SelectPerVoice(true);
    }
    u32 from = 0;
    while (from < voiceCount) {
        const i32 voice = FindExpressionVoice(note, channel, from);
        // An answer that does not lead on would be asked for again for ever.
        if (voice < static_cast<i32>(from)) {
            return;
        }
        SetVoicePressure(static_cast<u32>(voice), amount);
        from = static_cast<u32>(voice) + 1;
    }
}

void ExpressionManager::SelectPerVoice(bool perVoice) {
    if (perVoice == isPerVoice) {
        return;
    }
    isPerVoice = perVoice;
    OnPerVoiceAftertouch(perVoice);
    if (perVoice && !isMpe) {
        // The voices heard the global value until now: each slides from there to what its own key says.
        ForEachBit(sounding, [this](u32 voice) {
            keys[voice].Set(aftertouch.current);
            keys[voice].Retarget(0.0F);
        });
        keysMoving |= sounding;
    }
}

// The voices, and the step of a block.

template <class Operation>
void ExpressionManager::ForEachSmoother(Operation operation) {
    operation(bend);
    operation(aftertouch);
    for (ChannelControl* control : {&bends, &pressures, &brightnesses}) {
        std::for_each(control->smoothers.begin(), control->smoothers.end(), operation);
    }
    std::for_each(keys.begin(), keys.end(), operation);
}

void ExpressionManager::PrepareExpression(float sampleRate, u32 maxBlockSize) {
    const bool isRate = std::isfinite(sampleRate) && sampleRate > 0.0F;
    ForEachSmoother([&](dsp::SmootherSRL& smoother) {
        smoother.time = 0.04F;
        smoother.sampleRate = isRate ? sampleRate : 44100.0F;
        smoother.decimation = std::max(maxBlockSize, 1U);
        smoother.Prepare();
    });
}

void ExpressionManager::ResetExpression() {
    aftertouch.SetTarget(0.0F);
    ForEachSmoother([](dsp::SmootherSRL& smoother) { smoother.Set(smoother.target); });
    for (dsp::SmootherSRL& key : keys) {
        key.Set(0.0F);
    }
    globalBrightness = 0.0F;
    followers.fill(0);
    voices.fill({});
    sounding = released = aftertouchToWrite = brightnessToWrite = 0;
    globalToWrite = true;
}

void ExpressionManager::StartVoiceExpression(u32 voice, u8 channel) {
    if (voice >= voiceCount) {
        return;
    }
    const u32 own = channel & channelMask;
    if (sounding == 0) {
        JumpGlobals();
    }
    if ((sounding & ~released) == 0) {
        globalToWrite = true; // the source may have been cleared when the last key was let go
    }
    LeaveChannel(voice);
    followers[own] &= ~released;
    if (followers[own] == 0) {
        JumpChannel(own);
    }
    followers[own] |= Bit(voice);
    channelOf[voice] = static_cast<u8>(own);
    sounding |= Bit(voice);
    released &= ~Bit(voice);

    FollowChannel(voice, own);
    keys[voice].Set(0.0F);
    if (isPerVoice) {
        WriteVoiceAftertouch(voice, VoiceAftertouch(voice));
    }
    WriteVoiceBrightness(voice, VoiceBrightness(voice));
}

void ExpressionManager::ReleaseVoiceExpression(u32 voice) {
    if (voice < voiceCount) {
        released |= Bit(voice);
    }
}

void ExpressionManager::EndVoiceExpression(u32 voice) {
    if (voice < voiceCount) {
        LeaveChannel(voice);
        sounding &= ~Bit(voice);
    }
}

float ExpressionManager::VoiceAftertouch(u32 voice) const {
    if (voice >= voiceCount) {
        return aftertouch.current;
    }
    return isMpe ? std::min(aftertouch.current + voices[voice].pressure, 1.0F) : keys[voice].current;
}

float ExpressionManager::VoiceBrightness(u32 voice) const {
    if (!isMpe || voice >= voiceCount) {
        return 0.0F;
    }
    return std::clamp(globalBrightness + voices[voice].brightness, 0.0F, 1.0F);
}

void ExpressionManager::Advance(std::span<const u32> activeVoices) {
    AdvanceGlobals();
    AdvanceChannels(bends, &VoiceState::bend); // read through PitchOffset, not written
    aftertouchToWrite |= AdvanceChannels(pressures, &VoiceState::pressure);
    brightnessToWrite |= AdvanceChannels(brightnesses, &VoiceState::brightness);
    AdvanceKeys();

    for (const u32 voice : activeVoices) {
        if (voice >= voiceCount) {
            continue;
        }
        if (isPerVoice && (aftertouchToWrite & Bit(voice)) != 0) {
            WriteVoiceAftertouch(voice, VoiceAftertouch(voice));
        }
        if ((brightnessToWrite & Bit(voice)) != 0) {
            WriteVoiceBrightness(voice, VoiceBrightness(voice));
        }
    }
    aftertouchToWrite = brightnessToWrite = 0;
}

void ExpressionManager::AdvanceGlobals() {
    bend.Next();
    if (!aftertouch.IsAtTarget()) {
        aftertouch.Next();
        globalToWrite = true;
        aftertouchToWrite |= isMpe ? sounding : 0;
    }
    if (globalToWrite) {
        globalToWrite = false;
        WriteGlobalAftertouch(aftertouch.current);
    }
}

void ExpressionManager::AdvanceKeys() {
    aftertouchToWrite |= keysMoving;
    ForEachBit(keysMoving, [this](u32 voice) { Step(keys[voice], voice, keysMoving); });
}

u32 ExpressionManager::AdvanceChannels(ChannelControl& control, VoiceField field) {
    u32 changed = 0;
    ForEachBit(control.moving, [&](u32 channel) {
        const float value = Step(control.smoothers[channel], channel, control.moving);
        ForEachBit(followers[channel], [&](u32 voice) { voices[voice].*field = value; });
        changed |= followers[channel];
    });
    return changed;
}

void ExpressionManager::JumpChannel(u32 channel) {
    for (ChannelControl* control : {&bends, &pressures, &brightnesses}) {
        dsp::SmootherSRL& smoother = control->smoothers[channel];
        smoother.Set(smoother.target);
    }
}

void ExpressionManager::FollowChannel(u32 voice, u32 channel) {
    voices[voice] = {bends.smoothers[channel].current, pressures.smoothers[channel].current,
                     brightnesses.smoothers[channel].current};
}

/// Nothing sounds, so nothing can click: a wheel that was moved in silence is where it is.
void ExpressionManager::JumpGlobals() {
    bend.Set(bend.target);
    aftertouch.Set(aftertouch.target);
}

void ExpressionManager::LeaveChannel(u32 voice) { followers[channelOf[voice]] &= ~Bit(voice); }

} // namespace Velmora::engine
