// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/EventQueue.h"
#include "dsp/framework/Observable.h"
#include "dsp/math/SilenceFloor.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "engine/chords/ChordGenerator.h"
#include "processor/effects/FXContainer.h"
#include "processor/instrument/LfoFeedback.h"
#include "processor/instrument/MasterVolume.h"
#include "processor/instrument/ShortNotes.h"
#include "processor/synth/SynthProcessor.h"
#include "vocoder/carrier/Carrier.h"
#include "vocoder/core/BodeVocoder.h"
#include "vocoder/modulations/ModulationsManager.h"
#include "vocoder/modulator/VocoderModulator.h"

#include <array>
#include <atomic>
#include <string>
#include <vector>

namespace Velmora::Processor {

using VocoderSynth =
    SynthProcessor<64, 10, 1, VocoderModulator, ModulationsManager, dsp::Observable<engine::ChordGenerator>,
                   Carrier, BodeVocoder, FXContainer>;

/// The whole instrument: notes and an external voice in, vocoded and processed stereo out.
///
/// One block, in this order, so that what a stage finds out acts in the same block: chord stage, voices,
/// expression, modulator, modulations, carrier, vocoder, effects or a monitor, master volume. auxInputs 0 and
/// 1 are the external voice; one alone sounds on both sides. Events act at the start of their block.
class VocoderProcessor final : public VocoderSynth {
public:
    /// The instrument's own parameters, behind the reserved ones.
    enum Parameter : u32 {
        /// A Selection.
        OutputSelection = ReservedCount,
        /// dB.
        Volume,
        /// Seconds, of the voices' and the sampler's envelope.
        Attack,
        Release,
        /// 0 mono, 1 mono with legato, then poly with 2 to 32 voices.
        PolyphonyMode,
        /// Semitones.
        PitchBendRange,
        /// Data for the interface: where the LFO is.
        LfoFeedbackData,
        ParameterCount
    };
    enum Selection : i32 { CarrierMonitor, ModulatorMonitor, VocoderOutput };
    static constexpr u32 parameterCount = childParameterCount + ParameterCount;
    static constexpr u32 ParameterId(u32 index) { return firstAdditional + index; }
    /// The longest path of a sample, in bytes.
    static constexpr u32 longestPath = 256;

    VocoderProcessor();
    /// With the tuning library at another place than the usual one.
    explicit VocoderProcessor(const std::string& tuningLibrary);

    void OnSynthInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnSynthReset(bool hard) override;
    bool OnUpdateParameters(dsp::ProcessContext& context) override;
    bool RenderBlock(dsp::ProcessContext& context) override;
    void OnPanic() override;
    /// The paths of the samples, UTF-8; loading begins with the next block or FinishLoading.
    bool SetParameterData(u32 id, const void* data, u32* size) override;
    ParameterData GetParameterData(u32 id) override;
    /// Of the effects, as of the last block; may be asked on any thread.
    u32 GetExtraLatency() override { return effectsLatency.load(std::memory_order_relaxed); }

    /// Samples are being loaded.
    bool IsLoading() { return Modulator().IsLoading(); }
    /// Takes over the samples that have come in, for hosts that run no blocks.
    void FinishLoading() { Modulator().ServeSamples(); }

    /// Makes noise and random modulation reproducible.
    void SeedNoise(u32 seed);
    /// Carrier::SetSmoothDrive.
    void SetSmoothDrive(bool on) { CarrierSynth().SetSmoothDrive(on); }

    VocoderModulator& Modulator() { return Child<0>(); }
    ModulationsManager& Modulations() { return Child<1>(); }
    dsp::Observable<engine::ChordGenerator>& Chords() { return Child<2>(); }
    Carrier& CarrierSynth() { return Child<3>(); }
    BodeVocoder& Vocoder() { return Child<4>(); }
    FXContainer& Effects() { return Child<5>(); }

    /// What the carrier gave in the last block, for measuring.
    const float* CarrierBlock(u32 side) { return buffers[CarrierLeft + side]; }

private:
    explicit VocoderProcessor(const std::string* tuningLibrary);

    // What the voice manager asks for, and what passes through the modulator first
    // (VocoderProcessorNotes.cpp).
    void NoteOn(const engine::NoteInfo& note) override;
    void NoteOff(const engine::NoteInfo& note) override;
    void StartVoice(u32 voice, const engine::NoteInfo& note, bool stealing) override;
    bool CanKill(u32 voice) override { return CarrierSynth().CanKill(voice); }
    void ReleaseVoiceHook(u32 voice) override;
    void OnVoiceKilled(u32 voice) override { CarrierSynth().KillVoice(voice); }
    void OnVoiceFinished(u32 voice) override { EndVoiceExpression(voice); }
    bool SelectsSlot(u32 note);
    u32 NotesForGlide();

    // What the expression manager asks for (VocoderProcessorNotes.cpp).
    void OnPerVoiceAftertouch(bool perVoice) override;
    void WriteVoiceAftertouch(u32 voice, float value) override;
    void WriteGlobalAftertouch(float value) override;
    void WriteVoiceBrightness(u32 voice, float value) override;
    i32 FindExpressionVoice(u8 note, u8 channel, u32 from) const override;

    void Connect();

    // The control-rate tick (VocoderProcessorControls.cpp).
    void UpdatePitchBend();
    void UpdateEnvelopes();
    void UpdateControllers();
    void UpdateVoices();
    void UpdateVolume();
    void UpdateMpe();
    void ReleaseAllKeys();

    // One block (VocoderProcessorBlock.cpp).
    void RunChordStage(const dsp::ProcessContext& context);
    void RunVoiceStage();
    void RunKeyPressure(const dsp::EventQueue* events);
    void RunModulator(const dsp::ProcessContext& context);
    void RunModulations(const dsp::ProcessContext& context);
    void RunCarrier(const dsp::ProcessContext& context);
    void RunVocoder(const dsp::ProcessContext& context);
    void WriteOutput(const dsp::ProcessContext& context);
    void RunEffects(const dsp::ProcessContext& context);
    void WriteMonitor(const dsp::ProcessContext& context, BodeVocoder::Output left,
                      const std::array<float, 3>& gains);
    /// The channel of a destination that all voices share.
    auto DestinationChannels() {
        return
            [this](u32 destination) { return Modulations().Matrix().GlobalDestination(destination).data(); };
    }
    const float* VolumeModulation();
    void ReportLfo(const dsp::ProcessContext& context);

    enum Buffer : u32 {
        ModulatorLeft,
        ModulatorRight,
        /// The tracked pitch.
        ModulatorSide,
        CarrierLeft,
        CarrierRight,
        /// The outputs of BodeVocoder.
        VocoderOut,
        MonoCopy = VocoderOut + BodeVocoder::OutputCount,
        BufferCount
    };
    float* VocoderBlock(BodeVocoder::Output output) { return buffers[u32{VocoderOut} + u32{output}]; }
    dsp::BlockPool buffers;
    dsp::EventQueue chordEvents;
    dsp::EventQueue noEvents;
    ShortNotes shortNotes;
    MasterVolume volume;
    i32 outputSelection = CarrierMonitor;
    bool mpeIsOn = false;
    LfoFeedback lfoFeedback;
    dsp::SilenceFloor effectsFloor;
    std::atomic<u32> effectsLatency{0};
    std::array<std::vector<u8>, VocoderModulator::sampleCount> sampleData;
};

extern template class SynthProcessor<64, 10, 1, VocoderModulator, ModulationsManager,
                                     dsp::Observable<engine::ChordGenerator>, Carrier, BodeVocoder,
                                     FXContainer>;

} // namespace Velmora::Processor
