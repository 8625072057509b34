// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/expression/ExpressionSets.h"
#include "engine/expression/IAftertouchAndMPEManager.h"

#include <algorithm>
#include <cmath>

namespace Velmora::engine {

namespace Expression {

/// Semitones; beyond the whole range of notes, so that nothing audible is cut and sums stay finite.
inline constexpr float widestBend = 256.0F;

inline float Limit(float value, float lowest, float highest) {
    return std::isfinite(value) ? std::clamp(value, lowest, highest) : 0.0F;
}

} // namespace Expression

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::SetGlobalBend(float semitones) {
    Expression::RetargetIfNew(bend,
                              Expression::Limit(semitones, -Expression::widestBend, Expression::widestBend));
}

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::SetGlobalAftertouch(float amount) {
    Expression::RetargetIfNew(aftertouch, Expression::Limit(amount, 0.0F, 1.0F));
    if (!isMpe) {
        SelectPerVoice(false);
    }
}

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::SetGlobalBrightness(float amount) {
    const float value = Expression::Limit(amount, -1.0F, 1.0F);
    if (value != globalBrightness) {
        globalBrightness = value;
        brightnessToWrite |= isMpe ? sounding : 0;
    }
}

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::SetMpeEnabled(bool enabled) {
    if (enabled != isMpe) {
        isMpe = enabled;
        Expression::ForEachBit(sounding, [this](u32 voice) { FollowChannel(voice, channelOf[voice]); });
        aftertouchToWrite = brightnessToWrite = sounding;
    }
    if (enabled) {
        SelectPerVoice(true);
    }
}

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::SetChannelBend(u8 channel, float semitones) {
    SetChannel(bends, channel, Expression::Limit(semitones, -Expression::widestBend, Expression::widestBend));
}

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::SetChannelPressure(u8 channel, float amount) {
    SetChannel(pressures, channel, Expression::Limit(amount, 0.0F, 1.0F));
}

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::SetChannelBrightness(u8 channel, float amount) {
    SetChannel(brightnesses, channel, Expression::Limit(amount, 0.0F, 1.0F));
}

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::SetChannel(ChannelControl& control, u8 channel, float value) {
    const u32 index = channel & Expression::channelMask;
    if (!isMpe) {
        control.smoothers[index].Set(value); // nobody hears it
    } else if (Expression::RetargetIfNew(control.smoothers[index], value)) {
        control.moving |= Expression::Bit(index);
    }
}

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::SetVoicePressure(u32 voice, float amount) {
    if (isMpe || voice >= VoiceCount) {
        return;
    }
    SelectPerVoice(true);
    if (Expression::RetargetIfNew(keys[voice], Expression::Limit(amount, 0.0F, 1.0F))) {
        keysMoving |= Expression::Bit(voice);
    }
}

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::SetNotePressure(u8 note, u8 channel, float amount) {
    if (!isMpe) {
        SelectPerVoice(true);
    }
    u32 from = 0;
    while (from < VoiceCount) {
        const i32 voice = FindExpressionVoice(note, channel, from);
        // An answer that does not lead on would be asked for again for ever.
        if (voice < static_cast<i32>(from)) {
            return;
        }
        SetVoicePressure(static_cast<u32>(voice), amount);
        from = static_cast<u32>(voice) + 1;
    }
}

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::SelectPerVoice(bool perVoice) {
    if (perVoice == isPerVoice) {
        return;
    }
    isPerVoice = perVoice;
    OnPerVoiceAftertouch(perVoice);
    if (perVoice && !isMpe) {
        // The voices heard the global value until now: each slides from there to what its own key says.
        Expression::ForEachBit(sounding, [this](u32 voice) {
            keys[voice].Set(aftertouch.current);
            keys[voice].Retarget(0.0F);
        });
        keysMoving |= sounding;
    }
}

} // namespace Velmora::engine
