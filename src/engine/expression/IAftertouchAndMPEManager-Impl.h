// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/expression/ExpressionSets.h"
#include "engine/expression/IAftertouchAndMPEManager.h"

#include <algorithm>
#include <cmath>

// The voices, and the step of a block.
namespace Velmora::engine {

template <u32 VoiceCount>
template <class Operation>
void IAftertouchAndMPEManager<VoiceCount>::ForEachSmoother(Operation operation) {
    operation(bend);
    operation(aftertouch);
    for (ChannelControl* control : {&bends, &pressures, &brightnesses}) {
        std::for_each(control->smoothers.begin(), control->smoothers.end(), operation);
    }
    std::for_each(keys.begin(), keys.end(), operation);
}

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::PrepareExpression(float sampleRate, u32 maxBlockSize) {
    const bool isRate = std::isfinite(sampleRate) && sampleRate > 0.0F;
    ForEachSmoother([&](dsp::SmootherSRL& smoother) {
        smoother.time = 0.04F;
        smoother.sampleRate = isRate ? sampleRate : 44100.0F;
        smoother.decimation = std::max(maxBlockSize, 1U);
        smoother.Prepare();
    });
}

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::ResetExpression() {
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

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::StartVoiceExpression(u32 voice, u8 channel) {
    if (voice >= VoiceCount) {
        return;
    }
    const u32 own = channel & Expression::channelMask;
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
    followers[own] |= Expression::Bit(voice);
    channelOf[voice] = static_cast<u8>(own);
    sounding |= Expression::Bit(voice);
    released &= ~Expression::Bit(voice);

    FollowChannel(voice, own);
    keys[voice].Set(0.0F);
    if (isPerVoice) {
        WriteVoiceAftertouch(voice, VoiceAftertouch(voice));
    }
    WriteVoiceBrightness(voice, VoiceBrightness(voice));
}

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::ReleaseVoiceExpression(u32 voice) {
    if (voice < VoiceCount) {
        released |= Expression::Bit(voice);
    }
}

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::EndVoiceExpression(u32 voice) {
    if (voice < VoiceCount) {
        LeaveChannel(voice);
        sounding &= ~Expression::Bit(voice);
    }
}

template <u32 VoiceCount>
float IAftertouchAndMPEManager<VoiceCount>::VoiceAftertouch(u32 voice) const {
    if (voice >= VoiceCount) {
        return aftertouch.current;
    }
    return isMpe ? std::min(aftertouch.current + voices[voice].pressure, 1.0F) : keys[voice].current;
}

template <u32 VoiceCount>
float IAftertouchAndMPEManager<VoiceCount>::VoiceBrightness(u32 voice) const {
    if (!isMpe || voice >= VoiceCount) {
        return 0.0F;
    }
    return std::clamp(globalBrightness + voices[voice].brightness, 0.0F, 1.0F);
}

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::Advance(std::span<const u32> activeVoices) {
    AdvanceGlobals();
    AdvanceChannels(bends, &VoiceState::bend); // read through PitchOffset, not written
    aftertouchToWrite |= AdvanceChannels(pressures, &VoiceState::pressure);
    brightnessToWrite |= AdvanceChannels(brightnesses, &VoiceState::brightness);
    AdvanceKeys();

    for (const u32 voice : activeVoices) {
        if (voice >= VoiceCount) {
            continue;
        }
        if (isPerVoice && (aftertouchToWrite & Expression::Bit(voice)) != 0) {
            WriteVoiceAftertouch(voice, VoiceAftertouch(voice));
        }
        if ((brightnessToWrite & Expression::Bit(voice)) != 0) {
            WriteVoiceBrightness(voice, VoiceBrightness(voice));
        }
    }
    aftertouchToWrite = brightnessToWrite = 0;
}

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::AdvanceGlobals() {
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

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::AdvanceKeys() {
    aftertouchToWrite |= keysMoving;
    Expression::ForEachBit(keysMoving,
                           [this](u32 voice) { Expression::Step(keys[voice], voice, keysMoving); });
}

template <u32 VoiceCount>
u32 IAftertouchAndMPEManager<VoiceCount>::AdvanceChannels(ChannelControl& control, VoiceField field) {
    u32 changed = 0;
    Expression::ForEachBit(control.moving, [&](u32 channel) {
        const float value = Expression::Step(control.smoothers[channel], channel, control.moving);
        Expression::ForEachBit(followers[channel], [&](u32 voice) { voices[voice].*field = value; });
        changed |= followers[channel];
    });
    return changed;
}

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::JumpChannel(u32 channel) {
    for (ChannelControl* control : {&bends, &pressures, &brightnesses}) {
        dsp::SmootherSRL& smoother = control->smoothers[channel];
        smoother.Set(smoother.target);
    }
}

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::FollowChannel(u32 voice, u32 channel) {
    voices[voice] = {bends.smoothers[channel].current, pressures.smoothers[channel].current,
                     brightnesses.smoothers[channel].current};
}

/// Nothing sounds, so nothing can click: a wheel that was moved in silence is where it is.
template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::JumpGlobals() {
    bend.Set(bend.target);
    aftertouch.Set(aftertouch.target);
}

template <u32 VoiceCount>
void IAftertouchAndMPEManager<VoiceCount>::LeaveChannel(u32 voice) {
    followers[channelOf[voice]] &= ~Expression::Bit(voice);
}

} // namespace Velmora::engine
