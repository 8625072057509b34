// SPDX-License-Identifier: GPL-3.0-or-later
// A voice under an open gate in double precision, but for its pitch: the ratio of an interval, the frequency
// made of it and the width of a pulse are values in single precision, and a phase sums up their rounding.
#pragma once

#include "reference/Sections.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

namespace orphia_reference {

enum class Waveform { Triangle, Saw, Square };

struct OscillatorParameters {
    Waveform waveform = Waveform::Saw;
    double coarse = 0.0; ///< semitones
    double volumeDb = 0.0;
    double shape = 0.0;
};

struct VoiceParameters {
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
    explicit OscillatorModel(double sampleRate)
        : level(0.005, sampleRate), rate(sampleRate), drive(0.005, sampleRate) {}
    void BeginBlock(const OscillatorParameters& parameters) {
        settings = parameters;
        level.Approach(FromDb(settings.volumeDb));
        drive.Approach(FromDb(36.0 * std::expm1(-6.0 * settings.shape) / std::expm1(-6.0) - 12.0));
        g = std::tan(std::numbers::pi * (20000.0 - settings.shape * 19800.0) / rate);
    }
    /// With a master the phase restarts at its wraps.
    PhaseFrame Advance(double increment, const PhaseFrame* master) {
        const double before = phase;
        if (master != nullptr && master->wrapped) {
            phaseAtReset = Wrap(before + (1.0 - master->samplesSinceWrap) * increment);
            phase = Wrap(increment * master->samplesSinceWrap);
            return {phase, increment, true, master->samplesToWrap, master->samplesSinceWrap};
        }
        phase = Wrap(before + increment);
        return master != nullptr
                   ? PhaseFrame{phase, increment, false, master->samplesToWrap, master->samplesSinceWrap}
                   : PhaseFrame{phase, increment, phase != before + increment, (1.0 - phase) / increment,
                                phase / increment};
    }
    double Shape(const PhaseFrame& at, bool synced) {
        const double inc = std::abs(at.increment);
        if (settings.waveform == Waveform::Square) {
            return PostFilter(Square(at.phase, inc, AsFloat(settings.shape * 0.47500002 + 0.5)));
        }
        return SineDrive(settings.waveform == Waveform::Triangle
                             ? PostFilter(Triangle(at.phase, inc))
                             : LowPass(PostFilter(-(synced ? SyncedSaw(at) : Saw(at.phase, inc)))));
    }
    static double AsFloat(double x) { return static_cast<double>(static_cast<float>(x)); }
    static double FromDb(double db) { return std::pow(10.0, db * 0.05); }

