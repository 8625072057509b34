// SPDX-License-Identifier: GPL-3.0-or-later
#include "rigs/VoicePerformance.h"

#include <random>

using namespace Velmora;
using namespace Velmora::Test;

namespace {

template <class Kind>
void Perform(u32 performances, u32 steps) {
    for (u32 seed = 0; seed < performances && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        Kind performance([random = std::mt19937(seed)](u32 limit) mutable {
            return static_cast<u32>(random() % (limit + u64{1}));
        });
        for (u32 i = 0; i < steps && !testing::Test::HasFailure(); ++i) {
            performance.Advance();
        }
        performance.End();
    }
}

TEST(VoiceManagerRandomTest, EveryPerformanceKeepsThePlayersNotes) { Perform<Performance>(3000, 120); }

TEST(VoiceManagerRandomTest, WithChannelsApartAndWildSettingsNothingSticks) {
    Perform<WildPerformance>(1000, 150);
}

} // namespace
