// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/FuzzTargets.h"
#include "rigs/VoicePerformance.h"

namespace {

template <class Kind>
void Perform(orphia::fuzz::ByteDice& dice) {
    Kind performance([&dice](Velmora::u32 limit) { return dice.Below(limit + 1); });
    while (!dice.IsEmpty()) {
        performance.Advance();
        orphia::fuzz::Require(!testing::Test::HasFailure(), "the voices are not the player's");
    }
    performance.End();
    orphia::fuzz::Require(!testing::Test::HasFailure(), "something sounds without a key");
}

} // namespace

void orphia::fuzz::VoiceManager(Input input) {
    ByteDice dice(input);
    if (dice.Below(2) == 0) {
        Perform<Velmora::Test::Performance>(dice);
    } else {
        Perform<Velmora::Test::WildPerformance>(dice);
    }
}
