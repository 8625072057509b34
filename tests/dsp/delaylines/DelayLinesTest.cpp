// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/delaylines/QuadDelayLine.h"
#include "dsp/delaylines/SplineDelayLine.h"
#include "rigs/StageRig.h"

namespace {

using namespace orphia::test;
using namespace Velmora::dsp;
using Float4 = simd::Float4;
using Velmora::Test::Complex;
using Velmora::Test::pi;

/// The gain of a tap at a steady delay of a tone, of whose own delay nothing is left.
template <class Line>
Complex GainOfTap(double delay, double w, Float4 (Line::*tap)(Float4) const) {
    Line line;
    line.Allocate(100);
    Complex sum;
    for (int n = 0; n < 4000; n += 4) {
        alignas(16) float heard[4];
        alignas(16) float in[4];
        (line.*tap)(Float4(static_cast<float>(delay))).store_aligned(heard);
        for (int k = 0; k < 4; ++k) {
            in[k] = static_cast<float>(std::cos(w * (n + k)));
            sum += (n < 2000 ? 0.0 : 1e-3) * static_cast<double>(heard[k]) *
                   std::polar(1.0, w * (delay - n - k));
        }
        line.Write(Float4::load_aligned(in));
    }
    return sum;
}

} // namespace

TEST(DelayLinesTest, TapsHaveTheResponsesOfTheirInterpolation) {
    for (const double f : {0.01, 0.1, 0.225, 0.35}) {
        const double w = 2.0 * pi * f;
        for (const double delay : {15.0, 27.25, 40.5, 99.7}) {
            // Lagrange's weights of the four points about the tap.
            const double t = delay - std::floor(delay);
            Complex cubic;
            for (int i = -1; i <= 2; ++i) {
                double weight = 1.0;
                for (int j = -1; j <= 2; ++j) {
                    weight *= j == i ? 1.0 : (t - j) / (i - j);
                }
                cubic += weight * std::polar(1.0, w * (t - i));
            }
            const Complex quad = GainOfTap(delay, w, &QuadDelayLine::ReadBetween);
            EXPECT_LT(std::abs(quad - cubic), 1e-4) << f << ", " << delay;
            // The B-spline's own samples undo what it smooths.
            const double b[] = {(1 - t) * (1 - t) * (1 - t) / 6, 2.0 / 3 - t * t * (2 - t) / 2,
                                2.0 / 3 - (1 - t) * (1 - t) * (1 + t) / 2, t * t * t / 6};
            Complex spline;
            for (int i = 0; i < 4; ++i) {
                spline += b[i] * std::polar(3.0 / (2.0 + std::cos(w)), w * (t - i + 1));
            }
            const Complex got = GainOfTap(delay, w, &SplineDelayLine::ReadTap);
            EXPECT_LT(std::abs(got - spline), 4e-3) << f << ", " << delay;
        }
    }
}
