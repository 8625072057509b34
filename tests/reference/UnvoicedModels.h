// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/Sections.h"

#include <cstdint>

/// The decision, the noise, the gates and the path of the high frequencies.
namespace orphia_reference {

/// The voiced/unvoiced comparator: energy above against energy below about 1.85 kHz.
struct DiscriminatorModel {
    struct Envelope {
        Biquad crossover;
        double gain;
        OnePole onePole;
        Biquad biquad;

        double Step(double x) {
            const double band = crossover.Step(x) * gain;
            const double u = band > 0.0 ? band * -4.988e-05 : band * 4.994e-05;
            return biquad.Step(onePole.Step(u, -20000.0));
        }
    };
    Envelope high, low;
    double trim = 0.0;

    explicit DiscriminatorModel(double rate)
        : high{Biquad::OfQ(Shape::HighPass, 1860.4652, 0.72008, rate),
               2.0,
               {Shape::LowPass, 249.99998 / rate},
               {Shape::LowPass, 636.4909 / rate / 2.0, 0.7141428}},
          low(high) {
        low.crossover = Biquad::OfQ(Shape::LowPass, 1833.142, 0.73082, rate);
        low.gain = 1.5909;
    }
    void BeginBlock(double v) { trim = (0.070484 - v * 0.140968) / (v * 0.047232 * (v - 1.0) - 1.0); }
    /// The hiss control: +15 voiced, -15 unvoiced. The buzz control is its negation.
    double Step(double x) {
        const double difference = low.Step(x) + trim - high.Step(x);
        return difference <= -0.0001 ? -15.0 : 15.0;
    }
};

/// Mixes the gated carrier and the gated noise onto the two buses.
struct BalanceModel {
    struct Buses {
        double carrier;
        double noise;
    };
    OnePole carrierHighPass, noiseHighPass;
    SmootherModel glide;
    bool mixed = false;

    explicit BalanceModel(double rate)
        : carrierHighPass(Shape::HighPass, 49.998447 / rate), noiseHighPass(carrierHighPass),
          glide(0.1, rate) {}
    Buses Step(double carrier, double noise) {
        const double b = glide.Next();
        const double y = carrierHighPass.Step(std::clamp(2.0 * b, 0.0, 1.0) * carrier);
        const double z = noiseHighPass.Step(std::clamp(2.0 * (1.0 - b), 0.0, 1.0) * noise);
        return mixed ? Buses{y + z, 0.0} : Buses{y, z};
    }
};

/// The slow gate: a current set by the control, two one-pole filters that act as one state with two time
/// constants, and a soft limiter on the signal.
struct GateModel {
    double inputGain, outputGain, rate;
    OnePole attack, release;
    double gate = 0.0; ///< current through the gate after the last sample

    GateModel(double pot, double preGain, double postGain, double sampleRate)
        : inputGain(-470.0 / (pot * 100000.0 + 30470.0) * preGain), outputGain(postGain), rate(sampleRate) {}
    static GateModel ForBus(double sampleRate) { return {0.05178, 12.019231, 20000.0, sampleRate}; }
    static GateModel ForHfChannel(double sampleRate) { return {0.087402, 10.438414, 39000.0, sampleRate}; }

    void SetCorners(double attackHz, double releaseHz) {
        attack.Design(Shape::LowPass, 0.5 * twoPi * attackHz / rate);
        release.Design(Shape::LowPass, 0.5 * twoPi * releaseHz / rate);
    }
    double Step(double signal, double control) {
        if (control > 0.0) {
            gate = release.b[1] * release.x[0] - release.a[1] * release.y[0];
            release.x[0] = 0.0;
            // As if the attack filter had rested at this value.
            attack.x[0] = (attack.a[1] * gate + gate) / attack.b[1];
        } else {
            const double i = Current(control);
            gate = attack.b[1] * attack.x[0] + attack.b[0] * i - attack.a[1] * attack.y[0];
            attack.x[0] = i;
            // As if the release filter had arrived at the same value by itself.
            release.x[0] = (gate - release.b[0] * i + release.a[1] * gate) / release.b[1];
        }
        attack.y[0] = release.y[0] = gate;
        return Limiter(inputGain * signal) * gate * outputGain;
    }
    static double Current(double c) {
        if (c < -1.7626) {
            return -2.22997e-05 - c * 2.28312e-05;
        }
        return c < -0.679963 ? ((c * 8.80099e-06 + 4.27897e-05) * c + 4.59834e-05) * c + 1.42501e-05 : 0.0;
    }
    static double Limiter(double v) {
        const double m = std::abs(v);
        double y = (m - 1.5091578) / (m - 1.4908422);
        if (m <= 1.0) {
            y = m - (m * 0.10321397 + 0.13519187) * m * m;
        } else if (m <= 2.0) {
            y = ((m * 0.08575832 - 0.5605742) * m + 1.2838478) * m - 0.04743774;
        }
        return std::copysign(y, v);
    }
};

/// The path of the highest frequencies: two high-passes, a gate, a third high-pass, a low-pass.
struct HfChannelModel {
    GateModel gate;
    Biquad highPass1, highPass2, highPass3, lowPass;
    SmootherModel level;
    double highPassGain = 0.0;
    bool isOpen = false; ///< not gated by the discriminator

    explicit HfChannelModel(double rate)
        : gate(GateModel::ForHfChannel(rate)),
          highPass1(Biquad::OfQ(Shape::HighPass, 5028.5923, 0.7102, rate)), highPass2(highPass1),
          highPass3(highPass1), lowPass(Biquad::OfQ(Shape::LowPass, 15005.0, 0.70711, rate)),
          level(0.1, rate) {}
    double Step(double program, double hissControl) {
        const double highPassed = highPass2.Step(highPass1.Step(program, level.Next())) * 0.8912;
        const double gated = gate.Step(highPassed, isOpen ? -15.0 : hissControl);
        return lowPass.Step(highPass3.Step(gated, highPassGain));
    }
};

/// White noise from a 32-bit xorshift, bit for bit.
struct WhiteNoiseModel {
    std::uint32_t state = 1;

    double Next() {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        const float sample = 2.0F * (static_cast<float>(state) * 2.3283064e-10F) - 1.0F;
        return static_cast<double>(std::clamp(sample, -1.0F, 1.0F));
    }
};

/// The fifth-order circuit that shapes the noise, without prewarping, and a high-pass at 2300 Hz.
struct NoiseShapingModel {
    Section<5> circuit;
    Biquad highPass;

    explicit NoiseShapingModel(double rate) : highPass(Shape::HighPass, 14451.326 / rate / 2.0, 0.70710355) {
        circuit.Map(
            {-0.006567142, 0.00012259114, -1.7005057e-06, 1.2277966e-13, 5.9999225e-19, -3.4062336e-25},
            {1.0, 0.0027577083, 1.7417563e-06, 5.2809288e-11, 4.2178053e-16, 1.7793773e-22}, 2.0 * rate);
    }
    double Step(double x) { return highPass.Step(circuit.Step(x, 11.092)); }
};

} // namespace orphia_reference
