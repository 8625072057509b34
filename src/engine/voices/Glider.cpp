// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/voices/Glider.h"

#include "engine/tuning/MtsClient.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>
#include <vector>

namespace Velmora::engine {

namespace {

constexpr float highestNote = 127.0F;
/// Seconds: a glide without time lands with its first step, without a division by 0.
constexpr float leastTime = 1e-12F;
/// At constant rate, "Time" is that of an octave.
constexpr float octave = 12.0F;

std::vector<dsp::ModuleParam> Records() {
    std::vector<dsp::ModuleParam> records;
    for (const char* rawName : {"On", "Time", "Speed", "Quantize"}) {
        records.emplace_back(rawName);
    }
    records.push_back(dsp::ModuleParam::Stepped("Continuous_Tuning", 2, 0.0F, 1.0F));
    records.back().SetNormalized(1.0F);
    records.push_back(dsp::ModuleParam::Stepped("StartFromLastTarget", 2, 0.0F, 1.0F));
    return records;
}

/// What is not a number takes no time.
float UsableTime(float seconds) { return seconds > leastTime ? seconds : leastTime; }

} // namespace

template <u32 N, class S>
Glider<N, S>::Glider(std::string moduleName) : UnitModule(std::move(moduleName), 1, 0, Records()) {}

template <u32 N, class S>
void Glider<N, S>::OnInitialize(float sampleRate, u32 maxBlockSize) {
    for (S& smoother : smoothers) {
        smoother.sampleRate = sampleRate;
        smoother.decimation = maxBlockSize;
        smoother.time = UsableTime(smoother.time);
        smoother.Prepare();
    }
}

template <u32 N, class S>
void Glider<N, S>::OnReset(bool /*hard*/) {
    ResetTargets();
}

template <u32 N, class S>
void Glider<N, S>::ResetTargets() {
    glideStart = -1.0F;
    lastVoice = -1;
}

template <u32 N, class S>
bool Glider<N, S>::UpdateParameters(dsp::ProcessContext& /*context*/) {
    if (!anyParameterChanged) {
        return true;
    }
    if (Changed(speed) && !TakesConstantTime()) {
        for (S& smoother : smoothers) {
            smoother.span = octave;
            smoother.Prepare();
        }
    }
    if (Changed(continuousTuning)) {
        followsTuning = parameters[continuousTuning].GetNormalized() > 0.5F;
    }
    return true;
}

template <u32 N, class S>
float Glider<N, S>::Tuned(PlayedNote played, const MtsClient* mts) {
    const float retuning = mts != nullptr ? mts->RetuningInSemitones(played.note, played.channel) : 0.0F;
    return std::clamp(static_cast<float>(played.note) + retuning, 0.0F, highestNote);
}

template <u32 N, class S>
void Glider<N, S>::StartNote(u32 voice, u8 note, const MtsClient* mts, u8 channel) {
    if (voice >= N) {
        return;
    }
    notes[voice] = {note, channel};
    const float target = Tuned(notes[voice], mts);
    if (glideStart == -1.0F) {
        glideStart = target;
    }
    JumpToStart(voice);
    S& smoother = smoothers[voice];
    smoother.SetTarget(target);
    smoother.time = UsableTime(Value(time));
    if (TakesConstantTime()) {
        smoother.span = std::abs(target - smoother.current);
    }
    smoother.Prepare();
    MarkIfMoving(voice);
}

template <u32 N, class S>
void Glider<N, S>::JumpToStart(u32 voice) {
    const bool fromTarget = lastVoice >= 0 && parameters[startFromLastTarget].GetNormalized() > 0.5F;
    smoothers[voice].Set(fromTarget ? smoothers[static_cast<u32>(lastVoice)].target : glideStart);
    lastVoice = static_cast<i32>(voice);
}

template <u32 N, class S>
void Glider<N, S>::ReleaseVoice(u32 voice, i32 newestRemaining) {
    const bool wasLast = lastVoice >= 0 && static_cast<u32>(lastVoice) == voice;
    if (wasLast && static_cast<u32>(newestRemaining) < N) {
        lastVoice = newestRemaining;
        glideStart = CurrentNote(static_cast<u32>(lastVoice));
    }
}

template <u32 N, class S>
void Glider<N, S>::RetuneVoice(u32 voice, const MtsClient& mts) {
    if (voice >= N) {
        return;
    }
    S& smoother = smoothers[voice];
    const float target = Tuned(notes[voice], &mts);
    if (target == smoother.target) {
        return;
    }
    smoother.SetTarget(target);
    if (TakesConstantTime()) {
        // A glide under way keeps its pace; a note at rest takes at most the time of a glide.
        smoother.span = std::max(smoother.span, std::abs(target - smoother.current));
    }
    MarkIfMoving(voice);
}

template <u32 N, class S>
void Glider<N, S>::MarkIfMoving(u32 voice) {
    const u32 bit = 1U << voice;
    movingVoices = smoothers[voice].IsAtTarget() ? movingVoices & ~bit : movingVoices | bit;
}

template <u32 N, class S>
bool Glider<N, S>::Process(dsp::ProcessContext& context) {
    if (!(parameters[on].GetNormalized() > 0.5F)) {
        return true;
    }
    if (movingVoices != 0) {
        const float seconds = UsableTime(parameters[time].GetModulatedValue(context, 0));
        for (u32 rest = movingVoices; rest != 0; rest &= rest - 1) {
            const auto voice = static_cast<u32>(std::countr_zero(rest));
            smoothers[voice].time = seconds;
            smoothers[voice].Prepare();
            smoothers[voice].Next();
            MarkIfMoving(voice);
        }
    }
    if (lastVoice >= 0) {
        glideStart = CurrentNote(static_cast<u32>(lastVoice));
    }
    return true;
}

template <u32 N, class S>
float Glider<N, S>::CurrentNote(u32 voice) const {
    if (voice >= N) {
        return -1.0F;
    }
    const S& smoother = smoothers[voice];
    if (!(parameters[on].PeekNormalized() > 0.5F)) {
        return smoother.target;
    }
    // A note that has arrived keeps the fraction of its tuning.
    if (smoother.IsAtTarget() || !(parameters[quantize].PeekNormalized() > 0.5F)) {
        return smoother.current;
    }
    return smoother.current < smoother.target ? std::floor(smoother.current) : std::ceil(smoother.current);
}

template class Glider<32, dsp::SmootherSRL>;

} // namespace Velmora::engine
