// SPDX-License-Identifier: GPL-3.0-or-later
// A random player, and the policy of the voices told a second time, for notes of one slot each.
#pragma once

#include "engine/voices/VoiceManager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <utility>
#include <vector>

namespace Velmora::Test {

using engine::NoteInfo;

constexpr u32 slotCount = engine::voiceCount;
constexpr u8 VelocityOf(u8 note) { return static_cast<u8>(1 + note * 5 % 127); }
constexpr u8 ChannelOf(u8 note) { return note % 3; }

/// What a slot is told: it Starts a note afresh, is Taken over by one, Released, faded (Killed), or Freed.
struct Order {
    char kind;
    u32 slot;
    i32 note = -1;
    bool operator==(const Order&) const = default;
};
inline void PrintTo(const Order& order, std::ostream* out) {
    *out << order.kind << order.slot << ':' << order.note;
}
using Orders = std::vector<Order>;

/// Voices without sound that write down their orders. A released or faded one ends when told to.
class FakeVoices : public engine::VoiceManager {
public:
    Orders orders;
    std::array<bool, slotCount> mayEnd{};

    void Send(u32 status, u32 data1, u32 data2) {
        dsp::Event event;
        event.type = dsp::Event::midiType;
        event.midi[0] = static_cast<u8>(status);
        event.midi[1] = static_cast<u8>(data1);
        event.midi[2] = static_cast<u8>(data2);
        HandleEvent(event);
    }

protected:
    void StartVoice(u32 v, const NoteInfo& note, bool stealing) override {
        orders.push_back({stealing ? 'T' : 'S', v, note.note});
    }
    bool CanKill(u32 v) override { return mayEnd[v]; }
    void ReleaseVoiceHook(u32 v) override { orders.push_back({'R', v}); }
    void OnVoiceKilled(u32 v) override { orders.push_back({'K', v}); }
    void OnVoiceFinished(u32 v) override { orders.push_back({'F', v}); }
};

struct PolicyModel {
    struct Slot {
        bool on = false, released = false, fading = false, waits = false;
        i32 note = -1, next = -1, home = -1;
        u64 age = 0, serial = 0;
        bool IsHeld() const { return on && !released && !fading; }
    };
    std::array<Slot, slotCount> slots{};
    std::array<u32, 128> presses{};
    std::vector<i32> held;
    std::vector<u32> order; ///< of release, for those who reuse
    Orders orders;
    std::array<bool, slotCount> mayEnd{};
    bool pedal = false, isMono = false, legato = false, takes = false;
    u32 polyphony = slotCount, round = 0, limit = 0;
    i32 priority = 2, allocation = 1;
    u64 age = 1, serial = 0;

