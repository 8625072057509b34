// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/instrument/Instrument.h"
#include "host/presets/PresetLibrary.h"

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace orphia::test {

/// Plays the instrument, from the library that hosts load, with more automation than any song has, and counts
/// the calls that its audio thread must not make: those that CallTrap knows, and any call of the system.
///
/// What is done between the blocks, such as loading a preset, is not for an audio thread and not counted; the
/// blocks that follow it are.
class RealtimeAudit {
public:
    struct Counts {
        std::uint64_t blocks = 0;
        /// Of them, those above -80 dBFS.
        std::uint64_t heardBlocks = 0;
        std::uint64_t settings = 0;
        std::uint64_t messages = 0;
        std::uint64_t tempos = 0;
        std::uint64_t presets = 0;
        /// Ordered pairs of effects between which some slot was switched, each slot for itself.
        std::uint64_t switches = 0;
        std::uint64_t trappedCalls = 0;
        /// Blocks in which the system was entered.
        std::uint64_t systemCalls = 0;
        /// In some more blocks, those of what is known to allocate.
        std::uint64_t callsOfException = 0;
    };

    static constexpr std::uint32_t effectCount = 12;
    static constexpr std::uint32_t effectSlots = 3;
    static constexpr std::uint64_t allSwitches = effectSlots * effectCount * (effectCount - 1);

    explicit RealtimeAudit(std::uint32_t seed);

    /// All switches of effects, for about a fifth of the time but at least a few blocks each, then all
    /// factory presets.
    void Run(double minutes);

    const Counts& Counted() const { return counts; }
    double Minutes() const { return seconds / 60.0; }
    std::uint64_t FactoryPresets() const { return presets.size(); }
    bool SeesTheSystem() const { return seesTheSystem; }
    /// The first call that must not be, and when it was; empty for none.
    const std::string& FirstFault() const { return firstFault; }

private:
    struct NamedPreset {
        std::string id;
        host::Preset preset;
    };

    std::uint32_t Below(std::uint32_t limit) { return static_cast<std::uint32_t>(random() % limit); }
    void SwitchEffects(double share);
    void PlayPreset(const NamedPreset& preset, double share);
    void Play(double share);
    void MakeException();
    bool StretchesToTheBeat() const;

    // What the audio thread does; under the traps.
    void MakeMoves();
    void TurnKnobs();
    void SendMessages();
    void MoveSong();

    void RunBlock();
    void NoteFault(const std::string& call);

    std::mt19937 random;
    host::Instrument instrument;
    std::vector<NamedPreset> presets;
    /// The knobs that may be turned at present.
    std::vector<std::uint32_t> knobs;
    std::vector<std::uint32_t> knobsButEffects;
    const std::vector<std::uint32_t>* turned = &knobs;
    std::vector<float> speech;
    std::size_t position = 0;
    std::array<std::vector<float>, 3> buffers;
    /// What is set in front of the next block, on the audio thread.
    host::ParameterSetting pending;
    bool hasPending = false;
    /// A sample is stretched to the tempo, which must stay one that songs have.
    bool followsTheBeat = false;
    /// The last knob that was turned.
    std::uint32_t lastKnob = 0;
    std::string situation;
    std::string firstFault;
    bool seesTheSystem = false;
    double seconds = 0.0;
    Counts counts;
};

} // namespace orphia::test
