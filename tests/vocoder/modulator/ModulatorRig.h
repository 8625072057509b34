// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "rigs/ModuleRig.h"
#include "rigs/TestFiles.h"
#include "vocoder/modulator/VocoderModulator.h"

#include <array>
#include <chrono>
#include <thread>

namespace orphia::test {

using Velmora::u8;
using Velmora::Processor::VocoderModulator;

/// A modulator whose slot n plays sample n at unity gain, with a voice manager's table of held notes.
struct ModulatorRig {
    static constexpr float rate = 44100.0F;
    static constexpr u32 blockSize = 44;

    TemporaryFolder folder;
    std::array<u8, 128> held{};
    std::unique_ptr<VocoderModulator> modulator = std::make_unique<VocoderModulator>();
    std::array<Signal, 3> out;
    std::array<Signal, 2> in;
    u32 inputs = 0;

    ModulatorRig() {
        out.fill(Signal(blockSize, 0.0F));
        in.fill(Signal(blockSize, 0.0F));
        for (u32 n = 0; n < 12; ++n) {
            Set("Sampler_Sample" + std::to_string(n + 1) + "_Gain", 0.0F);
            Set("Sampler_Sample" + std::to_string(n + 1) + "_TimeStretchFactor", 1.0F);
            Set("Slot" + std::to_string(n + 1) + "_Sample", static_cast<float>(n));
        }
        Set("ADSR_Release", 0.01F);
        modulator->SetHeldNotes(held);
        modulator->Initialize(rate, blockSize);
        Run(1);
    }

    u32 Id(const std::string& name) {
        static const std::vector<std::string> names = [this] {
            std::vector<std::string> list;
            for (u32 id = 0; id < VocoderModulator::parameterCount; ++id) {
                list.push_back(NameOf(*modulator, id));
            }
            return list;
        }();
        const auto found = std::find(names.begin(), names.end(), "Modulator_" + name);
        EXPECT_NE(found, names.end()) << name;
        return static_cast<u32>(found - names.begin());
    }
    void Set(const std::string& name, float value) { modulator->SetParameterValue(Id(name), value); }
    float Get(const std::string& name) { return modulator->FindParameter(Id(name))->GetValue(); }

    /// Runs blocks and returns the left channel. Nothing may allocate in them.
    Signal Run(u32 blocks) {
        Signal left;
        left.reserve(static_cast<std::size_t>(blocks) * blockSize);
        for (u32 i = 0; i < blocks; ++i) {
            RunBlock();
            left.insert(left.end(), out[0].begin(), out[0].end());
        }
        return left;
    }
    void RunBlock() {
        const std::array<const float*, 2> inputPointers{in[0].data(), in[1].data()};
        const std::array<float*, 3> outputPointers{out[0].data(), out[1].data(), out[2].data()};
        Velmora::dsp::ProcessContext context;
        context.inputs = inputPointers.data();
        context.numInputs = inputs;
        context.outputs = outputPointers.data();
        context.numOutputs = 3;
        context.numFrames = blockSize;
        const orphia_reference::AllocationCounter allocations;
        EXPECT_TRUE(Velmora::dsp::RunChild(*modulator, context));
        EXPECT_EQ(allocations.Count(), 0U);
    }

    /// A mono file with a sine of one block's period, whose level tells it from the others.
    std::string WriteLevel(const std::string& name, float level, double seconds = 1.0) {
        const auto path = folder / name;
        WriteSound(path, Sine(rate / blockSize, seconds, 44100, 1, level));
        return path.string();
    }
    /// Loads it, as the host would, and waits for it.
    void Load(u32 sample, const std::string& path) {
        ASSERT_TRUE(modulator->SetPath(sample, path));
        Wait();
    }
    void Wait() {
        for (int patience = 0; patience < 2000 && modulator->IsLoading(); ++patience) {
            Run(1);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_FALSE(modulator->IsLoading());
        Run(1); // the block that takes the last result
    }
    /// Fills the slots given with samples of level 0.01 * (slot + 1).
    void LoadLevels(std::initializer_list<u32> slots, double seconds = 1.0) {
        for (const u32 slot : slots) {
            ASSERT_TRUE(modulator->SetPath(slot, WriteLevel(std::to_string(slot) + ".wav",
                                                            0.01F * static_cast<float>(slot + 1), seconds)));
        }
        Wait();
    }
    /// The slot whose sample sounds in the last block, -1 for silence.
    int SoundingSlot() const { return static_cast<int>(std::lround(Peak(out[0]) * 100.0F)) - 1; }
    void Press(u32 note) {
        ++held[note];
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

} // namespace orphia::test
