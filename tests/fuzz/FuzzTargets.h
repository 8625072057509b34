// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>

/// What is fed with bytes, one input a call; a fault ends the program. scripts/fuzz runs each for as long as
/// one likes; the normal suite runs all of them over the files of their corpora.
namespace orphia::fuzz {

using Input = std::span<const std::uint8_t>;

/// A sample file.
void SampleReader(Input input);
/// The text of a preset.
void PresetReader(Input input);
/// A MIDI file, which is played if it is one.
void MidiReader(Input input);
/// Notes, pedals and settings.
void VoiceManager(Input input);

/// Ends the program when something does not hold: what a fuzzer takes for a finding. On the standard output,
/// since the other one is closed to silence the codecs.
inline void Require(bool holds, const char* otherwise) {
    if (!holds) {
        std::printf("fault: %s\n", otherwise);
        std::fflush(stdout);
        std::abort();
    }
}

/// Makes an input the numbers that a player draws: equal bytes, equal playing. Behind the end all are 0.
class ByteDice {
public:
    explicit ByteDice(Input input = {}) : bytes(input) {}

    bool IsEmpty() const { return bytes.empty(); }
    /// 0 to limit - 1, which takes as many bytes as the limit needs.
    std::uint32_t Below(std::uint32_t limit) {
        std::uint32_t number = 0;
        for (std::uint32_t rest = limit - 1; rest > 0; rest >>= 8U) {
            number <<= 8U;
            if (!bytes.empty()) {
                number |= bytes.front();
                bytes = bytes.subspan(1);
            }
        }
        return number % limit;
    }

private:
    Input bytes;
};

} // namespace orphia::fuzz
