// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/framework/RunChild.h"
#include "engine/chords/ChordGenerator.h"
#include "processor/instrument/ShortNotes.h"
#include "rigs/FakeVoices.h"
#include "rigs/RandomPlayer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace orphia::test {

using Velmora::engine::ChordGenerator;

/// A storm of keys, chords, takes, channels, modes, pedals and panics through the chord stage and the voices,
/// as the instrument runs them, without sound. At every moment no key that is down has lost its note, and the
/// mono voice plays the newest; in the end nothing sounds.
class VoiceGame {
public:
    explicit VoiceGame(RandomPlayer::Draw draw) : player(std::move(draw)), lowest(player.Below(100)) {
        chords.Initialize(44100.0F, 44);
        Run();
    }

    /// One block.
    void Advance() {
        if (player.OneIn(4)) {
            Turn();
        }
        for (u32 count = player.Below(4); count > 0; --count) {
            MoveKey();
        }
        for (u32 v = 0; v < Velmora::engine::voiceCount; ++v) {
            voices.mayEnd[v] = player.OneIn(5);
        }
        Run();
        Check();
    }
    /// All keys come up, one by one or by all-notes-off, before or after the pedal.
    void End() {
        const bool pedalFirst = player.OneIn(2);
        voices.SetSustain(voices.IsSustained() && !pedalFirst);
        if (player.OneIn(2)) {
            LiftAll();
        }
        while (!down.empty()) {
            Lift(down[player.Below(static_cast<u32>(down.size()))]);
            Run();
        }
        voices.SetSustain(false);
        voices.mayEnd.fill(true);
        for (u32 block = 0; block < 20; ++block) {
            Run();
        }
        EXPECT_EQ(voices.ActiveVoices().size() + voices.PendingCount() + voices.HeldNoteCount(), 0U);
    }

private:
    /// A key as the player sees it.
    struct Key {
        u8 note;
        u8 channel;
        /// It has a note of its own, and nothing has happened since that may take it.
        bool isSure;
    };

    void Turn() {
        const u32 kind = player.Below(20);
        const bool on = player.OneIn(2);
        if (kind < 3) {
            voices.SetSustain(on);
        } else if (kind < 9 && (kind < 6 || !IsOn(ChordGenerator::RecordMode))) {
            const u32 id = kind < 5   ? ChordGenerator::ChordOn
                           : kind < 6 ? ChordGenerator::RecordMode
                                      : ChordGenerator::ChordKey1 + player.Below(3) * 4;
            chords.SetParameterNormalized(id, on ? 1.0F : 0.0F);
            monoIsSure = false;
        } else if (kind < 11) {
            SetIgnoreChannel(on);
        } else if (kind < 13) {
            SetMode();
        } else if (kind < 16) {
            voices.Do(player.AnyOf(std::array{'a', 's', 'g'}), player.Below(3));
        } else if (kind < 17) {
            LiftAll();
        } else if (kind < 18) {
            voices.ResetAll();
            shortNotes.Clear();
            chords.Reset(true);
            down.clear();
            monoIsSure = false;
        }
    }
    void SetIgnoreChannel(bool ignore) {
        if (!ignore || shortNotes.HasWaiting()) {
            // What channels held together may belong to any of them from now on.
            BeUnsure();
        }
        monoIsSure = false;
        voices.SetIgnoreChannel(ignore);
        chords.SetIgnoreChannel(ignore);
    }
    void SetMode() {
        voices.Do('m', player.AnyOf(std::array{0U, 1U, 5U}));
        BeUnsure();
        monoIsSure = down.empty() && voices.HeldNoteCount() == 0 && PlaysKeysThemselves();
    }
    void LiftAll() {
        chords.Reset(false);
        shortNotes.Clear();
        voices.LiftAllKeys();
        down.clear();
        Run();
    }
    void BeUnsure() {
        for (Key& key : down) {
            key.isSure = false;
        }
    }
    bool IsOn(u32 id) { return chords.GetParameterNormalized(id) > 0.5F; }
    bool PlaysKeysThemselves() { return !IsOn(ChordGenerator::ChordOn) && !IsOn(ChordGenerator::RecordMode); }

