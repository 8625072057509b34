// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/core/banks/BandPlan.h"

#include <cmath>

namespace Velmora::Processor {

namespace {

// A third of an octave, 2^(1/3).
constexpr double thirdOctave = 1.2599211;
constexpr double lowPassStretch = 1.0733894;
constexpr double widthRange = 0.07;

} // namespace

BandPlan::BandPlan(float lowerEdge, float width) {
    static const double neutralSpread = std::pow(thirdOctave, 0.4);
    const double spread = neutralSpread * (static_cast<double>(width) * widthRange + 1.0);
    bandPassQ = static_cast<float>(1.4 / (spread - 1.0 / spread));

    double low = lowerEdge;
    lowPassHz = static_cast<float>(std::sqrt(low * thirdOctave * low) * lowPassStretch);
    for (u32 i = 0; i < bandCount - 1; ++i) {
        const double high = low * thirdOctave;
        const double centre = std::sqrt(high * low);
        stage1Hz[i] = static_cast<float>(centre / spread);
        stage2Hz[i] = static_cast<float>(centre * spread);
        low = high;
    }
}

} // namespace Velmora::Processor
