// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reference/Sections.h"

#include <array>

/// What exists once for each of the sixteen bands.
namespace orphia_reference {

inline constexpr std::size_t bandCount = 16;
using BandValues = std::array<double, bandCount>;

/// Sixteen independent pairs of biquads, each biquad with a plain gain.
struct FilterBankModel {
    std::array<std::array<Biquad, 2>, bandCount> sections;
    BandValues stageGains{};

    /// A low-pass and fifteen third-octave band-passes, the two stages of which are spread around the centre.
    /// Replaces the coefficients and keeps the state. At 0 and 0 the plan of the analysis side.
    void Design(double shift, double width, double sampleRate) {
        constexpr double thirdOctave = 1.2599211;
        const double lower = shift * 69.0 + 159.0;
        const double spread = std::pow(thirdOctave, 0.4) * (width * 0.07 + 1.0);
        const double centre = 0.5 * twoPi * lower * std::sqrt(thirdOctave) / sampleRate;
        for (Biquad& section : sections[0]) {
            section.Design(Shape::LowPass, centre * 1.0733894, 0.5 / 0.7416);
        }
        stageGains.fill(-1.7857);
        stageGains[0] = 1.0;
        const double damping = 0.5 * (spread - 1.0 / spread) / 1.4;
        for (std::size_t band = 1; band < bandCount; ++band) {
            const double angle = centre * std::pow(thirdOctave, static_cast<double>(band - 1));
            sections[band][0].Design(Shape::BandPass, angle / spread, damping);
            sections[band][1].Design(Shape::BandPass, angle * spread, damping);
        }
    }
    double StepBand(std::size_t band, double x) {
        return sections[band][1].Step(sections[band][0].Step(x, stageGains[band]), stageGains[band]);
    }
};

/// The synthesis bank with its own notion of when shift and width take effect.
struct SynthesizerBankModel {
    FilterBankModel bank;
    SmootherModel smoothShift;
    double rate, lastShift = 0.0, lastWidth = 0.0;

    SynthesizerBankModel(double sampleRate, double maxBlockSize)
        : smoothShift(0.015, sampleRate / maxBlockSize), rate(sampleRate) {}
    /// The shift moves only on blocks that bring a change or a modulation, one step each, so a single change
    /// gets one step of the way and stays there.
    void BeginBlock(double shift, double width, bool modulated) {
        if (smoothShift.isFresh || shift != lastShift || width != lastWidth || modulated) {
            lastShift = shift;
            lastWidth = width;
            smoothShift.Approach(shift);
            bank.Design(smoothShift.Next(), width, rate);
        }
    }
    double Step(const BandValues& bands) {
        double sum = 0.0;
        for (std::size_t band = 0; band < bands.size(); ++band) {
            sum += bank.StepBand(band, bands[band]);
        }
        return sum;
    }
};

/// Band follower: rectifier with unlike halves, filters, scale and clip, attack and release.
struct RectifierFollowerModel {
    struct Output {
        double envelope; ///< after attack and release
        double direct;   ///< before it
    };
    double gainPositive, gainNegative, bias, currentToVoltage;
    OnePole onePole;
    Biquad biquad;
    AttackReleaseModel follower;

    RectifierFollowerModel(bool lowestBand, double rate) {
        gainPositive = lowestBand ? -2.501e-05 : -4.988e-05;
        gainNegative = lowestBand ? 2.481e-05 : 4.994e-05;
        currentToVoltage = lowestBand ? 40200.0 : 20000.0;
        onePole.Design(Shape::LowPass, (lowestBand ? 56.535503 : 249.99998) / rate);
        bias = (onePole.a[1] + 1.0) * (lowestBand ? 0.000999001 : 0.00049875112) * -15.0;
        biquad.Design(Shape::LowPass, (lowestBand ? 48.621662 : 306.4545) / rate / 2.0,
                      lowestBand ? 0.6855655 : 0.6741998);
    }
    Output Step(double x) {
        onePole.Step(x > 0.0 ? x * gainPositive : x * gainNegative, -currentToVoltage);
        onePole.y[0] += bias;
        const double direct = std::max(biquad.Step(onePole.y[0]), 0.0) * 0.0001327;
        return {follower.Step(direct), direct};
    }
};

/// One band's amplifier. The saturation sits on the buses, the controls act after it; neighbouring bands,
/// counted from 0, have opposite polarity.
inline double VcaModel(std::size_t band, double carrier, double noise, double firstControl,
                       double secondControl) {
    const auto saturate = [s = (band % 2 == 0 ? -1.0 : 1.0) * 0.02296043 * 12.5](double bus) {
        const double v = s * bus;
        return std::clamp((v * v + 27.0) * v / (v * v * 9.0 + 27.0), -1.0, 1.0);
    };
    return (saturate(noise) * secondControl + saturate(carrier) * firstControl) * 100000.0;
}

} // namespace orphia_reference
