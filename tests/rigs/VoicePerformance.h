// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "rigs/FakeVoices.h"

#include <bitset>
#include <utility>

namespace Velmora::Test {

using Notes = std::bitset<128>;

/// Draws a number from 0 to a limit.
using Dice = std::function<u32(u32 limit)>;

/// What a player may expect of the notes: which keys are down, which notes the pedal holds, and for the mono
/// mode which of them sounds. It knows nothing of slots.
struct Player {
    std::array<u32, 128> presses{};
    std::vector<u8> held;
    bool pedal = false;
    i32 priority = 2;
    i32 mono = -1;

    bool Holds(u8 note) const { return std::find(held.begin(), held.end(), note) != held.end(); }
    void On(u8 note) {
        ++presses[note];
        if (!Holds(note)) {
            held.push_back(note);
        }
        const bool loses = mono >= 0 && ((priority == 0 && note > mono) || (priority == 1 && note < mono));
        mono = loses ? mono : note;
    }
    void Off(u8 note) {
        // Without the pedal a key is up when it is lifted, however often it was pressed.
        presses[note] = pedal && presses[note] > 0 ? presses[note] - 1 : 0;
        if (!pedal || !Holds(note)) {
            std::erase(held, note);
            LeaveMono(note);
        }
    }
    Notes Pedal(bool down) {
        Notes released;
        if (pedal && !down) {
            const std::vector<u8> before = held;
            std::erase_if(held, [this](u8 note) { return presses[note] == 0; });
            for (const u8 note : before) {
                if (presses[note] == 0) {
                    released.set(note);
                    LeaveMono(note);
                }
            }
        }
        pedal = down;
        return released;
    }
    void LeaveMono(u8 note) {
        if (mono == note) {
            const bool pressed = std::any_of(presses.begin(), presses.end(), [](u32 n) { return n > 0; });
            mono = pressed && !held.empty() ? held.back() : -1;
        }
    }
};

/// One random performance. After each event the voices must agree with the player's expectation.
class Performance {
public:
    explicit Performance(Dice drawn) : dice(std::move(drawn)) {
        unison = Upto(3) == 0 ? 2 + Upto(2) : 1;
        voices.SetUnison(unison);
        voices.draw = [this](u32 limit) { return Upto(limit); };
        voices.releaseBlocks = Upto(8);
        voices.fadeBlocks = Upto(4);
        lowest = Upto(127);
        range = Upto(1) == 0 ? 4 : 40;
        ragged = Upto(7) == 0;
        for (u32 i = 2; i < table.size(); ++i) {
            const u32 count = i < 5 ? i : 1 + Upto(31);
            table[i] = ragged ? count : std::min(count * unison, 32 / unison * unison);
        }
        voices.SetPolyphonyMode(static_cast<i32>(2 + Upto(5)), table);
    }

    void Advance() {
        Step();
        CheckRecords();
        CheckOwners();
    }
    /// All keys and the pedal come up; nothing may sound then.
    void End() {
        Pedal(false);
        for (u8 note = 0; note < 128; ++note) {
            while (player.presses[note] > 0) {
                Off(note);
            }
        }
        voices.RunBlocks(30);
        CheckRecords();
        EXPECT_TRUE(voices.ActiveVoices().empty()) << "with all keys up";
        EXPECT_EQ(voices.PendingCount() + voices.HeldNoteCount(), 0U);
    }

private:
    u32 Upto(u32 limit) { return dice(limit); }
    static u8 Byte(u32 value) { return static_cast<u8>(value); }
    u8 AnyNote() { return Byte((lowest + Upto(range)) & 127U); }

    Notes Owned(u32 last = 32) const {
        Notes notes;
        for (u32 v = 0; v < last; ++v) {
            if (voices.Owner(v) >= 0) {
                notes.set(static_cast<std::size_t>(voices.Owner(v)));
            }
        }
        return notes;
    }

    void Step() {
        const u32 kind = Upto(99);
        if (kind < 40) {
            On(AnyNote());
        } else if (kind < 65) {
            Off(player.held.empty() || Upto(4) == 0
                    ? AnyNote()
                    : player.held[Upto(static_cast<u32>(player.held.size()) - 1)]);
        } else if (kind < 88) {
            Block();
        } else if (kind < 92) {
            Pedal(Upto(1) == 0);
        } else if (kind < 96) {
            SetPolyphonyMode(static_cast<i32>(Upto(8)) - 1);
        } else {
            ChangeSettings();
        }
    }

