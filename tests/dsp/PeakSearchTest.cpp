// SPDX-License-Identifier: GPL-3.0-or-later
#include "dsp/PeakSearch.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

using namespace Velmora;

TEST(PeakSearchTest, TheWeightedFunctionChoosesTheLobeAndTheOtherItsPeak) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    struct Case {
        const char* what;
        std::vector<float> weighted;
        /// Empty: the same.
        std::vector<float> normalised;
        u32 expected;
    };
    for (const Case& c :
         {Case{"never leaves lag 0", {9, 5, 2, 1}, {}, 0},
          {"never comes back", {9, 0, -1, 0}, {}, 0},
          {"silence", {nan, nan, nan, nan}, {}, 0},
          {"the peak moves within its lobe", {9, -1, 3, 5, 4, 0, 2}, {9, -1, 3, 5, 6, 0, 8}, 4},
          {"and to its left", {9, -1, 3, 4, 5, 0}, {9, -1, 7, 4, 5, 0}, 2},
          {"the first of equal lobes", {9, -1, 4, -1, 4, -1}, {9, -1, 4, -1, 5, -1}, 2},
          {"the first of equal lags", {9, -1, 4, 4, 4, -1}, {9, -1, 6, 7, 7, -1}, 3},
          {"the last lag", {9, -1, 3, 4}, {}, 3},
          {"what is no number never wins", {9, -1, nan, 3, nan, -1}, {}, 3}}) {
        const std::vector<float>& normalised = c.normalised.empty() ? c.weighted : c.normalised;
        EXPECT_EQ(
            dsp::FindPeriodPeak(c.weighted.data(), normalised.data(), static_cast<u32>(c.weighted.size())),
            c.expected)
            << c.what;
    }
}