    void On(i32 note) {
        ++presses[static_cast<u32>(note)];
        if (std::find(held.begin(), held.end(), note) == held.end()) {
            held.push_back(note);
        }
        isMono ? OnMono(note) : OnPoly(note);
    }
    void Off(i32 note) {
        u32& pressed = presses[static_cast<u32>(note)];
        pressed -= pressed > 0 ? 1 : 0;
        if (pedal && std::find(held.begin(), held.end(), note) != held.end()) {
            return;
        }
        std::erase(held, note);
        pressed = pedal ? pressed : 0;
        End(note);
    }
    void Pedal(bool down) {
        std::vector<i32> let;
        if (pedal && !down) {
            std::copy_if(held.begin(), held.end(), std::back_inserter(let),
                         [this](i32 note) { return presses[static_cast<u32>(note)] == 0; });
            std::erase_if(held, [this](i32 note) { return presses[static_cast<u32>(note)] == 0; });
        }
        pedal = down;
        for (const i32 note : let) {
            End(note);
        }
    }
    void SetMode(u32 mode, u32 voices) {
        if (mode < 2) {
            Stop(isMono ? slotCount : 0);
            legato = mode == 1;
        } else {
            Stop(voices < polyphony ? voices : slotCount);
            std::erase_if(order, [voices](u32 v) { return v >= voices; });
            polyphony = voices;
        }
        isMono = mode < 2;
    }
    void Block() {
        ++age;
        for (u32 v = 0; v < slotCount; ++v) {
            Slot& slot = slots[v];
            if (slot.on && mayEnd[v]) {
                slot.on = slot.fading = false;
                orders.push_back({'F', v});
                if (slot.waits && presses[static_cast<u32>(slot.next)] > 0) {
                    Start(v, slot.next, false);
                }
                slot.waits = false;
            }
        }
    }
    /// The lowest slot below the end that fits; the end when there is none.
    template <class Fits>
    u32 First(u32 end, Fits fits) const {
        u32 v = 0;
        while (v < end && !fits(slots[v])) {
            ++v;
        }
        return v;
    }

private:
    void OnPoly(i32 note) {
        if (allocation == 2 && !order.empty()) {
            return Take(order.back(), note);
        }
        const u32 ringing =
            First(slotCount, [=](const Slot& s) { return s.on && !s.fading && s.note == note; });
        if (allocation != 0 && ringing < slotCount) {
            return Take(ringing, note);
        }
        const u32 home = First(polyphony, [=](const Slot& s) { return !s.on && s.home == note; });
        if (home < polyphony) {
            return Start(home, note, false);
        }
        const auto same =
            std::count_if(slots.begin(), slots.end(), [=](const Slot& s) { return s.on && s.note == note; });
        const u32 again =
            Oldest([=](const Slot& s) { return s.on && s.note == note && !(s.waits && s.next != note); });
        if (limit > 0 && same >= static_cast<i32>(limit) && again < polyphony) {
            return Take(again, note);
        }
        for (u32 i = 0; i < polyphony; ++i) {
            const auto v = static_cast<u32>((u64{i} + round) % polyphony);
            if (!slots[v].on) {
                ++round;
                return Start(v, note, false);
            }
        }
        const auto free = [](const Slot& s) { return s.on && !s.fading && !s.waits; };
        u32 victim = Oldest([&](const Slot& s) { return free(s) && s.released; });
        victim = victim < polyphony ? victim : Oldest(free);
        // All fade: one that fades for nobody, or else the first.
        victim = victim < polyphony || !slots[0].waits
                     ? victim
                     : First(polyphony, [](const Slot& s) { return s.fading && !s.waits; });
        Take(victim < polyphony ? victim : 0, note);
    }
    template <class Fits>
    u32 Oldest(Fits fits) const {
        u32 best = polyphony;
        for (u32 v = 0; v < polyphony; ++v) {
            if (fits(slots[v]) && (best == polyphony || slots[v].age < slots[best].age)) {
                best = v;
            }
        }
        return best;
    }
    bool HasMonoNote() const {
        return slots[0].on && !slots[0].released && (!slots[0].fading || slots[0].waits);
    }
    void OnMono(i32 note) {
        const Slot& slot = slots[0];
        if (!slot.on || (!HasMonoNote() && mayEnd[0])) {
            ++round;
            Start(0, note, false);
        } else if (!HasMonoNote()) {
            Take(0, note);
        } else if (!(priority == 0 && note > slot.note) && !(priority == 1 && note < slot.note)) {
            legato && !slot.fading ? Slide(note) : Queue(0, note);
        }
    }
    void Slide(i32 note) {
        ++round;
        Start(0, note, true);
    }
    void Take(u32 v, i32 note) {
        if (!slots[v].on || (takes && !slots[v].fading)) {
            ++round;
            Start(v, note, slots[v].on);
        } else {
            Queue(v, note);
        }
    }
    void Start(u32 v, i32 note, bool goesOn) {
        std::erase(order, v);
        slots[v] = {.on = true, .note = note, .home = note, .age = age, .serial = ++serial};
        orders.push_back({goesOn ? 'T' : 'S', v, note});
    }
    void Queue(u32 v, i32 note) {
        Slot& slot = slots[v];
        Kill(v);
        slot.waits = true;
        slot.next = note;
        std::erase(order, v);
        if (isMono) {
            slot.note = note;
            slot.released = false;
        }
    }
    void Kill(u32 v) {
        slots[v].fading = true;
        orders.push_back({'K', v});
    }
    void Stop(u32 first) {
        for (u32 v = first; v < slotCount; ++v) {
            slots[v].waits = false;
            if (slots[v].on) {
                Kill(v);
            }
        }
    }
    void Release(u32 v) {
        orders.push_back({'R', v});
        slots[v].released = true;
        if (allocation == 2 && std::find(order.begin(), order.end(), v) == order.end()) {
            order.push_back(v);
        }
    }
    void End(i32 note) {
        if (isMono && HasMonoNote() && slots[0].note == note) {
            return EndMono();
        }
        bool wasHeld = false;
        for (u32 v = 0; v < slotCount; ++v) {
            if (slots[v].IsHeld() && slots[v].note == note) {
                Release(v);
                slots[v].waits = slots[v].waits && slots[v].next != note;
                wasHeld = true;
            }
        }
        for (Slot& slot : slots) {
            slot.waits =
                slot.waits && (slot.next != note || (wasHeld && presses[static_cast<u32>(note)] > 0));
        }
    }
    void EndMono() {
        const bool isPressed = std::any_of(presses.begin(), presses.end(), [](u32 n) { return n > 0; });
        if (held.empty() || !isPressed) {
            slots[0].waits = false;
            return Release(0);
        }
        if (legato && !slots[0].fading) {
            slots[0].note = slots[0].home = held.back();
            orders.push_back({'T', 0, held.back()});
        } else {
            Queue(0, held.back());
        }
    }
};

/// Draws a number from 0 to a limit.
using Dice = std::function<u32(u32 limit)>;

/// One random performance, after each step of which voices and model have given the same orders.
class VoiceGame {
public:
    explicit VoiceGame(Dice drawn)
        : dice(std::move(drawn)), lowest(dice(120)), range(dice(1) == 0 ? 5 : 40) {}

