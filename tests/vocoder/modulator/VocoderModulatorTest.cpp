// SPDX-License-Identifier: GPL-3.0-or-later
#include "vocoder/modulator/VocoderModulator.h"

#include "rigs/StageRig.h"
#include "rigs/TestFiles.h"

#include <bitset>
#include <chrono>
#include <map>
#include <thread>

namespace {

using namespace orphia::test;
using Velmora::u8;
namespace dsp = Velmora::dsp;
namespace Test = Velmora::Test;
using Velmora::Processor::VocoderModulator;

constexpr float rate = 44100.0F;
constexpr u32 blockSize = 44;
constexpr u32 octave = 36;
constexpr double slopeAtFullLevel = 2.0 * std::numbers::pi / blockSize;

/// A modulator whose slot n plays sample n at unity gain, with a voice manager's table of held notes.
struct Rig {
    TemporaryFolder folder;
    std::array<u8, 128> held{};
    std::unique_ptr<VocoderModulator> modulator = std::make_unique<VocoderModulator>();
    std::vector<Signal> out;

    Rig() {
        for (u32 n = 1; n <= 12; ++n) {
            const std::string sample = "Sample" + std::to_string(n);
            Set("Sampler_" + sample + "_Gain", 0.0F);
            Set("Sampler_" + sample + "_TimeStretchFactor", 1.0F);
            Set("Slot" + std::to_string(n) + "_Sample", static_cast<float>(n - 1));
            Set(sample + "_LoopOn", 1.0F);
        }
        Set("ADSR_Release", 0.01F);
        modulator->SetHeldNotes(held);
        modulator->SeedRandom(3);
        modulator->Initialize(rate, blockSize);
        Run(1);
    }
    u32 Id(const std::string& name) {
        static const auto ids = [this] {
            std::map<std::string, u32> all;
            for (u32 id = 0; id < VocoderModulator::parameterCount; ++id) {
                all[NameOf(*modulator, id)] = id;
            }
            return all;
        }();
        return ids.at("Modulator_" + name);
    }
    void Set(const std::string& name, float value) { modulator->SetParameterValue(Id(name), value); }
    float Get(const std::string& name) { return modulator->FindParameter(Id(name))->GetValue(); }
    bool IsPlaying() { return Get("IsPlayingSample") == 1.0F; }

