// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/ModuleParam.h"
#include "dsp/oscillators/NoiseGenerator.h"
#include "dsp/oscillators/PolyBlepPhaseGen.h"
#include "dsp/oscillators/PolyBlepPostFilter.h"
#include "dsp/oscillators/PolyBlepShape.h"
#include "dsp/smoothing/SmootherLPF.h"
#include "vocoder/carrier/SawLowPass.h"

namespace Velmora::Processor {

/// The block buffers of an oscillator of a voice. The two share all but the waveform: the one that runs
/// second finds the wrap data of the first, and overwrites them.
struct VoiceBuffers {
    float* phase = nullptr;
    /// Per sample, in turns.
    float* increment = nullptr;
    float* wrapFlag = nullptr;
    float* samplesToWrap = nullptr;
    float* samplesSinceWrap = nullptr;
    /// In Hz.
    float* frequencyModulation = nullptr;
    float* drive = nullptr;
    /// The waveform.
    float* out = nullptr;
};

/// One oscillator of a voice: a phase, the selected waveform, what shapes it, and its level. Only the
/// selected waveform runs.
class VoiceOscillator {
public:
    enum Waveform : i32 { Triangle, Saw, Square, Noise, WaveformCount };

    VoiceOscillator();

    void Initialize(float rate, u32 maxBlockSize);
    void Reset(bool hard);

    void SetWaveform(i32 number);
    /// In dB.
    void SetLevel(float decibels);
    /// 0 to 1. Width of the square, colour of the noise, brightness of the saw, drive of saw and triangle.
    void SetShape(float position);
    void SetSyncMaster(bool on);
    void SetSyncSlave(bool on);
    void SetFM(bool on);
    /// The drive without the aliases of its folds, half a sample late.
    void SetSmoothDrive(bool on) { isDriveSmooth = on; }
    void SetStartPhase(float normalized);
    float StartPhase() { return phaseGen.GetParameterNormalized(PhaseGen::Phase0); }
    void SeedNoise(u32 seed) { noise.Seed(seed); }

    /// Levels and drive are at their targets at once, without a glide.
    void JumpToTargets();

    /// Renders the bare waveform into buffers.out. The frequency in Hz is brought into 20 to 20000. May
    /// overwrite what lies behind the block, up to VoiceKernels::PaddedFrames.
    void Render(const dsp::ProcessContext& context, float frequency, const VoiceBuffers& buffers);
    /// What has to filter buffers.out then; null when nothing has.
    SawLowPass* LowPass() { return waveform == Saw ? &lowPass : nullptr; }
    /// Drives the filtered waveform when it is one that can be driven. Overwrites as Render does.
    void Finish(const VoiceBuffers& buffers, u32 frames);
    /// What Finish would make of it, times the steady level and an envelope, is added to `out`; buffers.out
    /// is lost.
    void FinishInto(float* out, float envelope, const VoiceBuffers& buffers, u32 frames);

    /// Renders the level, linear, into `out`.
    void RenderLevel(float* out, u32 frames) { level.RenderBlock(out, frames); }
    bool IsLevelSteady() const { return level.IsAtTarget(); }
    /// The level moves, or is held at another value than the one that stands for silence.
    bool IsAudible(float silence) const {
        return !level.IsAtTarget() || level.current != static_cast<double>(silence);
    }

private:
    using PhaseGen = dsp::PolyBlepPhaseGen;

    template <class Operation>
    void ForEachShape(Operation operation) {
        operation(triangle);
        operation(saw);
        operation(square);
    }

    void SetFrequency(float hz);
    /// Most voices of most patches: phase, waveform and post filter in one.
    void RenderSteadySaw(const dsp::ProcessContext& context, float* out);
    void RunPhase(const dsp::ProcessContext& context, const VoiceBuffers& buffers);
    void RunWaveform(const dsp::ProcessContext& context, const VoiceBuffers& buffers);
    bool IsDriven() const { return waveform == Triangle || waveform == Saw; }
    void Drive(const VoiceBuffers& buffers, u32 frames);
    void DriveSmoothly(const VoiceBuffers& buffers, u32 frames);

    PhaseGen phaseGen;
    dsp::PolyBlepTriangle triangle;
    dsp::PolyBlepSaw saw;
    dsp::PolyBlepSquare square;
    dsp::PolyBlepPostFilter postFilter;
    dsp::NoiseGenerator noise;
    dsp::SmootherLPF level{0.005};
    dsp::SmootherLPF driveGain{0.005};
    /// From shape to dB of drive.
    dsp::ModuleParam driveCurve;

    i32 waveform = Triangle;
    bool isSynced = false;
    bool isModulated = false;
    bool isDriveSmooth = false;
    /// The argument of the drive's sine at the last sample, in quarter turns.
    float lastTurns = 0.0F;
    float lastFrequency;
    float lastLevel;
    float lastShape;
    SawLowPass lowPass;
};

} // namespace Velmora::Processor
