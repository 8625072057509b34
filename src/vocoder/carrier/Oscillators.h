// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/envelopes/ADSR.h"
#include "dsp/framework/ModuleContainer.h"
#include "dsp/framework/RunChild.h"
#include "dsp/modulation/ModulationChannels.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "vocoder/carrier/VoiceOscillator.h"
#include "vocoder/wiring/Wiring.h"

#include <array>
#include <initializer_list>
#include <span>
#include <string>

namespace Velmora::Processor {

/// One complete voice of the carrier: an envelope and two oscillators with their levels. Oscillator 2 is the
/// master of hard sync and the modulator of FM, oscillator 1 the slave and the carrier; so 2 runs first.
///
/// Inputs: modulation channels, one value per block, in the order of Input, or none. Outputs: left and right,
/// which are equal and may be one buffer: the sum of level * envelope * waveform of both oscillators.
class Oscillators final : public dsp::ModuleContainer<dsp::ADSR> {
public:
    enum Additional : u32 {
        Frequency,
        Osc1Waveform,
        Osc2Waveform,
        Osc1Coarse,
        Osc2Coarse,
        Osc2Fine,
        Osc1Volume,
        Osc2Volume,
        Osc2KeyTrack,
        Osc1Shape,
        Osc2Shape,
        Sync,
        FMAmount,
        AdditionalCount
    };
    using Input = Pins::Voice;
    using enum Pins::Voice;
    enum : u32 { InputCount = VoiceInputCount };
    static constexpr u32 parameterCount = childParameterCount + AdditionalCount;
    static constexpr u32 outputCount = 2;
    static constexpr u32 ParameterId(Additional index) { return childParameterCount + index; }
    static constexpr u32 frequency = childParameterCount + Frequency;

    explicit Oscillators(std::string moduleName = "Oscillators");

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    /// How many voices run together at most.
    static constexpr u32 groupSize = SawLowPass::mostJobs;
    /// Process of several voices side by side, over the same number of frames.
    static void ProcessGroup(std::span<const dsp::ModuleRun<Oscillators>> runs);

    dsp::ADSR& Envelope() { return Child<0>(); }
    /// Its gate is open, or it is in one of its stages.
    bool IsSounding() { return Envelope().IsGateOpen() || Envelope().IsRunning(); }
    /// The envelope at the first sample of the last block.
    float FirstEnvelopeSample() const { return isSteady ? heldEnvelope : envelope[0]; }
    /// Makes the noise waveforms reproducible.
    void SeedNoise(u32 seed);
    /// VoiceOscillator::SetSmoothDrive of both.
    void SetSmoothDrive(bool on);

private:
    float ModulatedValue(const dsp::ProcessContext& context, Additional index, Input input);
    float ModulatedCoarse(const dsp::ProcessContext& context, Additional index, Input input);
    bool IsPositionOn(Additional index, float threshold);

    bool HasChangedBeyondFrequency() const;
    /// Everything but the played frequency. Of these only what changed or was moved by an input is read; a
    /// bit of `moved` stands for an Input.
    void UpdateSound(const dsp::ProcessContext& context, u32 moved);
    bool IsNew(Additional index, Input input, u32 moved) const;
    void UpdateRatios(const dsp::ProcessContext& context, u32 moved);
    void UpdateWaveforms();
    void UpdateLevels(const dsp::ProcessContext& context, u32 moved);
    void UpdateShapes(const dsp::ProcessContext& context, u32 moved);
    void UpdateSync();
    void UpdateFM(const dsp::ProcessContext& context);
    bool HasFM() const { return fmGain > 0.0F; }
    /// The given oscillators of each voice, up to what drives them.
    static void RenderOscillators(std::initializer_list<u32> indices,
                                  std::span<const dsp::ModuleRun<Oscillators>> runs);
    /// What comes before the oscillators.
    void Begin(const dsp::ProcessContext& context);
    bool LevelsAreSteady() const;
    void RunEnvelope(const dsp::ProcessContext& context);
    void FinishOscillator(u32 index, const dsp::ProcessContext& context);
    void RenderFM(u32 frames);
    void AddOscillator(u32 index, float* out, u32 frames);

    /// Index 0 is oscillator 1.
    std::array<VoiceOscillator, 2> oscillators;
    std::array<float, 2> hertz{};
    /// The ratios that belong to the last coarse and fine settings.
    std::array<float, 2> semitones{};
    std::array<float, 2> ratios{1.0F, 1.0F};
    /// Oscillator 2 follows the played frequency.
    bool isTracking = false;
    bool isSynced = false;
    /// Deviation in Hz at full level.
    float fmGain = 0.0F;
    /// The linear level that stands for silence.
    float silence = 0.0F;

    enum Buffer : u32 {
        EnvelopeBuffer,
        PhaseBuffer,
        IncrementBuffer,
        WrapFlagBuffer,
        SamplesToWrapBuffer,
        SamplesSinceWrapBuffer,
        FMBuffer,
        DriveBuffer,
        Osc1OutBuffer,
        Osc2OutBuffer,
        Osc1LevelBuffer,
        Osc2LevelBuffer,
        BufferCount
    };
    dsp::ModulationWatch watch;
    dsp::BlockPool buffers;
    /// Of each oscillator: shared but for the waveform.
    std::array<VoiceBuffers, 2> blocks;
    float* envelope = nullptr;
    std::array<float*, 2> levels{};
    /// Envelope and levels stand still over the block, and are not rendered.
    bool isSteady = false;
    float heldEnvelope = 0.0F;
};

} // namespace Velmora::Processor
