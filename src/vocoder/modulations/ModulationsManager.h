// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "dsp/envelopes/EnvFollower.h"
#include "dsp/framework/ModuleContainer.h"
#include "dsp/lfo/LFO.h"
#include "dsp/modulation/PolyModulations.h"
#include "dsp/vectors/AlignedBuffer.h"
#include "engine/ModuleCloner.h"
#include "vocoder/modulations/VoiceSlots.h"
#include "vocoder/wiring/Wiring.h"

#include <array>
#include <span>
#include <vector>

namespace Velmora::Processor {

using ModulationMatrix =
    dsp::PolyModulations<ModulationSourceCount, ModulationDestinationCount, voiceSlotCount, 0>;

/// The modulation matrix with the sources that live inside it: the envelope follower and one LFO per voice.
/// It follows voice starts and ends; the newest running voice is the one that global destinations hear.
///
/// Inputs: 0, 1 the modulator's left and right. A missing right input is the left one; without a left input
/// the follower hears silence. No outputs: readers take the destination channels of the matrix in place.
class ModulationsManager final
    : public dsp::ModuleContainer<ModulationMatrix, dsp::EnvFollower,
                                  engine::ModuleCloner<dsp::LFO, voiceSlotCount, 1, 0>> {
public:
    enum Parameter : u32 {
        EnvFollowerEnable,
        LFOEnable,
        ControlsEnable,
        EnvFollowerInputGain,
        LFOInternalRateSyncedType,
        LFOInternalCycleMode,
        LFORetrig,
        ParameterCount
    };
    static constexpr u32 parameterCount = childParameterCount + ParameterCount;
    static constexpr u32 ParameterId(Parameter index) { return childParameterCount + index; }

    /// The matrix names itself in parameter names, so this module needs no prefix of its own.
    explicit ModulationsManager(std::string moduleName = {});

    void OnInitialize(float sampleRate, u32 maxBlockSize) override;
    void OnReset(bool hard) override;
    bool UpdateParameters(dsp::ProcessContext& context) override;
    bool Process(dsp::ProcessContext& context) override;

    /// A voice starts: it becomes the newest one. -1 and other numbers without a slot are ignored.
    void VoiceOn(i32 voice);
    /// A voice ends: its channels are zero from here on.
    void VoiceOff(i32 voice);

    ModulationMatrix& Matrix() { return Child<0>(); }
    /// Writes a source of one voice, or a global one, and marks it as changed.
    void WriteVoiceSource(u32 voice, u32 source, float value);
    void WriteGlobalSource(u32 source, float value);

    /// Voices in order of their start, without duplicates.
    std::span<const u32> VoiceOrder() const { return voiceOrder; }
    /// The voice that global values follow.
    u32 CurrentVoice() const { return currentVoice[0]; }
    u32 RunningCount() const { return runningCount; }
    /// Makes the random values of all LFOs reproducible.
    void SeedRandom(u32 seed);

private:
    dsp::EnvFollower& Follower() { return Child<1>(); }
    auto& Lfos() { return Child<2>(); }
    bool IsPositionOn(Parameter index);

    void SwitchSource(u32 source, bool on);
    void ApplySwitches();
    void ApplyRateType(i32 type);
    void ApplyCycleMode();

    void RunFollower(const dsp::ProcessContext& context);
    float FollowerLevel(float level);
    std::span<const u32> LfoVoices() const;
    void RunLfos(const dsp::ProcessContext& context);
    float LfoHeight(u32 voice, float amount);
    void WriteLfo(u32 voice, float value);

    enum Buffer : u32 { Silence, FollowerOut, LfoOut, BufferCount };
    dsp::BlockPool buffers;
    /// Into the matrix.
    std::array<std::array<const float*, 3>, voiceSlotCount> lfoInputs{};

    std::vector<u32> voiceOrder;
    /// Every voice that ever ran, in order of its last start.
    std::vector<u32> startedVoices;
    u32 runningCount = 0;
    /// A list of one: what runs while no voice does.
    std::vector<u32> currentVoice{0};
    /// Linear.
    float inputGain = 1.0F;
};

} // namespace Velmora::Processor
