// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/chords/ChordGenerator.h"

#include "dsp/framework/Observable.h"
#include "dsp/framework/RunChild.h"
#include "rigs/AllocationCounter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <random>
#include <set>

using namespace Velmora;
using dsp::Event;
using dsp::EventQueue;
using engine::ChordGenerator;

namespace {

using Midi = std::array<int, 3>;
using Midis = std::vector<Midi>;
using Notes = std::set<int>;

Midi On(int note, int velocity = 100, int channel = 0) { return {0x90 | channel, note, velocity}; }
Midi Off(int note, int velocity = 0, int channel = 0) { return {0x80 | channel, note, velocity}; }

/// The stage as its parent runs it, and a receiver that counts each note as the voices do.
struct Rig : dsp::IModuleObserver {
    dsp::Observable<ChordGenerator> chords;
    EventQueue input;
    EventQueue output;
    std::array<int, 128> presses{};
    /// What observers heard of each parameter; -1 is nothing.
    std::array<float, ChordGenerator::parameterCount> heard{};

    explicit Rig(const Notes& intervals, bool isOn = true) {
        chords.Attach(*this);
        chords.Initialize(44100.0F, 64);
        Set(ChordGenerator::ChordOn, isOn);
        for (const int interval : intervals) {
            SetKey(interval, true);
        }
        Run({});
    }

    void OnParameterChanged(u32 id, float value) override { heard[id] = value; }
    void Set(u32 id, bool on) { chords.SetParameterNormalized(id, on ? 1.0F : 0.0F); }
    void SetKey(int interval, bool on) { Set(ChordGenerator::ChordKey1 + static_cast<u32>(interval), on); }
    Midis Run(const Midis& events) {
        input.Clear();
        output.Clear();
        for (const Midi& midi : events) {
            input.AppendMidi(static_cast<u8>(midi[0]), static_cast<u8>(midi[1]), static_cast<u8>(midi[2]));
        }
        dsp::ProcessContext context;
        context.inputEvents = &input;
        context.outputEvents = &output;
        const orphia_reference::AllocationCounter allocations;
        EXPECT_TRUE(dsp::RunChild(chords, context));
        EXPECT_EQ(allocations.Count(), 0U);
        Midis result;
        for (const Event& event : output) {
            result.push_back({event.midi[0], event.midi[1], event.midi[2]});
            Receive(result.back());
        }
        return result;
    }
    void Receive(const Midi& midi) {
        const int status = midi[0] & 0xF0;
        if ((status == 0x80 || status == 0x90) && midi[1] < 128) {
            int& count = presses[static_cast<std::size_t>(midi[1])];
            count = status == 0x90 && (midi[2] & 127) > 0 ? count + 1 : std::max(0, count - 1);
        }
    }
    int PressesMissingAnEnd() const { return std::accumulate(presses.begin(), presses.end(), 0); }
};

} // namespace

TEST(ChordGeneratorTest, PlaysTheChordOfEachKey) {
    Rig rig({0, 4, 12});
    EXPECT_EQ(rig.Run({On(60, 90, 5)}), (Midis{On(60, 90, 5), On(64, 90, 5), On(72, 90, 5)}));
    EXPECT_EQ(rig.Run({Off(60, 33, 5)}), (Midis{Off(60, 33, 5), Off(64, 33, 5), Off(72, 33, 5)}));
    EXPECT_EQ(rig.Run({On(120), On(120, 0)}), (Midis{On(120), On(124), Off(120), Off(124)}));
    EXPECT_EQ(rig.Run({{0xB0, 1, 200}, {0xE3, 0, 64}}), (Midis{{0xB0, 1, 200}, {0xE3, 0, 64}}));
    EXPECT_EQ(rig.Run({On(200), Off(200), On(60, 0xE4), On(60, 0x80), On(255, 255)}),
              (Midis{On(60), On(64), On(72), Off(60), Off(64), Off(72)}))
        << "bad data bytes";
    EXPECT_EQ(Rig(Notes{}).Run({On(60), Off(60)}), Midis());
}

TEST(ChordGeneratorTest, CopiesEverythingWhileItIsOff) {
    const Midis events = {On(60),       On(62), {0xB0, 64, 127}, Off(60),
                          On(200, 255), Off(3), On(62, 0),       {0, 1, 2}};
    EXPECT_EQ(Rig({}, false).Run(events), events);
}

TEST(ChordGeneratorTest, ANoteSoundsWhileAnyKeyHoldsItHoweverFullTheQueueIs) {
    std::mt19937 random(2);
    u32 overflows = 0;
    for (u32 round = 0; round < 40; ++round) {
        Notes intervals;
        for (u32 i = 0; i < round; ++i) {
            intervals.insert(static_cast<int>(random() % ChordGenerator::maxIntervals));
        }
        Rig rig(intervals);
        Notes keys;
        for (u32 block = 0; block < 50; ++block) {
            Midis events(random() % (2 * round + 1));
            for (Midi& event : events) { // strikes keys that are up and lifts those that are down
                const int key = 40 + static_cast<int>(random() % 80);
                event = keys.erase(key) > 0 ? Off(key) : (keys.insert(key), On(key));
            }
            overflows += rig.Run(events).size() == EventQueue::capacity ? 1 : 0;
            for (int note = 0; note < 128 && overflows == 0; ++note) {
                const bool isHeld = std::any_of(intervals.begin(), intervals.end(),
                                                [&](int interval) { return keys.contains(note - interval); });
                ASSERT_EQ(rig.presses[static_cast<std::size_t>(note)] > 0, isHeld) << "note " << note;
            }
        }
        for (const int key : keys) {
            rig.Run({Off(key)});
        }
        for (u32 block = 0; block < 10; ++block) {
            rig.Run({}); // more ends than fit into one block come with the next ones
        }
        ASSERT_EQ(rig.PressesMissingAnEnd(), 0) << "round " << round;
    }
    EXPECT_GT(overflows, 10U);
}