    void MoveKey() {
        const u32 kind = player.Below(10);
        const u8 note = static_cast<u8>(lowest + player.Below(14));
        const u8 channel = player.Byte(3);
        if (kind < 5 && down.size() < 6) {
            Press(note, channel);
        } else if (kind < 9 && !down.empty()) {
            Lift(player.AnyOf(down));
        } else if (!voices.IsMono()) {
            Lift({note, channel, false});
        }
    }
    void Press(u8 note, u8 channel) {
        if (CountDown(note) > 0 && (voices.IsMono() || player.OneIn(2))) {
            return;
        }
        Send(0x90, note, channel);
        std::erase_if(down, [=](const Key& key) { return key.note == note && key.channel == channel; });
        const bool playsItself =
            PlaysKeysThemselves() || IsOn(ChordGenerator::RecordMode) || IsOn(ChordGenerator::ChordKey1);
        down.push_back({note, channel, playsItself && !voices.IsMono()});
    }
    void Lift(Key lifted) {
        Send(0x80, lifted.note, lifted.channel);
        std::erase_if(
            down, [=](const Key& key) { return key.note == lifted.note && key.channel == lifted.channel; });
        for (Key& key : down) {
            key.isSure = key.isSure && !(key.note == lifted.note && voices.IgnoresChannel());
        }
    }
    u32 CountDown(u8 note) const {
        return static_cast<u32>(
            std::count_if(down.begin(), down.end(), [=](const Key& key) { return key.note == note; }));
    }
    void Send(u32 kind, u8 note, u8 channel) { input.AppendMidi(static_cast<u8>(kind + channel), note, 100); }
    void Run() {
        output.Clear();
        Velmora::dsp::ProcessContext context;
        context.inputEvents = &input;
        context.outputEvents = &output;
        Velmora::dsp::RunChild(chords, context);
        input.Clear();
        if (voices.ActiveVoices().size() + output.count > Velmora::engine::voiceCount) {
            BeUnsure(); // some note may be stolen
        }
        voices.AdvanceAge();
        shortNotes.BeginBlock(voices);
        for (const Velmora::dsp::Event& event : output) {
            shortNotes.Send(event, voices);
        }
        voices.ReapVoices();
    }

    /// The slot has the note, or will have it after a fade.
    bool Plays(u32 v, const Key& key) const {
        const NoteInfo& note = voices.IsPending(v) ? voices.PendingNote(v) : voices.Voice(v).note;
        const bool isHeld = voices.Voice(v).active && !voices.Voice(v).released && !voices.IsKilled(v);
        return (isHeld || voices.IsPending(v)) &&
               note.IsSameKey({key.note, 0, key.channel}, voices.IgnoresChannel());
    }
    void Check() {
        for (const Key& key : down) {
            bool isPlayed = !key.isSure;
            for (u32 v = 0; v < Velmora::engine::voiceCount && !isPlayed; ++v) {
                isPlayed = Plays(v, key);
            }
            EXPECT_TRUE(isPlayed) << "key " << int{key.note} << " of channel " << int{key.channel};
        }
        if (voices.IsMono() && monoIsSure && !voices.IsSustained() && !down.empty() &&
            !shortNotes.HasWaiting()) {
            EXPECT_TRUE(Plays(0, down.back())) << "mono key " << int{down.back().note};
        }
    }

    RandomPlayer player;
    ChordGenerator chords;
    Velmora::Processor::ShortNotes shortNotes;
    FakeVoices voices;
    Velmora::dsp::EventQueue input;
    Velmora::dsp::EventQueue output;
    /// In order of pressing.
    std::vector<Key> down;
    u32 lowest;
    bool monoIsSure = false;
};

} // namespace orphia::test