    void Advance() {
        for (u32 v = 0; v < slotCount; ++v) {
            const auto& voice = voices.Voice(v);
            model.mayEnd[v] = (voice.released || voice.killed) && dice(3) == 0;
        }
        voices.mayEnd = model.mayEnd;
        Step();
        Compare();
    }
    /// All keys and the pedal come up; nothing sounds then.
    void End() {
        Pedal(false);
        for (u32 note = 0; note < 128; ++note) {
            Off(note);
        }
        voices.mayEnd.fill(true);
        voices.ReapVoices();
        EXPECT_EQ(voices.ActiveVoices().size() + voices.PendingCount() + voices.HeldNoteCount(), 0U);
    }

private:
    void Step() {
        const u32 kind = dice(99);
        const u32 note = (lowest + dice(range)) & 127U;
        if (kind < 42) {
            voices.Send(0x90U + ChannelOf(static_cast<u8>(note)), note,
                        VelocityOf(static_cast<u8>(note)) + dice(1) * 128U);
            model.On(static_cast<i32>(note));
        } else if (kind < 68) {
            Off(note);
        } else if (kind < 88) {
            voices.AdvanceAge();
            voices.ReapVoices();
            model.Block();
        } else if (kind < 92) {
            Pedal(dice(1) == 0);
        } else if (kind < 96) {
            constexpr std::array<u32, 6> table{1, 1, 3, 4, 9, 32};
            const u32 mode = dice(5);
            voices.SetPolyphonyMode(static_cast<i32>(mode), table);
            model.SetMode(mode, table[mode]);
        } else {
            ChangeSettings(dice(4), static_cast<i32>(dice(2)));
        }
        voices.Send(0xB0, note, 100);
        voices.Send(0x90, note + 128, 100);
    }
    void Off(u32 note) {
        voices.Send(dice(1) == 0 ? 0x82 : 0x90, note, 0);
        model.Off(static_cast<i32>(note));
    }
    void Pedal(bool down) {
        voices.SetSustain(down);
        model.Pedal(down);
    }
    void ChangeSettings(u32 kind, i32 value) {
        switch (kind) {
        case 0:
            return voices.SetStealMode((model.takes = value > 0) ? 1 : 0);
        case 1:
            return voices.SetAllocation(model.allocation = value);
        case 2:
            model.limit = static_cast<u32>(value);
            return voices.SetSameNoteLimit(value > 0, model.limit);
        case 3:
            model.legato = value > 0;
            return voices.SetLegato(value > 0 ? 1 : 0);
        default:
            return voices.SetNotePriority(model.priority = value);
        }
    }
    void Compare() {
        ASSERT_EQ(voices.orders, model.orders);
        voices.orders.clear();
        model.orders.clear();
        std::vector<u32> active;
        i32 newest = -1;
        for (u32 v = 0; v < slotCount; ++v) {
            const auto& slot = model.slots[v];
            const auto& voice = voices.Voice(v);
            EXPECT_EQ(voice.active, slot.on) << v;
            EXPECT_EQ(voices.IsPending(v), slot.waits) << v;
            EXPECT_EQ(voices.IsKilled(v), slot.fading) << v;
            EXPECT_TRUE(!slot.waits || voices.PendingNote(v).note == slot.next) << v;
            if (slot.on) {
                active.push_back(v);
                EXPECT_EQ(voice.note.note, slot.note) << v;
                EXPECT_TRUE(voice.released || voice.note.velocity == VelocityOf(voice.note.note)) << v;
            }
            if (slot.IsHeld() && (newest < 0 || slot.serial > model.slots[static_cast<u32>(newest)].serial)) {
                newest = static_cast<i32>(v);
            }
        }
        EXPECT_TRUE(std::ranges::equal(voices.ActiveVoices(), active));
        EXPECT_EQ(voices.NewestHeldVoice(), newest);
        EXPECT_EQ(voices.HeldNoteCount(), model.held.size());
        const u8 note = static_cast<u8>((lowest + dice(range)) & 127U);
        if (!voices.IsMono()) {
            const u32 found =
                model.First(slotCount, [=](const auto& s) { return s.IsHeld() && s.note == note; });
            EXPECT_EQ(voices.FindVoice(note, ChannelOf(note)),
                      found < slotCount ? static_cast<i32>(found) : -1);
            EXPECT_EQ(voices.FindVoice(note, 3), -1);
        }
    }

    Dice dice;
    FakeVoices voices;
    PolicyModel model;
    u32 lowest;
    u32 range;
};

} // namespace Velmora::Test
