// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/FuzzTargets.h"
#include "rigs/VoiceGame.h"

void orphia::fuzz::VoiceManager(Input input) {
    ByteDice dice(input);
    Velmora::Test::VoiceGame game([&dice](Velmora::u32 limit) { return dice.Below(limit + 1); });
    while (!dice.IsEmpty()) {
        game.Advance();
        Require(!testing::Test::HasFailure(), "the orders are not those of the policy");
    }
    game.End();
    Require(!testing::Test::HasFailure(), "something sounds without a key");
}
