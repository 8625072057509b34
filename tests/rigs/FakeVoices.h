// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/voices/IVoiceManager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <set>
#include <vector>

namespace Velmora::Test {

using engine::NoteInfo;

/// A voice manager over voices without sound. A voice has a gate, and once that is closed or a fade begun, a
/// number of blocks until it is silent. Misuse of a voice fails the running test.
class FakeVoices : public engine::IVoiceManager<32, engine::VoiceInfoT<NoteInfo>, 0> {
public:
    static constexpr u32 slots = 32;

    struct FakeVoice {
        NoteInfo note;
        bool gate = false;
        /// Started and not yet found silent.
        bool running = false;
        bool fading = false;
        /// Blocks until silence once the gate is closed or the fade runs.
        u32 left = 0;
        u32 fresh = 0;
        u32 slides = 0;
        bool IsSilent() const { return !running || ((!gate || fading) && left == 0); }
    };

    std::array<FakeVoice, slots> fakes{};
    u32 releaseBlocks = 3;
    u32 fadeBlocks = 2;
    /// When given, drawn anew for each voice: up to releaseBlocks, up to fadeBlocks.
    std::function<u32(u32 limit)> draw;

    void Send(u8 status, u8 data1, u8 data2) {
        dsp::Event event;
        event.type = dsp::Event::midiType;
        event.midi[0] = status;
        event.midi[1] = data1;
        event.midi[2] = data2;
        HandleEvent(event);
    }
    void On(u8 note, u8 channel = 0) { Send(static_cast<u8>(0x90 + channel), note, 100); }
    void Off(u8 note, u8 channel = 0) { Send(static_cast<u8>(0x80 + channel), note, 64); }

    void RunBlocks(u32 count) {
        for (u32 i = 0; i < count; ++i) {
            AdvanceAge();
            for (FakeVoice& fake : fakes) {
                fake.left -= fake.left > 0 && (!fake.gate || fake.fading) ? 1 : 0;
            }
            ReapVoices();
        }
    }

    /// The note number that the slot sounds or will sound for a note that is not released; -1 for none.
    i32 Owner(u32 v) const {
        if (IsPending(v)) {
            return PendingNote(v).note;
        }
        return fakes[v].gate && !fakes[v].fading ? fakes[v].note.note : -1;
    }
    std::set<i32> Owners() const {
        std::set<i32> owners;
        for (u32 v = 0; v < slots; ++v) {
            owners.insert(Owner(v));
        }
        owners.erase(-1);
        return owners;
    }
    std::vector<i32> Sounding() const {
        std::vector<i32> notes;
        for (const u32 v : ActiveVoices()) {
            notes.push_back(fakes[v].note.note);
        }
        return notes;
    }

protected:
    void StartVoice(u32 v, const NoteInfo& note, bool stealing) override {
        FakeVoice& fake = fakes[v];
        EXPECT_FALSE(fake.fading) << "slot " << v << ": a note put on a fade is lost";
        EXPECT_TRUE(stealing || !fake.running || Unison() > 1) << "slot " << v << " still sounds";
        EXPECT_TRUE(!stealing || fake.running) << "slot " << v << " has nothing to take over";
        (stealing ? fake.slides : fake.fresh)++;
        fake.note = note;
        fake.gate = fake.running = true;
    }
    bool CanKill(u32 v) override {
        EXPECT_TRUE(Voice(v).active) << "slot " << v << " is asked for while it is free";
        if (fakes[v].IsSilent()) {
            fakes[v].gate = fakes[v].fading = fakes[v].running = false;
        }
        return fakes[v].IsSilent();
    }
    void ReleaseVoiceHook(u32 v) override {
        EXPECT_TRUE(fakes[v].gate || fakes[v].fading) << "slot " << v << " is released twice";
        fakes[v].gate = false;
        fakes[v].left = fakes[v].fading ? fakes[v].left : Draw(releaseBlocks);
    }
    void OnVoiceKilled(u32 v) override {
        EXPECT_TRUE(Voice(v).active) << "slot " << v << " is faded while it is free";
        const u32 left = fakes[v].gate && !fakes[v].fading ? fadeBlocks : std::min(fakes[v].left, fadeBlocks);
        fakes[v].fading = true;
        fakes[v].left = Draw(left);
    }
    void OnVoiceFinished(u32 /*v*/) override {}
    const engine::MtsClient* MtsClient() const override { return nullptr; }

private:
    u32 Draw(u32 limit) const { return !draw ? limit : draw(limit); }
};

} // namespace Velmora::Test