    SmootherModel level;

private:
    /// By rising power.
    template <std::size_t N>
    static double Polynomial(const std::array<double, N>& c, double x) {
        double sum = 0.0;
        for (std::size_t i = N; i-- > 0;) {
            sum = sum * x + c[i];
        }
        return x < 2.0 ? sum : 0.0;
    }
    /// What a softened unit step lacks at x samples from its centre, and the same for a change of slope.
    static double Step(double x) {
        return Polynomial(
            std::array{-1.0, 1.2420912, 0.082739435, -0.7522737, 0.37992996, -0.0577479, -0.00043589083}, x);
    }
    static double Bend(double x) {
        return Polynomial(std::array{0.49667034, -1.0, 0.6210456, 0.02757981, -0.18806842, 0.07598599,
                                     -0.00962465, -6.227012e-05},
                          x);
    }
    static double Wrap(double x) { return x - std::floor(x); }
    /// Of a fall by 2 where p wraps.
    static double AtWrap(double p, double inc) { return Step((1.0 - p) / inc) - Step(p / inc); }
    static double Saw(double p, double inc) { return 2.0 * p - 1.0 + AtWrap(p, inc); }
    static double Square(double p, double inc, double w) {
        return (p < w ? 1.0 : -1.0) - AtWrap(p, inc) + AtWrap(Wrap(p - w), inc);
    }
    /// Of equal slopes, which is the only triangle a voice makes.
    static double Triangle(double p, double inc) {
        const auto corner = [inc](double q) { return Bend(q / inc) + Bend((1.0 - q) / inc); };
        return 1.0 - std::abs(4.0 * p - 2.0) + 4.0 * inc * (corner(p) - corner(Wrap(p - 0.5)));
    }
    /// Each jump within reach, of the reset or of the phase itself, is softened once; a wrap counts only on
    /// its side of a reset. Nothing wraps within reach after the coming reset: a cycle is longer than two
    /// frames.
    double SyncedSaw(const PhaseFrame& at) const {
        const double i = at.increment;
        const double next = at.phase + at.samplesToWrap * i;
        double y = 2.0 * at.phase - 1.0;
        y += Step(at.samplesToWrap) * Wrap(next) - Step(at.samplesSinceWrap) * phaseAtReset;
        y += next < 1.0 ? 0.0 : Step((1.0 - at.phase) / i);
        y -= at.samplesSinceWrap * i - at.phase > 0.5 ? Step(at.phase / i) : 0.0;
        y -= Step(at.samplesSinceWrap + phaseAtReset / i);
        return std::clamp(y, -1.0, 1.0);
    }
    double PostFilter(double x) {
        static constexpr std::array c{0.014249048, -0.05980679, 0.2597721, -0.8253973, 2.2223659};
        std::shift_right(history.begin(), history.end(), 1);
        history[0] = x;
        double y = c[4] * history[4];
        for (std::size_t k = 0; k < 4; ++k) {
            y += c[k] * (history[k] + history[8 - k]);
        }
        return y;
    }
    /// Two integrators by the trapezoidal rule, of Butterworth damping.
    double LowPass(double x) {
        const double band = (s1 + g * (x - s2)) / ((g + 1.4142135) * g + 1.0);
        const double low = s2 + g * band;
        s1 = 2.0 * band - s1;
        s2 = 2.0 * low - s2;
        return low;
    }
    double SineDrive(double x) {
        const double gain = drive.Next();
        const double height = gain >= 1.0 ? 1.0 : std::sin(gain * std::numbers::pi / 2.0);
        return std::sin(gain * x * std::numbers::pi / 2.0) / height;
    }

    double rate;
    OscillatorParameters settings;
    double phase = 0.0;
    double phaseAtReset = 0.0;
    std::array<double, 9> history{};
    double g = 0.0, s1 = 0.0, s2 = 0.0;
    SmootherModel drive;
};

struct VoiceModel {
    explicit VoiceModel(double sampleRate)
        : rate(sampleRate), oscillators{OscillatorModel(sampleRate), OscillatorModel(sampleRate)} {}

    /// One channel of a block; both are equal.
    std::vector<double> Process(const VoiceParameters& p, std::size_t frames) {
        std::array<std::vector<double>, 2> sounds;
        auto& [first, second] = oscillators;
        first.BeginBlock(p.oscillators[0]);
        second.BeginBlock(p.oscillators[1]);
        const double increments[] = {Frequency(p, 0) / rate, Frequency(p, 1) / rate};
        for (std::size_t n = 0; n < frames; ++n) {
            const PhaseFrame master = second.Advance(increments[1], nullptr);
            const double modulator = second.Shape(master, false);
            const double deviation = modulator * p.fmAmount * 20000.0 / rate;
            const PhaseFrame at = first.Advance(increments[0] + deviation, p.sync ? &master : nullptr);
            sounds[0].push_back(first.Shape(at, p.sync) * first.level.Next());
            sounds[1].push_back(modulator * second.level.Next());
        }
        std::vector<double> out(frames, 0.0);
        for (const std::size_t i : {0U, 1U}) {
            // A level that has settled at the bottom of its range is silence for the whole block.
            const SmootherModel& level = oscillators[i].level;
            const bool isSilent =
                level.current == level.target && level.target == OscillatorModel::FromDb(-70.0);
            for (std::size_t n = 0; n < frames && !isSilent; ++n) {
                out[n] += sounds[i][n];
            }
        }
        return out;
    }

private:
    static double Frequency(const VoiceParameters& p, std::size_t index) {
        const auto single = OscillatorModel::AsFloat;
        const double base = single(index == 0 || p.keyTrack ? p.frequency : 261.62558);
        const double semitones = p.oscillators[index].coarse + (index == 0 ? 0.0 : p.fine);
        return single(std::clamp(base * single(std::exp2(semitones * single(1.0 / 12.0))), 20.0, 20000.0));
    }

    double rate;
    std::array<OscillatorModel, 2> oscillators;
};

} // namespace orphia_reference
