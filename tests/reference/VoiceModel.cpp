// SPDX-License-Identifier: GPL-3.0-or-later
#include "reference/VoiceModel.h"

#include "reference/MappingModel.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <numbers>

namespace orphia_reference {

namespace {

constexpr double halfPi = std::numbers::pi / 2.0;
constexpr KnobLaw driveLaw{-12.0, 24.0, -6.0};
constexpr double silenceDb = -70.0;
constexpr double semitone = static_cast<double>(0.083333336F); ///< of an octave

template <std::size_t N>
double Polynomial(const std::array<double, N>& c, double x) {
    double sum = 0.0;
    for (std::size_t i = N; i-- > 0;) {
        sum = sum * x + c[i];
    }
    return sum;
}

/// What a softened unit step lacks at x samples from its centre.
double StepResidual(double x) {
    static constexpr std::array c{-1.0,       1.2420912,  0.082739435,   -0.7522737,
                                  0.37992996, -0.0577479, -0.00043589083};
    return x < 2.0 ? Polynomial(c, x) : 0.0;
}

/// The same for a change of slope.
double SlopeResidual(double x) {
    static constexpr std::array c{0.49667034,  -1.0,       0.6210456,   0.02757981,
                                  -0.18806842, 0.07598599, -0.00962465, -6.227012e-05};
    return x < 2.0 ? Polynomial(c, x) : 0.0;
}

double Wrap(double x) { return x - std::floor(x); }
double AsFloat(double x) { return static_cast<double>(static_cast<float>(x)); }
double FromDb(double db) { return std::pow(10.0, db * 0.05); }

double FastExp(double x) {
    const double p = std::max(x * 1.442695, -126.0);
    const double f = p - std::trunc(p) + (p < 0.0 ? 1.0 : 0.0);
    const double bits = (27.728024 / (4.8425255 - f) + p + 121.274055 - f * 1.4901291) * 8388608.0;
    return static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
}

double FastLog(double y) {
    const auto bits = std::bit_cast<std::uint32_t>(static_cast<float>(y));
    const double m = static_cast<double>(std::bit_cast<float>((bits & 0x007FFFFFU) | 0x3F000000U));
    return (bits * 1.1920929e-07 - 124.22552 - m * 1.4980303 - 1.72588 / (m + 0.35208872)) * 0.6931472;
}

double Saw(double p, double inc) {
    const double naive = 2.0 * p - 1.0;
    return inc == 0.0 ? naive : naive + StepResidual((1.0 - p) / inc) - StepResidual(p / inc);
}

double Square(double p, double inc, double w) {
    const double q = p < w ? p + 1.0 - w : p - w;
    const double naive = p < w ? 1.0 : -1.0;
    if (inc == 0.0) {
        return naive;
    }
    return naive - (StepResidual((1.0 - p) / inc) - StepResidual(p / inc) + StepResidual(q / inc) -
                    StepResidual((1.0 - q) / inc));
}

/// Of equal slopes, which is the only triangle a voice makes.
double Triangle(double p, double inc) {
    constexpr double w = 0.5;
    const double q = p < w ? p + 1.0 - w : p - w;
    const double naive = p < w ? p * 2.0 / w - 1.0 : p * -2.0 / (1.0 - w) + (w + 1.0) / (1.0 - w);
    if (inc == 0.0) {
        return naive;
    }
    return naive - inc / (w * (1.0 - w)) *
                       (-SlopeResidual(p / inc) + SlopeResidual(q / inc) - SlopeResidual((1.0 - p) / inc) +
                        SlopeResidual((1.0 - q) / inc));
}

} // namespace

double EnvelopeModel::Segment::At(double p) const {
    return norm == 0.0 ? p : (FastExp(curve * p) - 1.0) / norm;
}

EnvelopeModel::EnvelopeModel(double sampleRate, std::size_t maxBlockSize)
    : rate(sampleRate), sustainSteps(maxBlockSize) {
    sustain.Prepare(0.01, sampleRate);
}

EnvelopeModel::Segment EnvelopeModel::MakeSegment(double seconds, double curve) const {
    const double c = std::abs(curve) < 0.01 ? 0.0 : curve;
    return {1.0 / (seconds * rate), c, c == 0.0 ? 0.0 : FastExp(c) - 1.0};
}

double EnvelopeModel::RetriggerPhase() const {
    return attack.norm == 0.0 ? lastOutput : FastLog(attack.norm * lastOutput + 1.0) / attack.curve;
}

void EnvelopeModel::BeginBlock(const EnvelopeParameters& p, std::size_t frames) {
    attack = MakeSegment(p.attack, p.attackCurve);
    attack.increment = p.attack * rate == 0.0 ? 1.0 : attack.increment;
    decay = MakeSegment(p.decay, p.decayCurve);
    release = p.releaseLink ? decay : MakeSegment(p.release, p.releaseCurve);
    if (p.skipsSustain != skipsSustain) {
        skipsSustain = p.skipsSustain;
        const bool cannotStay = skipsSustain && stage == Stage::Sustain;
        stage = cannotStay || (!p.gate && stage != Stage::Idle) ? Stage::Release : stage;
    }
    if (p.gate && !wasOpen) {
        stage = Stage::Attack;
        phase = p.hardRetrig ? 0.0 : RetriggerPhase();
    } else if (!p.gate && wasOpen && !skipsSustain) {
        stage = stage == Stage::Idle ? Stage::Idle : Stage::Release;
        phase = 0.0;
    }
    wasOpen = p.gate;
    if (isFirstBlock) {
        sustain.Set(p.sustain);
        sustainLine = sustainTarget = p.sustain;
        sustainCounter = sustainSteps - 1;
        isFirstBlock = false;
    } else if (p.sustain != sustainLine) {
        sustainTarget = p.sustain;
        sustainCounter = 0;
        sustainIncrement = (p.sustain - sustainLine) / static_cast<double>(sustainSteps);
        sustain.epsilon = std::max(std::abs(p.sustain) * 1e-12, 1e-20);
    }
    const bool isTimed = stage == Stage::Attack || stage == Stage::Decay || stage == Stage::Release;
    const Segment& segment = stage == Stage::Attack ? attack : stage == Stage::Decay ? decay : release;
    isCareful = isTimed && static_cast<double>(frames) * segment.increment + phase >= 1.0;
}

double EnvelopeModel::NextSustain() {
    const bool isOnTheLine = sustainCounter + 1 < sustainSteps;
    sustainLine = isOnTheLine ? sustainLine + sustainIncrement : sustainTarget;
    sustainCounter += isOnTheLine ? 1 : 0;
    sustain.target = sustainLine;
    return sustain.Next();
}

double EnvelopeModel::TimedStep(const Segment& segment, double sample, Stage next) {
    phase += segment.increment;
    if (phase >= 1.0) {
        phase = 0.0;
        stage = next;
    }
    return sample;
}

double EnvelopeModel::Step() {
    const double held = NextSustain();
    double sample = 0.0;
    if (stage == Stage::Attack) {
        const bool isAStep = attack.increment >= 1.0;
        phase = isAStep ? 0.0 : phase;
        current = sample = TimedStep(attack, isAStep ? 1.0 : attack.At(phase), Stage::Decay);
    } else if (stage == Stage::Decay) {
        const double level = 1.0 - (1.0 - held) * decay.At(phase);
        current = sample = TimedStep(decay, level, skipsSustain ? Stage::Release : Stage::Sustain);
    } else if (stage == Stage::Sustain) {
        current = sample = held;
    } else if (stage == Stage::Release) {
        sample = TimedStep(release, current - current * release.At(phase), Stage::Idle);
        if (!isCareful) {
            return lastOutput = sample;
        }
    }
    return lastOutput = std::clamp(sample, 0.0, 1.0);
}

OscillatorModel::OscillatorModel(double sampleRate) : rate(sampleRate) {
    level.Prepare(0.005, sampleRate);
    drive.Prepare(0.005, sampleRate);
}

void OscillatorModel::BeginBlock(const OscillatorParameters& parameters, bool isFirstBlock) {
    settings = parameters;
    level.SetTarget(FromDb(settings.volumeDb));
    drive.SetTarget(FromDb(driveLaw.ToReal(settings.shape)));
    if (isFirstBlock) {
        level.Set(level.target);
        drive.Set(drive.target);
    }
    const double g = std::tan(std::numbers::pi * (20000.0 - settings.shape * 19800.0) / rate);
    a1 = 1.0 / ((g + 1.4142135) * g + 1.0);
    a2 = a1 * g;
    a3 = a2 * g;
}

PhaseFrame OscillatorModel::Advance(double increment, const PhaseFrame* master) {
    const double before = phase;
    if (master != nullptr && master->wrapped) {
        phaseAtReset = Wrap(before + (1.0 - master->samplesSinceWrap) * increment);
        phase = Wrap(increment * master->samplesSinceWrap);
        return {phase, increment, true, master->samplesToWrap, master->samplesSinceWrap};
    }
    phase = Wrap(before + increment);
    if (master != nullptr) {
        return {phase, increment, false, master->samplesToWrap, master->samplesSinceWrap};
    }
    return {phase, increment, phase != before + increment, (1.0 - phase) / increment, phase / increment};
}

/// Each jump within reach, of the reset or of the phase itself, is softened once; a wrap counts only on its
/// side of a reset.
double OscillatorModel::SyncedSaw(const PhaseFrame& at) {
    const double i = at.increment;
    const double next = Wrap(at.phase + at.samplesToWrap * i);
    const bool resetComesFirst = at.phase + at.samplesToWrap * i < 1.0;
    const bool hasWrappedSince = at.samplesSinceWrap * i - at.phase > 0.5;
    double y = 2.0 * at.phase - 1.0;
    y += StepResidual(at.samplesToWrap) * next - StepResidual(at.samplesSinceWrap) * phaseAtReset;
    y += resetComesFirst ? 0.0 : StepResidual((1.0 - at.phase) / i);
    y -= hasWrappedSince ? StepResidual(at.phase / i) : 0.0;
    // Nothing wraps within reach after the coming reset: a cycle is longer than two frames.
    y -= StepResidual(at.samplesSinceWrap + phaseAtReset / i);
    return std::clamp(y, -1.0, 1.0);
}

double OscillatorModel::PostFilter(double x) {
    static constexpr std::array c{0.014249048, -0.05980679, 0.2597721, -0.8253973, 2.2223659};
    std::shift_right(history.begin(), history.end(), 1);
    history[0] = x;
    double y = c[4] * history[4];
    for (std::size_t k = 0; k < 4; ++k) {
        y += c[k] * (history[k] + history[8 - k]);
    }
    return y;
}

double OscillatorModel::LowPass(double x) {
    const double v3 = x - s2;
    const double v1 = a1 * s1 + a2 * v3;
    const double v2 = s2 + a2 * s1 + a3 * v3;
    s1 = 2.0 * v1 - s1;
    s2 = 2.0 * v2 - s2;
    return v2;
}

double OscillatorModel::SineDrive(double x) {
    const double g = drive.Next();
    return std::sin(g * x * halfPi) * (g >= 1.0 ? 1.0 : 1.0 / std::sin(g * halfPi));
}

double OscillatorModel::Shape(const PhaseFrame& at, bool synced) {
    const double inc = std::abs(at.increment);
    switch (settings.waveform) {
    case Waveform::Triangle:
        return SineDrive(PostFilter(Triangle(at.phase, inc)));
    case Waveform::Saw:
        return SineDrive(LowPass(PostFilter(-(synced ? SyncedSaw(at) : Saw(at.phase, inc)))));
    case Waveform::Square:
        break;
    }
    const double width = AsFloat(settings.shape * 0.47500002 + 0.5);
    return PostFilter(Square(at.phase, inc, std::clamp(width, 0.0, 1.0)));
}

VoiceModel::VoiceModel(double sampleRate, std::size_t maxBlockSize)
    : rate(sampleRate), envelope(sampleRate, maxBlockSize), oscillators{OscillatorModel(sampleRate),
                                                                        OscillatorModel(sampleRate)} {}

double VoiceModel::Frequency(const VoiceParameters& p, std::size_t oscillator) {
    const bool isFirst = oscillator == 0;
    const double base = AsFloat(isFirst || p.keyTrack ? p.frequency : 261.62558);
    const double semitones = p.oscillators[oscillator].coarse + (isFirst ? 0.0 : p.fine);
    return AsFloat(std::clamp(base * AsFloat(std::exp2(semitones * semitone)), 20.0, 20000.0));
}

std::vector<double> VoiceModel::Process(const VoiceParameters& p, std::size_t frames) {
    for (std::size_t i = 0; i < 2; ++i) {
        oscillators[i].BeginBlock(p.oscillators[i], isFirstBlock);
    }
    isFirstBlock = false;
    envelope.BeginBlock(p.envelope, frames);
    gains.resize(frames);
    std::generate(gains.begin(), gains.end(), [this] { return envelope.Step(); });
    fm.assign(frames, 0.0);
    master.assign(frames, PhaseFrame{});
    std::vector<double> out(frames, 0.0);
    AddOscillator(1, p, out);
    AddOscillator(0, p, out);
    return out;
}

void VoiceModel::AddOscillator(std::size_t index, const VoiceParameters& p, std::vector<double>& out) {
    OscillatorModel& oscillator = oscillators[index];
    const bool isSlave = index == 0 && p.sync;
    const double increment = Frequency(p, index) / rate;
    std::vector<double> levelled(out.size());
    for (std::size_t n = 0; n < out.size(); ++n) {
        const double i = increment + (index == 0 ? fm[n] / rate : 0.0);
        const PhaseFrame at = oscillator.Advance(i, isSlave ? &master[n] : nullptr);
        const double sample = oscillator.Shape(at, isSlave);
        if (index == 1) {
            master[n] = at;
            fm[n] = sample * p.fmAmount * 20000.0;
        }
        levelled[n] = sample * oscillator.level.Next();
    }
    // A level that has settled at the bottom of its range is silence for the whole block.
    if (oscillator.level.current == oscillator.level.target &&
        oscillator.level.current == FromDb(silenceDb)) {
        return;
    }
    for (std::size_t n = 0; n < out.size(); ++n) {
        out[n] += levelled[n] * gains[n];
    }
}

} // namespace orphia_reference
