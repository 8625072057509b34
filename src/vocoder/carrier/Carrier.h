// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/chorus/Chorus.h"
#include "dsp/framework/ModuleContainer.h"
#include "dsp/framework/Observable.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "engine/ModuleCloner.h"
#include "engine/expression/ExpressionManager.h"
#include "engine/voices/Glider.h"
#include "engine/voices/VoiceKiller.h"
#include "engine/voices/VoiceManager.h"
#include "vocoder/carrier/Oscillators.h"
#include "vocoder/modulations/ModulationsManager.h"
#include "vocoder/modulations/VoiceSlots.h"

#include <array>
#include <cmath>
#include <span>
#include <string>
#include <vector>

namespace Velmora::engine {
class MtsClient;
}

namespace Velmora::Processor {

/// The synthesizer section: played notes, and the pitch found in the modulator, become one stereo signal.
/// Played voices belong to the voice manager; the tracked ones to this class: they start with the pitch, are
/// held over short gaps, and follow the chord. Only listed voices run; the others cost nothing.
///
/// Input 0 is the tracked pitch in Hz, of which the first sample of a block counts; without it tracking
/// rests. Outputs: left and right, half the sum of the voices, through the ensemble.
class Carrier final
    : public dsp::ModuleContainer<engine::ModuleCloner<Oscillators, voiceSlotCount, 0, 0>,
                                  engine::ModuleCloner<engine::VoiceKiller, voiceSlotCount, 0, 0>,
                                  engine::Glider, dsp::Chorus>,
      public dsp::IModuleObserver {
public:
    enum Additional : u32 {
        PitchTrack,
        PitchTrackHoldNoteDuration,
        PitchTrackQuantize,
        GlideTime,
        MasterTune,
        EnsembleAmount,
        AdditionalCount
    };
    static constexpr u32 parameterCount = childParameterCount + AdditionalCount;
    static constexpr u32 outputCount = 2;
    static constexpr u32 ParameterId(Additional index) { return childParameterCount + index; }

    explicit Carrier(std::string moduleName = "Carrier");

    /// What it reads of the rest of the instrument. To be called before Initialize; the three must outlive
    /// the last block.
    void Connect(ModulationsManager& modulationsManager, const engine::VoiceManager& voiceManager,
                 const engine::ExpressionManager& expressionManager);
    /// Null for none.
    void SetTuningClient(const engine::MtsClient* client) { tuning = client; }

    bool SetParameterNormalized(u32 id, float value) override;
    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    /// Hears of the chord's parameters: the switch and the 25 intervals.
    void OnParameterChanged(u32 id, float normalizedValue) override;

    /// Bends the tracked voices, in semitones.
    void SetBend(float semitones) { trackOffset = std::isfinite(semitones) ? semitones : 0.0F; }
    /// Gives a played voice the pitch of its glider, moved by a bend in semitones.
    void SetVoiceFrequency(u32 voice, float bendSemitones);
    /// Whether a played voice has ended; if so it is made ready for its next note.
    bool CanKill(u32 voice);
    /// Begins the fade of a voice. One that has faded already stays mute.
    void KillVoice(u32 voice);

    Oscillators& Voice(u32 voice) { return Child<0>().Clone(voice); }
    engine::VoiceKiller& Killer(u32 voice) { return Child<1>().Clone(voice); }
    engine::Glider& Glide() { return Child<2>(); }

    /// Of the last block: the played voices, then the tracked ones.
    std::span<const u32> ActiveVoices() const { return activeVoices; }
    /// Makes the noise waveforms of all voices reproducible.
    void SeedNoise(u32 seed);
    /// Saw and triangle of all voices driven without aliases of their folds, half a sample late.
    void SetSmoothDrive(bool on);

private:
    dsp::Chorus& Ensemble() { return Child<3>(); }

    void SwitchTracking();
    void ApplyGlideTime();
    void ApplyMasterTune();
    void Retune();
    void RunGlider(const dsp::ProcessContext& context);
    void ListActiveVoices();
    void RunVoices(const dsp::ProcessContext& context);
    bool VoicesAreMono();
    bool VoicesAreModulated() const;
    void MixVoices(const dsp::ProcessContext& context);
    void MixSide(u32 side, const dsp::ProcessContext& context);
    void SwitchEnsemble(bool isUnderSound);
    void RunEnsemble(const dsp::ProcessContext& context);
    void StopEnsemble();

    void TrackPitch(float pitch, u32 frames);
    /// True with the frequency for the root when there is a pitch to follow.
    bool FollowPitch(float pitch, float& rootFrequency);
    bool IsSinging();
    void StartMissingVoices(float rootFrequency);
    void StartTrackedVoice(u32 voice, float hz);
    void ListTrackedVoice(u32 voice, float hz);
    void DriveTrackedVoices(float rootFrequency);
    bool DriveTrackedVoice(u32 voice, float hz);
    void LosePitch(u32 frames);
    bool IsWanted(u32 voice) const;
    bool HasInterval(u8 interval) const;
    bool IsTracked(u32 voice) const;
    void EndTrackedVoice(u32 voice);
    void ReleaseUnwanted();
    void ClearEnvelopeSource(u32 voice);

    ModulationsManager* modulations = nullptr;
    const engine::VoiceManager* voices = nullptr;
    const engine::ExpressionManager* expression = nullptr;
    const engine::MtsClient* tuning = nullptr;

    /// "MasterTune" over 440 Hz.
    float tuneRatio = 1.0F;
    float sampleRate = 44100.0F;
    /// The tuning source was there in the last block.
    bool hadTuning = false;
    /// Transposition of the tracked pitch, in semitones.
    float trackOffset = 0.0F;
    dsp::SmootherLPF pitchSmoother{1e-12};
    /// Seconds without a pitch.
    float holdElapsed = 0.0F;
    bool chordOn = false;
    /// Of the chord, while that was on.
    bool rootIsTakenOut = false;
    /// In the order in which they were switched on.
    std::vector<u8> chordIntervals;
    /// In order of their start.
    std::vector<u32> trackedVoices;
    std::vector<u32> activeVoices;
    bool hasActiveVoices = false;

    bool isEnsembleWanted = false;
    bool isEnsembleRunning = false;
    /// Seconds for which the ensemble runs, but is not heard: until its lines are filled, or after it was
    /// switched off.
    float ensembleDrySeconds = 0.0F;

    dsp::BlockPool voiceBuffers;
    std::array<const float*, voiceSlotCount * Oscillators::InputCount> voiceInputs{};
    using VoiceOutputs = std::array<float*, voiceSlotCount * Oscillators::outputCount>;
    VoiceOutputs voiceOutputs{};
    /// Both sides of a voice in one buffer.
    VoiceOutputs monoOutputs{};
};

} // namespace Velmora::Processor
