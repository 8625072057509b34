// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/FuzzTargets.h"
#include "rigs/VoiceGame.h"

void orphia::fuzz::VoiceManager(Input input) {
    ByteDice dice(input);
    orphia::test::VoiceGame game([&dice](Velmora::u32 limit) { return dice.Below(limit); });
    while (!dice.IsEmpty()) {
        game.Advance();
        Require(!testing::Test::HasFailure(), "a key has lost its note");
    }
    game.End();
    Require(!testing::Test::HasFailure(), "something sounds without a key");
}
