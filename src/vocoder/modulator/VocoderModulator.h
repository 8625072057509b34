// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/effects/compressor/Compressor.h"
#include "dsp/effects/equaliser/ParamEq.h"
#include "dsp/envelopes/ADSR.h"
#include "dsp/framework/ModuleContainer.h"
#include "dsp/meters/InputDetector.h"
#include "dsp/meters/VuMeter.h"
#include "dsp/pitch/PitchTracker.h"
#include "dsp/sampler/Simpler.h"
#include "dsp/sampler/files/SampleData.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "dsp/smoothing/SmootherSRL.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "engine/samples/SampleManager.h"
#include "engine/voices/VoiceKiller.h"
#include "vocoder/modulator/SampleCycle.h"

#include <array>
#include <span>
#include <string>
#include <string_view>

namespace Velmora::Processor {

/// What the vocoder listens to: one of twelve samples, or the external input with gate and pitch tracker;
/// then equaliser and compressor.
///
/// Inputs 0 and 1, which may be absent or null, are the external input; a mono one sounds on both sides.
/// Outputs: left, right, and as the third the tracked pitch in Hz per sample, 0 without a pitch. Everything
/// runs on the audio thread; files are read by the worker of the sample manager.
class VocoderModulator final
    : public dsp::ModuleContainer<dsp::Simpler<12, 1>, dsp::ADSR, engine::VoiceKiller, dsp::PitchTracker,
                                  dsp::ParamEq<5>, dsp::Compressor, dsp::InputDetector, dsp::VuMeter> {
public:
    static constexpr u32 sampleCount = 12;
    static constexpr u32 slotCount = SampleCycle::slotCount;
    static constexpr u32 inputCount = 2;
    static constexpr u32 outputCount = 3;

    /// The parameters of its own. Those with a count hold one per sample, or per slot.
    enum Additional : u32 {
        SamplePath,
        SampleLoopOn = SamplePath + sampleCount,
        SampleLoaded = SampleLoopOn + sampleCount,
        SamplerPlayheadPosition = SampleLoaded + sampleCount,
        Legato,
        KeyboardSampleOctave,
        SamplerPlayMode,
        CycleDirection,
        StopSampler,
        IsPlayingSample,
        CycleReset,
        CycleLockedSample,
        SlotGUITrigger,
        CycleNextSlotFromGUI,
        CycleNextPlayingSlot,
        SlotSample,
        SelectedSlot = SlotSample + slotCount,
        CurrentSlot,
        SelectedSlotIsCurrentSlot,
        ExternalInput,
        ExternalInputGain,
        ExternalSignalHasBeenDetectedAtLeastOnce,
        ParamEQOn,
        CompressorOn,
        CompressorAmount,
        AdditionalCount
    };
    static constexpr u32 parameterCount = childParameterCount + AdditionalCount;
    static constexpr u32 ParameterId(Additional index) { return childParameterCount + index; }

    /// The children in template order, for Section<>().
    enum ChildIndex : u32 { Sampler, Envelope, Killer, Tracker, Equaliser, Dynamics, Gate, Meter };

    explicit VocoderModulator(std::string moduleName = "Modulator");

    /// Press counts of all notes, which belong to the voice manager and outlive this module's last block.
    /// Without them no key counts as held, and a loop goes on for ever.
    void SetHeldNotes(std::span<const u8, 128> presses) { heldNotes = presses.data(); }

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    /// Between blocks; the table of held notes already tells of this note. Notes above 127 are ignored.
    void NoteOn(u32 note);
    void NoteOff(u32 note);
    /// Whether a note selects a slot of the keyboard mode.
    bool IsInSelectingOctave(u32 note) const;
    /// Whether the notes of the selecting octave are kept from the voices: without external input, in the
    /// keyboard mode.
    bool KeysSelectSlots();
    /// Keys held outside the selecting octave.
    u32 HeldKeyCount() const { return heldKeys; }

    /// Asks for the file of a sample; an empty path empties the sample. Between blocks on the audio thread,
    /// or while no blocks run. False when the sample or the path (UTF-8, at most 256 bytes) is out of range.
    bool SetPath(u32 sample, std::string_view path) { return samples.SetPath(sample, path); }
    /// Some request waits or is being loaded.
    bool IsLoading() const { return samples.IsLoading(); }
    /// Takes over what the worker has finished and sends it what waits. Process does it first of all; between
    /// blocks, or while none run, it completes loading without sound.
    void ServeSamples();
    bool HasSample(u32 sample) { return sample < sampleCount && Child<Sampler>().HasSample(sample); }

    /// Makes random starts and slots reproducible.
    void SeedRandom(u32 seed);

    template <ChildIndex Index>
    auto& Section() {
        return Child<Index>();
    }

private:
    static constexpr u32 bufferCount = 6;
    enum Buffer : u32 { EnvelopeBuffer, MonoBuffer, EqualiserFade, CompressorFade, WetLeft, WetRight };
    using Stereo = std::array<float*, 2>;

    // Parameters (VocoderModulator.cpp).
    void UpdatePlayback();
    void UpdateSlotTable();
    void UpdateSamplerSwitches();
    void UpdateInput();
    void UpdateTone();
    void UpdateCompressorAmount();
    void RunInterfaceTrigger();
    void SetOwn(u32 index, float value) { SetAdditionalValue(index, value); }
    bool IsOn(u32 index) { return AdditionalValue(index) > 0.5F; }
    /// A stepped parameter as an index below count, whatever was written into it.
    u32 IndexOf(u32 index, u32 count) const;

    // Notes and slots (VocoderModulatorNotes.cpp).
    u32 HeldNoteCount() const;
    bool IsWithinChordTime() const { return framesSinceTrigger < chordFrames; }
    void PlayCycleNote();
    void PlaySelectingNote(u32 slot);
    void PlayKeyboardNote();
    void Trigger();
    void SetSamplerLoop(u32 sample, float on);
    bool IsSounding();
    /// A start waits for the end of a fade, or for the next block.
    bool IsStarting();
    float KillerState() { return Child<Killer>().FindParameter(engine::VoiceKiller::state)->GetValue(); }
    void StartSlot(u32 slot);
    void StopPlayback();
    void EndPlayback();
    void ChooseNextSlot(bool restart);
    SampleCycle::Slots ValidSlots();
    bool IsValidSlot(u32 slot);
    i32 SampleOfSlot(u32 slot) const;

    // One block (VocoderModulatorBlock.cpp).
    void RenderSampler(dsp::ProcessContext& context);
    void RunSampler(dsp::ProcessContext& context);
    void PublishPlayhead();
    void FollowPlayback();
    void RenderExternal(dsp::ProcessContext& context, const float* left, const float* right);
    void RunGate(dsp::ProcessContext& context, std::span<const float* const> inputs);
    void RunTracker(dsp::ProcessContext& context, std::span<const float* const> inputs);
    void LatchDetection(std::span<const float> signal);
    void MeasureLevel(dsp::ProcessContext& context);
    void RenderTone(dsp::ProcessContext& context);
    void RunEqualiser(dsp::ProcessContext& context, bool compressorFollows);
    void RunCompressor(dsp::ProcessContext& context, bool afterEqualiser);
    void RunEqualiserFrom(dsp::ProcessContext& context, const Stereo& from, const Stereo& to);
    void RunCompressorFrom(dsp::ProcessContext& context, const Stereo& from, const Stereo& to);
    Stereo Wet() { return {buffers[WetLeft], buffers[WetRight]}; }

    engine::SampleManager<dsp::SampleData, sampleCount, 0> samples;
    SampleCycle cycle;
    dsp::BlockPool buffers;
    dsp::SmootherLPF externalGain{0.1};
    dsp::SmootherSRL equaliserFade;
    dsp::SmootherSRL compressorFade;
    /// Which sample each slot plays.
    std::array<float, slotCount> slotTable{};
    const u8* heldNotes = nullptr;
    /// Keys held outside the selecting octave.
    u32 heldKeys = 0;
    u64 framesSinceTrigger = 0;
    u64 chordFrames = 0;
    u32 maxFrames = 0;
    /// The envelope has not run since the start.
    bool hasJustStarted = false;
    /// The last key went before the start; the gate closes one block after it.
    bool releaseWaits = false;
    /// Some sample that is not 0 has come in; stays so for the life of this object.
    bool hasDetectedSignal = false;
};

} // namespace Velmora::Processor
