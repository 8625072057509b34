// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/banks/BandTuning.h"

#include "dsp/math/CornerAngle.h"
#include "vocoder/core/banks/FilterBanks.h"

#include <cmath>

namespace Velmora::Processor {

namespace {

constexpr double twoPi = 6.2831855F;

/// The series of the sine without its factor x, and of the cosine, in z = x * x, for |x| up to a quarter
/// turn. Reciprocals of factorials, alternating in sign.
constexpr double sineSeries[] = {1.0,
                                 -1.0 / 6.0,
                                 1.0 / 120.0,
                                 -1.0 / 5040.0,
                                 1.0 / 362880.0,
                                 -1.0 / 39916800.0,
                                 1.0 / 6227020800.0,
                                 -1.0 / 1307674368000.0,
                                 1.0 / 355687428096000.0,
                                 -1.0 / 121645100408832000.0,
                                 1.0 / 51090942171709440000.0};
constexpr double cosineSeries[] = {1.0,
                                   -1.0 / 2.0,
                                   1.0 / 24.0,
                                   -1.0 / 720.0,
                                   1.0 / 40320.0,
                                   -1.0 / 3628800.0,
                                   1.0 / 479001600.0,
                                   -1.0 / 87178291200.0,
                                   1.0 / 20922789888000.0,
                                   -1.0 / 6402373705728000.0,
                                   1.0 / 2432902008176640000.0,
                                   -1.0 / 1124000727777607680000.0};

template <u32 count>
double Sum(const double (&series)[count], double z) {
    double sum = series[count - 1];
    for (u32 i = count - 1; i > 0; --i) {
        sum = sum * z + series[i - 1];
    }
    return sum;
}

} // namespace

bool BandTuning::Follow(const BandPlan& plan, const float (&lowPassQ)[stageCount], float sampleRate) {
    if (!std::isfinite(plan.lowPassHz) || !(plan.bandPassQ > 0.0F) || !(lowPassQ[0] > 0.0F) ||
        !(lowPassQ[1] > 0.0F)) {
        return false;
    }
    for (u32 stage = 0; stage < stageCount; ++stage) {
        double hz[bandCount];
        double q[bandCount];
        hz[0] = plan.lowPassHz;
        q[0] = lowPassQ[stage];
        for (u32 band = 1; band < bandCount; ++band) {
            hz[band] = stage == 0 ? plan.stage1Hz[band - 1] : plan.stage2Hz[band - 1];
            q[band] = plan.bandPassQ;
        }
        TuneStage(stage, hz, q, sampleRate);
    }
    return true;
}

void BandTuning::TuneStage(u32 stage, const double (&hz)[bandCount], const double (&q)[bandCount],
                           double sampleRate) {
    // Local, so that the compiler sees that nothing overlaps, and takes the bands side by side.
    double bandPass[bandCount];
    double lowPass[bandCount];
    float pulls[bandCount];
    float carries[bandCount];
    for (u32 band = 0; band < bandCount; ++band) {
        const double w = twoPi * dsp::LimitCorner(hz[band], sampleRate) / sampleRate;
        const double half = 0.5 * w;
        const double z = half * half;
        const double sine = half * Sum(sineSeries, z);
        const double oneMinusCosine = 2.0 * sine * sine;
        const double alpha = 2.0 * sine * Sum(cosineSeries, z) * (0.5 / q[band]);
        const double n = 1.0 / (1.0 + alpha);
        bandPass[band] = alpha * n;
        lowPass[band] = oneMinusCosine * n;
        pulls[band] = static_cast<float>(2.0 * oneMinusCosine * n);
        carries[band] = static_cast<float>(2.0 * (1.0 - oneMinusCosine) * n - 1.0);
    }
    for (u32 band = 0; band < bandCount; ++band) {
        b0[stage][band] = bandPass[band];
        b1[stage][band] = 0.0;
        b2[stage][band] = -bandPass[band];
        pull[stage][band] = pulls[band];
        carry[stage][band] = carries[band];
    }
    b0[stage][0] = b2[stage][0] = 0.5 * lowPass[0];
    b1[stage][0] = lowPass[0];
}

} // namespace Velmora::Processor
