// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/EventQueue.h"
#include "dsp/ModuleContainer.h"
#include "dsp/Observable.h"
#include "engine/ChordGenerator.h"
#include "engine/MtsClient.h"
#include "processor/MasterVolume.h"
#include "vocoder/Carrier.h"
#include "vocoder/ModulationsManager.h"

#include <string>
#include <string_view>

namespace Velmora::Processor {

/// The carrier with what plays it: chord stage, voice manager, expression, tuning, modulations and master
/// volume. Notes and key pressure come as events, other controllers as parameters. All events of a block act
/// at its start.
///
/// Input 0, which may be absent or null, is the tracked pitch in Hz; inputs 1 and 2, likewise, are left and
/// right of what the envelope follower hears. Outputs: left and right.
class PlayedCarrier final
    : public dsp::ModuleContainer<ModulationsManager, dsp::Observable<engine::ChordGenerator>, Carrier>,
      public VoiceManager,
      public ExpressionManager {
public:
    enum Additional : u32 {
        PitchBend,
        ModWheel,
        Sustain,
        Aftertouch,
        MpeEnabled,
        MpePitchRange,
        MpeGlobalBrightness,
        RetuningMode,
        MpePitchBend,
        MpeAftertouch = MpePitchBend + channelCount,
        MpeBrightness = MpeAftertouch + channelCount,
        Volume = MpeBrightness + channelCount,
        Attack,
        Release,
        PolyphonyMode,
        PitchBendRange,
        AdditionalCount
    };
    static constexpr u32 parameterCount = childParameterCount + AdditionalCount;
    static constexpr u32 outputCount = 2;
    static constexpr u32 ParameterId(Additional index) { return childParameterCount + index; }

    /// Its parameters carry no prefix.
    explicit PlayedCarrier(std::string moduleName = {});
    /// With the tuning library at another place than the usual one.
    PlayedCarrier(std::string moduleName, const std::string& tuningLibrary);

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    /// Makes noise and random modulation reproducible.
    void SeedNoise(u32 seed);

    ModulationsManager& Modulations() { return Child<0>(); }
    dsp::Observable<engine::ChordGenerator>& Chords() { return Child<1>(); }
    Carrier& Sound() { return Child<2>(); }

private:
    // What the voice manager asks for.
    void StartVoice(u32 voice, const engine::NoteInfo& note, bool stealing) override;
    bool CanKill(u32 voice) override { return Sound().CanKill(voice); }
    void ReleaseVoiceHook(u32 voice) override;
    void OnVoiceKilled(u32 voice) override { Sound().KillVoice(voice); }
    void OnVoiceFinished(u32 voice) override { EndVoiceExpression(voice); }
    const engine::MtsClient* MtsClient() const override { return &tuning; }

    // What the expression manager asks for.
    void OnPerVoiceAftertouch(bool perVoice) override;
    void WriteVoiceAftertouch(u32 voice, float value) override;
    void WriteGlobalAftertouch(float value) override;
    void WriteVoiceBrightness(u32 voice, float value) override;
    i32 FindExpressionVoice(u8 note, u8 channel, u32 from) const override;

    void Connect();
    void UpdateEnvelopes();
    void UpdateControllers();
    void UpdateMpe();
    void UpdateVolume();
    void RunChordStage(dsp::ProcessContext& context);
    void RunVoiceStage(const dsp::ProcessContext& context);
    void RunKeyPressure(const dsp::EventQueue& events);
    void RunModulations(const dsp::ProcessContext& context);
    void RunCarrier(const dsp::ProcessContext& context);
    void ApplyVolume(const dsp::ProcessContext& context);
    const float* VolumeModulation();

    engine::MtsClient tuning;
    dsp::EventQueue chordEvents;
    dsp::EventQueue noEvents;
    MasterVolume volume;
    bool mpeIsOn = false;
};

} // namespace Velmora::Processor