    void On(u8 note) {
        const Notes before = Owned();
        const bool mustKeepAll = HasRoom();
        voices.Send(Byte(0x90 + Upto(15)), note, Byte(1 + Upto(126) + Upto(1) * 128));
        player.On(note);
        if (voices.IsMono()) {
            return;
        }
        const Notes lost = before & ~Owned();
        EXPECT_TRUE(Owned()[note]) << "note " << u32{note} << " is lost";
        EXPECT_LE(lost.count(), mustKeepAll ? 0U : 1U);
    }

    void Off(u8 note) {
        const Notes before = Owned();
        const bool heldByPedal = player.pedal && player.Holds(note);
        if (Upto(1) == 0) {
            voices.Send(Byte(0x90 + Upto(15)), note, 0);
        } else {
            voices.Send(Byte(0x80 + Upto(15)), note, Byte(Upto(255)));
        }
        player.Off(note);
        if (voices.IsMono()) {
            return;
        }
        Notes expected = before;
        if (!heldByPedal && !(player.presses[note] > 0 && Owned()[note])) {
            expected.reset(note);
        }
        EXPECT_EQ(Owned(), expected) << "note-off " << u32{note};
    }

    void Pedal(bool down) {
        const Notes before = Owned();
        voices.SetSustain(down);
        const Notes released = player.Pedal(down);
        if (!voices.IsMono()) {
            EXPECT_EQ(Owned(), before & ~released) << "pedal";
        }
    }

    void Block() {
        const Notes before = Owned();
        Notes droppable;
        for (u32 v = 0; v < 32; ++v) {
            if (voices.IsPending(v) && player.presses[voices.PendingNote(v).note] == 0) {
                droppable.set(voices.PendingNote(v).note);
            }
        }
        voices.RunBlocks(1);
        dropped |= droppable;
        dropped &= Owned();
        EXPECT_EQ(before & ~Owned() & ~droppable, Notes{}) << "lost at the end of a fade";
        EXPECT_EQ(Owned() & ~before, Notes{});
        if (voices.IsMono() && player.mono >= 0 && droppable[static_cast<u32>(player.mono)] &&
            !voices.Voice(0).active) {
            player.mono = -1;
        }
    }

    void SetPolyphonyMode(i32 mode) {
        const bool wasMono = voices.IsMono();
        const u32 polyphonyBefore = voices.Polyphony();
        Notes expected = Owned();
        voices.SetPolyphonyMode(mode, table);
        if (mode < 0 || mode >= static_cast<i32>(table.size())) {
            EXPECT_EQ(voices.Polyphony(), polyphonyBefore);
        } else if (mode < 2) {
            expected = wasMono ? expected : Notes{};
            player.mono = wasMono ? player.mono : -1;
        } else {
            expected = wasMono && unison > 1 ? Notes{} : expected;
            expected &= Owned(voices.Polyphony() < polyphonyBefore ? voices.Polyphony() : 32);
        }
        EXPECT_EQ(Owned(), expected) << "polyphony mode " << mode;
    }

    void ChangeSettings() {
        const u32 value = Upto(2);
        const i32 choice = static_cast<i32>(value);
        switch (Upto(4)) {
        case 0:
            return voices.SetStealMode(choice & 1);
        case 1:
            return voices.SetAllocation(choice);
        case 2:
            return voices.SetSameNoteLimit(choice > 0, value);
        case 3:
            return voices.SetLegato(choice & 1);
        default:
            player.priority = choice;
            voices.SetNotePriority(choice);
        }
    }

    /// Whether a note can start without the loss of another one.
    bool HasRoom() const {
        for (u32 v = 0; v < voices.Polyphony() && v + unison <= 32; v += unison) {
            bool isFree = true;
            for (u32 u = v; u < v + unison; ++u) {
                const auto& voice = voices.Voice(u);
                isFree = isFree && !voice.active;
                if (u < voices.Polyphony() && voice.active && voice.released && !voice.killed) {
                    return true;
                }
            }
            if (isFree) {
                return true;
            }
        }
        return false;
    }