    Signal Hear(const std::vector<const Signal*>& inputs, u32 split = blockSize,
                const std::vector<const Signal*>& clock = {}) {
        out = Render(*modulator, inputs, 3, BlockSplit::Of(split), clock);
        return out[0];
    }
    /// Runs blocks without input and returns the left channel.
    Signal Run(u32 blocks) {
        const Signal clock(static_cast<std::size_t>(blocks) * blockSize);
        return Hear({}, blockSize, {&clock});
    }
    void Wait() {
        for (int patience = 0; patience < 2000 && modulator->IsLoading(); ++patience) {
            Run(1);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        Run(1); // the block that takes the last result
    }
    /// Fills the slots given with sines of one block's period and level 0.01 * (slot + 1).
    void Load(std::initializer_list<u32> slots, double seconds = 1.0) {
        for (const u32 slot : slots) {
            const auto path = folder / std::to_string(slot);
            WriteSound(path, Sine(rate / blockSize, seconds, 44100, 1, 0.01 * (slot + 1)));
            ASSERT_TRUE(modulator->SetPath(slot, path.string()));
        }
        Wait();
    }
    /// The slot whose sample sounds in the last block, -1 for silence.
    int SoundingSlot() const {
        return static_cast<int>(std::lround(Peak(out[0], out[0].size() - blockSize) * 100.0F)) - 1;
    }
    void Press(u32 note) {
        held[note] = 1;
        modulator->NoteOn(note);
    }
    void Release(u32 note) {
        held[note] = 0;
        modulator->NoteOff(note);
    }
    /// Long enough for a fade and the attack that follows.
    int PlayAndHear(u32 note) {
        Press(note);
        Run(20);
        return SoundingSlot();
    }
};

/// Which slot a note plays, as the modes are meant.
struct Policy {
    std::array<u32, 12> samples{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    std::bitset<12> loaded;
    std::bitset<128> held;
    u32 firstKey = octave;
    bool cycles = false, legato = false, movesDown = false;
    u32 direction = 0, locked = 12, current = 0, next = 0, framesSince = 0, heldOutside = 0;
    int sounding = -1;
    bool isRandom = false; // the next slot is any valid one

    bool Valid(u32 slot) const { return slot < 12 && loaded[samples[slot]]; }
    /// The first valid slot on the way from one to the one before another.
    u32 Search(int from, int to, int way) const {
        while (from != to && !Valid(static_cast<u32>(from))) {
            from += way;
        }
        return from != to ? static_cast<u32>(from) : 12;
    }
    void Choose(bool restart) {
        const int at = static_cast<int>(next);
        u32 found = 12;
        if (direction == 0) {
            const int start = restart || at == 11 ? 0 : at + 1;
            found = std::min(Search(start, 12, 1), Search(0, 12, 1) + (Search(start, 12, 1) < 12 ? 12 : 0));
        } else if (direction == 1) {
            found = Search(restart || at == 0 ? 11 : at - 1, -1, -1);
            found = found < 12 ? found : Search(11, -1, -1);
        } else if (direction == 2) {
            found = movesDown ? Search(at - 1, -1, -1) : Search(restart ? 0 : at + 1, 12, 1);
            if (found == 12) {
                const u32 turned =
                    movesDown ? Search(at < 11 ? at + 1 : 0, 12, 1) : Search(std::max(at, 1) - 1, -1, -1);
                movesDown = !movesDown && turned < 12;
                found = turned < 12 ? turned : next;
            }
        } else {
            isRandom = true;
            return;
        }
        next = found;
    }
    void Trigger() { sounding = Valid(current) ? static_cast<int>(samples[current]) : sounding; }
    void On(u32 note) {
        held.set(note);
        const bool selects = note >= firstKey && note < firstKey + 12;
        heldOutside += selects ? 0 : 1;
        const bool isChord = framesSince < 1323; // 30 ms
        framesSince = 0;
        const bool isTied = legato && held.count() != 1;
        if (cycles && !isTied && !(isChord && held.count() > 1)) {
            const auto place = std::find(samples.begin(), samples.end(), locked);
            current = locked == 12             ? next
                      : place != samples.end() ? static_cast<u32>(place - samples.begin())
                                               : current;
            if (locked == 12) {
                Choose(false);
            }
            Trigger();
        } else if (!cycles && selects) {
            current = Valid(note - firstKey) ? note - firstKey : current;
            sounding = Valid(note - firstKey) ? static_cast<int>(samples[current]) : sounding;
        } else if (!cycles && !isTied && !(isChord && heldOutside > 1)) {
            current = Valid(current) ? current : Search(0, 12, 1);
            Trigger();
        }
    }
    void Off(u32 note) {
        held.reset(note);
        heldOutside -= heldOutside > 0 && (note < firstKey || note >= firstKey + 12) ? 1 : 0;
        if (held.none()) {
            heldOutside = 0;
            sounding = -1;
        }
    }
};

TEST(VocoderModulator, ARandomPlayerHearsTheSlotsThatThePolicyOfModesAndKeysTells) {
    Rig rig;
    Policy policy;
    std::mt19937 random(9);
    const auto below = [&random](u32 count) { return static_cast<u32>(random() % count); };
    rig.Load({1, 4, 6, 10});
    policy.loaded = 0b0100'0101'0010;
    const u32 loaded[] = {1, 4, 6, 10, 12, 12, 12};
    for (u32 step = 0; step < 8000; ++step) {
        const u32 note = 30 + below(8) + 3 * below(6);
        const u32 act = below(40);
        if (act < 30) {
            if (policy.held[note] || policy.held.count() > 3) {
                for (u32 key = 0; key < 128; ++key) {
                    if (policy.held[key] && (key == note || below(2) == 0)) {
                        policy.Off(key);
                        rig.Release(key);
                    }
                }
            } else {
                policy.On(note);
                rig.Press(note);
            }
        } else if (act == 30) {
            policy.legato = below(2) == 0;
            rig.Set("Legato", policy.legato ? 1.0F : 0.0F);
        } else if (act == 31) {
            const u32 before = std::exchange(policy.direction, below(4));
            policy.movesDown = policy.movesDown && policy.direction == before;
            rig.Set("CycleDirection", static_cast<float>(policy.direction));
            rig.Set("CycleReset", rig.Get("CycleReset") == 0.0F ? 1.0F : 0.0F);
            policy.Choose(true);
        } else if (act == 32) {
            policy.locked = loaded[below(7)];
            rig.Set("CycleLockedSample", static_cast<float>(policy.locked));
        } else if (act == 33) {
            policy.cycles = !policy.cycles;
            policy.sounding = -1;
            rig.Set("SamplerPlayMode", policy.cycles ? 1.0F : 0.0F);
            policy.Choose(true);
            policy.movesDown = false;
        } else if (act == 34 && policy.held.none()) {
            const u32 slot = below(12);
            policy.samples[slot] = below(2) == 0 ? loaded[below(4)] : below(12);
            rig.Set("Slot" + std::to_string(slot + 1) + "_Sample", static_cast<float>(policy.samples[slot]));
        } else if (act == 35) {
            const u32 place = below(3);
            policy.firstKey = 24 + 12 * place;
            rig.Set("KeyboardSampleOctave", 2.0F + static_cast<float>(place));
        }
        // 30 blocks are just less than the time of a chord.
        const u32 blocks =
            below(4) == 0 ? 40 : (below(5) == 0 ? 28 + below(5) : below(3)) + (act < 30 ? 0 : 1);
        rig.Run(blocks);
        policy.framesSince += blocks * blockSize;
        if (std::exchange(policy.isRandom, false)) {
            policy.next = static_cast<u32>(rig.Get("CycleNextPlayingSlot"));
            ASSERT_TRUE(policy.Valid(policy.next)) << step;
        }
        ASSERT_EQ(rig.Get("CycleNextPlayingSlot"), policy.next) << step << ", direction " << policy.direction;
        ASSERT_EQ(rig.Get("CurrentSlot"), policy.current) << step << ", " << policy.cycles;
        ASSERT_EQ(rig.modulator->HeldKeyCount(), policy.heldOutside) << step;
        if (blocks == 40) {
            ASSERT_EQ(rig.SoundingSlot(), policy.sounding) << step << ", " << policy.cycles;
        }
    }
}

TEST(VocoderModulator, ANewKeyFadesTheOldSampleWithin6MsAndNeverClicks) {
    Rig rig;
    rig.Load({0, 11}, 0.06);
    rig.Set("Sample1_LoopOn", 0.0F);
    rig.Set("Sample12_LoopOn", 0.0F);
    rig.PlayAndHear(octave);
    rig.Press(octave + 11);
    const Signal played = rig.Run(30);
    EXPECT_NEAR(Peak(played, played.size() - blockSize), 0.12F, 1e-3F);
    const auto silence = std::search_n(played.begin(), played.end(), 20, 1e-7F,
                                       [](float x, float limit) { return std::abs(x) < limit; });
    EXPECT_NEAR(static_cast<double>(silence - played.begin()), 0.006 * rate, 3.0);
    for (std::size_t n = 1; n < played.size(); ++n) {
        // The attack of 2 ms adds its own.
        ASSERT_LT(std::abs(played[n] - played[n - 1]), 0.12 * slopeAtFullLevel + 0.12 / 80.0) << n;
    }
    rig.Run(21); // 2 ms before its end
    ASSERT_TRUE(rig.IsPlaying());
    EXPECT_EQ(rig.PlayAndHear(octave), 0) << "also when the old sample ends during the fade";
}

TEST(VocoderModulator, ALoopRunsWhileAKeyIsHeldAndOutToItsEndAfterwardsThoughTheKeyWasShort) {
    Rig rig;
    rig.Load({0}, 0.05);
    rig.Set("ADSR_Release", 20.0F); // so that the sample ends before the envelope
    rig.Run(1);
    for (const u32 round : {0U, 1U, 2U, 3U, 4U, 5U}) {
        if (round % 2 == 0) {
            rig.PlayAndHear(octave);
        }
        const u32 blocksHeld = round / 2 == 2 ? 1000 : round / 2;
        rig.Press(octave);
        rig.Run(blocksHeld);
        EXPECT_TRUE(rig.IsPlaying()) << blocksHeld;
        rig.Release(octave);
        const Signal heard = rig.Run(10);
        EXPECT_GT(blocksHeld > 1 ? 1.0F : Peak(heard, 7 * blockSize), 0.002F) << "heard for a moment";
        rig.Run(60);
        EXPECT_FALSE(rig.IsPlaying()) << blocksHeld;
    }
}

TEST(VocoderModulator, TheInterfacePlaysTheCurrentSlotOnceChoosesTheNextAndStops) {
    Rig rig;
    rig.Load({3}, 0.2);
    rig.Set("CurrentSlot", 3.0F);
    for (int round = 0; round < 2; ++round) {
        rig.Set("StopSampler", 0.0F);
        rig.Set("SlotGUITrigger", 1.0F);
        rig.Run(20);
        EXPECT_EQ(rig.SoundingSlot(), 3) << "a stopped sample can be started again";
        EXPECT_NEAR(rig.Get("Sampler_PlayheadPosition"), 0.1F, 0.002F);
        rig.Run(round == 0 ? 1 : 230);
        EXPECT_EQ(rig.IsPlaying(), round == 0) << "no key holds it: one pass, looped or not";
        rig.Set("StopSampler", 1.0F);
        rig.Run(1);
        EXPECT_EQ(rig.SoundingSlot(), -1);
    }
    rig.Set("SamplerPlayMode", 1.0F);
    rig.Run(1);
    rig.Set("CycleNextSlotFromGUI", 3.0F);
    rig.Set("SlotGUITrigger", 1.0F);
    rig.Run(1);
    EXPECT_EQ(rig.Get("CycleNextPlayingSlot"), 3.0F);
}

TEST(VocoderModulator, LoadedFlagsFollowTheFilesAndAReplacedSampleStops) {
    Rig rig;
    rig.Load({2, 7});
    rig.PlayAndHear(octave + 2);
    struct Row {
        u32 sample;
        const char* file;
        bool plays;
    };
    // Another slot's file and what cannot be loaded change nothing.
    for (const auto& [sample, file, plays] : {Row{7, "2", true}, {2, "missing.wav", true}, {2, "", false}}) {
        rig.modulator->SetPath(sample, *file != 0 ? (rig.folder / file).string() : "");
        rig.Wait();
        EXPECT_EQ(rig.SoundingSlot() == 2, plays) << file;
        EXPECT_EQ(rig.Get("Sample3_Loaded") == 1.0F, plays) << file;
    }
    rig.PlayAndHear(octave + 7);
    rig.Set("Slot8_Sample", 2.0F); // the slot that plays now names another sample
    rig.Run(1);
    EXPECT_FALSE(rig.IsPlaying());
    // A file that goes as a key comes does not take the key's sample along.
    rig.Load({0, 1}, 0.05);
    rig.PlayAndHear(octave);
    rig.modulator->SetPath(0, "");
    rig.Run(1); // the next block takes it away
    EXPECT_EQ(rig.PlayAndHear(octave + 1), 1);
}

TEST(VocoderModulator, ValuesThatItReportsAreNoCommands) {
    Rig playing;
    Rig idle;
    playing.Load({0}, 0.05);
    idle.Load({0}, 0.05);
    playing.PlayAndHear(octave);
    // A host that sends all values of one to the other.
    for (u32 id = 0; id < VocoderModulator::parameterCount; ++id) {
        idle.modulator->SetParameterNormalized(id, playing.modulator->GetParameterNormalized(id));
    }
    idle.Run(20);
    EXPECT_EQ(idle.SoundingSlot(), -1);
    EXPECT_FALSE(idle.IsPlaying());
    EXPECT_EQ(idle.PlayAndHear(octave), 0);
    for (const char* name : {"IsPlayingSample", "ADSR_GateIn", "VoiceKiller_State", "Sample1_Loaded"}) {
        for (const float value : {0.0F, 1.0F, 2.0F}) {
            playing.Set(name, value);
            playing.Run(100);
            EXPECT_EQ(playing.SoundingSlot(), 0) << name << value;
            EXPECT_TRUE(playing.IsPlaying() && playing.Get("Sample1_Loaded") == 1.0F) << name << value;
        }
    }
    playing.Release(octave);
    playing.Set("ADSR_GateIn", 1.0F);
    playing.Run(60);
    EXPECT_EQ(playing.SoundingSlot(), -1);
}

/// Hears the external input at unity gain.
struct InputRig : Rig {
    InputRig() {
        Set("ExternalInput", 1.0F);
        Set("ExternalInputGain", 0.0F);
        Set("VoiceInputGate_Threshold", -40.0F);
        Hear({nullptr, &silence});
        modulator->Reset(true);
    }
    const Signal silence = Signal(blockSize);
    const Signal loud = Signal(blockSize, 1e5F);
    const Signal tone = Test::Tone(110264, 220.5, rate, 0.1);
    const Signal half = Test::Tone(110264, 220.5, rate, 0.05);
};

TEST(VocoderModulatorInput, PassesGateGainAndPitchInTheirTimes) {
    InputRig rig;
    const auto detected = [&rig] { return rig.Get("ExternalSignalHasBeenDetectedAtLeastOnce"); };
    const Signal faint(blockSize, 1e-20F);
    rig.Hear({&rig.silence, &faint});
    EXPECT_EQ(detected(), 0.0F) << "the first channel tells";
    rig.Hear({&faint});
    rig.modulator->Reset(true);
    rig.Hear({&rig.silence});
    EXPECT_EQ(detected(), 1.0F) << "for good";
    const Signal heard = rig.Hear({&rig.tone, &rig.half});
    const auto opening = std::find_if(heard.begin(), heard.end(), [](float x) { return x != 0.0F; });
    EXPECT_NEAR(static_cast<double>(opening - heard.begin()) / rate, 0.05, 0.0025)
        << "above -40 dB for the hold";
    EXPECT_TRUE(std::equal(opening, heard.end(), rig.tone.begin() + (opening - heard.begin())));
    EXPECT_EQ(Peak(rig.out[1]), 0.05F) << "the right side is its own";
    EXPECT_NEAR(rig.out[2].back(), 220.5F, 0.2F);
    EXPECT_EQ(Peak(rig.Hear({&rig.loud})), 100.0F) << "+40 dBFS, and no more";
    rig.Set("ExternalInputGain", 6.0F);
    const Signal louder = rig.Hear({&rig.tone});
    EXPECT_EQ(rig.out[0], rig.out[1]) << "a mono input sounds on both sides";
    for (const std::size_t n : {std::size_t{50}, std::size_t{850}, std::size_t{2250}, std::size_t{40050}}) {
        const double part = 1.0 - std::exp(-5.0 * static_cast<double>(n + 1) / (0.1 * rate));
        EXPECT_NEAR(louder[n] / rig.tone[n], 1.0 + part * (std::pow(10.0, 0.3) - 1.0), 2e-3) << n;
    }
    rig.Set("VoiceInputGate_Threshold", 0.0F);
    rig.Hear({&rig.tone});
    EXPECT_EQ(Peak(rig.out[0], 8820) + Peak(rig.out[1], 8820), 0.0F) << "closed";
    EXPECT_NEAR(rig.out[2].back(), 220.5F, 0.2F) << "but tracked";
    rig.Load({4});
    EXPECT_EQ(rig.PlayAndHear(octave + 4), 4) << "without an input the sampler plays";
    EXPECT_EQ(rig.out[2].back(), 0.0F);
}

} // namespace
