// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "rigs/RandomHost.h"
#include "soak/SoakCounts.h"
#include "watched/VoiceWatch.h"

#include <cstdint>
#include <string>

namespace orphia::test {

/// A host that calls one processor with anything at any time, and gives it paths of samples without waiting
/// for them. The second processor of its library.
class RudeHost {
public:
    RudeHost(const VoiceWatch& watch, std::uint32_t seed, SoakCounts& counts);

    void Play(double seconds);
    /// Lifts all keys and the pedal and waits for the last voice. Empty, or what is wrong.
    std::string EndAllNotes();
    /// Goes to a plain preset without samples. Empty, or what is wrong.
    std::string ComeToRest();

private:
    void MakeCalls();
    void SendPath(std::uint32_t sample, const std::string& path);
    void Initialize();
    void Block(std::uint32_t frames = RandomHost::blockSize);

    const VoiceWatch& watch;
    SoakCounts& counts;
    RandomHost host;
};

} // namespace orphia::test
