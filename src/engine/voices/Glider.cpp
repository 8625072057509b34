// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/voices/Glider.h"

#include "dsp/framework/ParameterDeclaration.h"
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
    namespace Declare = dsp::Declare;
    return dsp::RecordsOf({Declare::Raw("On"), Declare::Raw("Time"), Declare::Raw("Speed"),
                           Declare::Raw("Quantize"), Declare::Switch("Continuous_Tuning", true),
                           Declare::Switch("StartFromLastTarget")});
}

/// What is not a number takes no time.
float UsableTime(float seconds) { return seconds > leastTime ? seconds : leastTime; }

} // namespace

Glider::Glider(std::string moduleName) : UnitModule(std::move(moduleName), 1, 0, Records()) {}

void Glider::OnInitialize(float sampleRate, u32 maxBlockSize) {
    for (dsp::SmootherSRL& smoother : smoothers) {
        smoother.sampleRate = sampleRate;
        smoother.decimation = maxBlockSize;
        smoother.time = UsableTime(smoother.time);
        smoother.Prepare();
    }
}

void Glider::OnReset(bool /*hard*/) { ResetTargets(); }

void Glider::ResetTargets() {
    glideStart = -1.0F;
    lastVoice = -1;
}

bool Glider::UpdateParameters(dsp::ProcessContext& /*context*/) {
    if (!anyParameterChanged) {
        return true;
    }
    if (Changed(Speed) && !TakesConstantTime()) {
        for (dsp::SmootherSRL& smoother : smoothers) {
            smoother.span = octave;
            smoother.Prepare();
        }
    }
    if (Changed(ContinuousTuning)) {
        followsTuning = parameters[ContinuousTuning].GetNormalized() > 0.5F;
    }
    return true;
}

float Glider::Tuned(PlayedNote played, const MtsClient* mts) {
    const float retuning = mts != nullptr ? mts->RetuningInSemitones(played.note, played.channel) : 0.0F;
    return std::clamp(static_cast<float>(played.note) + retuning, 0.0F, highestNote);
}

void Glider::StartNote(u32 voice, u8 note, const MtsClient* mts, u8 channel) {
    if (voice >= voiceCount) {
        return;
    }
    notes[voice] = {note, channel};
    const float target = Tuned(notes[voice], mts);
    if (glideStart == -1.0F) {
        glideStart = target;
    }
    JumpToStart(voice);
    dsp::SmootherSRL& smoother = smoothers[voice];
    smoother.SetTarget(target);
    smoother.time = UsableTime(Value(Time));
    if (TakesConstantTime()) {
        smoother.span = std::abs(target - smoother.current);
    }
    smoother.Prepare();
    MarkIfMoving(voice);
}

void Glider::JumpToStart(u32 voice) {
    const bool fromTarget = lastVoice >= 0 && parameters[StartFromLastTarget].GetNormalized() > 0.5F;
    smoothers[voice].Set(fromTarget ? smoothers[static_cast<u32>(lastVoice)].target : glideStart);
    lastVoice = static_cast<i32>(voice);
}

void Glider::ReleaseVoice(u32 voice, i32 newestRemaining) {
    const bool wasLast = lastVoice >= 0 && static_cast<u32>(lastVoice) == voice;
    if (wasLast && static_cast<u32>(newestRemaining) < voiceCount) {
        lastVoice = newestRemaining;
        glideStart = CurrentNote(static_cast<u32>(lastVoice));
    }
}

void Glider::RetuneVoice(u32 voice, const MtsClient& mts) {
    if (voice >= voiceCount) {
        return;
    }
    dsp::SmootherSRL& smoother = smoothers[voice];
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

void Glider::MarkIfMoving(u32 voice) {
    const u32 bit = 1U << voice;
    movingVoices = smoothers[voice].IsAtTarget() ? movingVoices & ~bit : movingVoices | bit;
}

bool Glider::Process(dsp::ProcessContext& context) {
    if (!(parameters[On].GetNormalized() > 0.5F)) {
        return true;
    }
    if (movingVoices != 0) {
        const float seconds = UsableTime(parameters[Time].GetModulatedValue(context, 0));
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

float Glider::CurrentNote(u32 voice) const {
    if (voice >= voiceCount) {
        return -1.0F;
    }
    const dsp::SmootherSRL& smoother = smoothers[voice];
    if (!(parameters[On].PeekNormalized() > 0.5F)) {
        return smoother.target;
    }
    // A note that has arrived keeps the fraction of its tuning.
    if (smoother.IsAtTarget() || !(parameters[Quantize].PeekNormalized() > 0.5F)) {
        return smoother.current;
    }
    return smoother.current < smoother.target ? std::floor(smoother.current) : std::ceil(smoother.current);
}

} // namespace Velmora::engine
