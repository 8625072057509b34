// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/chords/ChordGenerator.h"

#include "dsp/framework/Observable.h"
#include "dsp/framework/RunChild.h"
#include "rigs/AllocationCounter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <set>
#include <sstream>
#include <string>

using namespace Velmora;
using dsp::Event;
using dsp::EventQueue;
using engine::ChordGenerator;

namespace {

/// The stage as its parent runs it, and a receiver that counts each note as the voices do.
struct Rig : dsp::IModuleObserver {
    dsp::Observable<ChordGenerator> chords;
    EventQueue input;
    EventQueue output;
    std::array<int, 128> presses{};
    std::array<float, ChordGenerator::parameterCount> heard{};

    Rig() {
        chords.Attach(*this);
        chords.Initialize(44100.0F, 64);
    }
    void OnParameterChanged(u32 id, float value) override { heard[id] = value; }
    void Set(u32 id, bool on) { chords.SetParameterNormalized(id, on ? 1.0F : 0.0F); }
    void Run() {
        output.Clear();
        dsp::ProcessContext context;
        context.inputEvents = &input;
        context.outputEvents = &output;
        const orphia_reference::AllocationCounter allocations;
        EXPECT_TRUE(dsp::RunChild(chords, context));
        EXPECT_EQ(allocations.Count(), 0U);
        input.Clear();
        for (const Event& event : output) {
            int& count = presses[event.midi[1]];
            count = event.midi[0] < 0x90 ? std::max(0, count - 1) : count + 1;
        }
    }
    /// Plays words: +60 and -60 are keys, +60/2 one of channel 2, velocities 100 and 33; k7 and K7 put an
    /// interval into the chord and out of it; c, C the chord on and off; r, R a take; i, I channels ignored
    /// or apart; x a hard reset; a full stop is a block, as is the end. Gives the words of the keys that come
    /// out.
    std::string Play(const std::string& words) {
        std::string heardKeys;
        std::istringstream stream(words + " .");
        for (std::string word; stream >> word;) {
            const auto number = static_cast<u8>(word.size() > 1 ? std::stoul(word.substr(1)) : 0);
            const std::size_t slash = word.find('/');
            const int channel = slash == std::string::npos ? 0 : std::stoi(word.substr(slash + 1));
            const bool isSmall = word[0] > 'Z';
            switch (word[0]) {
            case '+':
            case '-':
                input.AppendMidi(static_cast<u8>((word[0] == '+' ? 0x90 : 0x80) + channel), number,
                                 word[0] == '+' ? 100 : 33);
                break;
            case '.':
                Run();
                for (const Event& event : output) {
                    const bool isOn = event.midi[0] >= 0x90;
                    EXPECT_TRUE(event.midi[2] == (isOn ? 100 : 33) || (!isOn && event.midi[2] == 0));
                    heardKeys += (isOn ? '+' : '-') + std::to_string(event.midi[1]);
                    heardKeys += event.midi[0] % 16 > 0 ? '/' + std::to_string(event.midi[0] % 16) : "";
                    heardKeys += ' ';
                }
                break;
            case 'x':
                chords.Reset(true);
                break;
            case 'i':
            case 'I':
                chords.SetIgnoreChannel(isSmall);
                break;
            default:
                Set(word[0] == 'c' || word[0] == 'C'   ? +ChordGenerator::ChordOn
                    : word[0] == 'r' || word[0] == 'R' ? +ChordGenerator::RecordMode
                                                       : ChordGenerator::ChordKey1 + number,
                    isSmall);
            }
        }
        return heardKeys.substr(0, heardKeys.find_last_not_of(' ') + 1);
    }
};

TEST(ChordGeneratorTest, GivesTheKeysOfItsChord) {
    const char* cases[][2] = {
        {"+60 +62 -60 -3 +60/5", "+60 +62 -60 -3 +60/5"},
        {"c +60 -60", ""},
        {"k0 k4 k12 c +60/5 -60/5", "+60/5 +64/5 +72/5 -60/5 -64/5 -72/5"},
        {"k0 k4 k12 c +120 -120 +200 -200", "+120 +124 -120 -124"},
        // a note sounds while any key has it, and a key that is down keeps its own
        {"k0 k4 k7 c +60 +64 . -60 . -64", "+60 +64 +67 +64 +68 +71 -60 -67 -64 -64 -68 -71"},
        // keys that were down before the chord: on two channels, and with a chord without the key itself
        {"k4 +60 +60/1 +62 . c +50 -60", "+60 +60/1 +62 +54 -60 -60/1"},
        // channels apart, each with its keys
        {"k4 +62 . c I +58/2 -58 . -62", "+62 +62/2 -62"},
        // what no longer belongs to the chord is released at once, but for a key that is held
        {"k0 k4 k7 c +60 +67 . K7 k9 .", "+60 +64 +67 +67 +71 +74 -74"},
        // flags do not act during a take, which plays its keys, and are read again by a reset
        {"k0 k4 k9 c . r K9 . R . +50", "+50 +54 +59"},
        {"k0 k4 k9 c . r K9 . R . x +50", "+50 +54"},
        // a chord that comes on during a take is there after it
        {"k0 k7 r . c . R . +60", "+60 +67"},
        // a take becomes the chord, by its lowest key, up to two octaves; one key or less makes none
        {"k0 k3 c . r +60 +67 . R . +20", "+60 +67 +20 +27"},
        {"k0 k3 r +43 +36 . R . c +20", "+43 +36 +20 +27"},
        {"k0 k3 c . r +60 +84 . R . +20", "+60 +84 +20 +44"},
        {"k0 k3 c . r +0 +127 +24 . R . +20", "+0 +127 +24 +20 +44"},
        {"k0 k3 c . r +72 +60 +64 +67 +64 . R . +20", "+72 +60 +64 +67 +64 +20 +24 +27 +32"},
        {"k0 k3 c . r +40 +60 +64 +65 +66 . R . +20", "+40 +60 +64 +65 +66 +20 +40 +44"},
        {"k0 k3 c . r . R . +20", "+20 +23"},
        {"k0 k3 c . r +60 +60 . R . +20", "+60 +60 +20 +23"},
        {"k0 k3 c . r +60 +85 +90 . R . +20", "+60 +85 +90 +20 +23"},
    };
    for (const auto& [played, expected] : cases) {
        Rig rig;
        EXPECT_EQ(rig.Play(played), expected) << played;
        for (u32 id = ChordGenerator::ChordKey1; id < ChordGenerator::parameterCount; ++id) {
            EXPECT_EQ(rig.heard[id], rig.chords.GetParameterNormalized(id)) << played;
        }
    }
}

TEST(ChordGeneratorTest, ANoteSoundsWhileAnyKeyHoldsItHoweverFullTheQueueIs) {
    std::mt19937 random(2);
    u32 overflows = 0;
    for (u32 round = 0; round < 40; ++round) {
        Rig rig;
        rig.Play("c");
        std::set<int> intervals;
        std::set<int> keys;
        for (u32 i = 0; i < round; ++i) {
            intervals.insert(static_cast<int>(random() % ChordGenerator::maxIntervals));
        }
        for (const int interval : intervals) {
            rig.Set(ChordGenerator::ChordKey1 + static_cast<u32>(interval), true);
        }
        const auto strike = [&](int key) { // one that is up; one that is down is lifted
            const bool isDown = keys.erase(key) > 0 || !keys.insert(key).second;
            rig.input.AppendMidi(isDown ? 0x80 : 0x90, static_cast<u8>(key), 100);
        };
        for (u32 block = 0; block < 50; ++block) {
            for (auto count = random() % (2 * round + 1); count > 0; --count) {
                strike(40 + static_cast<int>(random() % 80));
            }
            rig.Run();
            overflows += rig.output.count == EventQueue::capacity ? 1 : 0;
            for (int note = 0; note < 128 && overflows == 0; ++note) {
                const bool isHeld = std::any_of(intervals.begin(), intervals.end(),
                                                [&](int interval) { return keys.contains(note - interval); });
                ASSERT_EQ(rig.presses[static_cast<std::size_t>(note)] > 0, isHeld) << "note " << note;
            }
        }
        while (!keys.empty()) {
            strike(*keys.begin());
            rig.Run();
        }
        rig.Play(". . . . . . . . ."); // more ends than fit into one block come with the next ones
        ASSERT_EQ(std::count(rig.presses.begin(), rig.presses.end(), 0), 128) << "round " << round;
    }
    EXPECT_GT(overflows, 10U);
}

} // namespace