TEST(ChordGeneratorTest, AKeyThatIsDownKeepsItsNotesAndOneThatComesUpLeavesNone) {
    Rig rig({0, 4, 7});
    rig.Run({On(60), On(64)});
    EXPECT_EQ(rig.Run({Off(60)}), (Midis{Off(60), Off(67)})) << "64 is a key";
    EXPECT_EQ(rig.Run({Off(64)}), (Midis{Off(64), Off(64), Off(68), Off(71)}));
    // Keys that went down before the chord: on two channels, and with a chord without the key itself.
    Rig later({4}, false);
    later.Run({On(60, 100, 0), On(60, 100, 1), On(62)});
    later.Set(ChordGenerator::ChordOn, true);
    EXPECT_EQ(later.Run({On(50), Off(60)}), (Midis{On(54), Off(60), Off(60, 0, 1)}));
    // With channels apart each has its keys.
    later.chords.SetIgnoreChannel(false);
    EXPECT_EQ(later.Run({On(58, 100, 2), Off(58)}), Midis{On(62, 100, 2)});
    EXPECT_EQ(later.Run({Off(62)}), Midis{Off(62)});
    // A chord that comes on during a take is there after it.
    Rig taking({0, 7}, false);
    taking.Set(ChordGenerator::RecordMode, true);
    taking.Run({});
    taking.Set(ChordGenerator::ChordOn, true);
    taking.Run({});
    taking.Set(ChordGenerator::RecordMode, false);
    EXPECT_EQ(taking.Run({On(60)}), (Midis{On(60), On(67)}));
}

TEST(ChordGeneratorTest, WhatNoLongerBelongsToTheChordIsReleasedAtOnce) {
    Rig rig({0, 4, 7});
    rig.Run({On(60), On(67), On(30), Off(30)});
    rig.SetKey(7, false);
    rig.SetKey(9, true);
    EXPECT_EQ(rig.Run({}), (Midis{Off(74)})) << "67 is a held key";
    rig.Set(ChordGenerator::RecordMode, true);
    rig.SetKey(9, false);
    rig.Run({});
    rig.Set(ChordGenerator::RecordMode, false);
    EXPECT_EQ(rig.Run({On(50)}), (Midis{On(50), On(54), On(59)})) << "flags do not act during a take";
    rig.chords.Reset(true);
    rig.Set(ChordGenerator::ChordOn, false);
    dsp::ProcessContext withoutQueues;
    EXPECT_TRUE(dsp::RunChild(rig.chords, withoutQueues)) << "the release waits";
    rig.Run({});
    EXPECT_EQ(rig.PressesMissingAnEnd(), 0);
    rig.Set(ChordGenerator::ChordOn, true);
    EXPECT_EQ(rig.Run({On(50)}), (Midis{On(50), On(54)})) << "the flags are read again";
}

TEST(ChordGeneratorTest, ATakeBecomesTheChordAndItsFlags) {
    const Notes former = {0, 3};
    const std::vector<std::pair<std::vector<int>, Notes>> takes = {// clang-format off
        {{60, 67}, {0, 7}}, {{43, 36}, {0, 7}}, {{60, 84}, {0, 24}}, {{0, 127, 24}, {0, 24}},
        {{72, 60, 64, 67, 64}, {0, 4, 7, 12}}, {{40, 60, 64, 65, 66}, {0, 20, 24}},
        {{}, former}, {{60}, former}, {{60, 60}, former}, {{60, 85}, former}, {{60, 85, 90, 95}, former}};
    // clang-format on
    for (const auto& [take, expected] : takes) {
        for (const bool isOn : {true, false}) {
            Rig rig(former, isOn);
            rig.Set(ChordGenerator::RecordMode, true);
            Midis events;
            for (const int note : take) {
                events.push_back(On(note));
            }
            rig.Run(events);
            rig.heard.fill(-1.0F);
            rig.Set(ChordGenerator::RecordMode, false);
            rig.Run({});
            SCOPED_TRACE(testing::PrintToString(take));
            EXPECT_EQ(rig.chords.HasRecorded(), expected != former);
            Midis chord;
            for (int i = 0; i < ChordGenerator::maxIntervals; ++i) {
                const u32 id = ChordGenerator::ChordKey1 + static_cast<u32>(i);
                const float flag = expected.count(i) > 0 ? 1.0F : 0.0F;
                EXPECT_EQ(rig.chords.GetParameterNormalized(id), flag) << "interval " << i;
                EXPECT_EQ(rig.heard[id], expected != former ? flag : -1.0F) << "interval " << i;
                chord.insert(chord.end(), flag > 0.0F ? 1 : 0, On(20 + i));
            }
            rig.Set(ChordGenerator::ChordOn, true);
            EXPECT_EQ(rig.Run({On(20)}), chord);
        }
    }
}
