// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/SmootherModel.h"

#include <array>
#include <cstddef>
#include <vector>

namespace orphia_reference {

struct EnvelopeParameters {
    double attack = 0.002; ///< seconds, as are decay and release
    double attackCurve = 0.0;
    double decay = 0.0;
    double decayCurve = 0.0;
    double sustain = 1.0;
    double release = 0.05;
    double releaseCurve = -4.0;
    bool releaseLink = false;
    bool skipsSustain = false;
    bool hardRetrig = true;
    bool gate = false;
};

/// The envelope of a voice. The exponential of its curves is the approximation that defines them.
struct EnvelopeModel {
    EnvelopeModel(double sampleRate, std::size_t maxBlockSize);

    /// Applies the gate and decides, for the whole block, whether its release is limited to 0..1.
    void BeginBlock(const EnvelopeParameters& parameters, std::size_t frames);
    double Step();

    enum class Stage { Idle, Attack, Decay, Sustain, Release };
    Stage stage = Stage::Idle;

private:
    struct Segment {
        double increment = 1.0;
        double curve = 0.0;
        double norm = 0.0;

        double At(double phase) const;
    };
    Segment MakeSegment(double seconds, double curve) const;
    double RetriggerPhase() const;
    double NextSustain();
    double TimedStep(const Segment& segment, double sample, Stage next);

    double rate;
    Segment attack, decay, release;
    double phase = 0.0;
    double current = 0.0;
    double lastOutput = 0.0;
    bool wasOpen = false;
    bool isCareful = false;
    bool skipsSustain = false;
    SmootherModel sustain;
    std::size_t sustainSteps;
    std::size_t sustainCounter = 0;
    double sustainLine = 0.0;
    double sustainIncrement = 0.0;
    double sustainTarget = 0.0;
    bool isFirstBlock = true;
};

enum class Waveform { Triangle, Saw, Square };

struct OscillatorParameters {
    Waveform waveform = Waveform::Saw;
    double coarse = 0.0; ///< semitones
    double volumeDb = 0.0;
    double shape = 0.0;
};

struct VoiceParameters {
    EnvelopeParameters envelope;
    double frequency = 440.0;
    std::array<OscillatorParameters, 2> oscillators; ///< index 0 is oscillator 1
    double fine = 0.0;                               ///< of oscillator 2, semitones
    bool keyTrack = true;
    bool sync = false; ///< oscillator 1 follows oscillator 2; modelled for a saw only
    double fmAmount = 0.0;
};

/// Phase of one frame and its distances in samples from the wraps of the sync master.
struct PhaseFrame {
    double phase = 0.0;
    double increment = 0.0;
    bool wrapped = false;
    double samplesToWrap = 1e30;
    double samplesSinceWrap = 1e30;
};

/// One oscillator of a voice up to its level: waveform, flattening filter, low-pass and sine shaper.
struct OscillatorModel {
    explicit OscillatorModel(double sampleRate);

    void BeginBlock(const OscillatorParameters& parameters, bool isFirstBlock);
    /// With a master the phase restarts at its wraps.
    PhaseFrame Advance(double increment, const PhaseFrame* master);
    double Shape(const PhaseFrame& at, bool synced);

    SmootherModel level;

private:
    double SyncedSaw(const PhaseFrame& at);
    double PostFilter(double x);
    double LowPass(double x);
    double SineDrive(double x);

    double rate;
    OscillatorParameters settings;
    double phase = 0.0;
    double phaseAtReset = 0.0;
    std::array<double, 9> history{};
    double a1 = 0.0, a2 = 0.0, a3 = 0.0, s1 = 0.0, s2 = 0.0;
    SmootherModel drive;
};

/// A whole voice in double precision, but for its pitch: the ratio of an interval, the frequency made of it
/// and the width of a pulse are values in single precision, and a phase sums up their rounding.
struct VoiceModel {
    VoiceModel(double sampleRate, std::size_t maxBlockSize);

    /// One channel of a block; both are equal.
    std::vector<double> Process(const VoiceParameters& parameters, std::size_t frames);

    static double Frequency(const VoiceParameters& parameters, std::size_t oscillator);

private:
    void AddOscillator(std::size_t index, const VoiceParameters& parameters, std::vector<double>& out);

    double rate;
    EnvelopeModel envelope;
    std::array<OscillatorModel, 2> oscillators;
    std::vector<double> gains; ///< the envelope of the block
    std::vector<double> fm;    ///< deviation in Hz
    std::vector<PhaseFrame> master;
    bool isFirstBlock = true;
};

} // namespace orphia_reference
