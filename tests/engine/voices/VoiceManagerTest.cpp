// SPDX-License-Identifier: GPL-3.0-or-later
#include "rigs/AllocationCounter.h"
#include "rigs/VoiceGame.h"

namespace orphia::test {
namespace {

TEST(VoiceManager, NoKeyLosesItsNoteAndNoNoteItsEndInAnyStorm) {
    for (u32 seed = 0; seed < 1000 && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        VoiceGame game(
            [random = std::mt19937(seed)](u32 limit) mutable { return static_cast<u32>(random() % limit); });
        for (u32 block = 0; block < 120 && !testing::Test::HasFailure(); ++block) {
            game.Advance();
        }
        game.End();
    }
}

TEST(VoiceManager, GivesTheOrdersOfItsPolicy) {
    struct {
        const char* played;
        const char* orders;
    } const cases[] = {
        // a key and its end, another on the next slot, and the first note back on its old slot
        {"+60 +64 -60 . +60", "S0:60 S1:64 R0 F0 S0:60"},
        // struck again: its own slot, after a fade or at once; never two
        {"+60 +60 , .", "S0:60 K0 F0 S0:60"},
        {"s1 +60 -60 +60", "S0:60 R0 T0:60"},
        {"a0 +60 +60", "S0:60 S1:60"},
        // let go in the fade, it never starts; tapped under the pedal, it does
        {"+60 +60 -60 .", "S0:60 K0 F0"},
        {"p +60 -60 +60 -60 . P", "S0:60 K0 F0 S0:60 R0"},
        // the oldest released voice is stolen, or else the oldest; then what fades for nobody
        {"m2 +60 , +62 , +64 , -62 +66 .", "S0:60 S1:62 S2:64 R1 K1 F1 S1:66"},
        {"m2 s1 +60 , +62 , +64 , +66", "S0:60 S1:62 S2:64 T0:66"},
        {"m2 +60 +62 +64 +65 +66 +67 +68 .", "S0:60 S1:62 S2:64 K0 K1 K2 K0 F0 S0:68 F1 S1:66 F2 S2:67"},
        {"m2 +60 +62 +64 +65 +66 +67 -66 +68 .", "S0:60 S1:62 S2:64 K0 K1 K2 K1 F0 S0:65 F1 S1:68 F2 S2:67"},
        {"a2 +60 +62 -60 -62 +64 +65 +66 .", "S0:60 S1:62 R0 R1 K1 K0 S2:66 F0 S0:65 F1 S1:64"},
        {"l1 a0 +60 +60 . +60", "S0:60 K0 F0 S0:60 K0"},
        {"l2 a0 +60 , +60 , +60", "S0:60 S1:60 K0"},
        // fewer voices
        {"+60 +62 +64 +65 m2 . +66", "S0:60 S1:62 S2:64 S3:65 K3 F3 K0"},
        // groups; slots 30 and 31 are none of three
        {"u3 +60 +64 -60", "S0:60 S1:60 S2:60 S3:64 S4:64 S5:64 R0 R1 R2"},
        // a slot of a group that has ended has nothing to go on with
        {"u2 s1 +60 -60 e1 +60", "S0:60 S1:60 R0 R1 F1 T0:60 S1:60"},
        // mono: fades to the new note, goes back to the key below
        {"m0 +60 +64 . -64 . -60 .", "S0:60 K0 F0 S0:64 K0 F0 S0:60< R0 F0"},
        {"m1 +60 +64 -64 -60", "S0:60 T0:64 T0:60< R0"},
        {"m1 n0 +60 +64 +55 -55", "S0:60 T0:55 T0:64<"},
        {"m1 n1 +60 +55 +64 -64", "S0:60 T0:64 T0:55<"},
        {"m0 p +60 +64 -64 . P .", "S0:60 K0 F0 S0:64 K0 F0 S0:60<"},
        {"m0 +60 -60 +62 . m3 .", "S0:60 R0 K0 F0 S0:62"},
        // channels apart: two keys, two voices; ignored, one
        {"c0 +60/2 +60/3 -60/4 -60/2 -60/3", "S0:60 S1:60 R0 R1"},
        {"c0 p +60/2 +60/3 -60/2 P -60/3", "S0:60 S1:60 R0 R1"},
        {"+60/2 +60/3 -60/4", "S0:60 K0"},
        {"c0 +60/2 c1 +60/3 p c0 x P", "S0:60 K0"},
        // all keys off leaves to the pedal what it holds
        {"+60 +60 +64 x .", "S0:60 K0 S1:64 R1 F0 F1"},
        {"p +60 +60 -60 x P", "S0:60 K0"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(FakeVoices().Play(row.played), row.orders) << row.played;
    }
}

TEST(VoiceManager, ThePedalLetsMoreKeysGoThanItCanHoldWithoutAllocation) {
    FakeVoices voices;
    voices.Play("c0 p");
    voices.orders.reserve(1U << 20U);
    const orphia_reference::AllocationCounter counter;
    for (const u32 status : {0x90U, 0x80U}) {
        for (u32 key = 0; key < 140; ++key) {
            voices.Send(status + key / 70, key % 70, 100);
        }
    }
    EXPECT_EQ(voices.HeldNoteCount(), 128U);
    voices.SetSustain(false);
    EXPECT_EQ(voices.NewestHeldVoice(), -1);
    voices.SetIgnoreChannel(true);
    for (u32 i = 0; i < 258; ++i) { // the counter of presses does not run over
        voices.Send(0x90, 99, 1);
    }
    voices.Send(0x90, 128, 100); // no note
    voices.Block(true);
    EXPECT_EQ(voices.FindVoice(99, 0), static_cast<i32>(voices.ActiveVoices()[0]));
    EXPECT_EQ(counter.Count(), 0U);
    voices.ResetAll();
    EXPECT_EQ(voices.ActiveVoices().size() + voices.HeldNoteCount() + voices.PressTable()[99], 0U);
}

} // namespace
} // namespace orphia::test
