// SPDX-License-Identifier: GPL-3.0-or-later
// The tracked voices of the carrier: what follows the pitch of the modulator.
#include "vocoder/carrier/Carrier.h"
#include "vocoder/carrier/VoiceFrequency.h"

#include <algorithm>
#include <cmath>

namespace Velmora::Processor {

void Carrier::TrackPitch(float pitch, u32 frames) {
    float rootFrequency = 0.0F;
    if (!FollowPitch(pitch, rootFrequency)) {
        LosePitch(frames);
        return;
    }
    StartMissingVoices(rootFrequency);
    DriveTrackedVoices(rootFrequency);
}

bool Carrier::FollowPitch(float pitch, float& rootFrequency) {
    const bool isValid = pitch >= lowestVoiceFrequency && pitch <= highestVoiceFrequency;
    if (isValid && IsSinging()) {
        pitchSmoother.SetTarget(pitch);
    } else if (isValid) {
        // A new phrase does not slide from the last one.
        pitchSmoother.Set(pitch);
    }
    // In a gap the glide goes on.
    float hz = pitchSmoother.Next() * SemitonesToRatio(trackOffset);
    if (!isValid) {
        return false;
    }
    if (AdditionalValue(PitchTrackQuantize) > 0.5F) {
        constexpr float semitonesPerNeper = 17.31234F;
        const float note = std::round(semitonesPerNeper * std::log(hz * tuneRatio * 0.0022727272F) + 69.0F);
        if (!(note >= 0.0F && note < 127.0F)) {
            return false;
        }
        // Snapped to 440 Hz tuning, unlike the played voices.
        hz = noteTable[static_cast<u32>(note)];
    }
    rootFrequency = LimitVoiceFrequency(hz);
    return true;
}

/// Some tracked voice has not been let go.
bool Carrier::IsSinging() {
    return std::any_of(trackedVoices.begin(), trackedVoices.end(),
                       [this](u32 voice) { return Voice(voice).Envelope().IsGateOpen(); });
}

void Carrier::StartMissingVoices(float rootFrequency) {
    bool isNews = chordOn && std::any_of(trackedVoices.begin(), trackedVoices.end(), [this](u32 voice) {
                      return !HasInterval(static_cast<u8>(voice - firstTrackedVoice));
                  });
    const auto start = [&](u8 interval) {
        const u32 voice = firstTrackedVoice + interval;
        if (!IsTracked(voice)) {
            ListTrackedVoice(voice, rootFrequency * SemitonesToRatio(interval));
            isNews = true;
        }
    };
    if (chordOn) {
        std::for_each(chordIntervals.begin(), chordIntervals.end(), start);
    } else {
        start(0);
    }
    if (isNews) {
        holdElapsed = 0.0F;
    }
}

void Carrier::ListTrackedVoice(u32 voice, float hz) {
    StartTrackedVoice(voice, hz);
    modulations->VoiceOn(static_cast<i32>(voice));
    trackedVoices.push_back(voice);
}

void Carrier::StartTrackedVoice(u32 voice, float hz) {
    Voice(voice).SetParameterValue(Oscillators::frequency, hz);
    Voice(voice).Reset(false);
    Voice(voice).Envelope().Restart();
    Killer(voice).LetPass();
}

void Carrier::DriveTrackedVoices(float rootFrequency) {
    std::erase_if(trackedVoices, [this, rootFrequency](u32 voice) {
        const auto interval = static_cast<float>(voice - firstTrackedVoice);
        return !DriveTrackedVoice(voice, rootFrequency * SemitonesToRatio(interval));
    });
}

/// False when the voice has ended.
bool Carrier::DriveTrackedVoice(u32 voice, float hz) {
    if (IsWanted(voice)) {
        if (Killer(voice).IsMuted()) {
            StartTrackedVoice(voice, hz);
            return true;
        }
        if (!Voice(voice).Envelope().IsGateOpen()) {
            // Released, and wanted again: it fades, and starts anew once it is mute.
            Killer(voice).StartFade();
            return true;
        }
    }
    if (Voice(voice).IsSounding()) {
        Voice(voice).SetParameterValue(Oscillators::frequency, hz);
        return true;
    }
    EndTrackedVoice(voice);
    return false;
}

void Carrier::LosePitch(u32 frames) {
    if (trackedVoices.empty()) {
        return;
    }
    if (holdElapsed < AdditionalValue(PitchTrackHoldNoteDuration)) {
        holdElapsed += static_cast<float>(frames) / sampleRate;
    } else {
        for (const u32 voice : trackedVoices) {
            Voice(voice).Envelope().SetGate(false);
        }
    }
    std::erase_if(trackedVoices, [this](u32 voice) {
        const bool hasEnded = !Voice(voice).IsSounding();
        if (hasEnded) {
            EndTrackedVoice(voice);
        }
        return hasEnded;
    });
}

/// A root that sounds when the chord comes on goes on, though the chord may not have it; until it is taken
/// out.
bool Carrier::IsWanted(u32 voice) const {
    return voice == firstTrackedVoice ? !rootIsTakenOut
                                      : chordOn && HasInterval(static_cast<u8>(voice - firstTrackedVoice));
}

bool Carrier::HasInterval(u8 interval) const {
    return std::find(chordIntervals.begin(), chordIntervals.end(), interval) != chordIntervals.end();
}

bool Carrier::IsTracked(u32 voice) const {
    return std::find(trackedVoices.begin(), trackedVoices.end(), voice) != trackedVoices.end();
}

void Carrier::EndTrackedVoice(u32 voice) {
    modulations->VoiceOff(static_cast<i32>(voice));
    Voice(voice).Envelope().SetGate(false);
    Killer(voice).LetPass();
    ClearEnvelopeSource(voice);
}

void Carrier::OnParameterChanged(u32 id, float normalizedValue) {
    constexpr u32 chordOnId = 0;
    constexpr u32 firstKeyId = 2;
    const bool isOn = normalizedValue > 0.5F;
    if (id == chordOnId) {
        chordOn = isOn;
        rootIsTakenOut = rootIsTakenOut && chordOn;
        ReleaseUnwanted();
        return;
    }
    if (id < firstKeyId || id >= firstKeyId + trackedVoiceCount) {
        return;
    }
    const u8 interval = static_cast<u8>(id - firstKeyId);
    if (isOn == HasInterval(interval)) {
        return;
    }
    if (isOn) {
        chordIntervals.push_back(interval);
    } else {
        std::erase(chordIntervals, interval);
    }
    if (interval == 0) {
        rootIsTakenOut = chordOn && !isOn;
    }
    ReleaseUnwanted();
}

void Carrier::ReleaseUnwanted() {
    for (const u32 voice : trackedVoices) {
        if (!IsWanted(voice)) {
            Voice(voice).Envelope().SetGate(false);
        }
    }
}

} // namespace Velmora::Processor
