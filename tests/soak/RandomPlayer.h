// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "host/instrument/Instrument.h"
#include "host/presets/PresetLibrary.h"
#include "soak/SoakCounts.h"
#include "watched/VoiceWatch.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace orphia::test {

/// A player without plan or rest: keys, wheels, knobs, presets, samples, tempo and sample rate of an
/// instrument change at random, while a voice, noise, or nothing comes in. The first processor of its
/// library.
class RandomPlayer {
public:
    RandomPlayer(const VoiceWatch& watch, std::uint32_t seed, SoakCounts& counts);

    void Play(double seconds);
    /// Goes from preset to preset, each for two blocks and a note: what a preset leaves behind adds up.
    void BrowsePresets();
    /// Takes the hands from the keys and the feet from the pedals, and waits for the last voice. Empty, or
    /// what is wrong.
    std::string EndAllNotes();
    /// Goes to the state of a new instrument, without samples. Empty, or what is wrong.
    std::string ComeToRest();

private:
    std::uint32_t Below(std::uint32_t limit) { return static_cast<std::uint32_t>(random() % limit); }
    /// True so many times a second.
    bool Happens(double perSecond);
    double Seconds(std::size_t blocks) const;

    void MakeMoves();
    void MoveKeys();
    void MoveController();
    void TurnKnobs();
    void ChangeSample();
    void ChangePreset();
    void ChangeTempo();
    void ChangeRate();
    void ChangeVoice();
    void SetNeutral(const char* pattern);
    void RunBlock();
    void FillVoice();

    const VoiceWatch& watch;
    SoakCounts& counts;
    std::mt19937 random;
    host::Instrument instrument;
    std::vector<host::Preset> presets;
    /// Files that can be played, and some that cannot.
    std::vector<std::filesystem::path> sampleFiles;
    std::vector<float> speech;
    std::size_t position = 0;
    enum class Voice { Speech, Noise, Broken, None } voice = Voice::Speech;
    std::uint32_t voiceChannels = 2;
    std::vector<float> input;
    std::vector<float> output[2];
    /// The loudest sample of the last block.
    float peak = 0.0F;
};

} // namespace orphia::test
