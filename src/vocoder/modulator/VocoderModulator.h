// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleContainer.h"
#include "dsp/math/SilenceFloor.h"
#include "vocoder/modulator/ModulatorInput.h"
#include "vocoder/modulator/ModulatorKeys.h"
#include "vocoder/modulator/ModulatorParameters.h"
#include "vocoder/modulator/ModulatorPlayback.h"
#include "vocoder/modulator/ModulatorTone.h"

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
    : public dsp::ModuleContainer<dsp::Sampler, dsp::ADSR, engine::VoiceKiller, dsp::PitchTracker,
                                  dsp::ParamEq<5>, dsp::Compressor, dsp::InputDetector, dsp::VuMeter> {
public:
    using enum ModulatorParameters::Parameter;
    using Parameter = ModulatorParameters::Parameter;
    static constexpr u32 sampleCount = ModulatorParameters::sampleCount;
    static constexpr u32 inputCount = 2;
    static constexpr u32 outputCount = 3;

    static constexpr u32 parameterCount = childParameterCount + ParameterCount;
    /// The id of one of its own parameters.
    static constexpr u32 ParameterId(Parameter index) { return childParameterCount + index; }

    /// The children in template order, for Section<>().
    enum ChildIndex : u32 { Player, Envelope, Killer, Tracker, Equaliser, Dynamics, Gate, Meter };

    explicit VocoderModulator(std::string moduleName = "Modulator");

    /// Press counts of all notes, which belong to the voice manager and outlive this module's last block.
    /// Without them no key counts as held, and a loop goes on for ever.
    void SetHeldNotes(std::span<const u8, 128> presses) { playback.SetHeldNotes(presses.data()); }

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    /// Between blocks; the table of held notes already tells of this note. Notes above 127 are ignored.
    void NoteOn(u32 note) { keys.NoteOn(note); }
    void NoteOff(u32 note) { keys.NoteOff(note); }
    /// Whether a note selects a slot of the keyboard mode.
    bool IsInSelectingOctave(u32 note) const { return keys.IsInSelectingOctave(note); }
    /// Whether the notes of the selecting octave are kept from the voices: without external input, in the
    /// keyboard mode.
    bool KeysSelectSlots() { return keys.SelectSlots(); }
    /// Keys held outside the selecting octave.
    u32 HeldKeyCount() const { return keys.HeldCount(); }

    /// Asks for the file of a sample; an empty path empties the sample. Between blocks on the audio thread,
    /// or while no blocks run. False when the sample or the path (UTF-8, at most 256 bytes) is out of range.
    bool SetPath(u32 sample, std::string_view path) { return playback.samples.SetPath(sample, path); }
    /// Some request waits or is being loaded.
    bool IsLoading() const { return playback.samples.IsLoading(); }
    /// Takes over what the worker has finished and sends it what waits. Process does it first of all; between
    /// blocks, or while none run, it completes loading without sound.
    void ServeSamples() { playback.ServeSamples(); }
    bool HasSample(u32 sample) const { return playback.HasSample(sample); }

    /// Makes random starts and slots reproducible.
    void SeedRandom(u32 seed);

    template <ChildIndex Index>
    auto& Section() {
        return Child<Index>();
    }

private:
    ModulatorParameters own{additional};
    ModulatorPlayback playback{Child<Player>(), Child<Envelope>(), Child<Killer>(), own};
    ModulatorKeys keys{playback, own};
    ModulatorInput input{Child<Tracker>(), Child<Gate>(), own};
    dsp::SilenceFloor floor;
    ModulatorTone tone{Child<Equaliser>(), Child<Dynamics>(), Child<Meter>(), own};
};

} // namespace Velmora::Processor
