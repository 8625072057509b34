// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/envelopes/ADSR.h"
#include "dsp/framework/ProcessContext.h"
#include "dsp/sampler/Sampler.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "engine/samples/SampleManager.h"
#include "engine/voices/VoiceKiller.h"
#include "vocoder/modulator/ModulatorParameters.h"
#include "vocoder/modulator/SampleCycle.h"

#include <array>

namespace Velmora::Processor {

/// Plays one slot at a time: sampler, envelope and a fade between what sounds and what follows. It knows
/// which sample each slot names and brings the samples from their files.
class ModulatorPlayback {
public:
    ModulatorPlayback(dsp::Sampler& samplePlayer, dsp::ADSR& gateEnvelope, engine::VoiceKiller& voiceKiller,
                      ModulatorParameters& parameters);

    void Initialize(u32 maxBlockSize) { envelopeLevels.assign(dsp::RoundUpToFour(maxBlockSize), 0.0F); }
    void FollowControls();

    /// Press counts of all 128 notes; without them none counts as held, and a loop goes on for ever.
    void SetHeldNotes(const u8* presses) { heldNotes = presses; }
    u32 HeldNoteCount() const;

    bool HasSample(u32 sample) const { return sampler.HasSample(sample); }
    /// The sample that a slot names, -1 for none.
    i32 SampleOfSlot(u32 slot) const;
    /// Those that name a loaded sample.
    SampleCycle::Slots ValidSlots() const;

    u32 CurrentSlot() const {
        return own.Index(ModulatorParameters::CurrentSlot, ModulatorParameters::slotCount);
    }
    /// From the next block on, or after the fade of what sounds; nothing where it has no sample.
    void PlayCurrentSlot();
    /// The last key has gone: the envelope closes, and a loop runs out to the sample's end.
    void Release();
    /// Playback is over; what played it stays as it is.
    void End();
    /// Playback is over at once, and so is a fade.
    void Cancel();

    /// Takes over what the worker has finished and sends it what waits.
    void ServeSamples();
    /// Outputs 0 and 1; silence without playback, and in output 2.
    void Render(const dsp::ProcessContext& context);

    engine::SampleManager samples;

private:
    bool IsSounding();
    bool IsStarting() const { return isPlaying && (hasJustStarted || isFading); }
    bool HasEnded();

    void RestoreReadBacks();
    void FollowSlotTable();
    void Start(u32 slot);
    void Stop();
    void SetPlaying(bool plays);
    void OpenEnvelope(bool open);
    void Fade(bool on);
    void LoopSample(u32 sample, float on);
    void Run(const dsp::ProcessContext& context);
    void PublishPlayhead();
    void StartOrEnd();

    dsp::Sampler& sampler;
    dsp::ADSR& envelope;
    engine::VoiceKiller& killer;
    ModulatorParameters& own;
    dsp::AlignedBuffer envelopeLevels;
    /// Which sample each slot plays.
    std::array<float, ModulatorParameters::slotCount> slotTable{};
    const u8* heldNotes = nullptr;
    /// Published as "IsPlayingSample".
    bool isPlaying = false;
    bool isGateOpen = false;
    /// The killer takes away what sounds, and the current slot waits for its end.
    bool isFading = false;
    /// The envelope has not run since the start.
    bool hasJustStarted = false;
    /// The last key went before the start; the gate closes one block after it.
    bool releaseWaits = false;
};

} // namespace Velmora::Processor
