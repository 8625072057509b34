// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/pitch/RealFft.h"

#include "support/CException.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <vector>

using namespace Velmora;
using dsp::RealFft;

namespace {

/// By its definition.
std::complex<double> BinOf(const std::vector<float>& signal, u32 bin) {
    std::complex<double> sum = 0.0;
    for (std::size_t n = 0; n < signal.size(); ++n) {
        const double turn = static_cast<double>(bin * n % signal.size()) / static_cast<double>(signal.size());
        sum += static_cast<double>(signal[n]) * std::polar(1.0, -2.0 * std::numbers::pi * turn);
    }
    return sum;
}

} // namespace

TEST(RealFftTest, IsTheTransformOfItsDefinitionAndItsInverseUndoesIt) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> uniform(-1.0F, 1.0F);
    for (const u32 size : {2U, 4U, 6U, 10U, 14U, 16U, 60U, 512U, 1000U, 2048U}) {
        std::vector<float> signal(size);
        std::generate(signal.begin(), signal.end(), [&] { return uniform(random); });
        RealFft fft(size);
        dsp::AlignedBuffer data(RealFft::BufferSize(size));
        std::copy(signal.begin(), signal.end(), data.data());
        const double allowed = 2e-6 * std::sqrt(size);
        fft.Forward(data.data());
        for (u32 bin = 0; bin <= size / 2; ++bin) {
            const std::complex<double> found(data[2 * bin], data[2 * bin + 1]);
            ASSERT_LT(std::abs(found - BinOf(signal, bin)), allowed) << "bin " << bin << " of " << size;
        }
        fft.Inverse(data.data());
        for (u32 n = 0; n < size; ++n) {
            ASSERT_NEAR(data[n], signal[n], 2e-6) << "sample " << n << " of " << size;
        }
    }
}

TEST(RealFftTest, NoSamplesAreRefused) { EXPECT_THROW(RealFft(0), CException); }
