// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/RealFft.h"

#include "support/CException.h"
#include "vocoder/StageRig.h"

using namespace Velmora;
using namespace Velmora::Test;
using dsp::RealFft;

TEST(RealFftTest, AgreesWithTheDefinitionAndTheInverseUndoesIt) {
    for (const u32 size : {2U, 4U, 12U, 64U, 1024U}) {
        const Signal noise = Noise(size, 1.0F, size);
        dsp::AlignedBuffer data(noise.begin(), noise.end());
        data.resize(RealFft::BufferSize(size));
        RealFft fft(size);
        fft.Forward(data.data());
        for (u32 bin = 0; bin <= size / 2; ++bin) {
            const Complex expected = orphia::test::Transform(noise, bin, size);
            ASSERT_NEAR(data[2 * bin], expected.real(), 1e-6 * size) << "bin " << bin << " of " << size;
            ASSERT_NEAR(data[2 * bin + 1], expected.imag(), 1e-6 * size) << "bin " << bin << " of " << size;
        }
        fft.Inverse(data.data());
        for (u32 n = 0; n < size; ++n) {
            ASSERT_NEAR(data[n], noise[n], 2e-6) << "sample " << n << " of " << size;
        }
    }
    EXPECT_THROW(RealFft{0}, CException);
}