    void CheckRecords() const {
        const auto active = voices.ActiveVoices();
        EXPECT_EQ(std::adjacent_find(active.begin(), active.end(), std::greater_equal<>()), active.end());
        u32 count = 0;
        for (u32 v = 0; v < 32; ++v) {
            const auto& voice = voices.Voice(v);
            const auto& fake = voices.fakes[v];
            count += voice.active ? 1 : 0;
            EXPECT_TRUE(!voice.active || std::binary_search(active.begin(), active.end(), v)) << v;
            EXPECT_TRUE(voice.active || fake.IsSilent()) << "slot " << v << " sounds for nobody";
            EXPECT_EQ(voice.killed, fake.fading) << v;
            EXPECT_TRUE(voice.killed || !voices.IsPending(v)) << "slot " << v << " waits for no fade";
            EXPECT_TRUE(voice.killed || voice.note.note == fake.note.note || !voice.active) << v;
        }
        EXPECT_EQ(count, active.size());
        EXPECT_EQ(voices.HeldNoteCount(), player.held.size());
    }

    void CheckOwners() const {
        for (u32 v = 0; v < 32; ++v) {
            const i32 owner = voices.Owner(v);
            if (owner < 0) {
                continue;
            }
            const u8 note = static_cast<u8>(owner);
            EXPECT_TRUE(player.presses[note] > 0 || player.Holds(note)) << owner << " is stuck on slot " << v;
            for (u32 u = v / unison * unison; u < v / unison * unison + unison && u < 32 && !ragged; ++u) {
                // A group differs only if its key was lifted while some of its slots waited.
                EXPECT_TRUE(voices.Owner(u) == owner || (voices.Owner(u) < 0 && dropped[note]))
                    << "slots " << v << " and " << u;
            }
            EXPECT_TRUE(!voices.IsMono() || v < unison) << v;
        }
        if (voices.IsMono()) {
            EXPECT_EQ(voices.Owner(0), player.mono);
        }
    }

    Dice dice;
    FakeVoices voices;
    Player player;
    /// Waited for a slot, under the pedal, with its key up.
    Notes dropped;
    std::array<u32, 8> table = {1, 1};
    u32 unison = 1;
    u32 lowest = 0;
    u32 range = 0;
    bool ragged = false;
};

/// Notes of four channels that are told apart, with settings of any value. Whatever has happened, nothing
/// sounds once all keys are up.
class WildPerformance {
public:
    explicit WildPerformance(Dice drawn) : dice(std::move(drawn)) { voices.SetIgnoreChannel(false); }

    void Advance() {
        const u8 note = static_cast<u8>(dice(2) * 60);
        const u8 channel = static_cast<u8>(dice(3));
        u32& pressed = presses[channel * 128U + note];
        const u32 action = dice(16);
        const i32 setting = static_cast<i32>(dice(7)) - 1;
        if (action < 6) {
            Change(action, setting);
        } else if (action < 9) {
            voices.RunBlocks(1);
        } else if (action < 14) {
            voices.On(note, channel);
            ++pressed;
        } else if (pressed > 0) {
            voices.Off(note, channel);
            --pressed;
        }
    }
    void End() {
        voices.SetSustain(false);
        for (u32 place = 0; place < presses.size(); ++place) {
            for (; presses[place] > 0; --presses[place]) {
                voices.Off(static_cast<u8>(place & 127U), static_cast<u8>(place >> 7U));
            }
        }
        voices.RunBlocks(20);
        EXPECT_TRUE(voices.ActiveVoices().empty());
        EXPECT_EQ(voices.PendingCount() + voices.HeldNoteCount(), 0U);
    }

private:
    void Change(u32 kind, i32 setting) {
        constexpr std::array<u32, 6> table = {1, 1, 0, 3, 99, ~0U};
        switch (kind) {
        case 0:
            return voices.SetSustain(setting > 2);
        case 1:
            return voices.SetPolyphonyMode(setting, table);
        case 2:
            return voices.SetAllocation(setting);
        case 3:
            return voices.SetStealMode(setting & 1);
        case 4:
            return voices.SetUnison(static_cast<u8>(setting));
        default:
            return voices.KillOldest(1);
        }
    }

    Dice dice;
    FakeVoices voices;
    std::array<u32, 2048> presses{};
};

} // namespace Velmora::Test
